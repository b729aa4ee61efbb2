// promote.cpp - the same picture with more bits per pixel.

#include "core/image.h"
#include "core/new_dib.h"

namespace {

int32_t index_of_pixel(const uint8_t* row, int32_t x, int32_t bits_per_pixel)
{
    if (bits_per_pixel == 1) return row[x / 8] >> (7 - (x & 7)) & 1;
    if (bits_per_pixel == 4) return x & 1 ? row[x / 2] & 15 : row[x / 2] >> 4;
    return row[x];
}

void convert_to_8bit(const uint8_t* from, uint8_t* to, const BITMAPINFOHEADER* header)
{
    if (header->biBitCount == 8) {
        std::memcpy(to, from, size_t(size_for_long(header->biWidth, 8)));
        return;
    }
    for (int32_t x = 0; x < header->biWidth; ++x)
        to[x] = static_cast<uint8_t>(index_of_pixel(from, x, header->biBitCount));
}

void convert_to_24bit(const uint8_t* from, uint8_t* to, const BITMAPINFOHEADER* header)
{
    for (int32_t x = 0; x < header->biWidth; ++x, to += 3) {
        const RGBQUAD& c = dib_colors(header)[index_of_pixel(from, x, header->biBitCount)];
        to[0] = c.rgbBlue;
        to[1] = c.rgbGreen;
        to[2] = c.rgbRed;
    }
}

template <class Convert> int32_t promote(int32_t handle, int32_t bits_per_pixel, Convert convert)
{
    dib_lock image(handle);
    if (image.error()) return image.error();
    if (image.header()->biBitCount == 24) return err_unsupported;
    new_dib target(image.header());
    target.set_size(image->width, image->height, bits_per_pixel);
    if (int32_t err = target.create(); err < 0) return err;
    for (int32_t r = 0; r < image->height; ++r)
        convert(image.row(r), target.row(r), image.header());
    target.install(image, saved_colors::forget);
    return 0;
}

} // namespace

// INTENDED: an 8-bit image is taken too and comes out the same in a new block.
int32_t IMG_STD IMG_promote_8(int32_t handle)
{
    return promote(handle, 8, convert_to_8bit);
}

int32_t IMG_STD IMG_promote_24(int32_t handle)
{
    return promote(handle, 24, convert_to_24bit);
}
