// scale_rows.cpp - see scale_rows.h.

#include "process/scale_rows.h"

#include <cstddef>
#include <cstring>

void scale_1raster(const uint8_t* from, uint8_t* to, uint64_t step, int32_t width, int32_t start)
{
    uint64_t position = static_cast<uint64_t>(start) << 16;
    const auto next = [&] {
        const uint64_t s = position >> 16;
        position += step;
        return from[s / 8] >> (7 - (s & 7)) & 1u;
    };
    for (int32_t x = 0; x < width; x += 8) {
        const int32_t count = width - x < 8 ? width - x : 8;
        uint32_t packed = 0;
        for (int32_t k = 0; k < count; ++k)
            packed = packed << 1 | next();
        *to++ = static_cast<uint8_t>(packed << (8 - count));
    }
    if (width % 8) --to;
    *to = static_cast<uint8_t>(*to | next() << (7 - width % 8));
}

void scale_4raster(const uint8_t* from, uint8_t* to, uint64_t step, int32_t width)
{
    uint64_t position = 0;
    const auto next = [&] {
        const uint64_t s = position >> 16;
        position += step;
        return s & 1 ? from[s / 2] & 15 : from[s / 2] >> 4;
    };
    for (int32_t i = 0; i < (width + 1) / 2; ++i) {
        const int32_t high = next();
        to[i] = static_cast<uint8_t>(high << 4 | next());
    }
}

void scale_8raster(const uint8_t* from, uint8_t* to, uint64_t step, int32_t width, int32_t first)
{
    uint64_t position = static_cast<uint64_t>(first) * step;
    for (int32_t x = first; x < width; ++x, position += step)
        to[x] = from[position >> 16];
}

void scale_24raster(const uint8_t* from, uint8_t* to, uint64_t step, int32_t width, int32_t first)
{
    uint64_t position = static_cast<uint64_t>(first) * step;
    to += 3 * size_t(first);
    for (int32_t x = first; x < width; ++x, position += step, to += 3)
        std::memcpy(to, from + 3 * (position >> 16), 3);
    if (width % 4) *to = from[3 * (static_cast<uint64_t>(width - 1) * step >> 16) + 3];
}
