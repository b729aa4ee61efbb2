// mirror_rows.h - rows mirrored left to right, one routine per depth.
#pragma once

#include <cstdint>

/// to and from are different rows of width pixels. Bits behind the last pixel of to's last
/// byte come out 0; bytes behind it are left alone.
void flip_1bit(uint8_t* to, const uint8_t* from, int32_t width);
void flip_4bit(uint8_t* to, const uint8_t* from, int32_t width);
void flip_8bit(uint8_t* to, const uint8_t* from, int32_t width);
void flip_24bit(uint8_t* to, const uint8_t* from, int32_t width);

using flip_row = void(uint8_t* to, const uint8_t* from, int32_t width);

/// The routine of a depth of 1, 4, 8 or 24 bits.
flip_row* flip_row_of(int32_t bits_per_pixel);

/// Two rows, or one given twice, mirrored into each other's place without a copy.
using exchange_rows = void(uint8_t* a, uint8_t* b, int32_t width);

/// The routine of a depth and width, or null: for 24 bits, for short rows and rows that end
/// inside a byte, and on processors without wide byte shuffles.
exchange_rows* exchange_rows_of(int32_t bits_per_pixel, int32_t width);
