// mirror_rows.cpp - see mirror_rows.h.

#include "process/mirror_rows.h"

#include <cstddef>
#include <cstring>

void flip_1bit(uint8_t* to, const uint8_t* from, int32_t width)
{
    for (int32_t x = 0; x < width; ++x) {
        const int32_t s = width - 1 - x;
        if ((x & 7) == 0) to[x / 8] = 0;
        if (from[s / 8] & 0x80 >> (s & 7)) to[x / 8] |= static_cast<uint8_t>(0x80 >> (x & 7));
    }
}

void flip_4bit(uint8_t* to, const uint8_t* from, int32_t width)
{
    for (int32_t x = 0; x < width; ++x) {
        const int32_t s = width - 1 - x;
        const int32_t index = s & 1 ? from[s / 2] & 15 : from[s / 2] >> 4;
        to[x / 2] = static_cast<uint8_t>(x & 1 ? to[x / 2] | index : index << 4);
    }
}

void flip_8bit(uint8_t* to, const uint8_t* from, int32_t width)
{
    for (int32_t x = 0; x < width; ++x)
        to[x] = from[width - 1 - x];
}

void flip_24bit(uint8_t* to, const uint8_t* from, int32_t width)
{
    from += 3 * size_t(width);
    for (int32_t x = 0; x < width; ++x, to += 3)
        std::memcpy(to, from -= 3, 3);
}

flip_row* flip_row_of(int32_t bits_per_pixel)
{
    switch (bits_per_pixel) {
    case 1: return flip_1bit;
    case 4: return flip_4bit;
    case 8: return flip_8bit;
    default: return flip_24bit;
    }
}
