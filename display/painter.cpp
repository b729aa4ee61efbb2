// painter.cpp - paints images into device contexts, band by band.
//
// Rows are scaled here and put on the device one to one: then only what the clip box shows
// is scaled, the result does not depend on the driver, and a page that shrinks can be grey.

#include "display/painter.h"

#include <algorithm>

namespace {

int32_t saturated_sum(int32_t a, int32_t b)
{
    return static_cast<int32_t>(std::clamp<int64_t>(int64_t{a} + b, INT32_MIN, INT32_MAX));
}

bool shows_greys(HDC dc, const image_object& object)
{
    return device_depth(dc) > 4 && object.raster_operation == SRCCOPY;
}

// The clip box; a device context without one, such as a metafile's, shows everything.
bool get_clip(HDC dc, RECT& clip)
{
    switch (GetClipBox(dc, &clip)) {
    case NULLREGION: return false;
    case ERROR: clip = {INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX}; return true;
    default: return true;
    }
}

int32_t paint_bands(const dib_lock& image, HDC dc, const stretch_plan& plan)
{
    image_object& object = image.object();
    row_scaler scaler;
    const auto method =
        shows_greys(dc, object) ? shrink_method::grey_pages : shrink_method::nearest_pixel;
    if (int32_t err = scaler.prepare(source_of(image), plan, method); err < 0) return err;
    dib_band band;
    const int32_t row_count = plan.rows.end - plan.rows.begin;
    const int32_t width = plan.columns.end - plan.columns.begin;
    if (int32_t err = band.allocate(width, scaler.bits_per_pixel(), row_count); err < 0) return err;
    scaler.get_colors(band.header.colors);

    for (int32_t y = plan.rows.begin; y < plan.rows.end; y += band.row_count) {
        const int32_t count = std::min(band.row_count, plan.rows.end - y);
        scaler.begin_band();
        for (int32_t r = 0; r < count; ++r, ++object.dither_row)
            scaler.scale(y + r, band.row(r, count));
        if (int32_t err = band.put(dc, plan.columns.begin, y, count, object.raster_operation);
            err < 0)
            return err;
    }
    return 0;
}

} // namespace

int32_t device_depth(HDC dc)
{
    BITMAP bitmap;
    if (GetObjectType(dc) == OBJ_MEMDC &&
        GetObjectA(GetCurrentObject(dc, OBJ_BITMAP), sizeof bitmap, &bitmap))
        return bitmap.bmPlanes * bitmap.bmBitsPixel;
    return GetDeviceCaps(dc, PLANES) * GetDeviceCaps(dc, BITSPIXEL);
}

device_units::device_units(HDC dc) : dc_(dc), mode_(GetMapMode(dc))
{
    GetWindowExtEx(dc, &window_extent_);
    GetViewportExtEx(dc, &viewport_extent_);
    GetWindowOrgEx(dc, &window_origin_);
    GetViewportOrgEx(dc, &viewport_origin_);
    SetMapMode(dc, MM_TEXT);
    SetWindowOrgEx(dc, 0, 0, nullptr);
    SetViewportOrgEx(dc, 0, 0, nullptr);
    SetWindowExtEx(dc, 1, 1, nullptr);
    SetViewportExtEx(dc, 1, 1, nullptr);
}

device_units::~device_units()
{
    SetMapMode(dc_, mode_);
    // The window extent first: MM_ISOTROPIC fits the viewport's to it.
    SetWindowExtEx(dc_, window_extent_.cx, window_extent_.cy, nullptr);
    SetViewportExtEx(dc_, viewport_extent_.cx, viewport_extent_.cy, nullptr);
    SetWindowOrgEx(dc_, window_origin_.x, window_origin_.y, nullptr);
    SetViewportOrgEx(dc_, viewport_origin_.x, viewport_origin_.y, nullptr);
}

palette_in_use::palette_in_use(HDC dc, HPALETTE palette) : dc_(dc)
{
    // A palette that the client has selected already keeps the priority it was given.
    if (!palette || GetCurrentObject(dc, OBJ_PAL) == palette) return;
    if (!(GetDeviceCaps(dc, RASTERCAPS) & RC_PALETTE)) return;
    old_ = SelectPalette(dc, palette, TRUE);
    RealizePalette(dc);
}

palette_in_use::~palette_in_use()
{
    if (old_) SelectPalette(dc_, old_, TRUE);
}

int32_t dib_band::allocate(int32_t width, int32_t bits_per_pixel, int32_t most)
{
    if (!dib_fits(width, 1, bits_per_pixel)) return err_memory;
    bytes_per_line_ = static_cast<uint32_t>(size_for_long(width, bits_per_pixel));
    row_count = std::min(most, band_rows(bytes_per_line_));
    header.set(width, row_count, bits_per_pixel);
    return rows.allocate(size_t{bytes_per_line_} * static_cast<size_t>(row_count)) ? 0 : err_memory;
}

uint8_t* dib_band::row(int32_t r, int32_t count) const
{
    return rows.bytes() + static_cast<size_t>(count - 1 - r) * bytes_per_line_;
}

int32_t dib_band::put(HDC dc, int32_t x, int32_t y, int32_t count, uint32_t raster_operation)
{
    BITMAPINFOHEADER& info = header.info;
    info.biHeight = count;
    info.biSizeImage = bytes_per_line_ * static_cast<uint32_t>(count);
    const int lines =
        StretchDIBits(dc, x, y, info.biWidth, count, 0, 0, info.biWidth, count, rows.bytes(),
                      reinterpret_cast<const BITMAPINFO*>(&info), DIB_RGB_COLORS, raster_operation);
    return lines > 0 ? 0 : err_unsupported;
}

stretch_plan plan_painting(const image_object& object, HDC dc)
{
    stretch_plan plan{make_axis(object.crop_x, object.crop_width, object.width, object.display_x,
                                saturated_sum(object.display_x, object.display_width)),
                      make_axis(object.crop_y, object.crop_height, object.height, object.display_y,
                                saturated_sum(object.display_y, object.display_height)),
                      {},
                      {}};
    RECT clip;
    if (!get_clip(dc, clip)) return plan;
    plan.columns = visible_pixels(plan.horizontal, {clip.left, clip.right});
    plan.rows = visible_pixels(plan.vertical, {clip.top, clip.bottom});
    return plan;
}

int32_t paint_image_object_band(const dib_lock& image, HDC dc)
{
    if (!GetObjectType(dc)) return err_unsupported;
    image->dither_row = 0;
    const stretch_plan plan = plan_painting(image.object(), dc);
    if (plan.empty()) return 0;
    const palette_in_use palette(dc, image->palette);
    return paint_bands(image, dc, plan);
}

int32_t paint_in_logical_units(const dib_lock& image, HDC dc, int32_t x, int32_t y, int32_t width,
                               int32_t height)
{
    image_object& object = image.object();
    POINT corners[2] = {{x, y}, {saturated_sum(x, width), saturated_sum(y, height)}};
    LPtoDP(dc, corners, 2);
    object.display_x = corners[0].x;
    object.display_y = corners[0].y;
    object.display_width = corners[1].x - corners[0].x;
    object.display_height = corners[1].y - corners[0].y;
    int32_t result;
    {
        const device_units units(dc);
        result = paint_image_object_band(image, dc);
    }
    object.display_x = x;
    object.display_y = y;
    object.display_width = width;
    object.display_height = height;
    return result;
}
