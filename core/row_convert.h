// row_convert.h - rows as other formats store them, turned into DIB rows and back: separate
// colour planes, separate bit planes, 2-bit pixels, mirrored rows. Every buffer has
// run_slack_bytes behind it.
#pragma once

#include "core/codec.h"

/// Separate red, green and blue bytes into blue, green, red pixels.
void interleave_planes(const uint8_t* red, const uint8_t* green, const uint8_t* blue, uint8_t* bgr,
                       size_t pixels);

/// The other way.
void split_planes(const uint8_t* bgr, uint8_t* red, uint8_t* green, uint8_t* blue, size_t pixels);

/// Red, green, blue pixels into blue, green, red ones; also in place.
void swap_red_blue(const uint8_t* rgb, uint8_t* bgr, size_t pixels);

/// Bit planes (plane 0 gives the lowest bit, leftmost pixel in the highest bit of a byte) into
/// 4-bit pixels. Planes follow one another plane_bytes apart; plane_bytes bytes make eight
/// pixels each, at least as many as the row holds.
void merge_bit_planes(const uint8_t* planes, size_t plane_bytes, int32_t plane_count,
                      uint8_t* nibbles, size_t pixels);

/// The other way, always four planes; bits behind the last pixel are 0.
void split_bit_planes(const uint8_t* nibbles, size_t pixels, uint8_t* planes, size_t plane_bytes);

/// 2-bit pixels into 4-bit pixels, leftmost in the highest bits of both.
void widen_2_to_4(const uint8_t* pairs, uint8_t* nibbles, size_t pixels);

/// Reverses the pixels of a DIB row in place; 1, 4, 8 or 24 bits.
void mirror_row(uint8_t* row, int32_t width, int32_t bits_per_pixel);

/// Reverses the order of the bits in every byte.
void reverse_bits_of_bytes(uint8_t* bytes, size_t count);

/// Sets what lies between the last pixel of a DIB row and its end to 0.
void clear_row_padding(uint8_t* row, int32_t width, int32_t bits_per_pixel);

/// Exchanges a white, black colour table for black, white. True when the caller has to invert
/// the pixels: 1-bit images carry black first wherever that is possible.
bool order_black_white(RGBQUAD* colors);

/// True when the two colours are black and white, in either order.
bool is_black_white(const RGBQUAD* colors);
