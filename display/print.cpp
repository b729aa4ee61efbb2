// print.cpp - printing: dots of our own making for devices of one bit per pixel, toned rows
// for others, or the device's own stretch.
//
// The client has started document and page. A driver that prints in bands is asked for one
// after the other with Escape. The client's abort procedure is run by GDI; a job that it
// cancels makes the next call fail, which ends the work. An image that it deletes or gives
// another DIB is printed as it was at the call; what it changes in place, such as a negative,
// shows from the next rows on.

#include "display/painter.h"
#include "display/portable/print_rows.h"

#include <algorithm>
#include <cstring>

namespace {

// A plan without its rows or columns outside a band of the driver's.
stretch_plan within(const stretch_plan& plan, const RECT& band)
{
    stretch_plan part = plan;
    part.columns = intersect(plan.columns, {band.left, band.right});
    part.rows = intersect(plan.rows, {band.top, band.bottom});
    return part;
}

int32_t print_dots(const dib_lock& image, HDC printer, const stretch_plan& plan)
{
    print_rows rows;
    const tone_table tone = set_gamma(image.object(), image->dot_gain);
    if (int32_t err = rows.prepare(source_of(image), plan, tone, image->dither); err < 0)
        return err;
    dib_band band;
    const int32_t width = plan.columns.end - plan.columns.begin;
    if (int32_t err = band.allocate(width, 1, plan.rows.end - plan.rows.begin); err < 0) return err;
    band.header.colors[1] = {255, 255, 255, 0};
    // From the lowest band up, as print_rows has them.
    for (int32_t end = plan.rows.end; end > plan.rows.begin; end -= band.row_count) {
        const int32_t count = std::min(band.row_count, end - plan.rows.begin);
        for (int32_t r = count - 1; r >= 0; --r)
            rows.next(band.row(r, count));
        if (int32_t err = band.put(printer, plan.columns.begin, end - count, count, SRCCOPY);
            err < 0)
            return err;
    }
    return 0;
}

int32_t print_colors(const dib_lock& image, HDC printer, const stretch_plan& plan)
{
    const tone_table tone = set_gamma(image.object(), image->dot_gain);
    paint_style style;
    style.method = shrink_method::grey_pages;
    style.tone = &tone;
    return paint_bands(image, printer, plan, style);
}

int32_t print_plan(const dib_lock& image, HDC printer, const stretch_plan& plan)
{
    if (plan.empty()) return 0;
    return device_depth(printer) == 1 ? print_dots(image, printer, plan)
                                      : print_colors(image, printer, plan);
}

// Calls print for each band that the driver wants, or once with everything. Dots of the
// error diffusion start anew in each band; thresholds fall as on the whole page.
template <class Print> int32_t for_each_band(HDC printer, Print print)
{
    if (!(GetDeviceCaps(printer, RASTERCAPS) & RC_BANDING)) {
        return print(RECT{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX});
    }
    for (;;) {
        RECT band{};
        if (Escape(printer, NEXTBAND, 0, nullptr, &band) <= 0) return err_unsupported;
        // The driver ends with an empty band.
        if (IsRectEmpty(&band)) return 0;
        if (int32_t err = print(band); err < 0) return err;
    }
}

// Black dots must not fall out of pages that the device shrinks.
class stretch_mode {
public:
    stretch_mode(HDC dc, int32_t bits_per_pixel)
        : dc_(dc), old_(SetStretchBltMode(dc, bits_per_pixel == 1 ? BLACKONWHITE : COLORONCOLOR))
    {
    }
    ~stretch_mode()
    {
        if (old_) SetStretchBltMode(dc_, old_);
    }
    stretch_mode(const stretch_mode&) = delete;
    stretch_mode& operator=(const stretch_mode&) = delete;

private:
    HDC dc_;
    int old_;
};

// The part of a stretch that lies in the image, whatever is clipped: the device clips.
struct device_stretch {
    int32_t source_start, source_extent;
    int32_t device_start, device_extent; // negative when mirrored
    bool empty() const { return source_extent <= 0; }
};

device_stretch whole_stretch(const stretch_axis& axis)
{
    const pixel_span device = visible_pixels(axis, {INT32_MIN, INT32_MAX});
    if (device.empty()) return {0, 0, 0, 0};
    const pixel_span first = source_pixels(axis, device.begin);
    const pixel_span last = source_pixels(axis, device.end - 1);
    const int32_t begin = std::min(first.begin, last.begin);
    const int32_t extent = device.end - device.begin;
    return {begin, std::max(first.end, last.end) - begin,
            axis.mirrored ? device.end - 1 : device.begin, axis.mirrored ? -extent : extent};
}

int32_t stretch_on_device(const dib_lock& image, HDC printer, const RECT& target)
{
    const image_object& object = image.object();
    const device_stretch x = whole_stretch(
        make_axis(object.crop_x, object.crop_width, object.width, target.left, target.right));
    const device_stretch y = whole_stretch(
        make_axis(object.crop_y, object.crop_height, object.height, target.top, target.bottom));
    if (x.empty() || y.empty()) return 0;
    const stretch_mode mode(printer, image.header()->biBitCount);
    // Rows of the source count from the bottom.
    const int32_t lowest = object.height - (y.source_start + y.source_extent);
    dib_header header;
    std::memcpy(&header, image.header(),
                sizeof header.info + static_cast<size_t>(Palette_Size(image.header())));
    header.info.biClrUsed = static_cast<DWORD>(palette_entries(header.info.biBitCount));
    const int lines =
        StretchDIBits(printer, x.device_start, y.device_start, x.device_extent, y.device_extent,
                      x.source_start, lowest, x.source_extent, y.source_extent, image.row(0),
                      reinterpret_cast<const BITMAPINFO*>(&header), DIB_RGB_COLORS, SRCCOPY);
    return lines > 0 ? 0 : err_unsupported;
}

} // namespace

int32_t IMG_STD IMG_print_bitmap(int32_t handle, HDC printer, int32_t x, int32_t y, int32_t width,
                                 int32_t height)
{
    const io_scope scope;
    const lasting_lock image(handle);
    if (image.error()) return image.error();
    if (!GetObjectType(printer)) return err_unsupported;
    const RECT target = device_rectangle(printer, x, y, width, height);
    const device_units units(printer);
    return for_each_band(printer, [&](const RECT& band) {
        const stretch_plan plan = plan_painting(image.object(), printer, target);
        return print_plan(image, printer, within(plan, band));
    });
}

int32_t IMG_STD IMG_print_bitmap_fast(int32_t handle, HDC printer, int32_t x, int32_t y,
                                      int32_t width, int32_t height)
{
    const lasting_lock image(handle);
    if (image.error()) return image.error();
    if (!GetObjectType(printer)) return err_unsupported;
    const RECT target = device_rectangle(printer, x, y, width, height);
    const device_units units(printer);
    return for_each_band(printer,
                         [&](const RECT&) { return stretch_on_device(image, printer, target); });
}
