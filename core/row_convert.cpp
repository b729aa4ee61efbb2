// row_convert.cpp - stored rows to DIB rows and back.

#include "core/row_convert.h"

#include "core/byte_runs.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <tmmintrin.h>

namespace {

// Eight 1-bit pixels as eight nibbles of value 0 or 1, in memory order on a little-endian
// host: the leftmost pixel in the high nibble of the lowest byte.
constexpr auto nibbles_of_bits = [] {
    std::array<uint32_t, 256> table{};
    for (uint32_t byte = 0; byte < 256; ++byte)
        for (uint32_t pixel = 0; pixel < 8; ++pixel)
            if (byte & 0x80 >> pixel) table[byte] |= 1u << (8 * (pixel / 2) + (pixel & 1 ? 0 : 4));
    return table;
}();

constexpr auto nibbles_of_pairs = [] {
    std::array<uint16_t, 256> table{};
    for (uint32_t byte = 0; byte < 256; ++byte)
        table[byte] = static_cast<uint16_t>((byte >> 6) << 4 | (byte >> 4 & 3) |
                                            (byte >> 2 & 3) << 12 | (byte & 3) << 8);
    return table;
}();

constexpr auto reversed_bits = [] {
    std::array<uint8_t, 256> table{};
    for (uint32_t byte = 0; byte < 256; ++byte)
        for (uint32_t bit = 0; bit < 8; ++bit)
            if (byte & 1u << bit) table[byte] = static_cast<uint8_t>(table[byte] | 0x80 >> bit);
    return table;
}();

// Four pixels of four bytes (the highest 0) become 12 bytes; 4 bytes more are overwritten.
inline void store_four_pixels(uint8_t* to, __m128i pixels)
{
    const __m128i low = _mm_set1_epi64x(0xFFFFFF);
    const __m128i high = _mm_set1_epi64x(0xFFFFFF000000);
    const __m128i packed =
        _mm_or_si128(_mm_and_si128(pixels, low), _mm_and_si128(_mm_srli_epi64(pixels, 8), high));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), packed);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to + 6), _mm_unpackhi_epi64(packed, packed));
}

// One perfect shuffle of 48 bytes: the first 24 and the last 24 are interleaved, so that the
// byte at j goes to 2 j modulo 47. Four of them bring byte 3 i + c to 16 c + i.
inline void shuffle_48(__m128i v[3])
{
    const __m128i a = v[0], b = v[1], c = v[2];
    v[0] = _mm_unpacklo_epi8(a, _mm_unpackhi_epi64(b, b));
    v[1] = _mm_unpacklo_epi8(_mm_unpackhi_epi64(a, a), c);
    v[2] = _mm_unpacklo_epi8(b, _mm_unpackhi_epi64(c, c));
}

// Every fourth bit of eight nibbles (leftmost pixel highest) gathered into a byte.
inline uint8_t gather_plane(uint32_t nibbles, int plane)
{
    uint32_t bits = nibbles >> plane & 0x11111111;
    bits = (bits | bits >> 3) & 0x03030303;
    bits = (bits | bits >> 6) & 0x000F000F;
    return static_cast<uint8_t>(bits | bits >> 12);
}

void reverse_bit_row(uint8_t* row, int32_t width)
{
    const int32_t bytes = (width + 7) / 8;
    std::reverse(row, row + bytes);
    for (int32_t i = 0; i < bytes; ++i)
        row[i] = reversed_bits[row[i]];
    // The padding is in front now.
    const int32_t shift = 8 * bytes - width;
    if (shift == 0) return;
    for (int32_t i = 0; i < bytes; ++i) {
        const int following = i + 1 < bytes ? row[i + 1] : 0;
        row[i] = static_cast<uint8_t>(row[i] << shift | following >> (8 - shift));
    }
}

void reverse_nibble_row(uint8_t* row, int32_t width)
{
    const int32_t bytes = (width + 1) / 2;
    std::reverse(row, row + bytes);
    for (int32_t i = 0; i < bytes; ++i)
        row[i] = static_cast<uint8_t>(row[i] << 4 | row[i] >> 4);
    if (width % 2 == 0) return;
    for (int32_t i = 0; i < bytes; ++i) {
        const int following = i + 1 < bytes ? row[i + 1] : 0;
        row[i] = static_cast<uint8_t>(row[i] << 4 | following >> 4);
    }
}

