// grey_source_test.cpp - grey of every 24-bit colour by both rules, wide against single pixels.

#include "color/grey_source.h"

#include <gtest/gtest.h>
#include <vector>

TEST(grey_source, gives_every_colour_its_grey)
{
    constexpr int32_t width = 65536 + 5; // ends behind the last group of sixteen
    dib_header header;
    header.set(width, 1, 24);
    const grey_source percent(&header.info, grey_rule::percent);
    const grey_source of_row(&header.info, grey_rule::color_row);
    std::vector<uint8_t> row(size_t{3} * width), grey(width);
    for (int32_t red = 0; red < 256; ++red) {
        for (size_t x = 0; x < width; ++x) {
            row[3 * x] = static_cast<uint8_t>(x);
            row[3 * x + 1] = static_cast<uint8_t>(x >> 8);
            row[3 * x + 2] = static_cast<uint8_t>(red);
        }
        percent.fetch_gray_raster(row.data(), grey.data(), width);
        for (size_t x = 0; x < width; ++x)
            ASSERT_EQ(grey[x], (30 * red + 59 * row[3 * x + 1] + 11 * row[3 * x]) / 100);
        of_row.fetch_gray_raster(row.data(), grey.data(), width);
        for (size_t x = 0; x < width; ++x)
            ASSERT_EQ(grey[x], grey_of_pixel(row[3 * x], row[3 * x + 1], row[3 * x + 2]));
    }
}
