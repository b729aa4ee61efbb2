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

/// A picture as colours 0xRRGGBB, top row first; empty where there is none.
struct pixmap {
    int32_t width = 0, height = 0;
    std::vector<uint32_t> colors;
    bool operator==(const pixmap&) const = default;
};

/// Portable bitmap, greymap or pixmap (P4, P5, P6) of 8-bit samples.
inline pixmap read_pixmap(const std::string& name)
{
    const byte_vector bytes = read_file(name);
    pixmap map;
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
    if (bytes.size() < 8 || bytes[0] != 'P') return map;
    map.width = number();
    map.height = number();
    if (bytes[1] != '4') number();
    ++at;
    const size_t step = bytes[1] == '6' ? 3 : 1;
    const size_t width = static_cast<size_t>(map.width);
    const size_t row_bytes = bytes[1] == '4' ? (width + 7) / 8 : width * step;
    if (bytes.size() < at + row_bytes * static_cast<size_t>(map.height)) return {};
    for (int32_t y = 0; y < map.height; ++y, at += row_bytes)
        for (size_t x = 0; x < width; ++x) {
            const uint8_t* p = &bytes[at + (bytes[1] == '4' ? x / 8 : x * step)];
            if (bytes[1] == '4')
                map.colors.push_back(*p >> (7 - x % 8) & 1 ? 0 : 0xFFFFFF);
            else
                map.colors.push_back(uint32_t{p[0]} << 16 | uint32_t{p[step / 2]} << 8 |
                                     p[step - 1]);
        }
    return map;
}

inline void write_pixmap(const std::string& name, const pixmap& map)
{
    const std::string head =
        "P6\n" + std::to_string(map.width) + " " + std::to_string(map.height) + "\n255\n";
    byte_vector bytes(head.begin(), head.end());
    for (uint32_t c : map.colors)
        bytes.insert(bytes.end(), {static_cast<uint8_t>(c >> 16), static_cast<uint8_t>(c >> 8),
                                   static_cast<uint8_t>(c)});
    write_file(name, bytes);
}

inline pixmap pixmap_of(const image_copy& image)
{
    pixmap map{image.width, image.height, {}};
    for (int32_t y = 0; y < image.height; ++y)
        for (int32_t x = 0; x < image.width; ++x)
            map.colors.push_back(image.color(x, y));
    return map;
}

/// What the library reads from a file; empty where it refuses.
inline pixmap load_pixmap(const std::string& name)
{
    const image_guard image(IMG_decompress_bitmap(name.c_str()));
    return image < 0 ? pixmap{} : pixmap_of(copy_image(image));
}
