// jpeg_fdct.h - the forward DCT and quantisation of one block.
#pragma once

#include <array>
#include <cstdint>

/// How results become whole numbers. INTENDED: classic files truncate quotients toward zero;
/// interchange mode takes the nearest, which leaves less of an error in the picture.
enum class quotient { truncated, nearest };

/// A quantisation table as factors: |c| / q = (2 ((2 (|c| + bias) * factor) >> 16) * scale) >> 16.
struct jpeg_divisors {
    alignas(16) std::array<uint16_t, 64> factor, scale, bias;

    quotient rounding;

    void set(const std::array<uint8_t, 64>& table, quotient how);
};

/// Samples (rows stride numbers apart, -128 to 127) to quantised coefficients, both in
/// natural order. Coefficients stay below 2^14, for which the quotients are exact.
void jpeg_dct_and_quantise(const int16_t* samples, int32_t stride, const jpeg_divisors& divisors,
                           int16_t* coefficients);
