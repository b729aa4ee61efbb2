// page_shrinker.cpp - shrinks a 1-bit page to grey.
//
// Up to 31 rows are added at once as bit-sliced counters: plane p holds bit p of the number
// of set bits in each bit column. From the planes come sums per byte and their running
// total; the bits inside a box are then a difference of two totals, whatever its width.

#include "display/portable/page_shrinker.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <emmintrin.h>

namespace {

constexpr uint32_t vector_bytes = 16;

constexpr std::array<uint8_t, 256> set_bits = [] {
    std::array<uint8_t, 256> table{};
    for (unsigned i = 0; i < 256; ++i)
        table[i] = static_cast<uint8_t>(std::popcount(i));
    return table;
}();

// Set bits of each byte.
__m128i byte_popcount(__m128i v)
{
    const __m128i pairs = _mm_set1_epi8(0x55);
    const __m128i nibbles = _mm_set1_epi8(0x33);
    const __m128i low = _mm_set1_epi8(0x0F);
    v = _mm_sub_epi8(v, _mm_and_si128(_mm_srli_epi16(v, 1), pairs));
    v = _mm_add_epi8(_mm_and_si128(v, nibbles), _mm_and_si128(_mm_srli_epi16(v, 2), nibbles));
    return _mm_and_si128(_mm_add_epi8(v, _mm_srli_epi16(v, 4)), low);
}

struct row_block {
    const uint8_t* first;
    int32_t row_count;
    uint32_t bytes_per_line;
    uint32_t bytes; // of a row that belong to the image, at most 16
};

__m128i load_row(const row_block& rows, int32_t r)
{
    const uint8_t* p = rows.first + static_cast<size_t>(r) * rows.bytes_per_line;
    if (rows.bytes == vector_bytes) return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    alignas(16) uint8_t padded[vector_bytes] = {};
    std::memcpy(padded, p, rows.bytes);
    return _mm_load_si128(reinterpret_cast<const __m128i*>(padded));
}

// Adds the rows of one column of vectors; gives the planes and, per byte, the number of set
// bits in it (at most 31 x 8).
template <int Planes> __m128i count_block(const row_block& rows, __m128i* plane)
{
    for (int p = 0; p < Planes; ++p)
        plane[p] = _mm_setzero_si128();
    for (int32_t r = 0; r < rows.row_count; ++r) {
        __m128i carry = load_row(rows, r);
        for (int p = 0; p < Planes; ++p) {
            const __m128i next = _mm_and_si128(plane[p], carry);
            plane[p] = _mm_xor_si128(plane[p], carry);
            carry = next;
        }
    }
    __m128i sum = byte_popcount(plane[Planes - 1]);
    for (int p = Planes - 2; p >= 0; --p)
        sum = _mm_add_epi8(_mm_add_epi8(sum, sum), byte_popcount(plane[p]));
    return sum;
}

} // namespace

int32_t page_shrinker::prepare(const stretch_axis& axis, pixel_span columns)
{
    column_count_ = columns.end - columns.begin;
    const auto count = static_cast<size_t>(column_count_);
    if (!allocate_rows(edges_, 2 * sizeof(uint32_t), count) ||
        !allocate_rows(sums_, sizeof(uint32_t), count))
        return err_memory;
    auto* edge = edges_.as<uint32_t>();
    for (int32_t c = columns.begin; c < columns.end; ++c) {
        const pixel_span box = source_pixels(axis, c);
        *edge++ = static_cast<uint32_t>(box.begin);
        *edge++ = static_cast<uint32_t>(box.end);
    }
    const uint32_t* edges = edges_.as<uint32_t>();
    const size_t last = 2 * count - 2;
    const uint32_t begin = std::min(edges[0], edges[last]);
    const uint32_t end = std::max(edges[1], edges[last + 1]);
    first_byte_ = begin / 8;
    byte_count_ = (end + 7) / 8 - first_byte_;
    for (size_t i = 0; i < 2 * count; ++i)
        edges_.as<uint32_t>()[i] -= first_byte_ * 8;
    plane_bytes_ = (byte_count_ + vector_bytes) & ~(vector_bytes - 1);
    if (!planes_.allocate(size_t{plane_bytes_} * plane_count) ||
        !before_.allocate((size_t{plane_bytes_} + 1) * sizeof(uint32_t)))
        return err_memory;
    std::memset(planes_.bytes(), 0, planes_.size());
    return 0;
}

