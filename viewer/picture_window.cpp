// picture_window.cpp - shows the picture: zoom, scroll, rectangle zoom.
//
// The crop rectangle of the image is what the window shows. Where the whole width or height
// fits, it is drawn in the middle with margins.

#include "viewer/picture_window.h"

#include <algorithm>
#include <cmath>
#include <windowsx.h>

namespace {

constexpr const char* class_name = "TrevolanPicture";
constexpr double least_scale = 1.0 / 256;
constexpr double largest_scale = 32;
constexpr int drag_threshold = 6;

struct crop_rectangle {
    int32_t x = 0, y = 0, width = 0, height = 0;
};

crop_rectangle crop_of(const document& picture)
{
    crop_rectangle c;
    IMG_get_croprect(picture.handle(), &c.x, &c.y, &c.width, &c.height);
    return c;
}

// Image pixels of one axis that a window extent shows.
int32_t visible_extent(int32_t image, int32_t window, double scale)
{
    const double pixels = std::floor(window / scale + 0.5);
    return static_cast<int32_t>(std::clamp(pixels, 1.0, static_cast<double>(image)));
}

int32_t start_for(double centre, int32_t extent, int32_t image)
{
    const auto start = static_cast<int32_t>(std::lround(centre - extent / 2.0));
    return std::clamp(start, 0, image - extent);
}

void set_bar(HWND window, int bar, int32_t range, int32_t position)
{
    SetScrollRange(window, bar, 0, range, FALSE);
    if (range > 0) SetScrollPos(window, bar, position, TRUE);
}

RECT rectangle_between(POINT a, POINT b)
{
    return {std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.x, b.x), std::max(a.y, b.y)};
}

} // namespace

picture_window::picture_window(HWND parent, document& picture) : picture_(picture)
{
    WNDCLASSA window_class{};
    window_class.style = CS_HREDRAW | CS_VREDRAW;
    window_class.lpfnWndProc = procedure;
    window_class.hInstance = GetModuleHandleA(nullptr);
    window_class.hCursor = LoadCursor(nullptr, IDC_CROSS);
    window_class.lpszClassName = class_name;
    RegisterClassA(&window_class);
    window_ =
        CreateWindowExA(WS_EX_CLIENTEDGE, class_name, "", WS_CHILD | WS_VISIBLE, 0, 0, 0, 0, parent,
                        nullptr, window_class.hInstance, static_cast<message_window*>(this));
}

LRESULT picture_window::handle(UINT message, WPARAM w, LPARAM l)
{
    switch (message) {
    case WM_ERASEBKGND: return 1;
    case WM_PAINT: paint(); return 0;
    case WM_SIZE:
        if (!placing_) picture_changed();
        return 0;
    case WM_HSCROLL:
    case WM_VSCROLL: scroll(message, w); return 0;
    case WM_KEYDOWN: key(w); return 0;
    case WM_MOUSEWHEEL: wheel(w, l); return 0;
    case WM_LBUTTONDOWN:
        SetFocus(window_);
        if (!picture_.is_open()) return 0;
        dragging_ = true;
        drag_from_ = drag_to_ = {GET_X_LPARAM(l), GET_Y_LPARAM(l)};
        SetCapture(window_);
        return 0;
    case WM_MOUSEMOVE:
        if (!dragging_) return 0;
        draw_rubber_band();
        drag_to_ = {GET_X_LPARAM(l), GET_Y_LPARAM(l)};
        draw_rubber_band();
        return 0;
    case WM_LBUTTONUP:
        if (dragging_) end_rubber_band();
        return 0;
    case WM_CAPTURECHANGED:
        if (dragging_) draw_rubber_band();
        dragging_ = false;
        return 0;
    default: return DefWindowProcA(window_, message, w, l);
    }
}

RECT picture_window::client() const
{
    RECT rect{};
    GetClientRect(window_, &rect);
    return rect;
}

