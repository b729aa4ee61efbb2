// palette_display_test.cpp - painting on displays whose colours are in a palette. Skipped on
// others: run it under an X server of 8 bits.

#include "tests/win32/gdi_support.h"

namespace {

bool has_palette()
{
    HDC screen = GetDC(nullptr);
    const bool palette = (GetDeviceCaps(screen, RASTERCAPS) & RC_PALETTE) != 0;
    ReleaseDC(nullptr, screen);
    return palette;
}

} // namespace

TEST(palette_display, shows_what_the_device_makes_of_each_colour)
{
    if (!has_palette()) GTEST_SKIP() << "the display has no palette";
    const test_window window(64, 48);
    // 16 colours of their own, which the system's palette does not have.
    const test_picture picture(64, 48, 4);
    HDC dc = GetDC(window.get());
    ASSERT_EQ(IMG_bitmap_palette(picture.handle(), dc), 0);
    ASSERT_EQ(IMG_display_bitmap(picture.handle(), dc, 0, 0, 64, 48), 0);
    for (int32_t y = 0; y < 48; ++y)
        for (int32_t x = 0; x < 64; ++x) {
            const COLORREF shown = GetPixel(dc, x, y);
            const color meant = picture.at(x, y);
            // How near the display comes is its own affair.
            ASSERT_EQ(shown, GetNearestColor(dc, RGB(meant >> 16, meant >> 8 & 255, meant & 255)))
                << x << "," << y;
        }
    ReleaseDC(window.get(), dc);
}

TEST(palette_display, device_bitmaps_become_images_of_8_bits)
{
    if (!has_palette()) GTEST_SKIP() << "the display has no palette";
    const test_window window(64, 48);
    const test_picture picture(40, 30, 4);
    const int32_t made = IMG_dib_to_ddb(picture.handle(), 40, 30);
    ASSERT_TRUE(made > 0 || made < -100);
    auto* bitmap = reinterpret_cast<HBITMAP>(made);
    const int32_t back = IMG_create_handle_ddb(bitmap, nullptr);
    int32_t bits = 0;
    ASSERT_GT(IMG_bitmap_info(back, nullptr, nullptr, &bits), 0);
    EXPECT_EQ(bits, 8);
    IMG_delete_bitmap(back);
    DeleteObject(bitmap);
}
