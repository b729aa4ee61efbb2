// resize.cpp - nearest-neighbour scaling to a given size.

#include "core/image.h"
#include "core/new_dib.h"
#include "process/scale_rows.h"
#include "process/scale_shuffle.h"

namespace {

constexpr int32_t largest_side = 32767;

// What stays the same for all rows of one resize.
class row_scaler {
public:
    int32_t begin(const dib_lock& image, const BITMAPINFOHEADER* target)
    {
        bits_ = target->biBitCount;
        width_ = target->biWidth;
        step_ = scale_step(image->width, width_);
        // Room for the bytes that the routines may read behind a row.
        constexpr size_t slack = 16;
        row_bytes_ = image->bytes_per_line;
        if (!row_.allocate(row_bytes_ + slack)) return err_memory;
        std::memset(row_.bytes(), 0, row_.size());
        if (bits_ == 1) {
            bits_bytes_ = static_cast<size_t>(size_for_long(width_, 1));
            if (!bits_row_.allocate(bits_bytes_ + 1)) return err_memory;
            std::memset(bits_row_.bytes(), 0, bits_row_.size());
        }
        return bits_ < 8 ? 0 : shuffle_.begin(bits_ / 8, step_, width_);
    }

    void scale(const uint8_t* from, uint8_t* to)
    {
        std::memcpy(row_.bytes(), from, row_bytes_);
        from = row_.bytes();
        switch (bits_) {
        case 1:
            scale_1raster(from, bits_row_.bytes(), step_, width_, 0);
            std::memcpy(to, bits_row_.bytes(), bits_bytes_);
            return;
        case 4: return scale_4raster(from, to, step_, width_);
        case 8: return scale_8raster(from, to, step_, width_, shuffle_.scale(from, to));
        default: return scale_24raster(from, to, step_, width_, shuffle_.scale(from, to));
        }
    }

private:
    int32_t bits_ = 0, width_ = 0;
    uint64_t step_ = 0;
    size_t row_bytes_ = 0;
    scratch_block row_;
    // One row of bits for the whole picture: what a row leaves in its padding stays there.
    size_t bits_bytes_ = 0;
    scratch_block bits_row_;
    scale_shuffle shuffle_;
};

void scale_rows(const dib_lock& image, new_dib& target, row_scaler& scaler)
{
    const int32_t height = target.header()->biHeight;
    const uint64_t step_y = scale_step(image->height, height);
    int32_t fetched = -1;
    for (int32_t r = 0; r < height; ++r) {
        const auto source = static_cast<int32_t>(static_cast<uint64_t>(r) * step_y >> 16);
        if (source == fetched)
            std::memcpy(target.row(r), target.row(r - 1), size_t(target.stride()));
        else
            scaler.scale(image.row(source), target.row(r));
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
    row_scaler scaler;
    new_dib target(image.header());
    target.set_size(width, height, image.header()->biBitCount);
    if (scaler.begin(image, target.header()) < 0 || target.create() < 0) return err_memory;
    scale_rows(image, target, scaler);
    target.install(image, saved_colors::keep);
    show_all(image.object());
    return 0;
}

} // namespace

int32_t IMG_STD IMG_resize_bitmap(int32_t handle, int32_t width, int32_t height)
{
    return resize_bitmap(handle, width, height);
}
