// jpeg_fdct_lanes.h - forward DCT in two passes, all results kept in 16 bits, and quantisation
// by multiplication, for blocks side by side in lanes of any width.
//
// Everything that makes code here is a template over the lanes: a file compiled for newer
// processors must leave no function behind that others could share.
#pragma once

#include "formats/jpeg/jpeg_fdct.h"
#include "formats/jpeg/jpeg_lanes.h"

namespace jpeg_forward {

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
template <quotient how, int32_t shift, class L> L shifted(L a, int32_t products)
{
    const int32_t raise = how == quotient::nearest ? products / 2 : 0;
    return (a + L::filled((1 << shift >> 1) + raise)) >> shift;
}

// A result of a pass; that of the last one is a quarter, rounded.
template <dct_pass pass, quotient how, class L> L result(L a, int32_t products)
{
    constexpr fraction_bits b = bits<how>;
    if (pass == dct_pass::columns) return shifted<how, 2 + b.columns - b.coefficients>(a, products);
    return how == quotient::truncated ? a : shifted<how, b.rows - b.columns>(a, products);
}

// y0 and y4. Of columns it is (a * 362 + 2048) >> 11, and also (a * 724 + 4096) >> 12.
// INTENDED: in classic files the summand is the shift's unit, so a flat block has coefficients
// of 1 in its fourth row before quantisation.
template <dct_pass pass, quotient how, class L> L root(L a)
{
    if (pass == dct_pass::columns && how == quotient::truncated)
        return scaled<362 << 5>(a) + L::filled(1);
    return result<pass, how>(scaled<multipliers<how>.c4>(a), 1);
}

// jpeg_fast_dct, and with columns jpeg_fast_dct_last, which divides by 4 besides.
template <dct_pass pass, quotient how, class L>
[[gnu::always_inline]] inline void forward_8(const L (&x)[8], L (&y)[8])
{
    constexpr dct_multipliers f = multipliers<how>;
    const L s07 = x[0] + x[7], s34 = x[3] + x[4], s16 = x[1] + x[6], s25 = x[2] + x[5];
    const L d07 = x[0] - x[7], d34 = x[3] - x[4], d16 = x[1] - x[6], d25 = x[2] - x[5];

    const L a = s07 + s34, b = s16 + s25;
    const L p = scaled<f.e1>(s07 - s34), q = scaled<f.e2>(s16 - s25);
    const L y6 = scaled<f.c4>(p - q);
    const L y2 = p + q + y6;

    const L odd_a = scaled<f.o1>(d07), odd_b = scaled<f.o7>(d34), odd_c = scaled<f.o3>(d16),
            odd_d = scaled<f.o5>(d25);
    const L s = odd_a + odd_b, t = odd_c + odd_d;
    const L u = scaled<f.e1>(odd_a - odd_b), v = scaled<f.e2>(odd_c - odd_d);
    const L w = scaled<f.c4>(u - v);
    const L z = u + w + v;
    const L m = scaled<f.c4>(s - t);

    y[0] = root<pass, how>(a + b);
    y[4] = root<pass, how>(a - b);
    y[2] = result<pass, how>(y2, 3);
    y[6] = result<pass, how>(y6, 1);
    y[1] = result<pass, how>(s + t + z, 7);
    y[3] = result<pass, how>(m + z, 4);
    y[5] = result<pass, how>(m + w, 2);
    y[7] = result<pass, how>(w, 1);
}

template <quotient how, class L>
[[gnu::always_inline]] inline void jpeg_dct(const jpeg_sample_rows& samples, L (&coefficients)[8])
{
    L x[8], y[8];
    const int16_t* from = samples.first;
    for (L& row : y) {
        row = L::load(from, samples.next_block) << bits<how>.rows;
        from += samples.stride;
    }
    transpose<inputs::all>(y, x);
    forward_8<dct_pass::rows, how>(x, y);
    transpose<inputs::all>(y, x);
    forward_8<dct_pass::columns, how>(x, coefficients);
}

/// The blocks that L holds, one or two; their coefficients follow one another.
template <class L>
void dct_and_quantise(const jpeg_sample_rows& samples, const jpeg_divisors& divisors,
                      int16_t* coefficients)
{
    L rows[8];
    if (divisors.rounding == quotient::truncated)
        jpeg_dct<quotient::truncated>(samples, rows);
    else
        jpeg_dct<quotient::nearest>(samples, rows);
    for (size_t i = 0; i < 64; i += 8) {
        const L row = rows[i / 8], sign = row >> 15;
        L c = ((row ^ sign) - sign) + L::load(divisors.bias + i, 0);
        c = unsigned_product_high(c + c, L::load(divisors.factor + i, 0));
        c = unsigned_product_high(c + c, L::load(divisors.scale + i, 0));
        L::store(coefficients + i, 64, (c ^ sign) - sign);
    }
}

} // namespace jpeg_forward
