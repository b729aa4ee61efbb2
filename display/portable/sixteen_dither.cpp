// sixteen_dither.cpp - rows of 8- and 24-bit images for displays of 16 colours.

#include "display/portable/sixteen_dither.h"

#include "color/mono_ordered.h"
#include "core/dib_rows.h"

#include <algorithm>

namespace {

constexpr uint8_t full_level = 8, blue = 4, green = 2, red = 1;
constexpr int32_t half_level = 128;

uint8_t choose(int32_t b, int32_t g, int32_t r, int32_t threshold)
{
    const bool dark = std::max({b, g, r}) <= half_level;
    const int32_t scale = dark ? 2 : 1;
    uint8_t index = 0;
    if (b * scale > threshold) index |= blue;
    if (g * scale > threshold) index |= green;
    if (r * scale > threshold) index |= red;
    return index && !dark ? index | full_level : index;
}

} // namespace

void get_sixteen_colors(dib_header& header)
{
    dib_header sixteen;
    sixteen.set(1, 1, 4);
    create_dib_palette(&sixteen.info, "pcx");
    std::copy_n(sixteen.colors, 16, header.colors);
}

void sixteen_dither_row(const uint8_t* row, int32_t bits_per_pixel, const RGBQUAD* colors,
                        pixel_span columns, uint32_t dither_row, uint8_t* out)
{
    const auto y = static_cast<int32_t>(dither_row & 7);
    for (int32_t c = columns.begin; c < columns.end; ++c) {
        uint8_t index;
        const int32_t threshold = bayer_matrix.at(c, y);
        if (bits_per_pixel == 24) {
            index = choose(row[0], row[1], row[2], threshold);
            row += 3;
        } else {
            const RGBQUAD& q = colors[*row++];
            index = choose(q.rgbBlue, q.rgbGreen, q.rgbRed, threshold);
        }
        if ((c - columns.begin) & 1)
            *out++ |= index;
        else
            *out = static_cast<uint8_t>(index << 4);
    }
}