// Where the crop rectangle is drawn.
RECT picture_window::target() const
{
    const RECT area = client();
    const crop_rectangle crop = crop_of(picture_);
    const auto extent = [&](int32_t shown, int32_t image, int32_t window) {
        if (shown < image) return window;
        return std::clamp(static_cast<int32_t>(std::lround(shown * scale_)), 1, window);
    };
    const int32_t width = extent(crop.width, picture_.width(), area.right);
    const int32_t height = extent(crop.height, picture_.height(), area.bottom);
    const LONG x = (area.right - width) / 2;
    const LONG y = (area.bottom - height) / 2;
    return {x, y, x + width, y + height};
}

void picture_window::image_point(POINT place, double& x, double& y) const
{
    const RECT at = target();
    const crop_rectangle crop = crop_of(picture_);
    x = crop.x + (place.x - at.left) * static_cast<double>(crop.width) / (at.right - at.left);
    y = crop.y + (place.y - at.top) * static_cast<double>(crop.height) / (at.bottom - at.top);
}

double picture_window::fitting_scale() const
{
    const RECT area = client();
    const double across = static_cast<double>(area.right) / picture_.width();
    const double down = static_cast<double>(area.bottom) / picture_.height();
    return std::clamp(std::min(across, down), least_scale, largest_scale);
}

// Sets crop rectangle and scroll bars.  False when bars came or went, so that the client
// area is another now.
bool picture_window::place_crop(double centre_x, double centre_y)
{
    const RECT before = client();
    const int32_t width = visible_extent(picture_.width(), before.right, scale_);
    const int32_t height = visible_extent(picture_.height(), before.bottom, scale_);
    const int32_t x = start_for(centre_x, width, picture_.width());
    const int32_t y = start_for(centre_y, height, picture_.height());
    set_bar(window_, SB_HORZ, picture_.width() - width, x);
    set_bar(window_, SB_VERT, picture_.height() - height, y);
    IMG_set_croprect(picture_.handle(), x, y, width, height);
    const RECT after = client();
    return after.right == before.right && after.bottom == before.bottom;
}

void picture_window::set_view(double scale, double centre_x, double centre_y)
{
    if (!picture_.is_open() || client().right <= 0 || client().bottom <= 0) return;
    scale_ = std::clamp(scale, least_scale, largest_scale);
    placing_ = true;
    // One bar can bring the other; after that nothing changes any more.
    for (int i = 0; i < 3 && !place_crop(centre_x, centre_y); ++i)
        if (fit_) scale_ = fitting_scale();
    placing_ = false;
    InvalidateRect(window_, nullptr, FALSE);
    if (on_zoom) on_zoom();
}

void picture_window::fit()
{
    if (!picture_.is_open()) return;
    fit_ = true;
    set_view(fitting_scale(), picture_.width() / 2.0, picture_.height() / 2.0);
}

void picture_window::actual_size()
{
    const crop_rectangle crop = crop_of(picture_);
    fit_ = false;
    set_view(1, crop.x + crop.width / 2.0, crop.y + crop.height / 2.0);
}

void picture_window::zoom_by(double factor)
{
    const RECT area = client();
    zoom_at(factor, {area.right / 2, area.bottom / 2});
}

// The image point at the place stays there.
void picture_window::zoom_at(double factor, POINT place)
{
    if (!picture_.is_open()) return;
    double x = 0, y = 0;
    image_point(place, x, y);
    const RECT area = client();
    const double scale = std::clamp(scale_ * factor, least_scale, largest_scale);
    fit_ = false;
    set_view(scale, x - (place.x - area.right / 2.0) / scale,
             y - (place.y - area.bottom / 2.0) / scale);
}

void picture_window::picture_changed()
{
    if (!picture_.is_open()) {
        for (const int bar : {SB_HORZ, SB_VERT})
            SetScrollRange(window_, bar, 0, 0, TRUE);
        InvalidateRect(window_, nullptr, FALSE);
        return;
    }
    if (fit_) return fit();
    const crop_rectangle crop = crop_of(picture_);
    set_view(scale_, crop.x + crop.width / 2.0, crop.y + crop.height / 2.0);
}

