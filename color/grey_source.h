// grey_source.h - the grey of pixels by the library's rules, one stored row at a time.
#pragma once

#include "core/dib_rows.h"
#include "core/settings.h"

/// INTENDED: the rules differ. Dithering to black and white takes the percentages
/// (30 r + 59 g + 11 b) / 100, which leave greys as they are; grey pictures and the ordered
/// 16-colour dither take them with true tones only, else the grey of fetch_color_raster,
/// which is darker and never reaches 255.
enum class grey_rule { percent, color_row };

/// The rule of grey pictures and of the ordered 16-colour dither at present.
inline grey_rule present_grey_rule()
{
    return true_tones() ? grey_rule::percent : grey_rule::color_row;
}

/// Grey by percentages; 0 to 255.
inline uint8_t grey_percent(uint32_t blue, uint32_t green, uint32_t red)
{
    return static_cast<uint8_t>((30 * red + 59 * green + 11 * blue) / 100);
}

/// Grey of a colour-table entry of an image of 4 or 8 bits.
uint8_t grey_of_color(const RGBQUAD& color, int32_t bits, grey_rule rule);

/// Grey of a 24-bit pixel.
inline uint8_t grey_of_color(uint8_t blue, uint8_t green, uint8_t red, grey_rule rule)
{
    return rule == grey_rule::percent ? grey_percent(blue, green, red)
                                      : static_cast<uint8_t>(grey_of_pixel(blue, green, red));
}

/// Fills rows of grey values from rows of an image of 4, 8 or 24 bits.
class grey_source {
public:
    grey_source(const BITMAPINFOHEADER* header, grey_rule rule);

    /// One byte per pixel from one stored row.
    void fetch_gray_raster(const uint8_t* row, uint8_t* grey, int32_t width) const;

private:
    void fetch_24(const uint8_t* row, uint8_t* grey, int32_t width) const;

    int32_t bits_;
    grey_rule rule_;
    uint8_t of_index_[256] = {};
    bool is_ramp_ = true; // an index is its own grey
};
