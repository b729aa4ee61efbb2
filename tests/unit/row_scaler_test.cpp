// row_scaler_test.cpp - scaled rows beside a plain pixel-by-pixel computation.

#include "display/portable/row_scaler.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

namespace {

struct test_image {
    dib_header header;
    std::vector<uint8_t> rows; // the exact size, so that the sanitizer sees reads beyond it

    test_image(int32_t width, int32_t height, int32_t bits)
    {
        header.set(width, height, bits);
        rows.resize(header.info.biSizeImage);
        std::mt19937 random(static_cast<uint32_t>(width * 31 + height * 7 + bits));
        for (uint8_t& b : rows)
            b = static_cast<uint8_t>(random());
    }
    source_image source() const
    {
        const BITMAPINFOHEADER& i = header.info;
        return {rows.data(), header.colors, i.biWidth,
                i.biHeight,  i.biBitCount,  i.biSizeImage / static_cast<uint32_t>(i.biHeight)};
    }
};

uint32_t pixel(const uint8_t* row, int32_t x, int32_t bits)
{
    switch (bits) {
    case 1: return row[x / 8] >> (7 - x % 8) & 1U;
    case 4: return x % 2 ? row[x / 2] & 15U : row[x / 2] >> 4U;
    case 24: return row[3 * x] | row[3 * x + 1] << 8U | static_cast<uint32_t>(row[3 * x + 2]) << 16;
    default: return row[x];
    }
}

uint32_t image_pixel(const source_image& image, int32_t x, int32_t y)
{
    return pixel(image.rows + static_cast<size_t>(image.height - 1 - y) * image.bytes_per_line, x,
                 image.bits_per_pixel);
}

// Device edges in falling order mirror the axis.
struct stretch_case {
    const char* what;
    int32_t image_width, image_height;
    int32_t x, y, width, height;
    int32_t left, top, right, bottom;
    pixel_span clip_columns{-10000, 10000}, clip_rows{-10000, 10000};
};

const stretch_case stretch_cases[] = {
    {"one to one", 37, 11, 0, 0, 37, 11, 5, 6, 42, 17},
    {"one to one from inside a byte", 70, 9, 3, 2, 59, 5, 0, 0, 59, 5},
    {"enlarged", 13, 7, 2, 1, 9, 5, -4, -3, 40, 38},
    {"shrunk", 301, 203, 5, 7, 290, 190, 10, 20, 57, 61},
    {"shrunk a lot", 400, 300, 0, 0, 400, 300, 0, 0, 3, 2},
    {"to one pixel", 200, 100, 0, 0, 200, 100, 0, 0, 1, 1},
    {"wide and low", 50, 200, 0, 0, 50, 200, 0, 0, 120, 17},
    {"narrow and tall", 200, 20, 0, 0, 200, 20, 0, 0, 23, 90},
    {"mirrored across", 100, 40, 10, 5, 80, 30, 60, 0, 20, 15},
    {"mirrored down", 100, 40, 10, 5, 80, 30, 0, 77, 33, 0},
    {"crop past the right and bottom", 60, 50, 40, 30, 60, 50, 0, 0, 30, 25},
    {"crop before the left and top", 60, 50, -30, -10, 60, 50, 0, 0, 90, 75},
    {"clipped", 300, 200, 0, 0, 300, 200, 0, 0, 100, 70, {13, 57}, {20, 31}},
};

stretch_plan plan_of(const stretch_case& c)
{
    stretch_plan plan{make_axis(c.x, c.width, c.image_width, c.left, c.right),
                      make_axis(c.y, c.height, c.image_height, c.top, c.bottom),
                      {},
                      {}};
    plan.columns = visible_pixels(plan.horizontal, c.clip_columns);
    plan.rows = visible_pixels(plan.vertical, c.clip_rows);
    return plan;
}

// The image pixels of a device pixel, by the definition alone; empty when it is not painted.
pixel_span plain_span(int32_t start, int32_t extent, int32_t image_extent, int32_t edge,
                      int32_t other_edge, int32_t device)
{
    const int32_t size = std::abs(other_edge - edge);
    const int32_t offset = edge < other_edge ? device - edge : edge - 1 - device;
    if (offset < 0 || offset >= size) return {0, 0};
    const int32_t begin = offset * extent / size;
    const int32_t end = std::max(begin + 1, (offset + 1) * extent / size);
    if (start + begin < 0 || start + begin >= image_extent) return {0, 0};
    return {start + begin, std::min(start + end, image_extent)};
}

// What the scaler must give: the nearest pixel, or the share of set bits in the box.
uint32_t plain_value(const source_image& image, pixel_span across, pixel_span down, bool grey)
{
    if (!grey) return image_pixel(image, across.begin, down.begin);
    uint32_t count = 0;
    for (int32_t y = down.begin; y < down.end; ++y)
        for (int32_t x = across.begin; x < across.end; ++x)
            count += image_pixel(image, x, y);
    const auto size = static_cast<uint32_t>((across.end - across.begin) * (down.end - down.begin));
    return (510 * count + size) / (2 * size);
}

void check_against_plain(const stretch_case& c, int32_t bits, shrink_method method)
{
    const test_image image(c.image_width, c.image_height, bits);
    const source_image source = image.source();
    const stretch_plan plan = plan_of(c);
    row_scaler scaler;
    ASSERT_EQ(scaler.prepare(source, plan, method), 0);
    const bool grey = scaler.bits_per_pixel() != bits;
    std::vector<uint8_t> row(scaler.bytes_per_line());
    for (int32_t y = c.clip_rows.begin; y < c.clip_rows.end; ++y) {
        const pixel_span down = plain_span(c.y, c.height, c.image_height, c.top, c.bottom, y);
        ASSERT_EQ(down.empty(), y < plan.rows.begin || y >= plan.rows.end) << y;
        if (down.empty()) continue;
        scaler.scale(y, row.data());
        for (int32_t x = c.clip_columns.begin; x < c.clip_columns.end; ++x) {
            const pixel_span across = plain_span(c.x, c.width, c.image_width, c.left, c.right, x);
            ASSERT_EQ(across.empty(), x < plan.columns.begin || x >= plan.columns.end) << x;
            if (across.empty()) continue;
            ASSERT_EQ(pixel(row.data(), x - plan.columns.begin, scaler.bits_per_pixel()),
                      plain_value(source, across, down, grey))
                << x << "," << y;
        }
    }
}

} // namespace

