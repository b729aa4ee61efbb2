// jpeg_fdct.h - the forward DCT and quantisation of one block or two.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// How results become whole numbers. INTENDED: classic files truncate quotients toward zero;
/// interchange mode takes the nearest, which leaves less of an error in the picture.
enum class quotient { truncated, nearest };

/// A quantisation table as factors: |c| / q = (2 ((2 (|c| + bias) * factor) >> 16) * scale) >> 16.
struct jpeg_divisors {
    alignas(16) uint16_t factor[64], scale[64], bias[64];

    quotient rounding;

    void set(const std::array<uint8_t, 64>& table, quotient how);
};

/// Samples of -128 to 127 in rows that lie stride numbers apart. Of two blocks the second is
/// next_block numbers behind the first.
struct jpeg_sample_rows {
    const int16_t* first;
    ptrdiff_t stride, next_block;
};

/// Samples to quantised coefficients, in natural order. Coefficients stay below 2^14, for
/// which the quotients are exact.
void jpeg_dct_and_quantise(const jpeg_sample_rows& samples, const jpeg_divisors& divisors,
                           int16_t* coefficients);

/// The same for two blocks, whose coefficients follow one another.
void jpeg_dct_and_quantise_two(const jpeg_sample_rows& samples, const jpeg_divisors& divisors,
                               int16_t* coefficients);

/// Its two forms: one block after the other, and both at once on processors with AVX2.
void jpeg_dct_and_quantise_each(const jpeg_sample_rows& samples, const jpeg_divisors& divisors,
                                int16_t* coefficients);
void jpeg_dct_and_quantise_avx2(const jpeg_sample_rows& samples, const jpeg_divisors& divisors,
                                int16_t* coefficients);
