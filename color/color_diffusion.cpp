// color_diffusion.cpp - the running values of the colour dithers.

#include "color/color_diffusion.h"

#include <cstring>
#include <utility>

int32_t color_diffusion::begin(const image_object& object)
{
    const size_t entries = size_t(object.width) * 4 + 2 * size_t{guard};
    if (!raster_.allocate(object.bytes_per_line)) return err_memory;
    if (!block_.allocate(entries * 2 * sizeof(uint16_t))) return err_memory;
    std::memset(block_.bytes(), 0, block_.size());
    for (size_t k = 0; k < 2; ++k)
        rows_[k] = block_.as<uint16_t>() + k * entries;
    return 0;
}

void color_diffusion::feed(const image_object& object, int32_t ahead, int32_t stored_row)
{
    fetch_color_raster(object, rows_[ahead] + guard, raster_.bytes(), object.dib, stored_row);
}

void color_diffusion::advance()
{
    std::swap(rows_[0], rows_[1]);
}
