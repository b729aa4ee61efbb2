// leak_test.cpp - GDI handles after many operations, and operations without any left.

#include "tests/win32/gdi_support.h"

namespace {

bool is_error(int32_t result)
{
    return result < 0 && result > -100;
}

// One of everything that takes GDI objects.  The results of the calls that may fail.
void operate(const test_picture& picture, const canvas& paper, HWND window)
{
    const int32_t h = picture.handle();
    IMG_display_bitmap(h, paper.dc(), 0, 0, 20, 20);
    IMG_bitmap_palette(h, paper.dc());
    const int32_t made = IMG_dib_to_ddb(h, 10, 10);
    if (!is_error(made)) {
        auto* bitmap = reinterpret_cast<HBITMAP>(made);
        IMG_display_ddb(bitmap, paper.dc(), 0, 0);
        const int32_t back = IMG_create_handle_ddb(bitmap, nullptr);
        if (back >= 0) IMG_delete_bitmap(back);
        DeleteObject(bitmap);
    }
    PAINTSTRUCT paint{};
    paint.rcPaint = {0, 0, 5, 20};
    IMG_repaint_scroll(h, paper.dc(), window, 1, &paint);
    IMG_print_bitmap(h, paper.dc(), 0, 0, 20, 20);
    IMG_print_bitmap_fast(h, paper.dc(), 0, 0, 20, 20);
    IMG_display_bitmap(-5, paper.dc(), 0, 0, 20, 20);
    IMG_dib_to_ddb(h, 0, 0);
    IMG_create_handle_ddb(nullptr, nullptr);
}

} // namespace

TEST(gdi_handles, ten_thousand_operations_leave_none_behind)
{
    const test_window window(60, 40);
    const test_picture picture(30, 30, 8);
    const canvas paper(20, 20);
    const canvas mono(20, 20, 1);
    operate(picture, paper, window.get());
    operate(picture, mono, window.get());
    const int32_t before = free_gdi_handles();
    ASSERT_GT(before, 1000);
    for (int i = 0; i < 1000; ++i)
        operate(picture, i % 2 ? mono : paper, window.get());
    EXPECT_EQ(free_gdi_handles(), before);
}

TEST(gdi_handles, having_none_left_is_told_and_leaves_nothing_behind)
{
    const test_picture picture(30, 30, 8);
    const canvas paper(20, 20);
    // A bitmap in no device context.
    auto* bitmap = CreateBitmap(20, 20, 1, 1, nullptr);
    IMG_display_bitmap(picture.handle(), paper.dc(), 0, 0, 20, 20);
    const int32_t before = free_gdi_handles();
    // With 0, 1, 2 … handles to be had each call stops at another place.
    for (int32_t left = 0; left < 6; ++left) {
        SCOPED_TRACE(left);
        int32_t palette = 0, made = 0, shown = 0, image = 0;
        {
            const no_gdi_handles none(left);
            palette = IMG_bitmap_palette(picture.handle(), paper.dc());
            made = IMG_dib_to_ddb(picture.handle(), 10, 10);
            shown = IMG_display_ddb(bitmap, paper.dc(), 0, 0);
            image = IMG_create_handle_ddb(bitmap, nullptr);
            EXPECT_EQ(IMG_display_bitmap(picture.handle(), paper.dc(), 0, 0, 20, 20), 0);
        }
        EXPECT_TRUE(palette == 0 || palette == -1);
        EXPECT_TRUE(!is_error(made) || made == -1);
        EXPECT_TRUE(shown == 0 || shown == -1);
        EXPECT_TRUE(image >= 0 || image == -1 || image == -14);
        if (left == 0) {
            EXPECT_EQ(palette, -1);
            EXPECT_EQ(made, -1);
            EXPECT_EQ(shown, -1);
        }
        if (!is_error(made)) DeleteObject(reinterpret_cast<HBITMAP>(made));
        if (image >= 0) IMG_delete_bitmap(image);
    }
    // The palette that the image has now counts as one.
    EXPECT_GE(free_gdi_handles(), before - 1);
    DeleteObject(bitmap);
}
