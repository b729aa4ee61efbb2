// jpeg_fdct.cpp - forward DCT in two passes, all results kept in 16 bits, and quantisation by
// multiplication.

#include "formats/jpeg/jpeg_fdct.h"

#include "formats/jpeg/jpeg_lanes.h"

#include <bit>

namespace {

enum class dct_pass { rows, columns };

// Bits of fraction in interchange mode; classic files have none. Row results reach 128 x 5.657
// and those of columns 9.149 times that, by the gains of the passes, and all sums that are
// multiplied on the way fit 16 bits too.
struct fraction_bits {
    int32_t rows, columns, coefficients;
};
template <quotient how>
constexpr fraction_bits bits = how == quotient::nearest ? fraction_bits{4, 2, 3} : fraction_bits{};

// Interchange mode multiplies by cos(pi/4), sqrt 2 times sin(pi/8) and cos(pi/8), and
// 1 / (2 cos(k pi/16)) for k = 1, 3, 5, 7.
template <quotient how>
constexpr dct_multipliers multipliers =
    how == quotient::nearest ? dct_multipliers{46341, 35468, 85627, 33410, 39410, 58981, 167963}
                             : short_multipliers;

// a divided by 2^shift and rounded. In interchange mode it is the result of some products, each
// of which is a half too small on average.
template <quotient how, int32_t shift> lanes shifted(lanes a, int32_t products)
{
    const int32_t raise = how == quotient::nearest ? products / 2 : 0;
    const __m128i half = _mm_set1_epi16(static_cast<int16_t>((1 << shift >> 1) + raise));
    return {_mm_srai_epi16(_mm_add_epi16(a.v, half), shift)};
}

// A result of a pass; that of the last one is a quarter, rounded.
template <dct_pass pass, quotient how> lanes result(lanes a, int32_t products)
{
    constexpr fraction_bits b = bits<how>;
    if (pass == dct_pass::columns) return shifted<how, 2 + b.columns - b.coefficients>(a, products);
    return how == quotient::truncated ? a : shifted<how, b.rows - b.columns>(a, products);
}

// y0 and y4. Of columns it is (a * 362 + 2048) >> 11, and also (a * 724 + 4096) >> 12.
// INTENDED: in classic files the summand is the shift's unit, so a flat block has coefficients
// of 1 in its fourth row before quantisation.
template <dct_pass pass, quotient how> lanes root(lanes a)
{
    if (pass == dct_pass::columns && how == quotient::truncated)
        return {_mm_add_epi16(scaled<362 << 5>(a).v, _mm_set1_epi16(1))};
    return result<pass, how>(scaled<multipliers<how>.c4>(a), 1);
}

// jpeg_fast_dct, and with columns jpeg_fast_dct_last, which divides by 4 besides.
template <dct_pass pass, quotient how>
[[gnu::always_inline]] inline void forward_8(const lanes (&x)[8], lanes (&y)[8])
{
    constexpr dct_multipliers f = multipliers<how>;
    const lanes s07 = x[0] + x[7], s34 = x[3] + x[4], s16 = x[1] + x[6], s25 = x[2] + x[5];
    const lanes d07 = x[0] - x[7], d34 = x[3] - x[4], d16 = x[1] - x[6], d25 = x[2] - x[5];

    const lanes a = s07 + s34, b = s16 + s25;
    const lanes p = scaled<f.e1>(s07 - s34), q = scaled<f.e2>(s16 - s25);
    const lanes y6 = scaled<f.c4>(p - q);
    const lanes y2 = p + q + y6;

    const lanes odd_a = scaled<f.o1>(d07), odd_b = scaled<f.o7>(d34), odd_c = scaled<f.o3>(d16),
                odd_d = scaled<f.o5>(d25);
    const lanes s = odd_a + odd_b, t = odd_c + odd_d;
    const lanes u = scaled<f.e1>(odd_a - odd_b), v = scaled<f.e2>(odd_c - odd_d);
    const lanes w = scaled<f.c4>(u - v);
    const lanes z = u + w + v;
    const lanes m = scaled<f.c4>(s - t);

    y[0] = root<pass, how>(a + b);
    y[4] = root<pass, how>(a - b);
    y[2] = result<pass, how>(y2, 3);
    y[6] = result<pass, how>(y6, 1);
    y[1] = result<pass, how>(s + t + z, 7);
    y[3] = result<pass, how>(m + z, 4);
    y[5] = result<pass, how>(m + w, 2);
    y[7] = result<pass, how>(w, 1);
}

template <quotient how>
[[gnu::always_inline]] inline void jpeg_dct(const int16_t* samples, int32_t stride,
                                            lanes (&coefficients)[8])
{
    lanes x[8], y[8];
    for (lanes& row : y) {
        row.v = _mm_slli_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(samples)),
                               bits<how>.rows);
        samples += stride;
    }
    transpose<inputs::all>(y, x);
    forward_8<dct_pass::rows, how>(x, y);
    transpose<inputs::all>(y, x);
    forward_8<dct_pass::columns, how>(x, coefficients);
}

__m128i load(const std::array<uint16_t, 64>& table, size_t row)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(table.data() + 8 * row));
}

} // namespace

// factor = 2^(15 + s) / q rounded up and scale = 2^(15 - s) with 2^s <= q < 2^(s + 1): the
// error of the factor is below 1 / q for dividends below 2^14.
void jpeg_divisors::set(const std::array<uint8_t, 64>& table, quotient how)
{
    rounding = how;
    for (size_t i = 0; i < table.size(); ++i) {
        const bool nearest = rounding == quotient::nearest;
        const uint32_t q = uint32_t{table[i]}
                           << (nearest ? bits<quotient::nearest>.coefficients : 0);
        const int shift = std::bit_width(q) - 1;
        factor[i] = static_cast<uint16_t>(((32768u << shift) + q - 1) / q);
        scale[i] = static_cast<uint16_t>(32768u >> shift);
        bias[i] = static_cast<uint16_t>(nearest ? q / 2 : 0);
    }
}

void jpeg_dct_and_quantise(const int16_t* samples, int32_t stride, const jpeg_divisors& divisors,
                           int16_t* coefficients)
{
    lanes rows[8];
    if (divisors.rounding == quotient::truncated)
        jpeg_dct<quotient::truncated>(samples, stride, rows);
    else
        jpeg_dct<quotient::nearest>(samples, stride, rows);
    for (size_t row = 0; row < 8; ++row) {
        const __m128i sign = _mm_srai_epi16(rows[row].v, 15);
        __m128i c = _mm_sub_epi16(_mm_xor_si128(rows[row].v, sign), sign);
        c = _mm_add_epi16(c, load(divisors.bias, row));
        c = _mm_mulhi_epu16(_mm_add_epi16(c, c), load(divisors.factor, row));
        c = _mm_mulhi_epu16(_mm_add_epi16(c, c), load(divisors.scale, row));
        c = _mm_sub_epi16(_mm_xor_si128(c, sign), sign);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(coefficients + 8 * row), c);
    }
}
