// targa_builder.h - Targa files for tests, field by field, and their run-length packets.
#pragma once

#include "tests/support/codec.h"

struct targa_builder {
    int type = 2, width = 1, height = 1, depth = 24, descriptor = 0;
    byte_vector id;
    int map_first = 0, map_length = 0, map_bits = 0;
    byte_vector map;
    byte_vector data;

    operator byte_vector() const
    {
        byte_vector out = {uint8_t(id.size()), uint8_t(!map.empty()), uint8_t(type)};
        add_le(out, {map_first, map_length}, 2);
        add_le(out, {map_bits}, 1);
        add_le(out, {0, 0, width, height}, 2);
        add_le(out, {depth, descriptor}, 1);
        for (const byte_vector* part : {&id, &map, &data})
            add_bytes(out, *part);
        return out;
    }
};

/// Packets of random kinds and lengths over whole pixels, without regard to rows.
template <class Random>
byte_vector targa_packets(const byte_vector& pixels, size_t bytes_per_pixel, Random& random)
{
    byte_vector out;
    const size_t count = pixels.size() / bytes_per_pixel;
    const auto at = [&](size_t pixel) {
        return pixels.begin() + static_cast<ptrdiff_t>(pixel * bytes_per_pixel);
    };
    for (size_t i = 0; i < count;) {
        const size_t longest = std::min<size_t>(count - i, 1 + random() % 128);
        size_t run = 1;
        while (run < longest && std::equal(at(i), at(i + 1), at(i + run)))
            ++run;
        const bool raw = run == 1 && random() % 4;
        const size_t taken = raw ? longest : run;
        out.push_back(uint8_t((raw ? 0 : 0x80) | (taken - 1)));
        out.insert(out.end(), at(i), at(i + (raw ? taken : 1)));
        i += taken;
    }
    return out;
}
