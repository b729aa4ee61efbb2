// fixed_palette.cpp - 256 fixed colours, 8 levels of red and green and 4 of blue, with
// serpentine error diffusion.
//
// INTENDED: the export is called median cut, but it splits no boxes: the fixed palette and
// the diffusion are what it does.

#include "color/color_diffusion.h"
#include "core/image.h"
#include "core/new_dib.h"

#include <algorithm>

namespace {

// One row of indices. INTENDED: the entry is chosen by the leading bits of each clamped
// channel and not by distance, and a value that wrapped below zero counts as 255.
void dither_color_raster8(const color_diffusion& rows, const RGBQUAD* colors, int32_t width,
                          int32_t row_number, uint8_t* indices)
{
    const int32_t direction = row_number & 1 ? -4 : 4;
    for (int32_t i = 0; i < width; ++i) {
        const int32_t x = direction > 0 ? i : width - 1 - i;
        uint16_t* p = rows.current() + 4 * size_t(x);
        uint16_t* below = rows.next() + 4 * size_t(x);
        const auto clamped = [&](int c) { return std::min<uint32_t>(p[c], 255); };
        const uint32_t index = (clamped(2) & 0xE0) | (clamped(1) & 0xE0) >> 3 | clamped(0) >> 6;
        indices[x] = static_cast<uint8_t>(index);
        const RGBQUAD& c = colors[index];
        spread_color_error(p[0] - c.rgbBlue, direction, p, below);
        spread_color_error(p[1] - c.rgbGreen, direction, p + 1, below + 1);
        spread_color_error(p[2] - c.rgbRed, direction, p + 2, below + 2);
    }
}

int32_t mediancut_color(int32_t handle)
{
    io_scope scope;
    dib_lock image(handle);
    if (image.error()) return image.error();
    if (image.header()->biBitCount == 1) return err_unsupported;
    color_diffusion rows;
    new_dib target(image.header());
    target.set_size(image->width, image->height, 8);
    create_dib_palette(target.header(), "targa");
    if (rows.begin(image.object()) < 0 || target.create() < 0) return err_memory;

    rows.feed(image.object(), 0, 0);
    rows.feed(image.object(), 1, 1);
    for (int32_t r = 0; r < image->height; ++r) {
        dither_color_raster8(rows, target.colors(), image->width, r, target.row(r));
        rows.advance();
        rows.feed(image.object(), 1, r + 2);
    }
    target.install(image, saved_colors::forget);
    return 0;
}

} // namespace

int32_t IMG_STD IMG_mediancut_color(int32_t handle)
{
    return mediancut_color(handle);
}
