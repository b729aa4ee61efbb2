// viewport.cpp - the arithmetic of zooming and scrolling.

#include "display/portable/viewport.h"

#include <algorithm>
#include <tuple>

namespace {

constexpr uint32_t request_line_up = 0;
constexpr uint32_t request_line_down = 1;
constexpr uint32_t request_page_up = 2;
constexpr uint32_t request_page_down = 3;
constexpr uint32_t request_thumb_track = 5;

constexpr int32_t strip_margin = 5;

int32_t narrow(int64_t value)
{
    return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX));
}

// numerator x factor / divisor toward zero, in 64 bits.
int32_t scaled(int32_t value, int32_t factor, int32_t divisor)
{
    return narrow(int64_t{value} * factor / divisor);
}

pixel_size visible_size(pixel_size image, pixel_size client, int32_t percent)
{
    if (percent < 101) return image;
    const pixel_size shape = client.width > 0 && client.height > 0 ? client : image;
    // At least one pixel each way, because scrolling divides by them.
    const auto width = std::max(1, static_cast<int32_t>(image.width / (percent / 100.0)));
    if (shape.width <= 0) return {width, 1};
    return {width, std::max(1, scaled(width, shape.height, shape.width))};
}

// One axis of the zoom: the new start of the visible part, which lies in the image.
int32_t zoomed_start(int32_t start, int32_t old_extent, int32_t new_extent, int32_t image_extent)
{
    start = std::max(0, narrow(int64_t{start} + (int64_t{old_extent} - new_extent) / 2));
    return std::min(start, image_extent - std::min(new_extent, image_extent));
}

} // namespace

zoomed_view zoom_view(const pixel_rect& crop, pixel_size image, pixel_size client, int32_t percent)
{
    const pixel_size visible = visible_size(image, client, percent);
    zoomed_view view;
    view.crop.x = zoomed_start(crop.x, crop.width, visible.width, image.width);
    view.crop.y = zoomed_start(crop.y, crop.height, visible.height, image.height);
    view.crop.width = std::min(visible.width, image.width);
    view.crop.height = std::min(visible.height, image.height);
    view.horizontal_range = image.width - view.crop.width;
    view.vertical_range = image.height - view.crop.height;
    return view;
}

int32_t scroll_target(int32_t position, int32_t range, uint32_t wparam)
{
    int64_t target = position;
    switch (wparam & 0xFFFF) {
    case request_line_up: target -= range >> 4; break;
    case request_line_down: target += range >> 4; break;
    case request_page_up: target -= range >> 2; break;
    case request_page_down: target += range >> 2; break;
    case request_thumb_track: target = wparam >> 16; break;
    default: break;
    }
    return narrow(std::clamp<int64_t>(target, 0, std::max(range, 0)));
}

scroll_movement scroll_distance(int32_t old_position, int32_t new_position, int32_t client_extent,
                                int32_t crop_extent, int32_t& remainder)
{
    if (crop_extent <= 0 || client_extent <= 0) return {0, false};
    const int64_t pixels = int64_t{old_position} - new_position;
    const int64_t d = pixels * client_extent * 256 / crop_extent + remainder;
    if (d == 0) return {0, false};
    remainder = static_cast<int32_t>(d & 255);
    return {narrow(d >> 8), true};
}

bool strip_to_repaint(const pixel_rect& crop, pixel_size client, exposed_strip where,
                      const int32_t paint[4], strip_view& strip)
{
    if (client.width <= 0 || client.height <= 0) return false;
    const auto [left, top, right, bottom] = std::tie(paint[0], paint[1], paint[2], paint[3]);
    strip = {crop, {0, 0, right - left, bottom - top}};
    if (where == exposed_strip::left || where == exposed_strip::right) {
        strip.target.x = left;
        strip.target.width += strip_margin;
        strip.source.width = std::max(1, scaled(crop.width, strip.target.width, client.width));
        if (where == exposed_strip::right) strip.source.x += scaled(left, crop.width, client.width);
    } else {
        strip.target.y = top;
        strip.target.height += strip_margin;
        strip.source.height = std::max(1, scaled(crop.height, strip.target.height, client.height));
        if (where == exposed_strip::bottom)
            strip.source.y += scaled(top, crop.height, client.height);
    }
    return true;
}
