// jpeg_block.cpp - Huffman-coded coefficients of one block, dequantised.

#include "formats/jpeg/jpeg_block.h"

#include "formats/jpeg/jpeg_tables.h"

#include <array>
#include <cstdlib>
#include <cstring>

namespace {

// Figure A.6 with rows and columns exchanged.
constexpr std::array<uint8_t, 64> transposed_zigzag = [] {
    std::array<uint8_t, 64> table{};
    for (size_t k = 0; k < 64; ++k)
        table[k] = static_cast<uint8_t>(jpeg_zigzag[k] % 8 * 8 + jpeg_zigzag[k] / 8);
    return table;
}();

// The entry of the next code; 0 when the bits are none.
[[gnu::always_inline]] inline uint32_t jpeg_decode(const jpeg_decode_table& table,
                                                   const bit_window& w)
{
    const uint32_t entry = table.lookup[w.bits >> (64 - jpeg_decode_table::lookup_bits)];
    return entry != 0 ? entry : table.find(static_cast<uint32_t>(w.bits >> 48));
}

// Takes a code with its value, of 0 to 15 bits (F.2.2.1/T.81, EXTEND). Without a branch on the
// value: in text as many are negative as not, and of all sizes.
[[gnu::always_inline]] inline int32_t take_value(bit_window& w, uint32_t entry)
{
    const auto length = static_cast<int32_t>(entry & jpeg_decode_table::length_mask);
    const auto size = static_cast<int32_t>(entry >> 8 & 15);
    const uint64_t bits = w.bits << (length - size);
    w.bits <<= length;
    w.count -= length;
    const auto value = static_cast<int32_t>(bits >> 1 >> (63 - size));
    const auto positive = static_cast<int32_t>(static_cast<int64_t>(bits) >> 63);
    return value + ((1 - (1 << size)) & ~positive);
}

} // namespace

int32_t jpeg_get_block(jpeg_bit_reader& reader, jpeg_block_coding& coding, jpeg_coefficients& block)
{
    std::memset(block.values, 0, sizeof block.values);
    bit_window w = reader.window;
    if (w.count < 32) reader.fill(w);

    const uint32_t first = jpeg_decode(*coding.dc, w);
    if (first == 0) return err_format;
    coding.predictor = static_cast<int16_t>(coding.predictor + take_value(w, first));
    const uint16_t* const quantisation = coding.quantisation;
    const auto dc = static_cast<int16_t>(coding.predictor * quantisation[0]);
    block.values[0] = dc;
    int32_t magnitude = std::abs(int32_t{dc});

    const jpeg_decode_table& ac = *coding.ac;
    int32_t last = 0;
    for (int32_t k = 1; k < 64; ++k) {
        if (w.count < 32) reader.fill(w);
        const uint32_t entry = jpeg_decode(ac, w);
        if (entry == 0) return err_format;
        const auto symbol = static_cast<int32_t>(entry >> 8);
        const int32_t value = take_value(w, entry);
        if (symbol == 0) break; // end of block
        k += symbol >> 4;
        if (k >= 64) {
            if (k > 64) return err_format;
            break; // INTENDED: a run that ends at position 64 stores nothing
        }
        // A run of 16 zeros stores the last of them.
        const auto coefficient = static_cast<int16_t>(value * quantisation[k]);
        block.values[transposed_zigzag[static_cast<size_t>(k)]] = coefficient;
        magnitude += std::abs(int32_t{coefficient});
        last = k;
    }
    reader.window = w;
    block.magnitude = magnitude;
    block.last = last;
    return 0;
}
