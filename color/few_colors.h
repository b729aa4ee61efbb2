// few_colors.h - the colours of a 24-bit picture that has at most 256 of them.
#pragma once

#include "core/image_object.h"

#include <array>

class few_colors {
public:
    /// Collects the colours, in the order of their first pixels, the bottom row first.  False
    /// when there are more than 256.
    bool collect(const dib_lock& image);

    /// The number of a pixel's colour, which is one of those.
    uint8_t index_of(const uint8_t* pixel) const { return indices_[place_of(color_of(pixel))]; }

    /// The colour table; what is not used is black.
    const std::array<RGBQUAD, 256>& colors() const { return colors_; }

private:
    // Four places a colour, so that few of them meet.
    static constexpr size_t places = 1024;

    static uint32_t color_of(const uint8_t* pixel)
    {
        return pixel[0] | uint32_t{pixel[1]} << 8 | uint32_t{pixel[2]} << 16;
    }
    size_t place_of(uint32_t color) const;
    bool add(uint32_t color, size_t place);

    std::array<uint32_t, places> color_at_; // colour + 1; 0: free
    std::array<uint8_t, places> indices_;
    std::array<RGBQUAD, 256> colors_;
    size_t count_ = 0;
};
