// scale_rows.h - rows resampled to another width by the nearest pixel to the left.
//
// Positions are 16.16 fixed point and start at pixel 0; a step is
// (source width x 65536) / target width.
#pragma once

#include <cstdint>

/// A step of the resampling.
inline uint64_t scale_step(int32_t from, int32_t to)
{
    return (static_cast<uint64_t>(from) << 16) / static_cast<uint64_t>(to);
}

/// Fills (width + 7) / 8 bytes. INTENDED: one pixel more is added behind the last one; where
/// a row ends with a byte it goes into the byte behind, which is not cleared before.
///   from   must hold one byte behind its last pixel
///   start  first source pixel
void scale_1raster(const uint8_t* from, uint8_t* to, uint64_t step, int32_t width, int32_t start);

/// Fills (width + 1) / 2 bytes. INTENDED: an odd width gets a pixel more, for the low nibble
/// of its last byte, so from must hold one byte behind its last pixel.
void scale_4raster(const uint8_t* from, uint8_t* to, uint64_t step, int32_t width);

/// INTENDED: 24-bit pixels move as four bytes, so a row that needs padding begins it with the
/// byte behind its last source pixel; from must hold that byte.
///   first  pixel to begin with; to is the row's start all the same
void scale_8raster(const uint8_t* from, uint8_t* to, uint64_t step, int32_t width,
                   int32_t first = 0);
void scale_24raster(const uint8_t* from, uint8_t* to, uint64_t step, int32_t width,
                    int32_t first = 0);
