// jpeg_rgb.h - rows of blue, green, red to the samples that are coded.
#pragma once

#include <cstdint>

/// INTENDED: classic files truncate each product for itself, with a blue weight of 114 / 1024
/// in Y (so white is 253) and a red weight of 178 / 1024 in Cb, and take their chroma from
/// every other pixel. Interchange mode has the weights of JFIF, rounds the sums, and takes
/// the mean of two pixels.
enum class color_weights { classic, jfif };

/// One row: width samples of Y and width / 2 of Cb and Cr, all less 128.
///   width  a multiple of 16; 3 x width bytes of pixels
void jpeg_rgb_to_yuv(const uint8_t* pixels, int32_t width, color_weights weights, int16_t* y,
                     int16_t* cb, int16_t* cr);

/// One component: byte - 128. width is a multiple of 8.
void jpeg_grey_to_y(const uint8_t* pixels, int32_t width, int16_t* y);
