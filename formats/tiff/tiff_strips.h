// tiff_strips.h - where the strips of a page lie.
//
// Standard: TIFF 6.0, StripOffsets. The array of offsets is read through a small window, so
// that a page of a million strips costs no memory.
#pragma once

#include "formats/tiff/tiff_directory.h"

#include <array>

class tiff_strips {
public:
    tiff_strips(const tiff_source& source, const tiff_entry& offsets)
        : source_(source), offsets_(offsets)
    {
    }

    /// Puts the source at the start of a strip.  Returns its position in the source, or
    /// err_corrupt where there is no such strip.
    int32_t position_tiff_file(uint32_t strip);

    /// The same as a callback for the decoders.
    strip_access access() { return {position_strip, this}; }

private:
    static int32_t position_strip(void* self, uint32_t strip)
    {
        return static_cast<tiff_strips*>(self)->position_tiff_file(strip);
    }
    bool offset_of(uint32_t strip, uint32_t& offset);
    bool load_window(uint32_t strip, uint32_t element_bytes);

    static constexpr uint32_t window_elements = 1024;

    tiff_source source_;
    tiff_entry offsets_;
    std::array<uint8_t, 4 * window_elements> window_{};
    uint32_t window_first_ = 0;
    uint32_t window_count_ = 0;
};
