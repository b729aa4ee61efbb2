// grey_source.cpp - grey values of rows; palette images go through a table of their entries.

#include "color/grey_source.h"

#include "color/pixel_planes.h"

#include <cstring>

uint8_t grey_of_color(const RGBQUAD& color, int32_t bits, grey_rule rule)
{
    if (rule == grey_rule::percent)
        return grey_percent(color.rgbBlue, color.rgbGreen, color.rgbRed);
    // INTENDED: only 8-bit entries are darkened.
    return static_cast<uint8_t>(bits == 8
                                    ? grey_of_entry(color)
                                    : weighted_grey(color.rgbRed, color.rgbGreen, color.rgbBlue));
}

grey_source::grey_source(const BITMAPINFOHEADER* header, grey_rule rule)
    : bits_(header->biBitCount), rule_(rule)
{
    for (int32_t i = 0; i < palette_entries(bits_); ++i)
        of_index_[i] = grey_of_color(dib_colors(header)[i], bits_, rule);
    for (int32_t i = 0; i < 256; ++i)
        is_ramp_ = is_ramp_ && of_index_[i] == i;
}

namespace {

// Sixteen pixels at a time.  Returns how many of the row it did.
[[gnu::target("ssse3")]] int32_t fetch_planes(const uint8_t* row, uint8_t* grey, int32_t width,
                                              grey_rule rule)
{
    int32_t x = 0;
    for (; x + 16 <= width; x += 16) {
        const pixel_planes p = load_planes(row + 3 * size_t(x));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(grey + x), planes_grey(p, rule));
    }
    return x;
}

} // namespace

void grey_source::fetch_24(const uint8_t* row, uint8_t* grey, int32_t width) const
{
    int32_t x = has_byte_shuffles() ? fetch_planes(row, grey, width, rule_) : 0;
    for (row += 3 * size_t(x); x < width; ++x, row += 3)
        grey[x] = grey_of_color(row[0], row[1], row[2], rule_);
}

void grey_source::fetch_gray_raster(const uint8_t* row, uint8_t* grey, int32_t width) const
{
    if (bits_ == 24) return fetch_24(row, grey, width);
    if (bits_ == 8 && is_ramp_) {
        std::memcpy(grey, row, size_t(width));
        return;
    }
    if (bits_ == 8) {
        for (int32_t x = 0; x < width; ++x)
            grey[x] = of_index_[row[x]];
        return;
    }
    for (int32_t x = 0; x < width; ++x)
        grey[x] = of_index_[x & 1 ? row[x / 2] & 15 : row[x / 2] >> 4];
}
