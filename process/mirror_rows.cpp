// mirror_rows.cpp - sixteen bytes at a time from the source row's end.

#include "process/mirror_rows.h"

#include <cstddef>
#include <cstring>
#include <emmintrin.h>
#include <tmmintrin.h>

namespace {

inline __m128i load(const uint8_t* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

inline void store(uint8_t* p, __m128i v)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

inline __m128i reverse_bytes(__m128i v)
{
    v = _mm_or_si128(_mm_slli_epi16(v, 8), _mm_srli_epi16(v, 8));
    v = _mm_shufflehi_epi16(_mm_shufflelo_epi16(v, 0x1B), 0x1B);
    return _mm_shuffle_epi32(v, 0x4E);
}

// Exchanges neighbouring groups of bits; mask selects the lower group of each pair.
template <int bits> inline __m128i swap_bits(__m128i v, char mask)
{
    const __m128i low = _mm_set1_epi8(mask);
    return _mm_or_si128(_mm_and_si128(_mm_srli_epi16(v, bits), low),
                        _mm_slli_epi16(_mm_and_si128(v, low), bits));
}

struct pixels_of_1_bit {
    static constexpr int32_t bits = 1;
    static __m128i turn(__m128i v)
    {
        return swap_bits<1>(swap_bits<2>(swap_bits<4>(v, 0x0F), 0x33), 0x55);
    }
};

struct pixels_of_4_bits {
    static constexpr int32_t bits = 4;
    static __m128i turn(__m128i v) { return swap_bits<4>(v, 0x0F); }
};

// Each byte with the pixels of itself and the byte before it moved on by unused bits, so
// that the row ends with its last pixel.
inline __m128i shift_on(__m128i v, __m128i before, int32_t unused)
{
    const __m128i right = _mm_and_si128(_mm_srl_epi16(v, _mm_cvtsi32_si128(unused)),
                                        _mm_set1_epi8(static_cast<char>(0xFF >> unused)));
    const __m128i left = _mm_and_si128(_mm_sll_epi16(before, _mm_cvtsi32_si128(8 - unused)),
                                       _mm_set1_epi8(static_cast<char>(0xFF << (8 - unused))));
    return _mm_or_si128(right, left);
}

template <class Pixels> void flip_packed(uint8_t* to, const uint8_t* from, int32_t width)
{
    const auto row_bits = static_cast<int64_t>(width) * Pixels::bits;
    const auto count = static_cast<ptrdiff_t>((row_bits + 7) / 8);
    const auto unused = static_cast<int32_t>(count * 8 - row_bits);
    ptrdiff_t i = 0;
    for (; i + 17 <= count; i += 16) {
        const uint8_t* p = from + count - 16 - i;
        const __m128i v = unused ? shift_on(load(p), load(p - 1), unused) : load(p);
        store(to + i, reverse_bytes(Pixels::turn(v)));
    }
    // The rest, with zeros in front of the row.
    uint8_t start[17] = {}, turned[16];
    const auto rest = static_cast<size_t>(count - i);
    std::memcpy(start + 17 - rest, from, rest);
    const __m128i v = unused ? shift_on(load(start + 1), load(start), unused) : load(start + 1);
    store(turned, reverse_bytes(Pixels::turn(v)));
    std::memcpy(to + i, turned, rest);
}

void flip_24bit_rest(uint8_t* to, const uint8_t* from, int32_t width)
{
    from += 3 * size_t(width);
    for (int32_t x = 0; x < width; ++x, to += 3)
        std::memcpy(to, from -= 3, 3);
}

// Five pixels at a time: each load takes one byte in front of them, each store writes one
// behind them, which the next one overwrites.
[[gnu::target("ssse3")]] void flip_24bit_shuffled(uint8_t* to, const uint8_t* from, int32_t width)
{
    const __m128i order = _mm_setr_epi8(13, 14, 15, 10, 11, 12, 7, 8, 9, 4, 5, 6, 1, 2, 3, 0);
    int32_t left = width;
    for (; left >= 6; left -= 5, to += 15)
        store(to, _mm_shuffle_epi8(load(from + 3 * size_t(left) - 16), order));
    flip_24bit_rest(to, from, left);
}

} // namespace

void flip_1bit(uint8_t* to, const uint8_t* from, int32_t width)
{
    flip_packed<pixels_of_1_bit>(to, from, width);
}

void flip_4bit(uint8_t* to, const uint8_t* from, int32_t width)
{
    flip_packed<pixels_of_4_bits>(to, from, width);
}

void flip_8bit(uint8_t* to, const uint8_t* from, int32_t width)
{
    int32_t x = 0;
    for (; x + 16 <= width; x += 16)
        store(to + x, reverse_bytes(load(from + width - 16 - x)));
    for (; x < width; ++x)
        to[x] = from[width - 1 - x];
}

void flip_24bit(uint8_t* to, const uint8_t* from, int32_t width)
{
    if (__builtin_cpu_supports("ssse3")) return flip_24bit_shuffled(to, from, width);
    flip_24bit_rest(to, from, width);
}

flip_row* flip_row_of(int32_t bits_per_pixel)
{
    switch (bits_per_pixel) {
    case 1: return flip_1bit;
    case 4: return flip_4bit;
    case 8: return flip_8bit;
    default: return flip_24bit;
    }
}