void page_shrinker::count_rows(const uint8_t* lowest, int32_t row_count, uint32_t bytes_per_line)
{
    planes_used_ = std::bit_width(static_cast<uint32_t>(row_count));
    auto* before = before_.as<uint32_t>();
    uint32_t total = 0;
    for (uint32_t at = 0; at < byte_count_; at += vector_bytes) {
        const row_block rows{lowest + first_byte_ + at, row_count, bytes_per_line,
                             std::min(vector_bytes, byte_count_ - at)};
        __m128i plane[plane_count];
        __m128i sum;
        switch (planes_used_) {
        case 1: sum = count_block<1>(rows, plane); break;
        case 2: sum = count_block<2>(rows, plane); break;
        case 3: sum = count_block<3>(rows, plane); break;
        case 4: sum = count_block<4>(rows, plane); break;
        default: sum = count_block<plane_count>(rows, plane); break;
        }
        for (int p = 0; p < planes_used_; ++p)
            _mm_storeu_si128(
                reinterpret_cast<__m128i*>(planes_.bytes() + size_t(p) * plane_bytes_ + at),
                plane[p]);
        alignas(16) uint8_t sums[vector_bytes];
        _mm_store_si128(reinterpret_cast<__m128i*>(sums), sum);
        for (uint32_t i = 0; i < vector_bytes; ++i) {
            before[at + i] = total;
            total += sums[i];
        }
    }
    before[(byte_count_ + vector_bytes - 1) & ~(vector_bytes - 1)] = total;
}

// Set bits of the chunk's rows left of a bit column.
inline uint32_t page_shrinker::set_bits_before(uint32_t bit) const
{
    const uint32_t byte = bit >> 3;
    const uint32_t keep = 8 - (bit & 7);
    uint32_t count = before_.as<uint32_t>()[byte];
    const uint8_t* plane = planes_.bytes() + byte;
    for (int p = 0; p < planes_used_; ++p, plane += plane_bytes_)
        count += uint32_t{set_bits[static_cast<size_t>(*plane >> keep)]} << p;
    return count;
}

void page_shrinker::add_columns(bool first)
{
    const auto* edge = edges_.as<uint32_t>();
    auto* sums = sums_.as<uint32_t>();
    uint32_t last_edge = edge[0];
    uint32_t last_count = set_bits_before(last_edge);
    for (int32_t c = 0; c < column_count_; ++c, edge += 2) {
        // Boxes lie side by side where the page shrinks: one look-up for each serves.
        const uint32_t begin = edge[0] == last_edge ? last_count : set_bits_before(edge[0]);
        last_edge = edge[1];
        last_count = set_bits_before(last_edge);
        sums[c] = (first ? 0 : sums[c]) + (last_count - begin);
    }
}

void page_shrinker::shrink(const uint8_t* lowest, int32_t row_count, uint32_t bytes_per_line,
                           uint8_t* out)
{
    for (int32_t done = 0; done < row_count; done += rows_at_once) {
        const int32_t rows = std::min(rows_at_once, row_count - done);
        count_rows(lowest + static_cast<size_t>(done) * bytes_per_line, rows, bytes_per_line);
        add_columns(done == 0);
    }
    const auto* edge = edges_.as<uint32_t>();
    const auto* sums = sums_.as<uint32_t>();
    uint32_t width = 0;
    double levels_per_bit = 0;
    for (int32_t c = 0; c < column_count_; ++c, edge += 2) {
        if (edge[1] - edge[0] != width) {
            width = edge[1] - edge[0];
            // The hair above 255 keeps exact halves rounding up.
            levels_per_bit = 255.0000001 / (double{static_cast<double>(width)} * row_count);
        }
        out[c] = static_cast<uint8_t>(sums[c] * levels_per_bit + 0.5);
    }
}
