// jpeg_lanes.h - eight 16-bit numbers at once, with the truncating products of the DCT.
#pragma once

#include <cstddef>
#include <cstdint>
#include <emmintrin.h>

struct lanes {
    __m128i v;
    friend lanes operator+(lanes a, lanes b) { return {_mm_add_epi16(a.v, b.v)}; }
    friend lanes operator-(lanes a, lanes b) { return {_mm_sub_epi16(a.v, b.v)}; }
};

/// (a * factor) >> 16, also for factors beyond 16 bits: whole multiples of 65536 become
/// additions of a, which change nothing in what the shift truncates.
template <int32_t factor> lanes scaled(lanes a)
{
    constexpr int32_t whole = (factor + 32768) >> 16;
    constexpr auto rest = static_cast<int16_t>(factor - whole * 65536);
    lanes result = {_mm_mulhi_epi16(a.v, _mm_set1_epi16(rest))};
    for (int32_t i = 0; i < whole; ++i)
        result = result + a;
    return result;
}

/// The multipliers of both transforms, in 65536ths.
struct dct_multipliers {
    int32_t c4, e1, e2, o1, o3, o5, o7;
};

/// Those of the defined arithmetic: 181 >> 8, 553 >> 10, 1338 >> 10, 261 >> 9, 77 >> 7,
/// 461 >> 9, 41 >> 4. (724 >> 10 is 181 >> 8, and 2624 >> 10 is 41 >> 4.)
inline constexpr dct_multipliers short_multipliers = {181 << 8, 553 << 6, 1338 << 6, 261 << 7,
                                                      77 << 9,  461 << 7, 41 << 12};

/// Which inputs of a transform can be other than 0.
enum class inputs { all, first_four };

/// Rows become columns. With first_four only lanes 0 to 3 of the input are other than 0, so
/// only the first four rows of the result are made.
template <inputs used>
[[gnu::always_inline]] inline void transpose(const lanes (&in)[8], lanes (&out)[8])
{
    constexpr bool all = used == inputs::all;
    __m128i pairs[8], quads[4];
    for (size_t i = 0; i < 4; ++i) {
        pairs[i] = _mm_unpacklo_epi16(in[2 * i].v, in[2 * i + 1].v);
        if (all) pairs[i + 4] = _mm_unpackhi_epi16(in[2 * i].v, in[2 * i + 1].v);
    }
    for (size_t half = 0; half < (all ? 8 : 4); half += 4) {
        quads[0] = _mm_unpacklo_epi32(pairs[half], pairs[half + 1]);
        quads[1] = _mm_unpackhi_epi32(pairs[half], pairs[half + 1]);
        quads[2] = _mm_unpacklo_epi32(pairs[half + 2], pairs[half + 3]);
        quads[3] = _mm_unpackhi_epi32(pairs[half + 2], pairs[half + 3]);
        for (size_t i = 0; i < 2; ++i) {
            out[half + 2 * i].v = _mm_unpacklo_epi64(quads[i], quads[i + 2]);
            out[half + 2 * i + 1].v = _mm_unpackhi_epi64(quads[i], quads[i + 2]);
        }
    }
}
