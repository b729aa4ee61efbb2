// flip.cpp - mirrors in place, a row or a pair of rows at a time. Nothing of the image
// changes before all working memory is there.

#include "process/flip.h"

#include "core/image.h"
#include "process/crop_turns.h"
#include "process/mirror_rows.h"

#include <algorithm>
#include <cstring>

namespace {

// Mirrors rows of one image. The padding of what it writes is 0.
class row_mirror {
public:
    explicit row_mirror(const dib_lock& image)
        : flip_(flip_row_of(image.header()->biBitCount)), width_(image->width),
          row_bytes_(image->bytes_per_line),
          used_bytes_((size_t(width_) * image.header()->biBitCount + 7) / 8), copy_(row_bytes_)
    {
    }

    explicit operator bool() const { return static_cast<bool>(copy_); }

    /// Different rows.
    void put(uint8_t* to, const uint8_t* from) const
    {
        flip_(to, from, width_);
        std::memset(to + used_bytes_, 0, row_bytes_ - used_bytes_);
    }
    void put_in_place(uint8_t* row) const
    {
        std::memcpy(copy_.bytes(), row, row_bytes_);
        put(row, copy_.bytes());
    }
    void exchange(uint8_t* a, uint8_t* b) const
    {
        std::memcpy(copy_.bytes(), a, row_bytes_);
        put(a, b);
        put(b, copy_.bytes());
    }

private:
    flip_row* flip_;
    int32_t width_;
    size_t row_bytes_, used_bytes_;
    scratch_block copy_;
};

} // namespace

int32_t flip_bitmapx(int32_t handle)
{
    io_scope scope;
    dib_lock image(handle);
    if (image.error()) return image.error();
    const row_mirror mirror(image);
    if (!mirror) return err_memory;
    for (int32_t r = 0; r < image->height; ++r)
        mirror.put_in_place(image.row(r));
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
    const row_mirror mirror(image);
    if (!mirror) return err_memory;
    int32_t low = 0, high = image->height - 1;
    for (; low < high; ++low, --high)
        mirror.exchange(image.row(low), image.row(high));
    if (low == high) mirror.put_in_place(image.row(low));
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
