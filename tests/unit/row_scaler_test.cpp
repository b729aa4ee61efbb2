// row_scaler_test.cpp - scaled rows beside a plain pixel-by-pixel computation.

#include "display/portable/row_scaler.h"

#include "tests/support/images.h"

#include <cstdlib>
#include <map>

namespace {

// Device edges in falling order mirror the axis.
struct axis_case {
    int32_t image, start, extent, edge, other_edge;
    pixel_span clip{-10000, 10000};
};

const struct stretch_case {
    const char* what;
    axis_case across, down;
} stretch_cases[] = {
    {"one to one", {37, 0, 37, 5, 42}, {11, 0, 11, 6, 17}},
    {"one to one from inside a byte", {70, 3, 59, 0, 59}, {9, 2, 5, 0, 5}},
    {"enlarged", {13, 2, 9, -4, 40}, {7, 1, 5, -3, 38}},
    {"shrunk", {301, 5, 290, 10, 57}, {203, 7, 190, 20, 61}},
    {"shrunk a lot", {400, 0, 400, 0, 3}, {300, 0, 300, 0, 2}},
    {"to one pixel", {200, 0, 200, 0, 1}, {100, 0, 100, 0, 1}},
    {"wide and low", {50, 0, 50, 0, 120}, {200, 0, 200, 0, 17}},
    {"narrow and tall", {200, 0, 200, 0, 23}, {20, 0, 20, 0, 90}},
    {"mirrored", {100, 10, 80, 60, 20}, {40, 5, 30, 77, 0}},
    {"crop past the right and bottom", {60, 40, 60, 0, 30}, {50, 30, 50, 0, 25}},
    {"crop before the left and top", {60, -30, 60, 0, 90}, {50, -10, 50, 0, 75}},
    {"clipped", {300, 0, 300, 0, 100, {13, 57}}, {200, 0, 200, 0, 70, {20, 31}}},
};

stretch_axis axis_of(const axis_case& a)
{
    return make_axis(a.start, a.extent, a.image, a.edge, a.other_edge);
}

stretch_plan plan_of(const stretch_case& c)
{
    const stretch_axis across = axis_of(c.across), down = axis_of(c.down);
    return {across, down, visible_pixels(across, c.across.clip), visible_pixels(down, c.down.clip)};
}

// The image pixels of each device pixel that is painted, by the definition alone.
std::map<int32_t, pixel_span> shown_by(const axis_case& a)
{
    std::map<int32_t, pixel_span> shown;
    const int32_t size = std::abs(a.other_edge - a.edge);
    for (int32_t offset = 0; offset < size; ++offset) {
        const int32_t device = a.edge < a.other_edge ? a.edge + offset : a.edge - 1 - offset;
        const int32_t begin = a.start + offset * a.extent / size;
        const int32_t end = std::max(begin + 1, a.start + (offset + 1) * a.extent / size);
        if (begin >= 0 && begin < a.image && device >= a.clip.begin && device < a.clip.end)
            shown[device] = {begin, std::min(end, a.image)};
    }
    return shown;
}

uint32_t pixel(const uint8_t* row, int32_t x, int32_t bits)
{
    if (bits == 24) return row[3 * x] | row[3 * x + 1] << 8U | uint32_t{row[3 * x + 2]} << 16;
    return row[x * bits / 8] >> (8 - bits - x * bits % 8) & ((1U << bits) - 1);
}

void check_against_plain(const stretch_case& c, int32_t bits, shrink_method method)
{
    picture dib = random_picture(c.across.image, c.down.image, bits);
    const RGBQUAD colors[256] = {};
    const auto stride = uint32_t(test_stride(c.across.image, bits));
    const uint8_t* const lowest = dib.row(c.down.image - 1);
    const source_image source{lowest, colors, c.across.image, c.down.image, bits, stride};
    const stretch_plan plan = plan_of(c);
    row_scaler scaler;
    ASSERT_EQ(scaler.prepare(source, plan, method), 0);
    const auto across = shown_by(c.across), down = shown_by(c.down);
    ASSERT_EQ(across.size(), size_t(plan.columns.end - plan.columns.begin));
    ASSERT_EQ(down.size(), size_t(plan.rows.end - plan.rows.begin));
    std::vector<uint8_t> row(scaler.bytes_per_line());
    for (const auto& [device_row, rows] : down) {
        scaler.scale(device_row, row.data());
        for (const auto& [device_column, columns] : across) {
            // The nearest pixel, or the share of set bits in the box.
            uint32_t expected = pixel(dib.row(rows.begin), columns.begin, bits);
            if (scaler.bits_per_pixel() != bits) {
                uint32_t set = 0, all = 0;
                for (int32_t y = rows.begin; y < rows.end; ++y)
                    for (int32_t x = columns.begin; x < columns.end; ++x, ++all)
                        set += pixel(dib.row(y), x, bits);
                expected = (510 * set + all) / (2 * all);
            }
            const int32_t column = device_column - plan.columns.begin;
            ASSERT_EQ(pixel(row.data(), column, scaler.bits_per_pixel()), expected)
                << device_column << "," << device_row;
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
    const uint8_t rows[8] = {};
    const RGBQUAD colors[2] = {{0, 200, 10, 0}, {255, 100, 10, 0}};
    row_scaler scaler;
    ASSERT_EQ(scaler.prepare({rows, colors, 32, 2, 1, 4},
                             plan_of({"", {32, 0, 32, 0, 9}, {2, 0, 2, 0, 1}}),
                             shrink_method::grey_pages),
              0);
    RGBQUAD ramp[256];
    scaler.get_colors(ramp);
    const uint8_t expected[][4] = {
        {0, 0, 200, 10}, {51, 51, 180, 10}, {128, 128, 150, 10}, {255, 255, 100, 10}};
    for (const auto& [share, blue, green, red] : expected) {
        const RGBQUAD& q = ramp[share];
        EXPECT_TRUE(q.rgbBlue == blue && q.rgbGreen == green && q.rgbRed == red) << int{share};
    }
}

TEST(row_scaler, refuses_more_columns_than_32_bits_can_count_in_bytes)
{
    constexpr int32_t width = 0x40000001;
    const stretch_axis across = make_axis(0, 4, 4, 0, width), down = make_axis(0, 4, 4, 0, 4);
    const source_image page{nullptr, nullptr, 4, 4, 1, 4};
    EXPECT_EQ(row_scaler().prepare(page, {across, down, {0, width}, {0, 4}},
                                   shrink_method::nearest_pixel),
              err_memory);
}

TEST(visible_pixels, survives_extreme_rectangles)
{
    const pixel_span all{INT32_MIN, INT32_MAX};
    // Nothing to show, and nothing computed from it.
    const int32_t nothing[][4] = {
        {0, 0, 0, 10}, {0, 10, 5, 5}, {10, 10, 0, 10}, {-10, 10, 0, 10}, {0, -5, 0, 10}};
    for (const auto& [start, extent, edge, other_edge] : nothing)
        EXPECT_TRUE(visible_pixels(make_axis(start, extent, 10, edge, other_edge), all).empty());
    // The widest stretch: the pixels stay inside the image.
    for (const int32_t start : {INT32_MIN, -7, 0, 9, INT32_MAX})
        for (const int32_t extent : {1, 10, INT32_MAX}) {
            const stretch_axis axis = axis_of({10, start, extent, INT32_MIN, INT32_MAX});
            const pixel_span span = visible_pixels(axis, {-100, 100});
            for (int32_t device = span.begin; device < span.end; ++device) {
                const pixel_span source = source_pixels(axis, device);
                ASSERT_TRUE(source.begin >= 0 && source.end <= 10 && !source.empty());
            }
        }
}
