// viewport_test.cpp - zoom, scroll and strip arithmetic, exact to the integer.

#include "display/portable/viewport.h"

#include <array>
#include <gtest/gtest.h>

namespace {

std::array<int32_t, 6> flat(const zoomed_view& v)
{
    return {v.crop.x, v.crop.y, v.crop.width, v.crop.height, v.horizontal_range, v.vertical_range};
}

} // namespace

TEST(zoom_view, keeps_the_centre_and_the_window_shape)
{
    const struct {
        const char* fault;
        pixel_rect crop;
        pixel_size image, client;
        int32_t percent;
        std::array<int32_t, 6> expected;
    } rows[] = {
        {"200 from a full view",
         {0, 0, 1000, 800},
         {1000, 800},
         {400, 300},
         200,
         {250, 212, 500, 375, 500, 425}},
        {"odd differences truncate",
         {10, 10, 101, 101},
         {1000, 1000},
         {100, 100},
         2000,
         {35, 35, 50, 50, 950, 950}},
        {"100 shows all",
         {250, 212, 500, 375},
         {1000, 800},
         {400, 300},
         100,
         {0, 0, 1000, 800, 0, 0}},
        {"100 is not zoomed, whatever the window",
         {7, 9, 10, 10},
         {20, 20},
         {0, 0},
         -5,
         {0, 0, 20, 20, 0, 0}},
        {"101 truncates the fraction",
         {0, 0, 1000, 1000},
         {1000, 1000},
         {10, 10},
         101,
         {5, 5, 990, 990, 10, 10}},
        {"zooming out near an edge stays inside",
         {900, 700, 100, 100},
         {1000, 800},
         {100, 100},
         200,
         {500, 300, 500, 500, 500, 300}},
        {"taller than the image: no range, clamped",
         {0, 0, 1000, 100},
         {1000, 100},
         {100, 100},
         200,
         {250, 0, 500, 100, 500, 0}},
        {"an empty client area takes the image's shape",
         {0, 0, 1000, 800},
         {1000, 800},
         {0, 0},
         200,
         {250, 200, 500, 400, 500, 400}},
        {"never less than a pixel", {0, 0, 3, 3}, {3, 3}, {100, 1}, 30000, {1, 1, 1, 1, 2, 2}},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.fault);
        EXPECT_EQ(flat(zoom_view(r.crop, r.image, r.client, r.percent)), r.expected);
    }
}

TEST(scroll_target, follows_the_request_within_the_range)
{
    const struct {
        int32_t position, range;
        uint32_t wparam;
        int32_t expected;
    } rows[] = {
        {50, 100, 0, 44},
        {50, 100, 1, 56},
        {50, 100, 2, 25},
        {50, 100, 3, 75},
        {50, 100, 70 << 16 | 5, 70},
        {50, 100, 101 << 16 | 5, 100},
        {3, 100, 0, 0},
        {99, 100, 1, 100},
        {50, 100, 8, 50},
        {50, 100, 4, 50},
        {50, -3, 1, 0},
        {0, 100000, 0xFFFF0005, 65535},
    };
    for (const auto& r : rows)
        EXPECT_EQ(scroll_target(r.position, r.range, r.wparam), r.expected) << r.wparam;
}

TEST(scroll_distance, carries_fractions_of_a_window_pixel)
{
    int32_t remainder = 0;
    // A crop four times as wide as the window: four steps make one pixel.
    for (int32_t step = 1; step <= 3; ++step) {
        const scroll_movement m = scroll_distance(step, step - 1, 100, 400, remainder);
        EXPECT_TRUE(m.moves);
        EXPECT_EQ(m.distance, 0);
        EXPECT_EQ(remainder, 64 * step);
    }
    EXPECT_EQ(scroll_distance(4, 3, 100, 400, remainder).distance, 1);
    EXPECT_EQ(remainder, 0);

    // Downward, the fraction rounds toward minus infinity and stays positive.
    EXPECT_EQ(scroll_distance(0, 1, 100, 400, remainder).distance, -1);
    EXPECT_EQ(remainder, 192);
    // The division truncates before the remainder is added: -256 / 3 is -85.
    remainder = 0;
    EXPECT_EQ(scroll_distance(0, 1, 1, 3, remainder).distance, -1);
    EXPECT_EQ(remainder, 256 - 85);

    remainder = 5;
    EXPECT_FALSE(scroll_distance(0, 100, 0, 400, remainder).moves);
    EXPECT_FALSE(scroll_distance(0, 100, 100, 0, remainder).moves);
    EXPECT_EQ(remainder, 5);
    // A movement and a remainder that cancel change nothing.
    remainder = 85;
    EXPECT_FALSE(scroll_distance(0, 1, 1, 3, remainder).moves);
    EXPECT_EQ(remainder, 85);
    // Far beyond 32 bits in between.
    remainder = 0;
    EXPECT_EQ(scroll_distance(0, 2000000, 2000, 1000, remainder).distance, -4000000);
}

TEST(strip_to_repaint, covers_what_each_direction_exposes)
{
    const pixel_rect crop{100, 200, 800, 600};
    const pixel_size client{400, 300};
    const int32_t left[4] = {0, 0, 10, 300};
    const int32_t right[4] = {390, 0, 400, 300};
    const int32_t top[4] = {0, 0, 400, 20};
    const int32_t bottom[4] = {0, 280, 400, 300};
    const struct {
        exposed_strip where;
        const int32_t* paint;
        pixel_rect source, target;
    } rows[] = {
        {exposed_strip::left, left, {100, 200, 30, 600}, {0, 0, 15, 300}},
        {exposed_strip::right, right, {880, 200, 30, 600}, {390, 0, 15, 300}},
        {exposed_strip::top, top, {100, 200, 800, 50}, {0, 0, 400, 25}},
        {exposed_strip::bottom, bottom, {100, 760, 800, 50}, {0, 280, 400, 25}},
    };
    const auto flat_rect = [](const pixel_rect& r) {
        return std::array<int32_t, 4>{r.x, r.y, r.width, r.height};
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(static_cast<int32_t>(r.where));
        strip_view strip;
        ASSERT_TRUE(strip_to_repaint(crop, client, r.where, r.paint, strip));
        EXPECT_EQ(flat_rect(strip.source), flat_rect(r.source));
        EXPECT_EQ(flat_rect(strip.target), flat_rect(r.target));
    }
    strip_view strip;
    EXPECT_FALSE(strip_to_repaint(crop, {0, 300}, exposed_strip::left, left, strip));
}
