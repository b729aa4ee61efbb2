// peer_tools.h - other programs as processes, and the portable pixmaps they give and take.
#pragma once

#include "tests/support/images.h"

#include <cstdlib>

inline bool have_tool(const std::string& name)
{
    return std::system(("command -v " + name + " >/dev/null 2>&1").c_str()) == 0;
}

/// Runs a shell command quietly.  True when it exits with 0.
inline bool run_tool(const std::string& command)
{
    return std::system(("{ " + command + " ; } 2>/dev/null").c_str()) == 0;
}

/// Portable bitmap, greymap or pixmap (P4, P5, P6) of 8-bit samples.
inline picture read_pixmap(const std::string& name)
{
    const byte_vector bytes = read_file(name);
    size_t at = 2;
    const auto number = [&] {
        while (at < bytes.size() && (bytes[at] <= ' ' || bytes[at] == '#')) {
            const bool comment = bytes[at++] == '#';
            while (comment && at < bytes.size() && bytes[at] != '\n')
                ++at;
        }
        int32_t value = 0;
        while (at < bytes.size() && bytes[at] > ' ')
            value = value * 10 + bytes[at++] - '0';
        return value;
    };
    if (bytes.size() < 8 || bytes[0] != 'P') return {};
    const int32_t width = number(), height = number();
    const bool bilevel = bytes[1] == '4';
    if (!bilevel) number();
    ++at;
    const int32_t step = bytes[1] == '6' ? 3 : 1;
    const int32_t stride = bilevel ? (width + 7) / 8 : width * step;
    if (bytes.size() < at + size_t(stride) * size_t(height)) return {};
    return each_pixel(width, height, 24, {}, [&](int32_t x, int32_t y) {
        const uint8_t* p = &bytes[at + size_t(y * stride + (bilevel ? x / 8 : x * step))];
        if (bilevel) return *p >> (7 - x % 8) & 1 ? 0 : 0xFFFFFFu;
        return rgb(p[0], p[step / 2], p[step - 1]);
    });
}

inline void write_pixmap(const std::string& name, const picture& map)
{
    const std::string head =
        "P6\n" + std::to_string(map.width) + " " + std::to_string(map.height) + "\n255\n";
    byte_vector bytes(head.begin(), head.end());
    for (uint32_t c : colors_of(map))
        bytes.insert(bytes.end(), {uint8_t(c >> 16), uint8_t(c >> 8), uint8_t(c)});
    write_file(name, bytes);
}

/// What the library reads from a file; empty where it refuses.
inline picture load_picture(const std::string& name)
{
    return copy_image(image_guard(IMG_decompress_bitmap(name.c_str())));
}

inline bool same_colors(const picture& a, const picture& b)
{
    return a.width == b.width && a.height == b.height && colors_of(a) == colors_of(b);
}
