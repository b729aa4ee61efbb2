// grey_source_test.cpp - grey of every 24-bit colour by each rule.

#include "color/grey_source.h"

#include <gtest/gtest.h>
#include <vector>

TEST(grey_source, gives_every_colour_its_grey)
{
    constexpr int32_t width = 65536 + 5; // ends behind the last group of sixteen
    dib_header header;
    header.set(width, 1, 24);
    std::vector<uint8_t> row(size_t{3} * width), grey(width);
    for (uint32_t red = 0; red < 256; ++red) {
        for (size_t x = 0; x < width; ++x) {
            row[3 * x] = x;
            row[3 * x + 1] = x >> 8;
            row[3 * x + 2] = red;
        }
        for (grey_rule rule : {grey_rule::percent, grey_rule::color_row}) {
            grey_source(&header.info, rule).fetch_gray_raster(row.data(), grey.data(), width);
            for (size_t x = 0; x < width; ++x) {
                const uint8_t* p = &row[3 * x];
                ASSERT_EQ(grey[x], rule == grey_rule::percent
                                       ? (30 * red + 59 * p[1] + 11 * p[0]) / 100
                                       : grey_of_pixel(p[0], p[1], p[2]));
            }
        }
    }
}