void picture_window::paint_margins(HDC dc, const RECT& target) const
{
    const RECT area = client();
    const int saved = SaveDC(dc);
    if (picture_.is_open())
        ExcludeClipRect(dc, target.left, target.top, target.right, target.bottom);
    FillRect(dc, &area, GetSysColorBrush(COLOR_APPWORKSPACE));
    RestoreDC(dc, saved);
}

void picture_window::paint()
{
    PAINTSTRUCT paint;
    HDC dc = BeginPaint(window_, &paint);
    if (picture_.is_open()) {
        const RECT at = target();
        if (GetDeviceCaps(dc, RASTERCAPS) & RC_PALETTE) IMG_bitmap_palette(picture_.handle(), dc);
        // After a scroll the clip box is the strip that came into view: only it is scaled.
        IMG_display_bitmap(picture_.handle(), dc, at.left, at.top, at.right - at.left,
                           at.bottom - at.top);
        paint_margins(dc, at);
    } else {
        paint_margins(dc, {});
    }
    EndPaint(window_, &paint);
}

void picture_window::scroll(UINT message, WPARAM w)
{
    if (!picture_.is_open()) return;
    if (IMG_scroll_bitmap(picture_.handle(), window_, static_cast<uint32_t>(w), 0,
                          static_cast<int32_t>(message)) > 0)
        UpdateWindow(window_);
}

void picture_window::key(WPARAM key)
{
    const struct {
        WPARAM key;
        UINT message;
        WPARAM request;
    } keys[] = {
        {VK_UP, WM_VSCROLL, SB_LINEUP},       {VK_DOWN, WM_VSCROLL, SB_LINEDOWN},
        {VK_LEFT, WM_HSCROLL, SB_LINEUP},     {VK_RIGHT, WM_HSCROLL, SB_LINEDOWN},
        {VK_PRIOR, WM_VSCROLL, SB_PAGEUP},    {VK_NEXT, WM_VSCROLL, SB_PAGEDOWN},
        {VK_HOME, WM_VSCROLL, SB_THUMBTRACK}, {VK_END, WM_VSCROLL, 0xFFFF0000 | SB_THUMBTRACK},
    };
    for (const auto& k : keys)
        if (k.key == key) scroll(k.message, k.request);
}

void picture_window::wheel(WPARAM w, LPARAM l)
{
    const double notches = GET_WHEEL_DELTA_WPARAM(w) / double{WHEEL_DELTA};
    if (GET_KEYSTATE_WPARAM(w) & MK_SHIFT)
        return scroll(WM_VSCROLL, notches > 0 ? SB_LINEUP : SB_LINEDOWN);
    POINT place{GET_X_LPARAM(l), GET_Y_LPARAM(l)};
    ScreenToClient(window_, &place);
    zoom_at(std::pow(1.25, notches), place);
}

void picture_window::draw_rubber_band() const
{
    HDC dc = GetDC(window_);
    const RECT band = rectangle_between(drag_from_, drag_to_);
    DrawFocusRect(dc, &band);
    ReleaseDC(window_, dc);
}

void picture_window::end_rubber_band()
{
    draw_rubber_band();
    dragging_ = false;
    ReleaseCapture();
    const RECT band = rectangle_between(drag_from_, drag_to_);
    const LONG width = band.right - band.left, height = band.bottom - band.top;
    // A click is no rectangle.
    if (width < drag_threshold || height < drag_threshold) return;
    double x = 0, y = 0;
    image_point({(band.left + band.right) / 2, (band.top + band.bottom) / 2}, x, y);
    const RECT area = client();
    const double factor = std::min(static_cast<double>(area.right) / width,
                                   static_cast<double>(area.bottom) / height);
    fit_ = false;
    set_view(scale_ * factor, x, y);
}
