// viewport_test.cpp - zoom, scroll and strip arithmetic, exact to the integer.

#include "display/portable/viewport.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

using numbers = std::vector<int32_t>;

numbers flat(const pixel_rect& r)
{
    return {r.x, r.y, r.width, r.height};
}

} // namespace

TEST(zoom_view, keeps_the_centre_and_the_window_shape)
{
    const struct {
        pixel_rect crop;
        pixel_size image, window;
        int32_t percent;
        numbers expected;
    } rows[] = {
        // Centre, and the odd differences truncate.
        {{0, 0, 1000, 800}, {1000, 800}, {400, 300}, 200, {250, 212, 500, 375, 500, 425}},
        {{10, 10, 101, 101}, {1000, 1000}, {100, 100}, 2000, {35, 35, 50, 50, 950, 950}},
        {{0, 0, 1000, 1000}, {1000, 1000}, {10, 10}, 101, {5, 5, 990, 990, 10, 10}},
        // Up to 100 all is shown, whatever the window.
        {{250, 212, 500, 375}, {1000, 800}, {400, 300}, 100, {0, 0, 1000, 800, 0, 0}},
        {{7, 9, 10, 10}, {20, 20}, {0, 0}, -5, {0, 0, 20, 20, 0, 0}},
        // Near an edge it stays inside; taller than the image leaves no range.
        {{900, 700, 100, 100}, {1000, 800}, {100, 100}, 200, {500, 300, 500, 500, 500, 300}},
        {{0, 0, 1000, 100}, {1000, 100}, {100, 100}, 200, {250, 0, 500, 100, 500, 0}},
        // An empty client area takes the image's shape; never less than a pixel.
        {{0, 0, 1000, 800}, {1000, 800}, {0, 0}, 200, {250, 200, 500, 400, 500, 400}},
        {{0, 0, 3, 3}, {3, 3}, {100, 1}, 30000, {1, 1, 1, 1, 2, 2}},
    };
    for (const auto& r : rows) {
        const zoomed_view v = zoom_view(r.crop, r.image, r.window, r.percent);
        numbers all = flat(v.crop);
        all.insert(all.end(), {v.horizontal_range, v.vertical_range});
        EXPECT_EQ(all, r.expected);
    }
}

TEST(scroll_target, follows_the_request_within_the_range)
{
    const struct {
        int32_t position, range;
        uint32_t wparam;
        int32_t expected;
    } rows[] = {
        {50, 100, 0, 44}, {50, 100, 1, 56},        {50, 100, 2, 25},
        {50, 100, 3, 75}, {50, 100, 0x460005, 70}, {50, 100, 0x650005, 100},
        {3, 100, 0, 0},   {99, 100, 1, 100},       {50, 100, 8, 50},
        {50, 100, 4, 50}, {50, -3, 1, 0},          {0, 100000, 0xFFFF0005, 65535},
    };
    for (const auto& r : rows)
        EXPECT_EQ(scroll_target(r.position, r.range, r.wparam), r.expected) << r.wparam;
}

TEST(scroll_distance, carries_fractions_of_a_window_pixel)
{
    const struct {
        int32_t old_position, new_position, client, crop, remainder;
        int32_t distance, new_remainder;
        bool moves;
    } rows[] = {
        // A crop four times as wide as the window: four steps make one pixel.
        {1, 0, 100, 400, 0, 0, 64, true},
        {2, 1, 100, 400, 64, 0, 128, true},
        {3, 2, 100, 400, 128, 0, 192, true},
        {4, 3, 100, 400, 192, 1, 0, true},
        // Downward, the fraction rounds toward minus infinity and stays positive. The division
        // truncates before the remainder is added: -256 / 3 is -85.
        {0, 1, 100, 400, 0, -1, 192, true},
        {0, 1, 1, 3, 0, -1, 171, true},
        // A movement and a remainder that cancel change nothing, nor do empty sides.
        {0, 1, 1, 3, 85, 0, 85, false},
        {0, 100, 0, 400, 5, 0, 5, false},
        {0, 100, 100, 0, 5, 0, 5, false},
        // Far beyond 32 bits in between.
        {0, 2000000, 2000, 1000, 0, -4000000, 0, true},
    };
    for (const auto& r : rows) {
        int32_t remainder = r.remainder;
        const scroll_movement m =
            scroll_distance(r.old_position, r.new_position, r.client, r.crop, remainder);
        EXPECT_EQ((numbers{m.distance, remainder, m.moves}),
                  (numbers{r.distance, r.new_remainder, r.moves}))
            << r.old_position << " to " << r.new_position;
    }
}

TEST(strip_to_repaint, covers_what_each_direction_exposes)
{
    const pixel_rect crop{100, 200, 800, 600};
    const struct {
        exposed_strip where;
        int32_t paint[4];
        numbers source, target;
    } rows[] = {
        {exposed_strip::left, {0, 0, 10, 300}, {100, 200, 30, 600}, {0, 0, 15, 300}},
        {exposed_strip::right, {390, 0, 400, 300}, {880, 200, 30, 600}, {390, 0, 15, 300}},
        {exposed_strip::top, {0, 0, 400, 20}, {100, 200, 800, 50}, {0, 0, 400, 25}},
        {exposed_strip::bottom, {0, 280, 400, 300}, {100, 760, 800, 50}, {0, 280, 400, 25}},
    };
    for (const auto& r : rows) {
        strip_view strip;
        ASSERT_TRUE(strip_to_repaint(crop, {400, 300}, r.where, r.paint, strip));
        EXPECT_EQ(flat(strip.source), r.source);
        EXPECT_EQ(flat(strip.target), r.target);
        EXPECT_FALSE(strip_to_repaint(crop, {0, 300}, r.where, r.paint, strip));
    }
}
