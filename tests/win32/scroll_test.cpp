// scroll_test.cpp - zoom and scroll with the scroll bars and contents of real windows.

#include "tests/win32/gdi_support.h"

namespace {

using numbers = std::vector<int32_t>;

// Ranges and positions of the horizontal and the vertical bar.
numbers bars_of(HWND window)
{
    int low = 0, across = 0, down = 0;
    GetScrollRange(window, SB_HORZ, &low, &across);
    GetScrollRange(window, SB_VERT, &low, &down);
    return {across, GetScrollPos(window, SB_HORZ), down, GetScrollPos(window, SB_VERT)};
}

numbers crop_of(const test_picture& picture)
{
    int32_t x = 0, y = 0, width = 0, height = 0;
    IMG_get_croprect(picture.handle, &x, &y, &width, &height);
    return {x, y, width, height};
}

// The frame grows for the bars that come; the second zoom is that of the whole client area.
void zoom(const test_picture& picture, const test_window& window, int32_t percent)
{
    const SIZE client = window.client();
    IMG_zoom_bitmap(picture.handle, window.get(), percent);
    window.set_client(client.cx, client.cy);
    ASSERT_EQ(IMG_zoom_bitmap(picture.handle, window.get(), percent), 0);
}

// The window's pixels after painting with paint(dc, paint structure).
template <class Paint> values painted(const test_window& window, Paint paint)
{
    window.settle();
    PAINTSTRUCT structure;
    HDC dc = BeginPaint(window.get(), &structure);
    EXPECT_EQ(paint(dc, &structure), 0);
    EndPaint(window.get(), &structure);
    return window.pixels();
}

values painted_whole(const test_picture& picture, const test_window& window)
{
    InvalidateRect(window.get(), nullptr, FALSE);
    return painted(window, [&](HDC dc, PAINTSTRUCT*) {
        return IMG_display_bitmap(picture.handle, dc, 0, 0, window.client().cx, window.client().cy);
    });
}

constexpr uint32_t thumb(uint32_t position)
{
    return position << 16 | SB_THUMBTRACK;
}

} // namespace

TEST(scroll, moves_bars_and_crop_together)
{
    const test_picture picture(1200, 900, 8);
    const test_window window(400, 300);
    ASSERT_EQ(IMG_zoom_bitmap(picture.handle, window.get(), 200), 0);
    EXPECT_EQ(crop_of(picture), (numbers{300, 225, 600, 450}));
    EXPECT_EQ(bars_of(window.get()), (numbers{600, 300, 450, 225}));
    EXPECT_LT(window.client().cx, 400) << "the bars took some of the client area";
    window.set_client(400, 300);
    ASSERT_EQ(IMG_zoom_bitmap(picture.handle, window.get(), 300), 0);
    const struct {
        uint32_t wparam;
        int32_t message, result, x, y;
    } steps[] = {
        {SB_LINEDOWN, WM_VSCROLL, 4, 400, 337}, {SB_PAGEDOWN, WM_VSCROLL, 4, 400, 487},
        {SB_PAGEDOWN, WM_VSCROLL, 4, 400, 600}, {SB_PAGEDOWN, WM_VSCROLL, 0, 400, 600},
        {SB_LINEUP, WM_VSCROLL, 3, 400, 563},   {SB_LINEUP, WM_HSCROLL, 1, 350, 563},
        {SB_PAGEDOWN, WM_HSCROLL, 2, 550, 563}, {thumb(123), WM_HSCROLL, 1, 123, 563},
        {thumb(9999), WM_VSCROLL, 4, 123, 600}, {SB_ENDSCROLL, WM_VSCROLL, 0, 123, 600},
    };
    for (const auto& s : steps) {
        EXPECT_EQ(IMG_scroll_bitmap(picture.handle, window.get(), s.wparam, 0, s.message),
                  s.result);
        EXPECT_EQ(bars_of(window.get()), (numbers{800, s.x, 600, s.y})) << s.wparam;
        EXPECT_EQ(crop_of(picture), (numbers{s.x, s.y, 400, 300}));
    }
    // Two image pixels make a window pixel: every second request upward only fills the
    // remainder, and the crop rectangle moves all the same. A zoom empties the remainder.
    for (int round = 0; round < 2; ++round) {
        IMG_set_croprect(picture.handle, 123, 0, 800, 600);
        for (const uint32_t x : {122U, 121U, 120U})
            EXPECT_EQ(IMG_scroll_bitmap(picture.handle, window.get(), thumb(x), 0, WM_HSCROLL),
                      x & 1);
        EXPECT_EQ(crop_of(picture)[0], 120);
        IMG_zoom_bitmap(picture.handle, window.get(), 100);
        window.set_client(400, 300);
    }
    EXPECT_EQ(IMG_zoom_bitmap(picture.handle, window.get(), 100), 0);
    EXPECT_EQ(crop_of(picture), (numbers{0, 0, 1200, 900}));
    EXPECT_EQ(bars_of(window.get())[0], 0);
    EXPECT_EQ(bars_of(window.get())[2], 0);
}

TEST(scroll, strip_equals_a_full_repaint)
{
    // At whole numbers of image pixels per window pixel no rounding is left.
    for (const auto& [scale, bits] : {std::pair(1, 24), {2, 1}, {2, 8}}) {
        const test_picture picture(900, 720, bits);
        const test_window window(300, 240);
        zoom(picture, window, 300 / scale);
        ASSERT_EQ(crop_of(picture)[2], 300 * scale);
        painted_whole(picture, window);
        // Positions of whole window pixels; between them the old contents lie off by a part.
        const std::pair<uint32_t, int32_t> steps[] = {{140, WM_VSCROLL}, {220, WM_HSCROLL},
                                                      {200, WM_HSCROLL}, {100, WM_VSCROLL},
                                                      {0, WM_HSCROLL},   {200, WM_VSCROLL}};
        for (const auto& [position, message] : steps) {
            SCOPED_TRACE(std::to_string(bits) + " bits, scale " + std::to_string(scale) + ", to " +
                         std::to_string(position));
            const int32_t direction =
                IMG_scroll_bitmap(picture.handle, window.get(), thumb(position), 0, message);
            ASSERT_GT(direction, 0);
            const auto strip = painted(window, [&](HDC dc, PAINTSTRUCT* paint) {
                return IMG_repaint_scroll(picture.handle, dc, window.get(), direction, paint);
            });
            ASSERT_EQ(strip, painted_whole(picture, window));
        }
    }
}

TEST(repaint_scroll, builds_a_strip_five_pixels_longer)
{
    const test_picture picture(400, 300, 24);
    const canvas paper(100, 80);
    const test_window window(100, 80);
    IMG_set_croprect(picture.handle, 20, 10, 100, 80);
    PAINTSTRUCT paint{};
    paint.rcPaint = {0, 0, 10, 80};
    EXPECT_EQ(IMG_repaint_scroll(picture.handle, paper.dc(), window.get(), 1, &paint), 0);
    paper.expect(
        [&](int32_t x, int32_t y) { return x < 15 ? picture.color(20 + x, 10 + y) : background; });
    EXPECT_EQ(crop_of(picture), (numbers{20, 10, 100, 80}));
    // No direction: everything. No window: nothing to scroll in.
    EXPECT_EQ(IMG_repaint_scroll(picture.handle, paper.dc(), window.get(), 0, &paint), 0);
    EXPECT_EQ(paper.at(99, 79), picture.color(119, 89));
    EXPECT_EQ(IMG_repaint_scroll(picture.handle, paper.dc(), nullptr, 2, &paint), 0);
}
