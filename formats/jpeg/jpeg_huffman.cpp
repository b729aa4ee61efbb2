// jpeg_huffman.cpp - building and searching the look-up form of a Huffman table.

#include "formats/jpeg/jpeg_huffman.h"

#include <algorithm>
#include <cstring>

namespace {

uint16_t entry(int32_t code_length, uint32_t symbol)
{
    return static_cast<uint16_t>(static_cast<uint32_t>(code_length) + (symbol & 15) +
                                 (symbol << 8));
}

} // namespace

void jpeg_decode_table::build(const jpeg_huffman_spec& from)
{
    spec = &from;
    std::memset(lookup, 0, sizeof lookup);
    uint32_t code = 0;
    int32_t index = 0;
    for (int32_t length = 1; length <= 16; ++length, code <<= 1) {
        symbol_offset[length] = index - static_cast<int32_t>(code);
        for (int32_t i = 0; i < from.counts[length - 1] && code >> length == 0; ++i) {
            if (length <= lookup_bits && index < from.total)
                std::fill_n(lookup + (code << (lookup_bits - length)), 1 << (lookup_bits - length),
                            entry(length, from.symbols[index]));
            ++index;
            ++code;
        }
        end_code[length] = code << (16 - length);
        // Counts that ask for more codes than there are leave none for the longer ones.
        if (code >> length != 0) {
            for (int32_t rest = length; rest <= 16; ++rest)
                end_code[rest] = 1 << 16;
            break;
        }
    }
}

uint32_t jpeg_decode_table::find(uint32_t next_16_bits) const
{
    for (int32_t length = 1; length <= 16; ++length) {
        if (next_16_bits >= end_code[length]) continue;
        const auto code = static_cast<int32_t>(next_16_bits >> (16 - length));
        const int32_t index = symbol_offset[length] + code;
        return index < spec->total ? entry(length, spec->symbols[index]) : 0;
    }
    return 0;
}
