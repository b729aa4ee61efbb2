// stretch.h - which image pixels each device pixel shows when a crop rectangle is stretched
// into a device rectangle, and how the work is cut into bands.
#pragma once

#include <cstdint>

struct pixel_span {
    int32_t begin, end;
    bool empty() const { return begin >= end; }
};

/// The part that two spans share.
pixel_span intersect(pixel_span a, pixel_span b);

/// One axis of a stretch. Device pixel i of the extent (0 at device_start, or at the other
/// end when mirrored) shows image pixel source_start + i x source_extent / device_extent,
/// rounded down.
struct stretch_axis {
    int32_t source_start, source_extent;
    int32_t image_extent;
    int32_t device_start, device_extent;
    bool mirrored;

    bool shrinks() const { return device_extent < source_extent; }
    bool is_plain_copy() const { return device_extent == source_extent && !mirrored; }
};

/// An axis from source_extent image pixels to the device pixels between two edges; edges in
/// falling order mirror. An extent that is not positive leaves nothing to show.
stretch_axis make_axis(int32_t source_start, int32_t source_extent, int32_t image_extent,
                       int32_t device_edge, int32_t other_edge);

/// The device pixels within clip that show a pixel of the image; nothing of a crop rectangle
/// outside the image is ever read.
pixel_span visible_pixels(const stretch_axis& axis, pixel_span clip);

/// The image pixels under a visible device pixel: at least one, more where the axis shrinks.
pixel_span source_pixels(const stretch_axis& axis, int32_t device_pixel);

/// Scaled rows are held in bands of this size, or of one row where that is more.
inline constexpr uint32_t band_bytes = 64 * 1024;

/// Rows of a band, at least 1.
int32_t band_rows(uint32_t row_bytes);
