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

[[gnu::always_inline]] inline void drop(bit_window& w, int32_t count)
{
    w.bits <<= count;
    w.count -= count;
}

// size bits (1 to 15) as a signed number.
[[gnu::always_inline]] inline int32_t take_value(bit_window& w, int32_t size)
{
    const int32_t value = jpeg_extend(static_cast<uint32_t>(w.bits >> (64 - size)), size);
    drop(w, size);
    return value;
}

// A symbol whose table entry holds no complete value.
[[gnu::always_inline]] inline int32_t take_symbol(const jpeg_decode_table& table, bit_window& w,
                                                  uint32_t entry)
{
    if ((entry & jpeg_decode_table::length_mask) == 0) {
        entry = table.find(static_cast<uint32_t>(w.bits >> 48));
        if (entry == 0) return err_format;
    }
    const auto length = static_cast<int32_t>(entry & jpeg_decode_table::length_mask);
    const auto symbol = static_cast<int32_t>(entry >> 8 & 0xFF);
    drop(w, length);
    return symbol;
}

[[gnu::always_inline]] inline uint32_t look_up(const jpeg_decode_table& table, const bit_window& w)
{
    return table.lookup[w.bits >> (64 - jpeg_decode_table::lookup_bits)];
}

// DC difference; false when the bits are no code.
[[gnu::always_inline]] inline bool jpeg_decode(const jpeg_decode_table& table, bit_window& w,
                                               int32_t& difference)
{
    const uint32_t entry = look_up(table, w);
    if (entry & jpeg_decode_table::complete) {
        difference = static_cast<int32_t>(entry) >> 16;
        drop(w, static_cast<int32_t>(entry & jpeg_decode_table::length_mask));
        return true;
    }
    const int32_t symbol = take_symbol(table, w, entry);
    if (symbol < 0) return false;
    const int32_t size = symbol & 15;
    difference = size ? take_value(w, size) : 0;
    return true;
}

} // namespace

int32_t jpeg_get_block(jpeg_bit_reader& reader, jpeg_block_coding& coding, jpeg_coefficients& block)
{
    std::memset(block.values, 0, sizeof block.values);
    bit_window w = reader.window;
    if (w.count < 32) reader.fill(w);

    int32_t difference = 0;
    if (!jpeg_decode(*coding.dc, w, difference)) return err_format;
    coding.predictor = static_cast<int16_t>(coding.predictor + difference);
    const uint16_t* const quantisation = coding.quantisation;
    const auto dc = static_cast<int16_t>(coding.predictor * quantisation[0]);
    block.values[0] = dc;
    int32_t magnitude = std::abs(int32_t{dc});

    const jpeg_decode_table& ac = *coding.ac;
    int32_t last = 0;
    for (int32_t k = 1; k < 64; ++k) {
        if (w.count < 32) reader.fill(w);
        const uint32_t entry = look_up(ac, w);
        int32_t value = 0;
        if (entry & jpeg_decode_table::complete) {
            k += static_cast<int32_t>(entry >> 8 & 0xFF);
            value = static_cast<int32_t>(entry) >> 16;
            drop(w, static_cast<int32_t>(entry & jpeg_decode_table::length_mask));
        } else {
            const int32_t symbol = take_symbol(ac, w, entry);
            if (symbol <= 0) {
                if (symbol < 0) return err_format;
                break; // end of block
            }
            k += symbol >> 4;
            if (k > 64) return err_format;
            const int32_t size = symbol & 15;
            if (size == 0) continue;
            value = take_value(w, size);
        }
        if (k >= 64) {
            if (k > 64) return err_format;
            break; // INTENDED: a run that ends at position 64 stores nothing
        }
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
