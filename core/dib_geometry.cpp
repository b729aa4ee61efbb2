// dib_geometry.cpp - sizes of DIB rows, colour tables and whole DIBs.

#include "core/codec.h"

#include <cstring>

namespace {

// Row bytes in 64 bits, so that a size from a file cannot wrap before it is checked.
int64_t row_bytes(int64_t width, int32_t bits_per_pixel)
{
    int64_t bytes = width;
    if (bits_per_pixel == 1) bytes = (width + 7) / 8;
    if (bits_per_pixel == 4) bytes = (width + 1) / 2;
    if (bits_per_pixel == 24) bytes = width * 3;
    return (bytes + 3) & ~int64_t{3};
}

int64_t dib_bytes(int64_t width, int64_t height, int32_t bits_per_pixel)
{
    // The height is rounded up to a multiple of 4, so a little room follows the rows.
    const int64_t rows = (height + 3) & ~int64_t{3};
    return int64_t{sizeof(dib_header)} + row_bytes(width, bits_per_pixel) * rows;
}

int32_t crop_x_bytes(int32_t x, int32_t bits_per_pixel)
{
    switch (bits_per_pixel) {
    case 1: return (x + 7) / 8;
    case 4: return (x + 1) / 2;
    case 24: return x * 3;
    default: return x;
    }
}

} // namespace

int32_t size_for_long(int32_t width, int32_t bits_per_pixel)
{
    return static_cast<int32_t>(row_bytes(width, bits_per_pixel));
}

int32_t palette_entries(int32_t bits_per_pixel)
{
    return bits_per_pixel == 24 ? 0 : 1 << bits_per_pixel;
}

int32_t Palette_Size(const BITMAPINFOHEADER* header)
{
    return 4 * palette_entries(header->biBitCount);
}

bool dib_fits(int64_t width, int64_t height, int32_t bits_per_pixel)
{
    if (width <= 0 || height <= 0 || width > INT32_MAX || height > INT32_MAX) return false;
    if (bits_per_pixel != 1 && bits_per_pixel != 4 && bits_per_pixel != 8 && bits_per_pixel != 24)
        return false;
    // Neither factor exceeds 2^33, so a quotient decides without an overflow.
    if (row_bytes(width, bits_per_pixel) > INT32_MAX / ((height + 3) & ~int64_t{3})) return false;
    return dib_bytes(width, height, bits_per_pixel) <= INT32_MAX;
}

int32_t get_crop_start(const BITMAPINFOHEADER* header, int32_t* x, int32_t* y, int32_t width,
                       int32_t height, int32_t* stride)
{
    *stride = size_for_long(header->biWidth, header->biBitCount);
    *x = crop_x_bytes(*x, header->biBitCount);
    (void)width;
    *y = header->biHeight - (height + *y);
    return *y;
}

void dib_header::set(int32_t width, int32_t height, int32_t bits_per_pixel)
{
    std::memset(this, 0, sizeof *this);
    info.biSize = sizeof info;
    info.biWidth = width;
    info.biHeight = height;
    info.biPlanes = 1;
    info.biBitCount = static_cast<WORD>(bits_per_pixel);
    info.biSizeImage =
        static_cast<DWORD>(size_for_long(width, bits_per_pixel)) * static_cast<DWORD>(height);
}
