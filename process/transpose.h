// transpose.h - pictures turned about their diagonal, one routine per depth.
#pragma once

#include <cstddef>
#include <cstdint>

/// Where a transposition reads and writes: pixel x of source row y becomes pixel y of target
/// row x. A negative stride walks the rows the other way, which adds a mirror for nothing.
struct transposition {
    const uint8_t* from;
    ptrdiff_t from_stride;
    uint8_t* to; // zero-filled; padding stays 0
    ptrdiff_t to_stride;
    int32_t width, height; // of the source

    const uint8_t* source_row(int32_t y) const { return from + y * from_stride; }
    uint8_t* target_row(int32_t x) const { return to + x * to_stride; }
};

void rotate_1raster(const transposition& t);
void rotate_4raster(const transposition& t);
void rotate_8raster(const transposition& t);
void rotate_24raster(const transposition& t);

/// Picks the routine of the depth.
void rotate_dib_low(const transposition& t, int32_t bits_per_pixel);
