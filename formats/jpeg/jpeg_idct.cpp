// jpeg_idct.cpp - the inverse DCT in three forms: constant blocks, 16-bit SIMD for blocks
// that fit it (nearly all), 32-bit arithmetic for the others.

#include "formats/jpeg/jpeg_idct.h"

#include "formats/jpeg/jpeg_lanes.h"

#include <algorithm>
#include <cstring>

namespace {

template <int32_t factor> int32_t scaled(int32_t a)
{
    return static_cast<int32_t>((int64_t{a} * factor) >> 16);
}

// The same steps for numbers and for vectors of eight 16-bit numbers. With first_four inputs
// 4 to 7 are 0, and so is every product of theirs.
template <inputs used, class T>
[[gnu::always_inline]] inline void inverse_8(const T (&x)[8], T (&y)[8])
{
    constexpr bool all = used == inputs::all;
    constexpr dct_multipliers m = short_multipliers;
    const T a = scaled<m.c4>(x[0]);
    const T b = all ? scaled<m.c4>(x[4]) : T{};
    const T p = all ? a + b : a;
    const T q = all ? a - b : a;
    const T t = scaled<m.c4>(all ? x[2] + x[6] : x[2]);
    const T u = scaled<m.e1>(x[2] + t);
    const T w = scaled<m.e2>(x[2] - t);
    const T even0 = p + u, even3 = p - u, even1 = q + w, even2 = q - w;

    const T r = scaled<m.c4>(all ? x[3] + x[5] : x[3]);
    const T g = x[1] + x[3];
    const T h = scaled<m.c4>(all ? x[5] + x[7] + g : g);
    const T j = scaled<m.e1>(g + h);
    const T n = x[1] + r;
    const T odd0 = scaled<m.o1>(n + j);
    const T odd3 = scaled<m.o7>(n - j);
    const T l = scaled<m.e2>(g - h);
    const T z = x[1] - r;
    const T odd1 = scaled<m.o3>(z + l);
    const T odd2 = scaled<m.o5>(z - l);

    y[0] = even0 + odd0;
    y[1] = even1 + odd1;
    y[2] = even2 + odd2;
    y[3] = even3 + odd3;
    y[4] = even3 - odd3;
    y[5] = even2 - odd2;
    y[6] = even1 - odd1;
    y[7] = even0 - odd0;
}

void wide_idct(const int16_t* transposed, int8_t* samples, int32_t stride)
{
    int16_t between[64];
    int32_t x[8], y[8];
    for (int32_t row = 0; row < 8; ++row) { // jpeg_fast_idct
        for (int32_t k = 0; k < 8; ++k)
            x[k] = transposed[k * 8 + row];
        inverse_8<inputs::all>(x, y);
        for (int32_t k = 0; k < 8; ++k)
            between[k * 8 + row] = static_cast<int16_t>(y[k]);
    }
    for (int32_t column = 0; column < 8; ++column) { // jpeg_fast_idct_last
        for (int32_t k = 0; k < 8; ++k)
            x[k] = between[column * 8 + k];
        inverse_8<inputs::all>(x, y);
        for (int32_t k = 0; k < 8; ++k)
            samples[k * stride + column] = static_cast<int8_t>(std::clamp(y[k] >> 2, -128, 127));
    }
}

template <inputs used> void narrow_idct(const int16_t* transposed, int8_t* samples, int32_t stride)
{
    constexpr size_t count = used == inputs::all ? 8 : 4;
    lanes x[8], y[8];
    for (size_t k = 0; k < count; ++k)
        x[k].v = _mm_load_si128(reinterpret_cast<const __m128i*>(transposed + 8 * k));
    inverse_8<used>(x, y);
    transpose<used>(y, x);
    inverse_8<used>(x, y);
    for (size_t k = 0; k < 8; k += 2) {
        const __m128i two_rows =
            _mm_packs_epi16(_mm_srai_epi16(y[k].v, 2), _mm_srai_epi16(y[k + 1].v, 2));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(samples), two_rows);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(samples + stride),
                         _mm_unpackhi_epi64(two_rows, two_rows));
        samples += 2 * static_cast<ptrdiff_t>(stride);
    }
}

// A block of nothing but DC: both passes give c4 of it everywhere.
void constant_idct(int32_t dc, int8_t* samples, int32_t stride)
{
    const int32_t sample =
        std::clamp(scaled<short_multipliers.c4>(
                       int32_t{static_cast<int16_t>(scaled<short_multipliers.c4>(dc))}) >>
                       2,
                   -128, 127);
    for (int32_t row = 0; row < 8; ++row)
        std::memset(samples + row * static_cast<ptrdiff_t>(stride), sample, 8);
}

} // namespace

void jpeg_idct(const jpeg_coefficients& block, int8_t* samples, int32_t stride)
{
    // Zig-zag positions 0 to 9 are the triangle in the upper left 4x4.
    if (block.last == 0)
        constant_idct(block.values[0], samples, stride);
    else if (block.magnitude > idct_16_bit_magnitude)
        wide_idct(block.values, samples, stride);
    else if (block.last <= 9)
        narrow_idct<inputs::first_four>(block.values, samples, stride);
    else
        narrow_idct<inputs::all>(block.values, samples, stride);
}
