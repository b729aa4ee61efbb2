// new_dib.h - the DIB that an operation builds to take the place of an image's own. Nothing
// of the image changes until it is installed, so an operation that fails leaves no trace.
#pragma once

#include "core/image_object.h"

#include <cstring>

class new_dib {
public:
    /// Starts from an image's header and colour table; set_size() and create() follow.
    explicit new_dib(const BITMAPINFOHEADER* old)
    {
        std::memset(header_.colors, 0, sizeof header_.colors);
        std::memcpy(&header_, old, sizeof(BITMAPINFOHEADER) + size_t(Palette_Size(old)));
    }

    /// Sets size and depth; every other field, biClrUsed too, keeps its old value. INTENDED:
    /// a result with another colour count still carries the old one.
    void set_size(int32_t width, int32_t height, int32_t bits_per_pixel)
    {
        header_.info.biWidth = width;
        header_.info.biHeight = height;
        header_.info.biBitCount = static_cast<WORD>(bits_per_pixel);
        header_.info.biSizeImage =
            static_cast<DWORD>(size_for_long(width, bits_per_pixel)) * static_cast<DWORD>(height);
    }

    /// Header and colour table before create() copies them into the block.
    BITMAPINFOHEADER* header() { return &header_.info; }
    RGBQUAD* colors() { return header_.colors; }

    /// Allocates the zero-filled block and locks it.  0, or err_memory.
    int32_t create()
    {
        stride_ = size_for_long(header_.info.biWidth, header_.info.biBitCount);
        block_.reset(allocate_dib(&header_.info));
        auto* locked = block_ ? block_.lock<BITMAPINFOHEADER>() : nullptr;
        if (!locked) return err_memory;
        rows_ = dib_rows(locked);
        return 0;
    }

    int32_t stride() const { return stride_; }
    uint8_t* row(int32_t r) const { return rows_ + size_t(r) * size_t(stride_); }

    /// Gives the image this DIB; the lock on the old one ends.
    void install(dib_lock& image, saved_colors saved)
    {
        image.unlock();
        replace_dib(image.object(), block_.release(), header_.info, saved);
    }

private:
    dib_header header_;
    global_block block_;
    uint8_t* rows_ = nullptr;
    int32_t stride_ = 0;
};
