// display.cpp - showing, zooming and scrolling an image in a window. Neither touches the
// pixels: they move the crop rectangle and keep the scroll bars in step with it.

#include "display/painter.h"
#include "display/portable/viewport.h"

namespace {

// Fractions of the last scroll movement, in 1/256 of a window pixel. INTENDED: shared by all
// images and windows; a zoom sets them to 0.
struct scroll_remainders {
    int32_t horizontal = 0;
    int32_t vertical = 0;
};

scroll_remainders remainders;

pixel_size client_size(HWND window)
{
    RECT client{};
    GetClientRect(window, &client);
    return {client.right, client.bottom};
}

pixel_rect crop_of(const image_object& object)
{
    return {object.crop_x, object.crop_y, object.crop_width, object.crop_height};
}

void set_bar(HWND window, int bar, int32_t range, int32_t position)
{
    SetScrollRange(window, bar, 0, range, FALSE);
    if (range != 0) SetScrollPos(window, bar, position, TRUE);
}

// Device bitmaps and errors share one number: codes are the small negative ones.
bool is_error(int32_t result)
{
    return result < 0 && result > -100;
}

} // namespace

/// Moves the crop rectangle to a new x, or where that is -1 to a new y.  Returns the
/// distance in window pixels by which the window's contents move.
int32_t set_image_scroll(int32_t handle, int32_t new_x, int32_t new_y, HWND window)
{
    image_object* object = find_image(handle);
    if (!object) return 0;
    const pixel_size client = client_size(window);
    scroll_movement movement{0, false};
    if (new_x != -1) {
        movement = scroll_distance(object->crop_x, new_x, client.width, object->crop_width,
                                   remainders.horizontal);
        if (movement.moves) object->crop_x = new_x;
    } else if (new_y != -1) {
        movement = scroll_distance(object->crop_y, new_y, client.height, object->crop_height,
                                   remainders.vertical);
        if (movement.moves) object->crop_y = new_y;
    }
    return movement.distance;
}

int32_t IMG_STD IMG_display_bitmap(int32_t handle, HDC dc, int32_t x, int32_t y, int32_t width,
                                   int32_t height)
{
    const io_scope scope;
    // On a printer the client's abort procedure runs, which may delete the image.
    const lasting_lock image(handle);
    if (image.error()) return image.error();
    set_display_rectangle(*find_image(handle), x, y, width, height);
    // INTENDED: 0 whatever the painter came to; a window that cannot be painted is no error
    // of the image's.
    paint_in_logical_units(image, dc, x, y, width, height);
    return 0;
}

int32_t IMG_STD IMG_zoom_bitmap(int32_t handle, HWND window, int32_t percent)
{
    if (handle < 0) return handle;
    const image_object* object = find_image(handle);
    if (!object) return err_handle;
    const zoomed_view view =
        zoom_view(crop_of(*object), {object->width, object->height}, client_size(window), percent);
    remainders = {};
    // A bar that comes or goes sends WM_SIZE, and the window may then zoom again from within:
    // the crop rectangle is stored last, so that this call's is the one that stays.
    set_bar(window, SB_HORZ, view.horizontal_range, view.crop.x);
    set_bar(window, SB_VERT, view.vertical_range, view.crop.y);
    return IMG_set_croprect(handle, view.crop.x, view.crop.y, view.crop.width, view.crop.height);
}

int32_t IMG_STD IMG_scroll_bitmap(int32_t handle, HWND window, uint32_t wparam, int32_t,
                                  int32_t message)
{
    if (handle < 0) return handle;
    const image_object* object = find_image(handle);
    if (!object) return err_handle;
    const bool vertical = message != WM_HSCROLL;
    const int32_t range =
        vertical ? object->height - object->crop_height : object->width - object->crop_width;
    const int bar = vertical ? SB_VERT : SB_HORZ;
    const int32_t target = scroll_target(GetScrollPos(window, bar), range, wparam);
    const int32_t distance = vertical ? set_image_scroll(handle, -1, target, window)
                                      : set_image_scroll(handle, target, -1, window);
    if (distance == 0) return 0;
    ScrollWindow(window, vertical ? 0 : distance, vertical ? distance : 0, nullptr, nullptr);
    SetScrollPos(window, bar, target, TRUE);
    const auto after_up = vertical ? exposed_strip::top : exposed_strip::left;
    const auto after_down = vertical ? exposed_strip::bottom : exposed_strip::right;
    return static_cast<int32_t>(distance < 0 ? after_down : after_up);
}

int32_t IMG_STD IMG_repaint_scroll(int32_t handle, HDC dc, HWND window, int32_t direction,
                                   PAINTSTRUCT* paint)
{
    const image_object* object = find_image(handle);
    if (!object) return err_handle;
    const pixel_size client = client_size(window);
    // After a message that moved nothing the whole picture is meant.
    if (direction < 1 || direction > 4 || !paint)
        return IMG_display_bitmap(handle, dc, 0, 0, client.width, client.height);
    const RECT& rect = paint->rcPaint;
    const int32_t edges[4] = {rect.left, rect.top, rect.right, rect.bottom};
    const pixel_rect crop = crop_of(*object);
    strip_view strip;
    if (!strip_to_repaint(crop, client, static_cast<exposed_strip>(direction), edges, strip))
        return 0;
    IMG_set_croprect(handle, strip.source.x, strip.source.y, strip.source.width,
                     strip.source.height);
    const int32_t bitmap = IMG_dib_to_ddb(handle, strip.target.width, strip.target.height);
    IMG_set_croprect(handle, crop.x, crop.y, crop.width, crop.height);
    if (is_error(bitmap)) return bitmap;
    auto* strip_bitmap = reinterpret_cast<HBITMAP>(bitmap);
    IMG_display_ddb(strip_bitmap, dc, strip.target.x, strip.target.y);
    DeleteObject(strip_bitmap);
    return 0;
}
