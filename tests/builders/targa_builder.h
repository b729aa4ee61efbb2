// targa_builder.h - Targa files for tests, field by field, and their run-length packets.
#pragma once

#include "tests/support/temp_file.h"

#include <algorithm>

struct targa_builder {
    int type = 2, width = 1, height = 1, depth = 24, descriptor = 0;
    byte_vector id;
    int map_type = 0, map_first = 0, map_length = 0, map_bits = 0;
    byte_vector map;
    byte_vector data;

    byte_vector build() const
    {
        byte_vector out;
        const auto put = [&out](int value, int bytes) {
            for (int i = 0; i < bytes; ++i)
                out.push_back(static_cast<uint8_t>(value >> 8 * i));
        };
        put(static_cast<int>(id.size()), 1);
        put(map_type, 1);
        put(type, 1);
        put(map_first, 2);
        put(map_length, 2);
        put(map_bits, 1);
        put(0, 4);
        put(width, 2);
        put(height, 2);
        put(depth, 1);
        put(descriptor, 1);
        for (const byte_vector* part : {&id, &map, &data})
            out.insert(out.end(), part->begin(), part->end());
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
        const size_t pixels_taken = raw ? longest : run;
        out.push_back(static_cast<uint8_t>((raw ? 0 : 0x80) | (pixels_taken - 1)));
        out.insert(out.end(), at(i), at(i + (raw ? pixels_taken : 1)));
        i += pixels_taken;
    }
    return out;
}

/// Packets back to pixels; stops_at_rows tells whether none left a row of width pixels.
inline byte_vector targa_unpack(const byte_vector& packets, size_t from, size_t bytes_per_pixel,
                                size_t width, bool& stops_at_rows)
{
    byte_vector out;
    stops_at_rows = true;
    for (size_t i = from; i < packets.size();) {
        const size_t count = (packets[i] & 127u) + 1;
        const bool run = packets[i++] & 128;
        if (out.size() / bytes_per_pixel % width + count > width) stops_at_rows = false;
        const size_t bytes = run ? bytes_per_pixel : count * bytes_per_pixel;
        if (i + bytes > packets.size()) break;
        for (size_t k = 0; k < count * bytes_per_pixel; ++k)
            out.push_back(packets[i + (run ? k % bytes_per_pixel : k)]);
        i += bytes;
    }
    return out;
}