TEST(row_scaler, equals_the_plain_computation)
{
    for (const stretch_case& c : stretch_cases)
        for (const int32_t bits : {1, 4, 8, 24}) {
            SCOPED_TRACE(c.what + std::string(", bits ") + std::to_string(bits));
            check_against_plain(c, bits, shrink_method::nearest_pixel);
            if (bits == 1) check_against_plain(c, bits, shrink_method::grey_pages);
        }
}

TEST(row_scaler, greys_lie_between_the_two_colours_of_the_page)
{
    test_image image(100, 100, 1);
    image.header.colors[0] = {0, 200, 10, 0};
    image.header.colors[1] = {255, 100, 10, 0};
    const stretch_case half{"", 100, 100, 0, 0, 100, 100, 0, 0, 50, 50};
    row_scaler scaler;
    ASSERT_EQ(scaler.prepare(image.source(), plan_of(half), shrink_method::grey_pages), 0);
    RGBQUAD ramp[256];
    scaler.get_colors(ramp);
    const uint8_t expected[][4] = {
        {0, 0, 200, 10}, {51, 51, 180, 10}, {128, 128, 150, 10}, {255, 255, 100, 10}};
    for (const auto& [share, blue, green, red] : expected) {
        const RGBQUAD& q = ramp[share];
        EXPECT_TRUE(q.rgbBlue == blue && q.rgbGreen == green && q.rgbRed == red) << int{share};
    }
}

TEST(visible_pixels, survives_extreme_rectangles)
{
    const pixel_span all{INT32_MIN, INT32_MAX};
    // Nothing to show, and nothing computed from it: start, extent, device edges.
    const int32_t nothing[][4] = {
        {0, 0, 0, 10}, {0, 10, 5, 5}, {10, 10, 0, 10}, {-10, 10, 0, 10}, {0, -5, 0, 10}};
    for (const auto& [start, extent, edge, other] : nothing)
        EXPECT_TRUE(visible_pixels(make_axis(start, extent, 10, edge, other), all).empty());
    // The widest stretch: the pixels stay inside the image.
    for (const int32_t start : {INT32_MIN, -7, 0, 9, INT32_MAX})
        for (const int32_t extent : {1, 10, INT32_MAX}) {
            const stretch_axis axis = make_axis(start, extent, 10, INT32_MIN, INT32_MAX);
            const pixel_span span = visible_pixels(axis, {-100, 100});
            if (span.empty()) continue;
            for (const int32_t device : {span.begin, span.end - 1}) {
                const pixel_span source = source_pixels(axis, device);
                EXPECT_GE(source.begin, 0);
                EXPECT_LE(source.end, 10);
                EXPECT_LT(source.begin, source.end);
            }
        }
}
