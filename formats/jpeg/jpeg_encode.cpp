// jpeg_encode.cpp - run-length and Huffman coding of blocks.

#include "formats/jpeg/jpeg_encode.h"

#include "formats/jpeg/jpeg_tables.h"

#include <bit>
#include <cstdlib>
#include <emmintrin.h>

namespace {

// Bits of a row's coefficients to bits of their zig-zag positions.
using zigzag_bits = std::array<std::array<uint64_t, 256>, 8>;

constexpr zigzag_bits zigzag_of_row = [] {
    zigzag_bits table{};
    for (size_t k = 0; k < 64; ++k) {
        const size_t row = jpeg_zigzag[k] / 8, column = jpeg_zigzag[k] % 8;
        for (size_t byte = 0; byte < 256; ++byte)
            if (byte >> column & 1) table[row][byte] |= uint64_t{1} << k;
    }
    return table;
}();

// Bit k set: the coefficient at zig-zag position k is not 0.
uint64_t nonzero_positions(const int16_t* coefficients)
{
    const auto* rows = reinterpret_cast<const __m128i*>(coefficients);
    uint64_t positions = 0;
    for (size_t row = 0; row < 8; row += 2) {
        const __m128i packed =
            _mm_packs_epi16(_mm_loadu_si128(rows + row), _mm_loadu_si128(rows + row + 1));
        const auto zeros =
            static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(packed, _mm_setzero_si128())));
        const uint32_t nonzeros = ~zeros & 0xFFFF;
        positions |= zigzag_of_row[row][nonzeros & 0xFF] | zigzag_of_row[row + 1][nonzeros >> 8];
    }
    return positions;
}

bool has_ff(uint32_t v)
{
    return (~v - 0x01010101) & v & 0x80808080;
}

} // namespace

void jpeg_code_table::build(std::span<const uint8_t> counts_and_symbols)
{
    codes.fill(0);
    uint32_t code = 0;
    size_t next = 16;
    for (uint32_t length = 1; length <= 16; ++length, code <<= 1)
        for (uint32_t i = 0; i < counts_and_symbols[length - 1]; ++i)
            codes[counts_and_symbols[next++]] = code++ << 5 | length;
}

void jpeg_bit_writer::store_32_bits()
{
    pending_ -= 32;
    const auto word = static_cast<uint32_t>(bits_ >> pending_);
    if (!has_ff(word)) {
        store_u32be(to_, word);
        to_ += 4;
        return;
    }
    for (int32_t shift = 24; shift >= 0; shift -= 8) {
        const auto byte = static_cast<uint8_t>(word >> shift);
        *to_++ = byte;
        if (byte == 0xFF) *to_++ = 0;
    }
}

void jpeg_bit_writer::put(uint32_t bits, uint32_t count)
{
    bits_ = bits_ << count | bits;
    pending_ += count;
    if (pending_ >= 32) store_32_bits();
}

// jpeg_encode: the code of run and size, then size bits of the value.
void jpeg_bit_writer::put_value(const jpeg_code_table& table, uint32_t run, int32_t value)
{
    const auto size = static_cast<uint32_t>(std::bit_width(static_cast<uint32_t>(std::abs(value))));
    const uint32_t entry = table.codes[run << 4 | size];
    const uint32_t low = static_cast<uint32_t>(value + (value >> 31)) & ((1u << size) - 1);
    put((entry >> 5) << size | low, (entry & 31) + size);
}

void jpeg_bit_writer::put_block(const int16_t* coefficients, int32_t& predictor,
                                const jpeg_code_table& dc, const jpeg_code_table& ac)
{
    uint8_t* const start = sink_.reserve(block_bytes);
    to_ = start;
    put_value(dc, 0, coefficients[0] - predictor);
    predictor = coefficients[0];

    uint64_t positions = nonzero_positions(coefficients) & ~uint64_t{1};
    uint32_t last = 0;
    while (positions != 0) {
        const auto k = static_cast<uint32_t>(std::countr_zero(positions));
        positions &= positions - 1;
        uint32_t run = k - last - 1;
        for (; run > 15; run -= 16)
            put(ac.codes[0xF0] >> 5, ac.codes[0xF0] & 31);
        put_value(ac, run, coefficients[jpeg_zigzag[k]]);
        last = k;
    }
    if (last < 63) put(ac.codes[0] >> 5, ac.codes[0] & 31);
    sink_.commit(static_cast<size_t>(to_ - start));
}

void jpeg_bit_writer::finish(bit_padding padding)
{
    uint8_t* const start = sink_.reserve(block_bytes);
    to_ = start;
    const bool ones = padding == bit_padding::byte_of_ones;
    const uint32_t unit = ones ? 8 : 16;
    const uint32_t fill = (unit - pending_ % unit) % unit;
    put(ones ? (1u << fill) - 1 : 0, fill);
    for (; pending_ > 0; pending_ -= 8) {
        const auto byte = static_cast<uint8_t>(bits_ >> (pending_ - 8));
        *to_++ = byte;
        if (byte == 0xFF) *to_++ = 0;
    }
    sink_.commit(static_cast<size_t>(to_ - start));
}
