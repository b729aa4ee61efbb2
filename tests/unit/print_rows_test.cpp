// print_rows_test.cpp - dots for printers and 16-colour displays beside plain computations.

#include "display/portable/print_rows.h"

#include "color/grey_source.h"
#include "display/portable/sixteen_dither.h"

#include <array>
#include <gtest/gtest.h>
#include <vector>

namespace {

constexpr tone_table straight = [] {
    tone_table table{};
    for (size_t i = 0; i < 256; ++i)
        table[i] = static_cast<uint8_t>(i);
    return table;
}();

// 8 bits, grey ramp; a diagonal of all levels.
struct ramp_image {
    dib_header header;
    std::vector<uint8_t> rows;

    ramp_image(int32_t width, int32_t height)
    {
        header.set(width, height, 8);
        for (size_t i = 0; i < 256; ++i) {
            const auto v = static_cast<BYTE>(i);
            header.colors[i] = {v, v, v, 0};
        }
        rows.resize(header.info.biSizeImage);
        for (size_t i = 0; i < rows.size(); ++i)
            rows[i] = static_cast<uint8_t>(i * 5 + i / 97);
    }
    source_image source() const
    {
        return {rows.data(),
                header.colors,
                header.info.biWidth,
                header.info.biHeight,
                8,
                static_cast<uint32_t>(size_for_long(header.info.biWidth, 8))};
    }
};

stretch_plan plan_of(const source_image& image, pixel_span columns, pixel_span rows)
{
    return {make_axis(0, image.width, image.width, 0, image.width),
            make_axis(0, image.height, image.height, 0, image.height), columns, rows};
}

// The rows of a plan, the lowest first.
std::vector<std::vector<uint8_t>> all_dots(const source_image& image, const stretch_plan& plan,
                                           const tone_table& tone, print_dither dither)
{
    print_rows rows;
    EXPECT_EQ(rows.prepare(image, plan, tone, dither), 0);
    std::vector<std::vector<uint8_t>> dots;
    for (int32_t y = plan.rows.begin; y < plan.rows.end; ++y) {
        dots.emplace_back(rows.bytes_per_line());
        rows.next(dots.back().data());
    }
    return dots;
}

bool dot(const std::vector<uint8_t>& row, int32_t x)
{
    return row[static_cast<size_t>(x) / 8] >> (7 - x % 8) & 1;
}

} // namespace

TEST(print_rows, thresholds_fall_as_on_the_whole_picture)
{
    const ramp_image image(77, 41);
    tone_table inverted{};
    for (size_t i = 0; i < 256; ++i)
        inverted[i] = static_cast<uint8_t>(255 - i);
    const struct {
        print_dither dither;
        const threshold_matrix& matrix;
        const tone_table& tone;
        pixel_span columns, rows;
    } cases[] = {
        {print_dither::halftone, halftone_matrix, straight, {0, 77}, {0, 41}},
        {print_dither::ordered, bayer_matrix, straight, {0, 77}, {0, 41}},
        {print_dither::halftone, halftone_matrix, inverted, {0, 77}, {0, 41}},
        {print_dither::ordered, bayer_matrix, straight, {5, 60}, {3, 30}},
    };
    for (const auto& c : cases) {
        const stretch_plan plan = plan_of(image.source(), c.columns, c.rows);
        const auto dots = all_dots(image.source(), plan, c.tone, c.dither);
        for (int32_t i = 0; i < c.rows.end - c.rows.begin; ++i) {
            const int32_t stored = 40 - (c.rows.end - 1 - i);
            for (int32_t x = c.columns.begin; x < c.columns.end; ++x) {
                const uint8_t level = image.rows[static_cast<size_t>(stored * 80 + x)];
                ASSERT_EQ(dot(dots[static_cast<size_t>(i)], x - c.columns.begin),
                          c.matrix.at(x, stored) < c.tone[grey_percent(level, level, level)])
                    << x << "," << stored;
            }
        }
    }
}

TEST(print_rows, diffusion_keeps_the_mean_of_dark_and_light)
{
    // Wrapped running values would turn the dark side white.
    ramp_image image(256, 64);
    for (size_t i = 0; i < image.rows.size(); ++i)
        image.rows[i] = static_cast<uint8_t>(i % 256 / 64 * 40 + 20);
    const auto dots = all_dots(image.source(), plan_of(image.source(), {0, 256}, {0, 64}), straight,
                               print_dither::diffusion);
    for (int32_t quarter = 0; quarter < 4; ++quarter) {
        int32_t white = 0;
        for (const auto& row : dots)
            for (int32_t x = 64 * quarter; x < 64 * quarter + 64; ++x)
                white += dot(row, x) ? 1 : 0;
        EXPECT_NEAR(white * 255.0 / (64 * 64), 40 * quarter + 20, 8) << quarter;
    }
}

TEST(print_rows, pages_keep_black_and_white_at_their_own_size)
{
    dib_header header;
    header.set(19, 3, 1);
    header.colors[1] = {255, 255, 255, 0};
    const std::vector<uint8_t> rows = {0xA5, 0x3C, 0xE0, 0,    0x00, 0xFF,
                                       0x20, 0,    0x12, 0x34, 0x40, 0};
    const source_image image{rows.data(), header.colors, 19, 3, 1, 4};
    for (const auto dither :
         {print_dither::halftone, print_dither::ordered, print_dither::diffusion}) {
        const auto dots = all_dots(image, plan_of(image, {0, 19}, {0, 3}), straight, dither);
        for (size_t r = 0; r < 3; ++r)
            EXPECT_EQ(dots[r], std::vector<uint8_t>(rows.begin() + static_cast<long>(4 * r),
                                                    rows.begin() + static_cast<long>(4 * r + 4)));
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
            std::vector<uint8_t> row;
            dib_header table{};
            table.colors[7] = {c[0], c[1], c[2], 0};
            for (int x = 0; x < 8; ++x) {
                if (bits == 8)
                    row.push_back(7);
                else
                    row.insert(row.end(), c, c + 3);
            }
            int32_t sum[3] = {};
            for (uint32_t y = 0; y < 8; ++y) {
                uint8_t out[4];
                // Any columns; counters beyond 7 start the matrix again.
                sixteen_dither_row(row.data(), bits, table.colors, {3, 11}, y + 80, out);
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
