// scroll_test.cpp - zoom and scroll with the scroll bars and contents of real windows.

#include "tests/win32/gdi_support.h"

namespace {

struct bars {
    int horizontal_range, horizontal, vertical_range, vertical;
    bool operator==(const bars&) const = default;
};

bars bars_of(HWND window)
{
    bars b{};
    int low = 0;
    GetScrollRange(window, SB_HORZ, &low, &b.horizontal_range);
    GetScrollRange(window, SB_VERT, &low, &b.vertical_range);
    b.horizontal = GetScrollPos(window, SB_HORZ);
    b.vertical = GetScrollPos(window, SB_VERT);
    return b;
}

struct crop {
    int32_t x, y, width, height;
    bool operator==(const crop&) const = default;
};

crop crop_of(const test_picture& picture)
{
    crop c{};
    IMG_get_croprect(picture.handle(), &c.x, &c.y, &c.width, &c.height);
    return c;
}

void paint_all(const test_picture& picture, const test_window& window)
{
    HDC dc = GetDC(window.get());
    IMG_display_bitmap(picture.handle(), dc, 0, 0, window.client_width(), window.client_height());
    ReleaseDC(window.get(), dc);
    ValidateRect(window.get(), nullptr);
}

void repaint_strip(const test_picture& picture, const test_window& window, int32_t direction)
{
    window.settle();
    PAINTSTRUCT paint;
    HDC dc = BeginPaint(window.get(), &paint);
    EXPECT_EQ(IMG_repaint_scroll(picture.handle(), dc, window.get(), direction, &paint), 0);
    EndPaint(window.get(), &paint);
}

constexpr uint32_t thumb(uint32_t position)
{
    return position << 16 | SB_THUMBTRACK;
}

} // namespace

TEST(zoom, sets_crop_rectangle_and_scroll_bars)
{
    const test_picture picture(1000, 800, 1);
    test_window window(400, 300);
    ASSERT_EQ(IMG_zoom_bitmap(picture.handle(), window.get(), 200), 0);
    EXPECT_EQ(crop_of(picture), (crop{250, 212, 500, 375}));
    EXPECT_EQ(bars_of(window.get()), (bars{500, 250, 425, 212}));
    // The bars that appeared took some of the client area.
    EXPECT_LT(window.client_width(), 400);
    ASSERT_EQ(IMG_zoom_bitmap(picture.handle(), window.get(), 100), 0);
    EXPECT_EQ(crop_of(picture), (crop{0, 0, 1000, 800}));
    const bars none = bars_of(window.get());
    EXPECT_EQ(none.horizontal_range, 0);
    EXPECT_EQ(none.vertical_range, 0);
    EXPECT_EQ(IMG_zoom_bitmap(-4, window.get(), 100), -4);
    EXPECT_EQ(IMG_zoom_bitmap(4711, window.get(), 100), -13);
    EXPECT_EQ(IMG_zoom_bitmap(picture.handle(), nullptr, 200), 0);
}

TEST(scroll, moves_bars_and_crop_together)
{
    const test_picture picture(1200, 900, 8);
    test_window window(400, 300);
    IMG_zoom_bitmap(picture.handle(), window.get(), 300);
    window.set_client(400, 300);
    // The frame has grown for the bars; the visible part is one to one now.
    IMG_zoom_bitmap(picture.handle(), window.get(), 300);
    ASSERT_EQ(crop_of(picture), (crop{400, 300, 400, 300}));
    const struct {
        uint32_t wparam;
        int32_t message, result;
        bars after;
    } steps[] = {
        {SB_LINEDOWN, WM_VSCROLL, 4, {800, 400, 600, 337}},
        {SB_PAGEDOWN, WM_VSCROLL, 4, {800, 400, 600, 487}},
        {SB_PAGEDOWN, WM_VSCROLL, 4, {800, 400, 600, 600}},
        {SB_PAGEDOWN, WM_VSCROLL, 0, {800, 400, 600, 600}},
        {SB_LINEUP, WM_VSCROLL, 3, {800, 400, 600, 563}},
        {SB_LINEUP, WM_HSCROLL, 1, {800, 350, 600, 563}},
        {SB_PAGEDOWN, WM_HSCROLL, 2, {800, 550, 600, 563}},
        {thumb(123), WM_HSCROLL, 1, {800, 123, 600, 563}},
        {thumb(9999), WM_VSCROLL, 4, {800, 123, 600, 600}},
        {SB_ENDSCROLL, WM_VSCROLL, 0, {800, 123, 600, 600}},
    };
    for (const auto& s : steps) {
        EXPECT_EQ(IMG_scroll_bitmap(picture.handle(), window.get(), s.wparam, 0, s.message),
                  s.result);
        EXPECT_EQ(bars_of(window.get()), s.after) << s.wparam;
        EXPECT_EQ(crop_of(picture), (crop{s.after.horizontal, s.after.vertical, 400, 300}));
    }
    EXPECT_EQ(IMG_scroll_bitmap(-7, window.get(), 0, 0, WM_VSCROLL), -7);
    EXPECT_EQ(IMG_scroll_bitmap(4711, window.get(), 0, 0, WM_VSCROLL), -13);
}

