// flip.cpp - mirrors in place, a row or a pair of rows at a time. Nothing of the image
// changes before all working memory is there.

#include "process/flip.h"

#include "core/image.h"
#include "process/crop_turns.h"
#include "process/mirror_rows.h"

#include <algorithm>
#include <cstring>

int32_t flip_bitmapx(int32_t handle)
{
    io_scope scope;
    dib_lock image(handle);
    if (image.error()) return image.error();
    const size_t row_bytes = image->bytes_per_line;
    scratch_block mirrored(row_bytes);
    if (!mirrored) return err_memory;
    // Padding comes out 0.
    std::memset(mirrored.bytes(), 0, row_bytes);
    flip_row* const flip = flip_row_of(image.header()->biBitCount);
    for (int32_t r = 0; r < image->height; ++r) {
        flip(mirrored.bytes(), image.row(r), image->width);
        std::memcpy(image.row(r), mirrored.bytes(), row_bytes);
    }
    mirror_crop_x(image.object());
    return 0;
}

int32_t flip_bitmapy(int32_t handle)
{
    dib_lock image(handle);
    if (image.error()) return image.error();
    const size_t row_bytes = image->bytes_per_line;
    for (int32_t low = 0, high = image->height - 1; low < high; ++low, --high)
        std::swap_ranges(image.row(low), image.row(low) + row_bytes, image.row(high));
    mirror_crop_y(image.object());
    return 0;
}

int32_t half_turn(int32_t handle)
{
    io_scope scope;
    dib_lock image(handle);
    if (image.error()) return image.error();
    const size_t row_bytes = image->bytes_per_line;
    scratch_block low_row(row_bytes), high_row(row_bytes);
    if (!low_row || !high_row) return err_memory;
    std::memset(low_row.bytes(), 0, row_bytes);
    std::memset(high_row.bytes(), 0, row_bytes);
    flip_row* const flip = flip_row_of(image.header()->biBitCount);
    // The middle row of an odd height meets itself.
    for (int32_t low = 0, high = image->height - 1; low <= high; ++low, --high) {
        flip(low_row.bytes(), image.row(low), image->width);
        flip(high_row.bytes(), image.row(high), image->width);
        std::memcpy(image.row(low), high_row.bytes(), row_bytes);
        std::memcpy(image.row(high), low_row.bytes(), row_bytes);
    }
    mirror_crop_x(image.object());
    mirror_crop_y(image.object());
    return 0;
}

int32_t IMG_STD IMG_flip_bitmapx(int32_t handle)
{
    return flip_bitmapx(handle);
}

int32_t IMG_STD IMG_flip_bitmapy(int32_t handle)
{
    return flip_bitmapy(handle);
}
