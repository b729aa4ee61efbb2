// jpeg_encode.cpp - run-length and Huffman coding of blocks.

#include "formats/jpeg/jpeg_encode.h"

#include "formats/jpeg/jpeg_tables.h"

#include <algorithm>
#include <bit>
#include <cstring>
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

// Coefficients and DC differences as F.1.2.1/T.81 codes them. Differences of 8-bit samples
// reach 2047.
constexpr int32_t max_value = 2047;
struct value_bits {
    uint16_t size, bits;
};
constexpr auto bits_of_value = [] {
    std::array<value_bits, 2 * max_value + 1> table{};
    for (int32_t value = -max_value; value <= max_value; ++value) {
        const auto magnitude = static_cast<uint32_t>(value < 0 ? -value : value);
        const auto size = std::bit_width(magnitude);
        const int32_t bits = value < 0 ? value + (1 << size) - 1 : value;
        table[static_cast<size_t>(value + max_value)] = {static_cast<uint16_t>(size),
                                                         static_cast<uint16_t>(bits)};
    }
    return table;
}();

bool has_ff(const uint8_t* from, const uint8_t* end)
{
    for (; from < end; from += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(-1)))) return true;
    }
    return false;
}

// Puts a zero behind each FF, from the end on; the new end.
uint8_t* stuff(uint8_t* from, uint8_t* end)
{
    uint8_t* to = end + std::count(from, end, uint8_t{0xFF});
    uint8_t* const new_end = to;
    while (end > from) {
        if (*--end == 0xFF) *--to = 0;
        *--to = *end;
    }
    return new_end;
}

} // namespace

void jpeg_code_table::build(std::span<const uint8_t> counts_and_symbols)
{
    codes.fill(0);
    uint32_t code = 0;
    size_t next = 16;
    for (uint32_t length = 1; length <= 16; ++length, code <<= 1)
        for (uint32_t i = 0; i < counts_and_symbols[length - 1]; ++i, ++code) {
            const uint32_t symbol = counts_and_symbols[next++];
            const uint32_t size = symbol & 15;
            codes[symbol] = code << (size + 5) | (length + size);
        }
}

[[gnu::always_inline]] inline void jpeg_bit_writer::put(bit_state& s, uint32_t bits, uint32_t count)
{
    s.bits = s.bits << count | bits;
    s.count += count;
}

// Writes all whole bytes, without asking whether there are any.
[[gnu::always_inline]] inline void jpeg_bit_writer::flush(bit_state& s)
{
    const uint64_t word = __builtin_bswap64(s.bits << ((64 - s.count) & 63));
    std::memcpy(s.to, &word, 8);
    s.to += s.count / 8;
    s.count %= 8;
}

// jpeg_encode: the code of run and size, then size bits of the value; at most 27 bits.
[[gnu::always_inline]] inline void
jpeg_bit_writer::put_value(bit_state& s, const jpeg_code_table& table, uint32_t run, int32_t value)
{
    const value_bits v = bits_of_value[static_cast<size_t>(value + max_value)];
    const uint32_t entry = table.codes[run << 4 | v.size];
    put(s, entry >> 5 | v.bits, entry & 31);
}

void jpeg_bit_writer::end(const bit_state& s)
{
    bits_ = s.bits;
    count_ = s.count;
    coded_bytes_ += static_cast<uint64_t>(s.to - start_);
    uint8_t* const end = has_ff(start_, s.to) ? stuff(start_, s.to) : s.to;
    sink_.commit(static_cast<size_t>(end - start_));
}

void jpeg_bit_writer::put_block(const int16_t* coefficients, int32_t& predictor,
                                const jpeg_code_table& dc, const jpeg_code_table& ac)
{
    bit_state s = begin();
    put_value(s, dc, 0, std::clamp(coefficients[0] - predictor, -max_value, max_value));
    predictor = coefficients[0];

    uint64_t positions = nonzero_positions(coefficients) & ~uint64_t{1};
    uint32_t next = 1; // position behind the last value
    const auto put_next = [&] {
        const auto k = static_cast<uint32_t>(std::countr_zero(positions));
        positions &= positions - 1;
        uint32_t run = k - next;
        next = k + 1;
        for (; run > 15; run -= 16) {
            flush(s);
            put_value(s, ac, 15, 0);
        }
        put_value(s, ac, run, coefficients[jpeg_zigzag[k]]);
    };
    while (positions != 0) {
        flush(s);
        put_next();
        if (positions != 0) put_next();
    }
    flush(s);
    if (next < 64) put_value(s, ac, 0, 0);
    flush(s);
    end(s);
}

void jpeg_bit_writer::finish(bit_padding padding)
{
    bit_state s = begin();
    if (padding == bit_padding::byte_of_ones) {
        const uint32_t missing = -s.count & 7;
        put(s, (1u << missing) - 1, missing);
    } else {
        put(s, 0, -(s.count + 8 * (coded_bytes_ & 1)) & 15);
    }
    flush(s);
    end(s);
}