TEST(scroll, adds_up_fractions_of_a_window_pixel)
{
    const test_picture picture(3200, 100, 1);
    test_window window(200, 100);
    IMG_zoom_bitmap(picture.handle(), window.get(), 400);
    window.set_client(200, 100);
    IMG_set_croprect(picture.handle(), 100, 0, 800, 100);
    SetScrollRange(window.get(), SB_HORZ, 0, 2400, FALSE);
    // Four image pixels make a window pixel: three requests only fill the remainder.
    for (const uint32_t position : {99U, 98U, 97U})
        EXPECT_EQ(IMG_scroll_bitmap(picture.handle(), window.get(), thumb(position), 0, WM_HSCROLL),
                  0);
    EXPECT_EQ(IMG_scroll_bitmap(picture.handle(), window.get(), thumb(96), 0, WM_HSCROLL), 1);
    EXPECT_EQ(crop_of(picture).x, 96);
}

TEST(scroll, strip_equals_a_full_repaint)
{
    // Image pixels per window pixel: at whole numbers no rounding is left.
    for (const int32_t scale : {1, 2})
        for (const int32_t bits : {1, 8, 24}) {
            const test_picture picture(900, 720, bits);
            test_window window(300, 240);
            const int32_t percent = 300 / scale;
            IMG_zoom_bitmap(picture.handle(), window.get(), percent);
            window.set_client(300, 240);
            IMG_zoom_bitmap(picture.handle(), window.get(), percent);
            ASSERT_EQ(crop_of(picture).width, 300 * scale);
            ASSERT_EQ(crop_of(picture).height, 240 * scale);
            paint_all(picture, window);
            // Positions of whole window pixels; between them the old contents lie off by a part.
            const struct {
                uint32_t position;
                int32_t message;
            } steps[] = {{140, WM_VSCROLL}, {220, WM_HSCROLL}, {200, WM_HSCROLL},
                         {100, WM_VSCROLL}, {0, WM_HSCROLL},   {200, WM_VSCROLL}};
            for (const auto& s : steps) {
                SCOPED_TRACE(std::to_string(bits) + " bits, scale " + std::to_string(scale) +
                             ", to " + std::to_string(s.position));
                const int32_t direction = IMG_scroll_bitmap(picture.handle(), window.get(),
                                                            thumb(s.position), 0, s.message);
                ASSERT_GT(direction, 0);
                repaint_strip(picture, window, direction);
                const std::vector<color> after_strip = window.pixels();
                paint_all(picture, window);
                ASSERT_EQ(after_strip, window.pixels());
            }
        }
}

TEST(repaint_scroll, builds_a_strip_five_pixels_longer)
{
    const test_picture picture(400, 300, 24);
    const canvas paper(100, 80);
    test_window window(100, 80);
    IMG_set_croprect(picture.handle(), 20, 10, 100, 80);
    PAINTSTRUCT paint{};
    paint.rcPaint = {0, 0, 10, 80};
    EXPECT_EQ(IMG_repaint_scroll(picture.handle(), paper.dc(), window.get(), 1, &paint), 0);
    for (int32_t x = 0; x < 20; ++x)
        EXPECT_EQ(paper.at(x, 40), x < 15 ? picture.at(20 + x, 50) : 0x204060) << x;
    EXPECT_EQ(crop_of(picture), (crop{20, 10, 100, 80}));
    EXPECT_EQ(IMG_repaint_scroll(-13, paper.dc(), window.get(), 1, &paint), -13);
    // No direction: everything. No window: nothing to scroll in.
    EXPECT_EQ(IMG_repaint_scroll(picture.handle(), paper.dc(), window.get(), 0, &paint), 0);
    EXPECT_EQ(paper.at(99, 79), picture.at(119, 89));
    EXPECT_EQ(IMG_repaint_scroll(picture.handle(), paper.dc(), nullptr, 2, &paint), 0);
}
