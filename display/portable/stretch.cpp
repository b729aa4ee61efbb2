// stretch.cpp - which image pixels each device pixel shows.

#include "display/portable/stretch.h"

#include <algorithm>

namespace {

// Numbers of the pixel within the device extent: mirrored axes count from the other end.
int64_t offset_of(const stretch_axis& axis, int32_t device_pixel)
{
    const int64_t offset = int64_t{device_pixel} - axis.device_start;
    return axis.mirrored ? axis.device_extent - 1 - offset : offset;
}

int64_t source_offset(const stretch_axis& axis, int64_t offset)
{
    return offset * axis.source_extent / axis.device_extent;
}

// The first offset that shows image pixel source_start + source or a later one.
int64_t first_offset_showing(const stretch_axis& axis, int64_t source)
{
    if (source <= 0) return 0;
    const int64_t offset = (source * axis.device_extent + axis.source_extent - 1);
    return std::min<int64_t>(offset / axis.source_extent, axis.device_extent);
}

} // namespace

pixel_span intersect(pixel_span a, pixel_span b)
{
    return {std::max(a.begin, b.begin), std::min(a.end, b.end)};
}

stretch_axis make_axis(int32_t source_start, int32_t source_extent, int32_t image_extent,
                       int32_t device_edge, int32_t other_edge)
{
    const int64_t extent = int64_t{other_edge} - device_edge;
    const int64_t size = std::min<int64_t>(extent < 0 ? -extent : extent, INT32_MAX);
    return {source_start,
            source_extent,
            image_extent,
            std::min(device_edge, other_edge),
            static_cast<int32_t>(size),
            extent < 0};
}

pixel_span visible_pixels(const stretch_axis& axis, pixel_span clip)
{
    if (axis.source_extent <= 0 || axis.device_extent <= 0) return {0, 0};
    const int64_t first = first_offset_showing(axis, -int64_t{axis.source_start});
    const int64_t last = first_offset_showing(axis, int64_t{axis.image_extent} - axis.source_start);
    if (first >= last) return {0, 0};
    const int64_t begin = axis.mirrored ? axis.device_extent - last : first;
    const int64_t end = axis.mirrored ? axis.device_extent - first : last;
    const auto device = [&](int64_t offset) {
        return static_cast<int32_t>(std::min<int64_t>(axis.device_start + offset, INT32_MAX));
    };
    return intersect({device(begin), device(end)}, clip);
}

pixel_span source_pixels(const stretch_axis& axis, int32_t device_pixel)
{
    const int64_t offset = offset_of(axis, device_pixel);
    const int64_t begin = axis.source_start + source_offset(axis, offset);
    const int64_t end = axis.source_start + source_offset(axis, offset + 1);
    return {static_cast<int32_t>(begin),
            static_cast<int32_t>(std::min<int64_t>(std::max(end, begin + 1), axis.image_extent))};
}

int32_t band_rows(uint32_t row_bytes)
{
    return static_cast<int32_t>(std::max<uint32_t>(1, band_bytes / std::max(1U, row_bytes)));
}
