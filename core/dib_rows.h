// dib_rows.h - rows of a DIB, its fixed colour tables, and pixels as blue, green, red, grey.
#pragma once

#include "core/image_object.h"

/// Copy stored row number stored_row (0 at the bottom of the picture) out of or into the
/// pixel area.
void get_dib_raster(const void* pixels, void* destination, int32_t stored_row,
                    int32_t bytes_per_line);
void put_dib_raster(const void* source, void* pixels, int32_t stored_row, int32_t bytes_per_line);

/// 1 when any colour-table entry is not grey or the depth is 24, 0 when grey; err_handle.
int32_t is_color(int32_t handle);

/// The same for a header with its colour table.
bool has_color(const BITMAPINFOHEADER* header);

/// Fills the colour table behind a header.
///   "tiff"   grey ramp in steps of 256 / entries. INTENDED: 4-bit ramps end at 240.
///   "targa"  the 3-3-2 cube: red in bits 5 to 7, green in 2 to 4, blue in 0 and 1
///   else     16 colours; half levels are 200 for "dither", 128 for any other name
/// 1-bit tables are black, white for every name; 24-bit headers are left alone.
void create_dib_palette(BITMAPINFOHEADER* header, const char* type_name);

/// Grey of one colour-table entry or 4-bit pixel: (38 r + 75 g + 14 b) >> 7.
inline uint16_t weighted_grey(int32_t red, int32_t green, int32_t blue)
{
    return static_cast<uint16_t>((38 * red + 75 * green + 14 * blue) >> 7);
}

/// Grey of an 8-bit image's colour: the weighted grey less 40, not below 0.
inline uint16_t grey_of_entry(const RGBQUAD& color)
{
    const uint16_t l = weighted_grey(color.rgbRed, color.rgbGreen, color.rgbBlue);
    return l > 40 ? static_cast<uint16_t>(l - 40) : uint16_t{0};
}

/// Grey of a 24-bit pixel. INTENDED: components of 128 and more are widened as signed bytes,
/// so bright pixels leave the plain weighted sum; white gives 215.
inline uint16_t grey_of_pixel(uint8_t blue, uint8_t green, uint8_t red)
{
    const auto widen = [](uint8_t v) { return static_cast<int32_t>(v < 128 ? v : v + 65280); };
    const auto l =
        static_cast<uint16_t>((38 * widen(red) + 75 * widen(green) + 14 * widen(blue)) >> 7);
    return l > 40 ? static_cast<uint16_t>((l - 40) & 0xFF) : uint16_t{0};
}

/// Expands stored row stored_row (clamped to the top row) of a locked image to four values a
/// pixel: blue, green, red, grey. 1-bit images leave color_row untouched.  Returns 0.
///   row_buffer  at least bytes_per_line bytes of scratch
int32_t fetch_color_raster(const image_object& object, uint16_t* color_row, uint8_t* row_buffer,
                           const BITMAPINFOHEADER* header, int32_t stored_row);
