// pixel_planes.h - sixteen 24-bit pixels as vectors of blue, green and red, and their grey by
// each rule. For processors with byte shuffles; callers ask has_byte_shuffles() first and
// do the rest of a row pixel by pixel.
#pragma once

#include "color/grey_source.h"

#include <tmmintrin.h>

inline bool has_byte_shuffles()
{
    return __builtin_cpu_supports("ssse3");
}

struct pixel_planes {
    __m128i blue, green, red;
};

/// Gathers every third byte of 48, from a start of 0, 1 or 2.
template <int32_t start>
[[gnu::target("ssse3")]] inline __m128i every_third_byte(__m128i a, __m128i b, __m128i c)
{
    alignas(16) int8_t order[3][16];
    for (int32_t i = 0; i < 16; ++i)
        for (int32_t part = 0; part < 3; ++part) {
            const int32_t at = 3 * i + start - 16 * part;
            order[part][i] = static_cast<int8_t>(at >= 0 && at < 16 ? at : -1);
        }
    const auto* orders = reinterpret_cast<const __m128i*>(order);
    return _mm_or_si128(
        _mm_or_si128(_mm_shuffle_epi8(a, orders[0]), _mm_shuffle_epi8(b, orders[1])),
        _mm_shuffle_epi8(c, orders[2]));
}

[[gnu::target("ssse3")]] inline pixel_planes load_planes(const uint8_t* pixels)
{
    const auto* p = reinterpret_cast<const __m128i*>(pixels);
    const __m128i a = _mm_loadu_si128(p), b = _mm_loadu_si128(p + 1), c = _mm_loadu_si128(p + 2);
    return {every_third_byte<0>(a, b, c), every_third_byte<1>(a, b, c),
            every_third_byte<2>(a, b, c)};
}

/// blue * b + green * g + red * r of eight pixels, which must stay below 65536.
[[gnu::target("ssse3")]] inline __m128i weigh(__m128i blue, __m128i green, __m128i red, int16_t b,
                                              int16_t g, int16_t r)
{
    return _mm_add_epi16(_mm_add_epi16(_mm_mullo_epi16(blue, _mm_set1_epi16(b)),
                                       _mm_mullo_epi16(green, _mm_set1_epi16(g))),
                         _mm_mullo_epi16(red, _mm_set1_epi16(r)));
}

/// (30 red + 59 green + 11 blue) / 100: 5243 / 2^19 is exact for dividends up to 43698.
[[gnu::target("ssse3")]] inline __m128i planes_grey_percent(const pixel_planes& p)
{
    const __m128i zero = _mm_setzero_si128(), hundredth = _mm_set1_epi16(5243);
    const __m128i low = weigh(_mm_unpacklo_epi8(p.blue, zero), _mm_unpacklo_epi8(p.green, zero),
                              _mm_unpacklo_epi8(p.red, zero), 11, 59, 30);
    const __m128i high = weigh(_mm_unpackhi_epi8(p.blue, zero), _mm_unpackhi_epi8(p.green, zero),
                               _mm_unpackhi_epi8(p.red, zero), 11, 59, 30);
    return _mm_packus_epi16(_mm_srli_epi16(_mm_mulhi_epu16(low, hundredth), 3),
                            _mm_srli_epi16(_mm_mulhi_epu16(high, hundredth), 3));
}

/// (38 red + 75 green + 14 blue) >> 7.
[[gnu::target("ssse3")]] inline __m128i planes_grey_weighted(const pixel_planes& p)
{
    const __m128i zero = _mm_setzero_si128();
    const __m128i low = weigh(_mm_unpacklo_epi8(p.blue, zero), _mm_unpacklo_epi8(p.green, zero),
                              _mm_unpacklo_epi8(p.red, zero), 14, 75, 38);
    const __m128i high = weigh(_mm_unpackhi_epi8(p.blue, zero), _mm_unpackhi_epi8(p.green, zero),
                               _mm_unpackhi_epi8(p.red, zero), 14, 75, 38);
    return _mm_packus_epi16(_mm_srli_epi16(low, 7), _mm_srli_epi16(high, 7));
}

/// The grey of the colour row. A component of 128 and more is widened by 65280 = 510 x 128,
/// which adds 510 times its weight to the shifted sum, or -2 times in 8 bits. Such sums are
/// above 40 always; the others are when the plain one is.
[[gnu::target("ssse3")]] inline __m128i planes_grey_of_color_row(const pixel_planes& p)
{
    const __m128i zero = _mm_setzero_si128(), forty = _mm_set1_epi8(40);
    const __m128i plain = planes_grey_weighted(p);
    const __m128i blue = _mm_and_si128(_mm_cmplt_epi8(p.blue, zero), _mm_set1_epi8(14));
    const __m128i green = _mm_and_si128(_mm_cmplt_epi8(p.green, zero), _mm_set1_epi8(75));
    const __m128i red = _mm_and_si128(_mm_cmplt_epi8(p.red, zero), _mm_set1_epi8(38));
    const __m128i wide = _mm_add_epi8(_mm_add_epi8(blue, green), red);
    const __m128i wrapped = _mm_sub_epi8(_mm_sub_epi8(plain, forty), _mm_add_epi8(wide, wide));
    const __m128i is_plain = _mm_cmpeq_epi8(wide, zero);
    return _mm_or_si128(_mm_and_si128(is_plain, _mm_subs_epu8(plain, forty)),
                        _mm_andnot_si128(is_plain, wrapped));
}

[[gnu::target("ssse3")]] inline __m128i planes_grey(const pixel_planes& p, grey_rule rule)
{
    return rule == grey_rule::percent ? planes_grey_percent(p) : planes_grey_of_color_row(p);
}
