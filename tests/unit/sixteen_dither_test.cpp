// sixteen_dither_test.cpp - what the dots for 16-colour displays amount to.

#include "display/portable/sixteen_dither.h"

#include <gtest/gtest.h>
#include <vector>

TEST(sixteen_dither, dots_average_to_the_colour)
{
    dib_header sixteen{};
    get_sixteen_colors(sixteen);
    const uint8_t colors[][3] = {{255, 255, 255}, {0, 0, 0},     {128, 128, 128}, {40, 100, 60},
                                 {255, 0, 0},     {200, 30, 90}, {10, 250, 130},  {128, 0, 128}};
    for (const auto& c : colors)
        for (const int32_t bits : {8, 24}) {
            const RGBQUAD table[1] = {{c[0], c[1], c[2], 0}};
            // Eight pixels: of the colour, or of entry 0.
            std::vector<uint8_t> row(24, 0);
            for (size_t i = 0; bits == 24 && i < row.size(); ++i)
                row[i] = c[i % 3];
            int32_t sum[3] = {};
            for (uint32_t y = 0; y < 8; ++y) {
                uint8_t out[4];
                // Any columns; counters beyond 7 start the matrix again.
                sixteen_dither_row(row.data(), bits, table, {3, 11}, y + 80, out);
                for (int x = 0; x < 8; ++x) {
                    const RGBQUAD& q = sixteen.colors[x & 1 ? out[x / 2] & 15 : out[x / 2] >> 4];
                    sum[0] += q.rgbBlue;
                    sum[1] += q.rgbGreen;
                    sum[2] += q.rgbRed;
                }
            }
            for (int i = 0; i < 3; ++i)
                EXPECT_NEAR(sum[i] / 64.0, c[i], 5) << int{c[0]} << " " << int{c[1]};
        }
}
