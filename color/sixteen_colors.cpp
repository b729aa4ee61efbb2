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

// All bits set when value is above the limit; no branch, since pixels are hard to predict.
int32_t mask_above(uint32_t value, int32_t limit)
{
    return (limit - static_cast<int32_t>(value)) >> 31;
}

// The levels of the three channels are chosen together: one above 220 makes all bright.
// Values are not clamped.
quantised_color quantise_sixteen(uint32_t blue_value, uint32_t green_value, uint32_t red_value)
{
    const int32_t is_bright =
        mask_above(blue_value, 220) | mask_above(green_value, 220) | mask_above(red_value, 220);
    const int32_t level = 128 + (is_bright & 127);
    int32_t index = is_bright & bright;
    const auto shares = [&](uint32_t value, int32_t bit) {
        const int32_t set = mask_above(value, 180);
        index |= set & bit;
        return color_shares(static_cast<int32_t>(value) - (set & level));
    };
    const uint64_t b = shares(blue_value, blue), g = shares(green_value, green),
                   r = shares(red_value, red);
    return {b, g, r, index};
}

// INTENDED: every row runs left to right.
void dither_color_raster(color_diffusion& rows, uint8_t* out)
{
    rows.dither(color_diffusion::travel::left_to_right, quantise_sixteen,
                [out](int32_t x, int32_t index) { put_nibble(out, x, index); });
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
        dither_color_raster(rows, target.row(r));
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
