// transpose.cpp - transpositions by blocks held in registers.
//
// Sixteen rows of sixteen bytes are turned as a 16 x 16 matrix of bytes; 1 and 4 bits then
// sort the bits of each turned column. A column of blocks is done from the first row to the
// last, so that the target's cache lines are filled while they are near.

#include "process/transpose.h"

#include <algorithm>
#include <cstring>
#include <emmintrin.h>
#include <tmmintrin.h>

namespace {

constexpr int32_t block = 16; // rows, and bytes of a row

struct byte_block {
    __m128i v[block];
};

// Interleaves vector i of the first half with vector i of the second; four rounds of it
// turn the matrix.
inline byte_block interleave(const byte_block& in)
{
    byte_block out;
    for (int i = 0; i < block / 2; ++i) {
        out.v[2 * i] = _mm_unpacklo_epi8(in.v[i], in.v[i + 8]);
        out.v[2 * i + 1] = _mm_unpackhi_epi8(in.v[i], in.v[i + 8]);
    }
    return out;
}

inline byte_block turn_bytes(const byte_block& in)
{
    return interleave(interleave(interleave(interleave(in))));
}

// Row k of the block in vector order(k). Blocks that reach beyond the picture's rows or
// their bytes are filled up with zeros.
template <class Order>
inline byte_block load_block(const transposition& t, int32_t byte, int32_t y, Order order)
{
    byte_block in;
    const auto row_bytes = static_cast<int32_t>(std::abs(t.from_stride));
    if (byte + block <= row_bytes && y + block <= t.height) {
        for (int32_t k = 0; k < block; ++k)
            in.v[order(k)] =
                _mm_loadu_si128(reinterpret_cast<const __m128i*>(t.source_row(y + k) + byte));
        return in;
    }
    const auto count = static_cast<size_t>(std::min(block, row_bytes - byte));
    for (int32_t k = 0; k < block; ++k) {
        uint8_t row[block] = {};
        if (y + k < t.height) std::memcpy(row, t.source_row(y + k) + byte, count);
        in.v[order(k)] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row));
    }
    return in;
}

inline int32_t in_order(int32_t k)
{
    return k;
}

// A movemask puts vector byte 0 into bit 0, but the first row's pixel belongs into bit 7.
inline int32_t bits_reversed_in_bytes(int32_t k)
{
    return k ^ 7;
}

// Writes bytes of a target row up to the row's end; what lies behind the picture is 0.
inline void store(const transposition& t, int32_t x, int32_t byte, const uint8_t* from,
                  int32_t count)
{
    const auto row_bytes = static_cast<int32_t>(std::abs(t.to_stride));
    std::memcpy(t.target_row(x) + byte, from, size_t(std::min(count, row_bytes - byte)));
}

} // namespace

void rotate_1raster(const transposition& t)
{
    for (int32_t x = 0; x < t.width; x += 8 * block)
        for (int32_t y = 0; y < t.height; y += block) {
            byte_block turned = turn_bytes(load_block(t, x / 8, y, bits_reversed_in_bytes));
            const int32_t columns = std::min(8 * block, t.width - x);
            uint8_t* to = t.target_row(x) + y / 8;
            for (int32_t c = 0; c < columns; ++c, to += t.to_stride) {
                __m128i& v = turned.v[c / 8];
                const auto pixels = static_cast<uint16_t>(_mm_movemask_epi8(v));
                std::memcpy(to, &pixels, sizeof pixels);
                v = _mm_add_epi8(v, v);
            }
        }
}

void rotate_4raster(const transposition& t)
{
    const __m128i low = _mm_set1_epi16(0x0F), high = _mm_set1_epi16(0xF0);
    for (int32_t x = 0; x < t.width; x += 2 * block)
        for (int32_t y = 0; y < t.height; y += block) {
            const byte_block turned = turn_bytes(load_block(t, x / 2, y, in_order));
            for (int32_t c = 0; c < 2 * block && x + c < t.width; c += 2) {
                // In each word the even row's byte is the low one.
                const __m128i v = turned.v[c / 2];
                const __m128i even = _mm_or_si128(_mm_and_si128(v, high), _mm_srli_epi16(v, 12));
                const __m128i odd = _mm_or_si128(_mm_and_si128(_mm_slli_epi16(v, 4), high),
                                                 _mm_and_si128(_mm_srli_epi16(v, 8), low));
                alignas(16) uint8_t pixels[block];
                _mm_store_si128(reinterpret_cast<__m128i*>(pixels), _mm_packus_epi16(even, odd));
                store(t, x + c, y / 2, pixels, block / 2);
                if (x + c + 1 < t.width) store(t, x + c + 1, y / 2, pixels + block / 2, block / 2);
            }
        }
}

namespace {

// Rows lie too far apart for the processor to see them coming.
inline void prefetch_block(const transposition& t, int32_t byte, int32_t y)
{
    for (int32_t r = y; r < std::min(y + block, t.height); ++r)
        _mm_prefetch(reinterpret_cast<const char*>(t.source_row(r) + byte), _MM_HINT_T0);
}

} // namespace

