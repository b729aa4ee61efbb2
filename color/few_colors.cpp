// few_colors.cpp - finds out whether a picture has few colours: a table of places by a
// product of the colour, the next free one where two colours meet.

#include "color/few_colors.h"

bool few_colors::collect(const dib_lock& image)
{
    color_at_.fill(0);
    colors_.fill({});
    count_ = 0;
    uint32_t last = UINT32_MAX; // no colour
    for (int32_t r = 0; r < image->height; ++r) {
        const uint8_t* pixel = image.row(r);
        for (int32_t x = 0; x < image->width; ++x, pixel += 3) {
            const uint32_t color = color_of(pixel);
            if (color == last) continue;
            last = color;
            const size_t place = place_of(color);
            if (color_at_[place] == 0 && !add(color, place)) return false;
        }
    }
    return true;
}

size_t few_colors::place_of(uint32_t color) const
{
    size_t place = color * 2654435761u >> 22;
    while (color_at_[place] != 0 && color_at_[place] != color + 1)
        place = (place + 1) % places;
    return place;
}

bool few_colors::add(uint32_t color, size_t place)
{
    if (count_ == colors_.size()) return false;
    color_at_[place] = color + 1;
    indices_[place] = static_cast<uint8_t>(count_);
    colors_[count_++] = {static_cast<BYTE>(color), static_cast<BYTE>(color >> 8),
                         static_cast<BYTE>(color >> 16), 0};
    return true;
}
