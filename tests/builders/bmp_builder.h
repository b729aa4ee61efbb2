// bmp_builder.h - bitmap files for tests, field by field.
#pragma once

#include "tests/support/codec.h"

struct bmp_builder {
    int32_t width = 1, height = 1;
    int bits = 8;
    uint32_t compression = 0;
    int32_t x_per_metre = 0, y_per_metre = 0;
    bool core = false;            // OS/2 header and 3-byte colours
    std::vector<uint32_t> colors; // 0xRRGGBB; a missing rest is black
    byte_vector data;
    uint32_t colors_used = 0;

    byte_vector build() const
    {
        byte_vector out;
        const auto put = [&out](uint64_t value, int bytes) { add_le(out, value, bytes); };
        const size_t entries = bits > 8 ? 0 : size_t{1} << bits;
        const uint32_t header = core ? 12 : 40;
        const size_t offset = 14 + header + entries * (core ? 3 : 4);
        out = {'B', 'M'};
        put(offset + data.size(), 4);
        put(0, 4);
        put(offset, 4);
        put(header, 4);
        put(static_cast<uint32_t>(width), core ? 2 : 4);
        put(static_cast<uint32_t>(height), core ? 2 : 4);
        put(1, 2);
        put(static_cast<uint32_t>(bits), 2);
        if (!core) {
            put(compression, 4);
            put(data.size(), 4);
            put(static_cast<uint32_t>(x_per_metre), 4);
            put(static_cast<uint32_t>(y_per_metre), 4);
            put(colors_used, 4);
            put(0, 4);
        }
        for (size_t i = 0; i < entries; ++i)
            put(i < colors.size() ? colors[i] : 0, core ? 3 : 4);
        out.insert(out.end(), data.begin(), data.end());
        return out;
    }
};