void rotate_8raster(const transposition& t)
{
    constexpr int32_t line = 64; // bytes: a cache line of each source row is used at once
    const auto row_bytes = static_cast<int32_t>(std::abs(t.to_stride));
    for (int32_t group = 0; group < t.width; group += line)
        for (int32_t y = 0; y < t.height; y += block) {
            prefetch_block(t, group, y + 2 * block);
            for (int32_t x = group; x < std::min(group + line, t.width); x += block) {
                const byte_block turned = turn_bytes(load_block(t, x, y, in_order));
                const int32_t columns = std::min(block, t.width - x);
                uint8_t* to = t.target_row(x) + y;
                if (y + block <= row_bytes) {
                    for (int32_t c = 0; c < columns; ++c, to += t.to_stride)
                        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), turned.v[c]);
                    continue;
                }
                for (int32_t c = 0; c < columns; ++c)
                    store(t, x + c, y, reinterpret_cast<const uint8_t*>(&turned.v[c]), block);
            }
        }
}

namespace {

inline uint32_t load_pixel(const uint8_t* p)
{
    uint32_t v;
    std::memcpy(&v, p, sizeof v);
    return v & 0xFFFFFF;
}

// One pixel of each of four rows into twelve bytes of a target row. The loads take a byte
// more than a pixel.
inline void turn_four_pixels(const uint8_t* const (&from)[4], size_t byte, uint8_t* to)
{
    const uint32_t a = load_pixel(from[0] + byte), b = load_pixel(from[1] + byte),
                   c = load_pixel(from[2] + byte), d = load_pixel(from[3] + byte);
    const uint64_t first = a | uint64_t{b} << 24 | uint64_t{c} << 48;
    const uint32_t rest = c >> 16 | d << 8;
    std::memcpy(to, &first, sizeof first);
    std::memcpy(to + sizeof first, &rest, sizeof rest);
}

void turn_pixels_one_by_one(const transposition& t, int32_t x, int32_t x_end, int32_t y,
                            int32_t y_end)
{
    for (; x < x_end; ++x)
        for (int32_t r = y; r < y_end; ++r)
            std::memcpy(t.target_row(x) + 3 * size_t(r), t.source_row(r) + 3 * size_t(x), 3);
}

inline __m128i load_bytes(const uint8_t* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

inline void store_bytes(uint8_t* p, __m128i v)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

// Four by four pixels: words of four bytes are turned, then closed up again. Loads and
// stores take four bytes more than the pixels; later rows' pixels cover those stored.
[[gnu::target("ssse3")]] int32_t turn_blocks_shuffled(const transposition& t, int32_t x,
                                                      int32_t end, int32_t y)
{
    const __m128i open = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    const __m128i close = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    uint8_t* to = t.target_row(x) + 3 * size_t(y);
    for (; x + 4 <= end; x += 4, to += 4 * t.to_stride) {
        const uint8_t* from = t.source_row(y) + 3 * size_t(x);
        const __m128i a = _mm_shuffle_epi8(load_bytes(from), open);
        const __m128i b = _mm_shuffle_epi8(load_bytes(from + t.from_stride), open);
        const __m128i c = _mm_shuffle_epi8(load_bytes(from + 2 * t.from_stride), open);
        const __m128i d = _mm_shuffle_epi8(load_bytes(from + 3 * t.from_stride), open);
        const __m128i ab = _mm_unpacklo_epi32(a, b), cd = _mm_unpacklo_epi32(c, d);
        const __m128i ab_high = _mm_unpackhi_epi32(a, b), cd_high = _mm_unpackhi_epi32(c, d);
        const __m128i turned[4] = {_mm_unpacklo_epi64(ab, cd), _mm_unpackhi_epi64(ab, cd),
                                   _mm_unpacklo_epi64(ab_high, cd_high),
                                   _mm_unpackhi_epi64(ab_high, cd_high)};
        for (int32_t k = 0; k < 4; ++k)
            store_bytes(to + k * t.to_stride, _mm_shuffle_epi8(turned[k], close));
    }
    return x;
}

} // namespace

void rotate_24raster(const transposition& t)
{
    constexpr int32_t line = 64; // pixels: three cache lines of each source row
    const bool shuffles = __builtin_cpu_supports("ssse3");
    const int32_t last = t.width - 1;
    for (int32_t group = 0; group < last; group += line) {
        const int32_t end = std::min(group + line, last);
        int32_t y = 0;
        for (; y + 4 <= t.height; y += 4) {
            int32_t x = group;
            // Wide loads and stores stay inside their rows.
            if (shuffles && y + 6 <= t.height)
                x = turn_blocks_shuffled(t, x, std::min(end, t.width - 2), y);
            const uint8_t* const from[4] = {t.source_row(y), t.source_row(y + 1),
                                            t.source_row(y + 2), t.source_row(y + 3)};
            uint8_t* to = t.target_row(x) + 3 * size_t(y);
            for (; x < end; ++x, to += t.to_stride)
                turn_four_pixels(from, 3 * size_t(x), to);
        }
        turn_pixels_one_by_one(t, group, end, y, t.height);
    }
    // The last column has no byte behind it to load.
    turn_pixels_one_by_one(t, last, t.width, 0, t.height);
}

void rotate_dib_low(const transposition& t, int32_t bits_per_pixel)
{
    switch (bits_per_pixel) {
    case 1: return rotate_1raster(t);
    case 4: return rotate_4raster(t);
    case 8: return rotate_8raster(t);
    case 24: return rotate_24raster(t);
    default: return;
    }
}
