// mono_ordered.h - black and white by comparing grey with a threshold matrix.
#pragma once

#include <cstdint>

/// Thresholds of an 8 x 8 pattern: the group of eight is chosen by the column, the place in
/// it by the stored row (0 at the bottom of the picture).
struct threshold_matrix {
    uint8_t values[64];

    constexpr uint8_t at(int32_t x, int32_t y) const { return values[8 * (x & 7) + (y & 7)]; }
};

extern const threshold_matrix bayer_matrix;
extern const threshold_matrix halftone_matrix;

/// Sets the bit of each pixel whose threshold is below its grey, first pixel in bit 7.
///   grey  width values and zeros up to the next multiple of 32
///   bits  a 1-bit row of size_for_long(width, 1) bytes, filled with its padding 0
void threshold_row(const threshold_matrix& matrix, const uint8_t* grey, int32_t width, int32_t y,
                   uint8_t* bits);
