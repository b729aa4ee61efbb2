// transpose.cpp - see transpose.h.

#include "process/transpose.h"

#include <cstring>

void rotate_1raster(const transposition& t)
{
    for (int32_t y = 0; y < t.height; ++y) {
        const uint8_t* from = t.source_row(y);
        for (int32_t x = 0; x < t.width; ++x)
            if (from[x / 8] & 0x80 >> (x & 7))
                t.target_row(x)[y / 8] |= static_cast<uint8_t>(0x80 >> (y & 7));
    }
}

void rotate_4raster(const transposition& t)
{
    for (int32_t y = 0; y < t.height; ++y) {
        const uint8_t* from = t.source_row(y);
        for (int32_t x = 0; x < t.width; ++x) {
            const int32_t index = x & 1 ? from[x / 2] & 15 : from[x / 2] >> 4;
            t.target_row(x)[y / 2] |= static_cast<uint8_t>(y & 1 ? index : index << 4);
        }
    }
}

void rotate_8raster(const transposition& t)
{
    for (int32_t y = 0; y < t.height; ++y) {
        const uint8_t* from = t.source_row(y);
        for (int32_t x = 0; x < t.width; ++x)
            t.target_row(x)[y] = from[x];
    }
}

void rotate_24raster(const transposition& t)
{
    for (int32_t y = 0; y < t.height; ++y) {
        const uint8_t* from = t.source_row(y);
        for (int32_t x = 0; x < t.width; ++x)
            std::memcpy(t.target_row(x) + 3 * size_t(y), from + 3 * size_t(x), 3);
    }
}

void rotate_dib_low(const transposition& t, int32_t bits_per_pixel)
{
    switch (bits_per_pixel) {
    case 1: return rotate_1raster(t);
    case 4: return rotate_4raster(t);
    case 8: return rotate_8raster(t);
    case 24: return rotate_24raster(t);
    default: return;
    }
}
