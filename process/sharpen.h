// sharpen.h - the row routines of smoothing and unsharp masking.
#pragma once

#include <cstddef>
#include <cstdint>

/// What a strength asks for.
struct sharpening {
    sharpening(int32_t strength, int32_t bits_per_pixel);

    int32_t weight; // of the centre: 1 to 17, for 4 bits 1 to 9; each neighbour has 1
    bool masks;     // from a strength of 16 on; below, the picture is smoothed
};

/// The rows around one row: below as it is after smoothing, the others as they were.
struct filter_rows {
    const uint8_t* below;
    const uint8_t* row;
    const uint8_t* above;
};

/// Smooth one row of 8- or 24-bit pixels; the first and last pixel of the stride (the first
/// and last three bytes) stay.
///   sums  room for stride values
void sharpen_8dib(const filter_rows& in, uint8_t* out, int32_t stride, int32_t weight,
                  uint16_t* sums);
void sharpen_24dib(const filter_rows& in, uint8_t* out, int32_t stride, int32_t weight,
                   uint16_t* sums);

/// The same for 4-bit pixels; the first and last nibble of the stride stay.
void sharpen_4dib(const filter_rows& in, uint8_t* out, int32_t stride, int32_t weight);

/// 2 source - smoothed, clamped.
void add_diff_8dib(const uint8_t* source, const uint8_t* smoothed, uint8_t* out, int32_t stride);
void add_diff_4dib(const uint8_t* source, const uint8_t* smoothed, uint8_t* out, int32_t stride);