bool is_level(const RGBQUAD& color, BYTE level)
{
    return color.rgbRed == level && color.rgbGreen == level && color.rgbBlue == level;
}

// Sixteen pixels at a time: bytes 16 k to 16 k + 15 of their 48 are picked out of each plane.
[[gnu::target("ssse3")]] size_t interleave_by_shuffles(const uint8_t* red, const uint8_t* green,
                                                       const uint8_t* blue, uint8_t* bgr,
                                                       size_t pixels)
{
    const __m128i low = _mm_setr_epi8(0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1, -1, 5);
    const __m128i middle =
        _mm_setr_epi8(-1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1, 10, -1);
    const __m128i high =
        _mm_setr_epi8(-1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15, -1, -1);
    // Green and red lie one and two bytes further on.
    __m128i order[3][3] = {{low, middle, high}};
    for (int plane = 1; plane < 3; ++plane)
        for (int part = 0; part < 3; ++part) {
            const __m128i v = order[plane - 1][part];
            const __m128i before = part == 0 ? _mm_set1_epi8(-1) : order[plane - 1][part - 1];
            order[plane][part] = _mm_alignr_epi8(v, before, 15);
        }
    size_t i = 0;
    for (; i + 16 <= pixels; i += 16, bgr += 48) {
        const __m128i b = load_16(blue + i), g = load_16(green + i), r = load_16(red + i);
        for (int part = 0; part < 3; ++part)
            store_16(bgr + 16 * part,
                     _mm_or_si128(_mm_shuffle_epi8(b, order[0][part]),
                                  _mm_or_si128(_mm_shuffle_epi8(g, order[1][part]),
                                               _mm_shuffle_epi8(r, order[2][part]))));
    }
    return i;
}

} // namespace

void interleave_planes(const uint8_t* red, const uint8_t* green, const uint8_t* blue, uint8_t* bgr,
                       size_t pixels)
{
    const __m128i zero = _mm_setzero_si128();
    size_t i = 0;
    if (__builtin_cpu_supports("ssse3")) i = interleave_by_shuffles(red, green, blue, bgr, pixels);
    for (bgr += 3 * i; i < pixels; i += 16, bgr += 48) {
        const __m128i b = load_16(blue + i), g = load_16(green + i), r = load_16(red + i);
        const __m128i bg_low = _mm_unpacklo_epi8(b, g), bg_high = _mm_unpackhi_epi8(b, g);
        const __m128i r_low = _mm_unpacklo_epi8(r, zero), r_high = _mm_unpackhi_epi8(r, zero);
        store_four_pixels(bgr, _mm_unpacklo_epi16(bg_low, r_low));
        store_four_pixels(bgr + 12, _mm_unpackhi_epi16(bg_low, r_low));
        store_four_pixels(bgr + 24, _mm_unpacklo_epi16(bg_high, r_high));
        store_four_pixels(bgr + 36, _mm_unpackhi_epi16(bg_high, r_high));
    }
}

void split_planes(const uint8_t* bgr, uint8_t* red, uint8_t* green, uint8_t* blue, size_t pixels)
{
    size_t i = 0;
    for (; i + 16 <= pixels; i += 16) {
        __m128i v[3] = {load_16(bgr + 3 * i), load_16(bgr + 3 * i + 16), load_16(bgr + 3 * i + 32)};
        for (int pass = 0; pass < 4; ++pass)
            shuffle_48(v);
        store_16(blue + i, v[0]);
        store_16(green + i, v[1]);
        store_16(red + i, v[2]);
    }
    for (; i < pixels; ++i) {
        blue[i] = bgr[3 * i];
        green[i] = bgr[3 * i + 1];
        red[i] = bgr[3 * i + 2];
    }
}

namespace {

// 15 bytes are five pixels; byte 15, the next pixel's first, is written back as it is. The next
// load comes before the store, which it would otherwise have to wait for. Returns the bytes done.
[[gnu::target("ssse3")]] size_t swap_five_pixels(const uint8_t* rgb, uint8_t* bgr, size_t bytes)
{
    const __m128i order = _mm_setr_epi8(2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, 15);
    size_t i = 0;
    if (bytes < 31) return 0;
    __m128i v = load_16(rgb);
    for (; i + 31 <= bytes; i += 15) {
        const __m128i following = load_16(rgb + i + 15);
        store_16(bgr + i, _mm_shuffle_epi8(v, order));
        v = following;
    }
    return i;
}

} // namespace

