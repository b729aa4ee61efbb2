// crop.cpp - cuts an image down to a rectangle.

#include "core/new_dib.h"

namespace {

struct crop_rows {
    int32_t first_byte; // of a source row that holds the first column
    int32_t shift;      // bits of that byte in front of the first column
    int32_t bytes;      // of a cut row that hold pixels
    uint8_t last_mask;  // pixels of the last of them
    uint32_t source_bytes;
};

crop_rows plan_rows(int32_t x, int32_t width, int32_t bits, uint32_t source_bytes)
{
    const int64_t first_bit = int64_t{x} * bits;
    const int64_t used_bits = int64_t{width} * bits;
    const auto spare = static_cast<int32_t>(-used_bits & 7);
    return {static_cast<int32_t>(first_bit / 8), static_cast<int32_t>(first_bit % 8),
            static_cast<int32_t>((used_bits + 7) / 8), static_cast<uint8_t>(0xFF << spare),
            source_bytes};
}

void cut_row(const crop_rows& plan, const uint8_t* source, uint8_t* row)
{
    const uint8_t* from = source + plan.first_byte;
    if (plan.shift == 0) {
        std::memcpy(row, from, static_cast<size_t>(plan.bytes));
    } else {
        for (int32_t i = 0; i < plan.bytes; ++i) {
            const bool more = plan.first_byte + i + 1 < static_cast<int64_t>(plan.source_bytes);
            const int32_t pair = from[i] << 8 | (more ? from[i + 1] : 0);
            row[i] = static_cast<uint8_t>(pair >> (8 - plan.shift));
        }
    }
    row[plan.bytes - 1] &= plan.last_mask;
}

bool inside(const image_object& object, int32_t x, int32_t y, int32_t width, int32_t height)
{
    return x >= 0 && y >= 0 && width > 0 && height > 0 && width <= object.width - x &&
           height <= object.height - y;
}

} // namespace

int32_t IMG_STD IMGX_crop_bitmap(int32_t handle, int32_t x, int32_t y, int32_t width,
                                 int32_t height)
{
    dib_lock image(handle);
    if (image.error()) return image.error();
    if (!inside(image.object(), x, y, width, height)) return err_memory;

    const int32_t bits = image.header()->biBitCount;
    new_dib cut(image.header());
    cut.set_size(width, height, bits);
    if (int32_t err = cut.create(); err < 0) return err;
    const crop_rows plan = plan_rows(x, width, bits, image->bytes_per_line);
    const int32_t lowest = image->height - y - height;
    for (int32_t r = 0; r < height; ++r)
        cut_row(plan, image.row(lowest + r), cut.row(r));

    image_object& object = image.object();
    cut.install(image, saved_colors::forget);
    object.crop_x = object.crop_y = 0;
    object.crop_width = object.display_width = width;
    object.crop_height = object.display_height = height;
    return 0;
}
