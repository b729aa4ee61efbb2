// jpeg_fdct.cpp - quantisation tables as factors, and the forward DCT in the form that the
// processor is good for.

#include "formats/jpeg/jpeg_fdct.h"

#include "formats/jpeg/jpeg_fdct_lanes.h"

#include <bit>

// factor = 2^(15 + s) / q rounded up and scale = 2^(15 - s) with 2^s <= q < 2^(s + 1): the
// error of the factor is below 1 / q for dividends below 2^14.
void jpeg_divisors::set(const std::array<uint8_t, 64>& table, quotient how)
{
    rounding = how;
    for (size_t i = 0; i < table.size(); ++i) {
        const bool nearest = rounding == quotient::nearest;
        const uint32_t q = uint32_t{table[i]}
                           << (nearest ? jpeg_forward::bits<quotient::nearest>.coefficients : 0);
        const int shift = std::bit_width(q) - 1;
        factor[i] = static_cast<uint16_t>(((32768u << shift) + q - 1) / q);
        scale[i] = static_cast<uint16_t>(32768u >> shift);
        bias[i] = static_cast<uint16_t>(nearest ? q / 2 : 0);
    }
}

void jpeg_dct_and_quantise(const jpeg_sample_rows& samples, const jpeg_divisors& divisors,
                           int16_t* coefficients)
{
    jpeg_forward::dct_and_quantise<lanes>(samples, divisors, coefficients);
}

void jpeg_dct_and_quantise_each(const jpeg_sample_rows& samples, const jpeg_divisors& divisors,
                                int16_t* coefficients)
{
    const jpeg_sample_rows second = {samples.first + samples.next_block, samples.stride, 0};
    jpeg_dct_and_quantise(samples, divisors, coefficients);
    jpeg_dct_and_quantise(second, divisors, coefficients + 64);
}

void jpeg_dct_and_quantise_two(const jpeg_sample_rows& samples, const jpeg_divisors& divisors,
                               int16_t* coefficients)
{
    if (__builtin_cpu_supports("avx2"))
        jpeg_dct_and_quantise_avx2(samples, divisors, coefficients);
    else
        jpeg_dct_and_quantise_each(samples, divisors, coefficients);
}
