// other_program.h - runs programs of netpbm, ImageMagick and the like, and reads and writes
// the portable pixel maps that they all understand.
#pragma once

#include "tests/support/images.h"

#include <cctype>
#include <cstdlib>
#include <string>
#include <vector>

/// Runs a shell command in the working directory. Fails the test when the command fails, or
/// says anything on standard error, which is how these programs warn.
inline void run_program(const std::string& command)
{
    const temp_file said(".log");
    const int code = std::system(("( " + command + " ) 2>" + said.name()).c_str());
    const byte_vector text = said.bytes();
    EXPECT_EQ(code, 0) << command;
    EXPECT_EQ(std::string(text.begin(), text.end()), "") << command;
}

/// A picture as colours 0xRRGGBB, top row first.
struct pixel_map {
    int32_t width = 0, height = 0;
    std::vector<uint32_t> colors;

    pixel_map() = default;
    pixel_map(int32_t w, int32_t h) : width(w), height(h), colors(size_t(w) * size_t(h)) {}
    uint32_t& at(int32_t x, int32_t y) { return colors[size_t(y) * size_t(width) + size_t(x)]; }
    uint32_t at(int32_t x, int32_t y) const
    {
        return colors[size_t(y) * size_t(width) + size_t(x)];
    }
};

/// Reads PBM, PGM or PPM in their raw forms with at most 8 bits; empty when it is none.
inline pixel_map read_pixel_map(const std::string& name)
{
    const byte_vector bytes = read_file(name);
    size_t at = 2;
    const auto number = [&] {
        while (at < bytes.size() && (std::isspace(bytes[at]) || bytes[at] == '#'))
            if (bytes[at++] == '#')
                while (at < bytes.size() && bytes[at] != '\n')
                    ++at;
        int32_t value = 0;
        while (at < bytes.size() && std::isdigit(bytes[at]))
            value = value * 10 + bytes[at++] - '0';
        return value;
    };
    if (bytes.size() < 8 || bytes[0] != 'P' || bytes[1] < '4' || bytes[1] > '6') return {};
    const int kind = bytes[1];
    const int32_t width = number();
    const int32_t height = number();
    const int32_t highest = kind == '4' ? 1 : number();
    ++at;
    pixel_map map(width, height);
    const size_t row_bytes = kind == '4'   ? size_t(width + 7) / 8
                             : kind == '5' ? size_t(width)
                                           : size_t(width) * 3;
    if (highest > 255 || bytes.size() < at + row_bytes * size_t(height)) return {};
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x) {
            const uint8_t* row = bytes.data() + at + row_bytes * size_t(y);
            const auto level = [&](uint8_t v) {
                return static_cast<uint32_t>((v * 255 + highest / 2) / highest);
            };
            if (kind == '4')
                map.at(x, y) = row[x / 8] >> (7 - x % 8) & 1 ? 0 : 0xFFFFFF;
            else if (kind == '5')
                map.at(x, y) = level(row[x]) * 0x010101;
            else
                map.at(x, y) =
                    level(row[3 * x]) << 16 | level(row[3 * x + 1]) << 8 | level(row[3 * x + 2]);
        }
    return map;
}

inline void write_pixel_map(const std::string& name, const pixel_map& map)
{
    const std::string head =
        "P6\n" + std::to_string(map.width) + " " + std::to_string(map.height) + "\n255\n";
    byte_vector bytes(head.begin(), head.end());
    for (const uint32_t color : map.colors)
        for (const int shift : {16, 8, 0})
            bytes.push_back(static_cast<uint8_t>(color >> shift));
    write_file(name, bytes);
}

/// Random pixels in short runs, out of so many colours that contain black and white.
inline pixel_map random_map(int32_t width, int32_t height, int colors, uint32_t seed)
{
    std::mt19937 random(seed);
    std::vector<uint32_t> table(size_t(colors), 0);
    for (uint32_t& color : table)
        color = random() & 0xFFFFFF;
    table[0] = 0;
    if (colors > 1) table[1] = 0xFFFFFF;
    pixel_map map(width, height);
    uint32_t value = 0;
    for (uint32_t& color : map.colors) {
        if (random() % 3 == 0) value = random();
        color = table[value % size_t(colors)];
    }
    return map;
}

inline void expect_same_pixels(const image_copy& ours, const pixel_map& theirs)
{
    ASSERT_EQ(ours.width, theirs.width);
    ASSERT_EQ(ours.height, theirs.height);
    for (int32_t y = 0; y < ours.height; ++y)
        for (int32_t x = 0; x < ours.width; ++x)
            ASSERT_EQ(ours.color(x, y), theirs.at(x, y)) << "at " << x << ", " << y;
}
