// jpeg_huffman.cpp - building and searching the look-up form of a Huffman table.

#include "formats/jpeg/jpeg_huffman.h"

#include <cstring>

namespace {

uint32_t entry(int32_t length, uint32_t symbol)
{
    return static_cast<uint32_t>(length) | symbol << 8;
}

uint32_t complete_entry(int32_t length, uint32_t run, int32_t value)
{
    return static_cast<uint32_t>(length) | jpeg_decode_table::complete | run << 8 |
           static_cast<uint32_t>(value) << 16;
}

// The entries of one code: every continuation of it, with the value where it fits.
void fill_code(jpeg_decode_table& table, uint32_t code, int32_t length, uint32_t symbol,
               coefficient_kind kind)
{
    const int32_t free_bits = jpeg_decode_table::lookup_bits - length;
    const auto size = static_cast<int32_t>(symbol & 15);
    uint32_t* const to = table.lookup + (code << free_bits);
    const bool no_bits = size == 0 && kind == coefficient_kind::dc;
    for (uint32_t i = 0; i < 1u << free_bits; ++i) {
        if (no_bits)
            to[i] = complete_entry(length, 0, 0);
        else if (size > 0 && size <= free_bits)
            to[i] = complete_entry(length + size, symbol >> 4,
                                   jpeg_extend(i >> (free_bits - size), size));
        else
            to[i] = entry(length, symbol);
    }
}

} // namespace

void jpeg_decode_table::build(const jpeg_huffman_spec& from, coefficient_kind kind)
{
    spec = &from;
    std::memset(lookup, 0, sizeof lookup);
    uint32_t code = 0;
    int32_t index = 0;
    for (int32_t length = 1; length <= 16; ++length, code <<= 1) {
        symbol_offset[length] = index - static_cast<int32_t>(code);
        for (int32_t i = 0; i < from.counts[length - 1] && code >> length == 0; ++i) {
            if (length <= lookup_bits && index < from.total)
                fill_code(*this, code, length, from.symbols[index], kind);
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
