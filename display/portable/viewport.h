// viewport.h - the arithmetic of zooming and scrolling: crop rectangles, scroll ranges,
// scroll distances with their remainders, and the strip that a scroll exposes.
#pragma once

#include <cstdint>

/// A rectangle of image pixels, y from the top.
struct pixel_rect {
    int32_t x, y, width, height;
};

struct pixel_size {
    int32_t width, height;
};

struct zoomed_view {
    pixel_rect crop;
    int32_t horizontal_range, vertical_range; // of the scroll bars, from 0
};

/// The crop rectangle for a zoom percentage, about the centre of the present one. Up to 100
/// shows the whole image; above, the visible part takes the window's shape. An empty client
/// area has no shape: then the image's own is kept.
zoomed_view zoom_view(const pixel_rect& crop, pixel_size image, pixel_size client, int32_t percent);

/// Position that a scroll message asks for, within 0 and range.
///   position  of the bar now     wparam  of the message: request and thumb position
int32_t scroll_target(int32_t position, int32_t range, uint32_t wparam);

/// The movement of window contents for a movement of the crop rectangle by old_position -
/// new_position image pixels along one axis. remainder holds the part that is less than a
/// window pixel, in 1/256, and takes part in the next movement.
///   moves  false when nothing changes, not even the crop rectangle
struct scroll_movement {
    int32_t distance; // window pixels, rounded toward minus infinity
    bool moves;
};
scroll_movement scroll_distance(int32_t old_position, int32_t new_position, int32_t client_extent,
                                int32_t crop_extent, int32_t& remainder);

enum class exposed_strip : int32_t { left = 1, right = 2, top = 3, bottom = 4 };

/// A strip to repaint: which part of the image, into which window rectangle.
struct strip_view {
    pixel_rect source;
    pixel_rect target;
};

/// The strip for the paint rectangle (left, top, right, bottom) of a paint request. INTENDED:
/// it is 5 window pixels longer across the scroll direction than the paint rectangle, which
/// covers the rounding of the scroll distance.  False when the client area is empty.
bool strip_to_repaint(const pixel_rect& crop, pixel_size client, exposed_strip where,
                      const int32_t paint[4], strip_view& strip);
