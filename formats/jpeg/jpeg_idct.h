// jpeg_idct.h - the inverse DCT: two passes of a fixed-point 8-point transform whose every
// multiplication truncates by its own shift, bit for bit the same for all forms below.
#pragma once

#include "formats/jpeg/jpeg_block.h"

/// Turns a block into 64 samples without level shift, rows stride bytes apart, by the
/// quickest form that gives the exact result.
void jpeg_idct(const jpeg_coefficients& block, int8_t* samples, int32_t stride);

/// Blocks up to this sum of absolute values keep every intermediate value in 16 bits: none
/// exceeds 1.886 times the sum plus rounding (the largest product of two one-dimensional
/// gains, 1.922 and 0.981).
inline constexpr int32_t idct_16_bit_magnitude = 16000;
