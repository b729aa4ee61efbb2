// resize.cpp - nearest-neighbour scaling to a given size.

#include "core/image.h"
#include "core/new_dib.h"
#include "process/scale_rows.h"

namespace {

constexpr int32_t largest_side = 32767;

void scale_row(const uint8_t* from, uint8_t* to, uint64_t step, const BITMAPINFOHEADER* target)
{
    switch (target->biBitCount) {
    case 1: return scale_1raster(from, to, step, target->biWidth, 0);
    case 4: return scale_4raster(from, to, step, target->biWidth);
    case 8: return scale_8raster(from, to, step, target->biWidth);
    default: return scale_24raster(from, to, step, target->biWidth);
    }
}

// row: room for a source row and the bytes that the 4-bit routine may read behind it
void scale_rows(const dib_lock& image, new_dib& target, scratch_block& row)
{
    const int32_t height = target.header()->biHeight;
    const uint64_t step_x = scale_step(image->width, target.header()->biWidth);
    const uint64_t step_y = scale_step(image->height, height);
    int32_t fetched = -1;
    for (int32_t r = 0; r < height; ++r) {
        const auto source = static_cast<int32_t>(static_cast<uint64_t>(r) * step_y >> 16);
        if (source == fetched) {
            std::memcpy(target.row(r), target.row(r - 1), size_t(target.stride()));
            continue;
        }
        std::memcpy(row.bytes(), image.row(source), image->bytes_per_line);
        scale_row(row.bytes(), target.row(r), step_x, target.header());
        fetched = source;
    }
}

void show_all(image_object& object)
{
    object.display_width = object.crop_width = object.width;
    object.display_height = object.crop_height = object.height;
    object.crop_x = object.crop_y = 0;
}

int32_t resize_bitmap(int32_t handle, int32_t width, int32_t height)
{
    io_scope scope;
    dib_lock image(handle);
    if (image.error()) return image.error();
    if (width < 1 || height < 1 || width > largest_side || height > largest_side) return err_memory;
    constexpr size_t slack = 8;
    scratch_block row(image->bytes_per_line + slack);
    new_dib target(image.header());
    target.set_size(width, height, image.header()->biBitCount);
    if (!row || target.create() < 0) return err_memory;
    std::memset(row.bytes(), 0, row.size());
    scale_rows(image, target, row);
    target.install(image, saved_colors::keep);
    show_all(image.object());
    return 0;
}

} // namespace

int32_t IMG_STD IMG_resize_bitmap(int32_t handle, int32_t width, int32_t height)
{
    return resize_bitmap(handle, width, height);
}
