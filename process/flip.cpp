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
        : flip_(flip_row_of(image.header()->biBitCount)),
          exchange_(exchange_rows_of(image.header()->biBitCount, image->width)),
          width_(image->width), row_bytes_(image->bytes_per_line),
          used_bytes_((size_t(width_) * image.header()->biBitCount + 7) / 8), copy_(row_bytes_)
    {
    }

    explicit operator bool() const { return static_cast<bool>(copy_); }

    /// Mirrors two rows into each other's place, or one in its own.
    void exchange(uint8_t* a, uint8_t* b) const
    {
        if (exchange_) {
            exchange_(a, b, width_);
        } else {
            std::memcpy(copy_.bytes(), a, row_bytes_);
            if (a != b) flip_(a, b, width_);
            flip_(b, copy_.bytes(), width_);
        }
        std::memset(a + used_bytes_, 0, row_bytes_ - used_bytes_);
        std::memset(b + used_bytes_, 0, row_bytes_ - used_bytes_);
    }

private:
    flip_row* flip_;
    exchange_rows* exchange_;
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
        mirror.exchange(image.row(r), image.row(r));
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
    for (; low <= high; ++low, --high)
        mirror.exchange(image.row(low), image.row(high));
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
