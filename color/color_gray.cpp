// color_gray.cpp - an 8-bit grey picture from 4, 8 or 24 bits.
//
// INTENDED: without true tones grey comes from the colour row, so an 8-bit grey picture gets
// 40 levels darker with every conversion and bright 24-bit pixels follow their signed widening.

#include "color/color_gray.h"

#include "color/grey_source.h"
#include "core/image.h"

int32_t make_gray_dib(const dib_lock& image, new_dib& target)
{
    target.set_size(image->width, image->height, 8);
    create_dib_palette(target.header(), "tiff");
    if (int32_t err = target.create(); err < 0) return err;
    const grey_source grey(image.header(), present_grey_rule());
    for (int32_t r = 0; r < image->height; ++r)
        grey.fetch_gray_raster(image.row(r), target.row(r), image->width);
    return 0;
}

int32_t color_gray(int32_t handle)
{
    dib_lock image(handle);
    if (image.error()) return image.error();
    if (image.header()->biBitCount == 1) return err_unsupported;
    new_dib target(image.header());
    if (int32_t err = make_gray_dib(image, target); err < 0) return err;
    target.install(image, saved_colors::forget);
    return 0;
}

int32_t IMG_STD IMG_color_gray(int32_t handle)
{
    return color_gray(handle);
}