void swap_red_blue(const uint8_t* rgb, uint8_t* bgr, size_t pixels)
{
    const bool has_shuffles = __builtin_cpu_supports("ssse3");
    for (size_t i = has_shuffles ? swap_five_pixels(rgb, bgr, 3 * pixels) : 0; i < 3 * pixels;
         i += 3) {
        const uint8_t red = rgb[i];
        bgr[i] = rgb[i + 2];
        bgr[i + 1] = rgb[i + 1];
        bgr[i + 2] = red;
    }
}

void merge_bit_planes(const uint8_t* planes, size_t plane_bytes, int32_t plane_count,
                      uint8_t* nibbles, size_t pixels)
{
    for (size_t i = 0; i < (pixels + 7) / 8; ++i) {
        uint32_t eight = 0;
        for (int32_t plane = 0; plane < plane_count; ++plane)
            eight |= nibbles_of_bits[planes[i + static_cast<size_t>(plane) * plane_bytes]] << plane;
        std::memcpy(nibbles + 4 * i, &eight, 4);
    }
}

void split_bit_planes(const uint8_t* nibbles, size_t pixels, uint8_t* planes, size_t plane_bytes)
{
    for (size_t i = 0; i < (pixels + 7) / 8; ++i) {
        const uint8_t* p = nibbles + 4 * i;
        uint32_t eight = static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 |
                         static_cast<uint32_t>(p[2]) << 8 | p[3];
        if (pixels - 8 * i < 8) eight &= ~0u << 4 * (8 - (pixels - 8 * i));
        for (int plane = 0; plane < 4; ++plane)
            planes[i + static_cast<size_t>(plane) * plane_bytes] = gather_plane(eight, plane);
    }
}

void widen_2_to_4(const uint8_t* pairs, uint8_t* nibbles, size_t pixels)
{
    for (size_t i = 0; i < (pixels + 3) / 4; ++i)
        std::memcpy(nibbles + 2 * i, &nibbles_of_pairs[pairs[i]], 2);
}

void mirror_row(uint8_t* row, int32_t width, int32_t bits_per_pixel)
{
    switch (bits_per_pixel) {
    case 1: reverse_bit_row(row, width); break;
    case 4: reverse_nibble_row(row, width); break;
    case 8: std::reverse(row, row + width); break;
    default:
        for (int32_t left = 0, right = width - 1; left < right; ++left, --right)
            std::swap_ranges(row + 3 * left, row + 3 * left + 3, row + 3 * right);
    }
}

void reverse_bits_of_bytes(uint8_t* bytes, size_t count)
{
    // Neighbouring bits trade places, then pairs, then the halves of every byte.
    const auto exchange = [](__m128i v, int distance, char lower) {
        const __m128i mask = _mm_set1_epi8(lower);
        return _mm_or_si128(_mm_and_si128(_mm_srli_epi16(v, distance), mask),
                            _mm_slli_epi16(_mm_and_si128(v, mask), distance));
    };
    size_t i = 0;
    for (; i + 16 <= count; i += 16)
        store_16(bytes + i,
                 exchange(exchange(exchange(load_16(bytes + i), 1, 0x55), 2, 0x33), 4, 0x0F));
    for (; i < count; ++i)
        bytes[i] = reversed_bits[bytes[i]];
}

void clear_row_padding(uint8_t* row, int32_t width, int32_t bits_per_pixel)
{
    const int64_t bits = int64_t{width} * bits_per_pixel;
    const auto whole = static_cast<size_t>(bits / 8);
    const auto stride = static_cast<size_t>(size_for_long(width, bits_per_pixel));
    if (whole == stride) return;
    row[whole] = static_cast<uint8_t>(row[whole] & 0xFF00 >> (bits & 7));
    std::memset(row + whole + 1, 0, stride - whole - 1);
}

bool is_black_white(const RGBQUAD* colors)
{
    return (is_level(colors[0], 0) && is_level(colors[1], 255)) ||
           (is_level(colors[0], 255) && is_level(colors[1], 0));
}

bool order_black_white(RGBQUAD* colors)
{
    if (!is_level(colors[0], 255) || !is_level(colors[1], 0)) return false;
    std::swap(colors[0], colors[1]);
    return true;
}
