// print_rows_test.cpp - dots for printers and 16-colour displays beside plain computations.

#include "display/portable/print_rows.h"

#include "color/grey_source.h"
#include "display/portable/sixteen_dither.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

constexpr tone_table inverted = [] {
    tone_table table{};
    for (size_t i = 0; i < 256; ++i)
        table[i] = static_cast<uint8_t>(255 - i);
    return table;
}();

// Stored rows of 77 x 41 pixels, a grey of 8 bits each.
std::vector<uint8_t> grey_rows()
{
    std::vector<uint8_t> rows(80 * 41);
    for (size_t i = 0; i < rows.size(); ++i)
        rows[i] = static_cast<uint8_t>(i * 5 + i / 97);
    return rows;
}

} // namespace

TEST(print_rows, fall_as_on_the_whole_picture_however_little_is_seen)
{
    const std::vector<uint8_t> rows = grey_rows();
    dib_header header{};
    for (size_t i = 0; i < 256; ++i)
        header.colors[i].rgbBlue = header.colors[i].rgbGreen = header.colors[i].rgbRed =
            static_cast<BYTE>(i);
    const stretch_axis across = make_axis(0, 77, 77, 0, 77), down = make_axis(0, 41, 41, 0, 41);
    const struct {
        print_dither dither;
        const threshold_matrix& matrix;
        pixel_span columns, rows;
    } cases[] = {{print_dither::halftone, halftone_matrix, {0, 77}, {0, 41}},
                 {print_dither::ordered, bayer_matrix, {0, 77}, {0, 41}},
                 {print_dither::halftone, halftone_matrix, {5, 60}, {3, 30}}};
    for (const auto& c : cases) {
        print_rows printed;
        const source_image image{rows.data(), header.colors, 77, 41, 8, 80};
        ASSERT_EQ(printed.prepare(image, {across, down, c.columns, c.rows}, inverted, c.dither), 0);
        std::vector<uint8_t> dots(printed.bytes_per_line());
        for (int32_t stored = 41 - c.rows.end; stored < 41 - c.rows.begin; ++stored) {
            printed.next(dots.data());
            for (int32_t x = c.columns.begin; x < c.columns.end; ++x) {
                const uint8_t level = rows[static_cast<size_t>(stored * 80 + x)];
                const int32_t i = x - c.columns.begin;
                ASSERT_EQ(dots[static_cast<size_t>(i / 8)] >> (7 - i % 8) & 1,
                          c.matrix.at(x, stored) < inverted[grey_percent(level, level, level)])
                    << x << "," << stored;
            }
        }
    }
}

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
