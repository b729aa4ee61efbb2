// painter.cpp - paints images into device contexts, band by band.
//
// Rows are scaled here and put on the device one to one: then only what the clip box shows
// is scaled, the result does not depend on the driver, and a page that shrinks can be grey.

#include "display/painter.h"

#include "display/portable/sixteen_dither.h"

#include <algorithm>
#include <cstring>

namespace {

int32_t saturated_sum(int32_t a, int32_t b)
{
    return static_cast<int32_t>(std::clamp<int64_t>(int64_t{a} + b, INT32_MIN, INT32_MAX));
}

paint_style screen_style(HDC dc, const image_object& object, int32_t bits_per_pixel)
{
    paint_style style;
    const int32_t depth = device_depth(dc);
    style.raster_operation = object.raster_operation;
    if (depth > 4 && object.raster_operation == SRCCOPY) style.method = shrink_method::grey_pages;
    style.sixteen_colors = depth == 4 && bits_per_pixel >= 8;
    return style;
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

void correct_colors(RGBQUAD* colors, const tone_table& tone)
{
    for (int i = 0; i < 256; ++i)
        colors[i] = {tone[colors[i].rgbBlue], tone[colors[i].rgbGreen], tone[colors[i].rgbRed], 0};
}

// Makes the rows of a band: scaled, and where the style wants it toned or dithered.
class band_painter {
public:
    band_painter(const dib_lock& image, const stretch_plan& plan, const paint_style& style)
        : object_(image.object()), plan_(plan), style_(style), source_(source_of(image))
    {
    }

    int32_t prepare()
    {
        if (int32_t err = scaler_.prepare(source_, plan_, style_.method); err < 0) return err;
        const int32_t bits = style_.sixteen_colors ? 4 : scaler_.bits_per_pixel();
        if ((style_.sixteen_colors || tones_rows()) && !row_.allocate(scaler_.bytes_per_line()))
            return err_memory;
        const int32_t width = plan_.columns.end - plan_.columns.begin;
        if (int32_t err = band_.allocate(width, bits, plan_.rows.end - plan_.rows.begin); err < 0)
            return err;
        if (style_.sixteen_colors)
            get_sixteen_colors(band_.header);
        else
            scaler_.get_colors(band_.header.colors);
        if (style_.tone) correct_colors(band_.header.colors, *style_.tone);
        return 0;
    }

    int32_t paint(HDC dc)
    {
        for (int32_t y = plan_.rows.begin; y < plan_.rows.end; y += band_.row_count) {
            const int32_t count = std::min(band_.row_count, plan_.rows.end - y);
            scaler_.begin_band();
            for (int32_t r = 0; r < count; ++r)
                make_row(y + r, band_.row(r, count));
            if (int32_t err = band_.put(dc, plan_.columns.begin, y, count, style_.raster_operation);
                err < 0)
                return err;
        }
        return 0;
    }

private:
    // Other depths have their tone in the colour table.
    bool tones_rows() const { return style_.tone && source_.bits_per_pixel == 24; }

    void make_row(int32_t device_row, uint8_t* out)
    {
        if (style_.sixteen_colors) {
            scaler_.scale(device_row, row_.bytes());
            sixteen_dither_row(row_.bytes(), source_.bits_per_pixel, source_.colors, plan_.columns,
                               object_.dither_row, out);
        } else if (tones_rows()) {
            scaler_.scale(device_row, row_.bytes());
            std::memcpy(out, row_.bytes(), row_.size());
            gamma_correct(out, *style_.tone, row_.size());
        } else {
            scaler_.scale(device_row, out);
        }
        ++object_.dither_row;
    }

    image_object& object_;
    const stretch_plan& plan_;
    const paint_style& style_;
    source_image source_;
    row_scaler scaler_;
    scratch_block row_;
    dib_band band_;
};

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
    // Said in full: some recorders of metafiles copy only as many colours as this says.
    header.info.biClrUsed = static_cast<DWORD>(palette_entries(bits_per_pixel));
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

RECT device_rectangle(HDC dc, int32_t x, int32_t y, int32_t width, int32_t height)
{
    POINT corners[2] = {{x, y}, {saturated_sum(x, width), saturated_sum(y, height)}};
    LPtoDP(dc, corners, 2);
    return {corners[0].x, corners[0].y, corners[1].x, corners[1].y};
}

stretch_plan plan_painting(const image_object& object, HDC dc, const RECT& target)
{
    stretch_plan plan{
        make_axis(object.crop_x, object.crop_width, object.width, target.left, target.right),
        make_axis(object.crop_y, object.crop_height, object.height, target.top, target.bottom),
        {},
        {}};
    RECT clip;
    if (!get_clip(dc, clip)) return plan;
    plan.columns = visible_pixels(plan.horizontal, {clip.left, clip.right});
    plan.rows = visible_pixels(plan.vertical, {clip.top, clip.bottom});
    return plan;
}

int32_t paint_bands(const dib_lock& image, HDC dc, const stretch_plan& plan,
                    const paint_style& style)
{
    band_painter painter(image, plan, style);
    if (int32_t err = painter.prepare(); err < 0) return err;
    return painter.paint(dc);
}

int32_t paint_image_object_band(const dib_lock& image, HDC dc)
{
    if (!GetObjectType(dc)) return err_unsupported;
    image_object& object = image.object();
    const RECT target{object.display_x, object.display_y,
                      saturated_sum(object.display_x, object.display_width),
                      saturated_sum(object.display_y, object.display_height)};
    const stretch_plan plan = plan_painting(object, dc, target);
    if (plan.empty()) return 0;
    // 0 at the first row of the rectangle. Rows that are not to be seen count too: a part that
    // is painted again gets the dots of the whole.
    object.dither_row =
        static_cast<uint32_t>(plan.rows.begin) - static_cast<uint32_t>(plan.vertical.device_start);
    const palette_in_use palette(dc, object.palette);
    return paint_bands(image, dc, plan, screen_style(dc, object, image.header()->biBitCount));
}

void set_display_rectangle(image_object& object, int32_t x, int32_t y, int32_t width,
                           int32_t height)
{
    object.display_x = x;
    object.display_y = y;
    object.display_width = width;
    object.display_height = height;
}

int32_t paint_in_logical_units(const dib_lock& image, HDC dc, int32_t x, int32_t y, int32_t width,
                               int32_t height)
{
    const RECT target = device_rectangle(dc, x, y, width, height);
    set_display_rectangle(image.object(), target.left, target.top, target.right - target.left,
                          target.bottom - target.top);
    int32_t result;
    {
        const device_units units(dc);
        result = paint_image_object_band(image, dc);
    }
    set_display_rectangle(image.object(), x, y, width, height);
    return result;
}
