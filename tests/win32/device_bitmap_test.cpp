// device_bitmap_test.cpp - images to and from GDI bitmaps, the clipboard, and GDI handles
// that run out or leak.

#include "tests/win32/gdi_support.h"

namespace {

void expect_same_picture(int32_t handle, const test_picture& picture)
{
    ASSERT_GE(handle, 0);
    expect_same_colors(copy_image(handle), picture.copy);
}

// A packed DIB of any kind, its colours or masks behind the header.
byte_vector packed_dib(int32_t height, int32_t bits, uint32_t compression,
                       const std::vector<uint32_t>& table, const byte_vector& rows)
{
    BITMAPINFOHEADER header{sizeof header,
                            2,
                            height,
                            1,
                            static_cast<WORD>(bits),
                            compression,
                            static_cast<DWORD>(rows.size()),
                            0,
                            0,
                            0,
                            0};
    byte_vector bytes(sizeof header + 4 * table.size());
    std::memcpy(bytes.data(), &header, sizeof header);
    if (!table.empty()) std::memcpy(bytes.data() + sizeof header, table.data(), 4 * table.size());
    bytes.insert(bytes.end(), rows.begin(), rows.end());
    return bytes;
}

void put_number(byte_vector& bytes, size_t at, uint32_t number)
{
    std::memcpy(&bytes[at], &number, 4);
}

BOOL WINAPI only_bitmaps(UINT format)
{
    return format == CF_BITMAP;
}

class clipboard_test : public testing::Test {
protected:
    void put(UINT format, HANDLE data) const
    {
        ASSERT_TRUE(OpenClipboard(window.get()));
        EmptyClipboard();
        if (data) {
            EXPECT_TRUE(SetClipboardData(format, data));
        }
        CloseClipboard();
    }
    void put_dib(const byte_vector& bytes) const
    {
        HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, bytes.size());
        std::memcpy(GlobalLock(block), bytes.data(), bytes.size());
        GlobalUnlock(block);
        put(CF_DIB, block);
    }
    int32_t save() const { return IMG_save_clipboard(file.name(), window.get()); }
    int32_t save_and_load() const
    {
        EXPECT_EQ(save(), 1);
        return IMG_decompress_bitmap(file.name());
    }

    test_window window{100, 80};
    temp_file file{".bmp"};
};

// One of everything that takes GDI objects.
void operate(const test_picture& picture, const canvas& paper, HWND window)
{
    IMG_display_bitmap(picture.handle, paper.dc(), 0, 0, 20, 20);
    IMG_bitmap_palette(picture.handle, paper.dc());
    const made_bitmap made(picture.handle, 10, 10);
    IMG_display_ddb(made.get(), paper.dc(), 0, 0);
    const image_guard back(IMG_create_handle_ddb(made.get(), nullptr));
    PAINTSTRUCT paint{};
    paint.rcPaint = {0, 0, 5, 20};
    IMG_repaint_scroll(picture.handle, paper.dc(), window, 1, &paint);
    IMG_print_bitmap(picture.handle, paper.dc(), 0, 0, 20, 20);
    IMG_print_bitmap_fast(picture.handle, paper.dc(), 0, 0, 20, 20);
    IMG_dib_to_ddb(picture.handle, 0, 0);
    IMG_create_handle_ddb(nullptr, nullptr);
}

} // namespace

TEST(device_bitmap, shows_the_crop_rectangle_and_becomes_an_image_again)
{
    for (const int32_t bits : {1, 4, 8, 24}) {
        SCOPED_TRACE(bits);
        const test_picture picture(53, 41, bits);
        const made_bitmap made(picture.handle, 53, 41);
        ASSERT_TRUE(made.ok());
        // A screen of 16 or 32 bits gives 24.
        const image_guard back(IMG_create_handle_ddb(made.get(), nullptr));
        expect_same_picture(back, picture);
        EXPECT_EQ(copy_image(back).bits, 24);
    }
    const test_picture picture(640, 480, 8);
    const made_bitmap half(picture.handle, 320, 240);
    const canvas paper(340, 250);
    EXPECT_EQ(IMG_display_ddb(half.get(), paper.dc(), 9, 8), 0);
    paper.expect([&](int32_t x, int32_t y) {
        const bool inside = x >= 9 && x < 329 && y >= 8 && y < 248;
        return inside ? picture.at(2 * (x - 9), 2 * (y - 8)) : background;
    });
}

TEST(device_bitmap, of_any_depth_becomes_an_image)
{
    for (const int32_t bits : {1, 4, 8, 16, 24, 32}) {
        SCOPED_TRACE(bits);
        const canvas paper(21, 13, bits, 0xFFFFFF);
        SetPixel(paper.dc(), 3, 2, RGB(0, 0, 0));
        const image_guard handle(IMG_create_handle_ddb(paper.bitmap(), nullptr));
        const image_copy copy = copy_image(handle);
        ASSERT_EQ(copy.bits, bits > 8 ? 24 : bits);
        paper.expect([&](int32_t x, int32_t y) { return copy.color(x, y); });
        EXPECT_EQ(copy.color(3, 2), 0U);
        EXPECT_EQ(copy.color(20, 12), 0xFFFFFFU);
    }
}

TEST(device_bitmap, failures_have_their_codes)
{
    const test_picture picture(20, 20, 24);
    const canvas paper(20, 20);
    EXPECT_EQ(IMG_create_handle_ddb(nullptr, nullptr), -14);
    EXPECT_EQ(IMG_create_handle_ddb(reinterpret_cast<HBITMAP>(paper.dc()), nullptr), -14);
    EXPECT_EQ(IMG_dib_to_ddb(-1, 10, 10), -13);
    EXPECT_EQ(IMG_dib_to_ddb(4711, 10, 10), -13);
    EXPECT_EQ(IMG_dib_to_ddb(picture.handle, 0, 10), -7);
    EXPECT_EQ(IMG_dib_to_ddb(picture.handle, 0x7FFFFFFF, 0x7FFFFFFF), -1);
    EXPECT_EQ(IMG_display_ddb(nullptr, paper.dc(), 0, 0), -14);
    auto* deleted = CreateBitmap(5, 5, 1, 1, nullptr);
    DeleteObject(deleted);
    EXPECT_EQ(IMG_display_ddb(deleted, paper.dc(), 0, 0), -14);
    EXPECT_EQ(IMG_display_ddb(paper.bitmap(), paper.dc(), 0, 0), -14) << "in another context";
}

TEST_F(clipboard_test, dib_is_saved_in_every_depth)
{
    for (const int32_t bits : {1, 4, 8, 24}) {
        SCOPED_TRACE(bits);
        const test_picture picture(37, 19, bits);
        const byte_vector packed = picture.packed();
        put_dib(packed);
        const image_guard handle(save_and_load());
        expect_same_picture(handle, picture);
        byte_vector expected = {'B', 'M', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
        expected.insert(expected.end(), packed.begin(), packed.end());
        put_number(expected, 2, static_cast<uint32_t>(expected.size()));
        put_number(expected, 10, static_cast<uint32_t>(54 + picture.dib.table_bytes()));
        EXPECT_EQ(file.bytes(), expected);
    }
}

TEST_F(clipboard_test, short_colour_table_is_followed_by_the_rows)
{
    std::vector<uint32_t> table(16);
    for (uint32_t i = 0; i < 16; ++i)
        table[i] = i * 0x101010;
    byte_vector dib = packed_dib(2, 8, BI_RGB, table, {1, 2, 3, 4, 5, 6, 7, 15});
    put_number(dib, 32, 16);
    put_dib(dib);
    ASSERT_EQ(save(), 1);
    const byte_vector bytes = file.bytes();
    ASSERT_EQ(bytes.size(), 14U + 40 + 1024 + 8);
    EXPECT_EQ(std::memcmp(&bytes[54], table.data(), 64), 0);
    EXPECT_EQ(std::memcmp(&bytes[1078], "\1\2\3\4\5\6\7\17", 8), 0);
}

TEST_F(clipboard_test, uncommon_dibs_come_out_as_24_bits)
{
    const byte_vector dibs[] = {
        packed_dib(2, 32, BI_RGB, {}, {1, 2, 3, 0, 4, 5, 6, 0, 9, 8, 7, 0, 3, 2, 1, 0}),
        packed_dib(-2, 32, BI_RGB, {}, {9, 8, 7, 0, 3, 2, 1, 0, 1, 2, 3, 0, 4, 5, 6, 0}),
        packed_dib(2, 32, BI_BITFIELDS, {0xFF, 0xFF00, 0xFF0000},
                   {3, 2, 1, 0, 6, 5, 4, 0, 7, 8, 9, 0, 1, 2, 3, 0}),
        packed_dib(-2, 24, BI_RGB, {}, {9, 8, 7, 3, 2, 1, 0, 0, 1, 2, 3, 4, 5, 6, 0, 0}),
    };
    for (const byte_vector& dib : dibs) {
        put_dib(dib);
        const image_guard handle(save_and_load());
        const image_copy copy = copy_image(handle);
        const std::vector<color> seen = {copy.color(0, 0), copy.color(1, 0), copy.color(0, 1),
                                         copy.color(1, 1)};
        EXPECT_EQ(seen, (std::vector<color>{0x070809, 0x010203, 0x030201, 0x060504}));
    }
}

TEST_F(clipboard_test, hostile_dibs_read_nothing_outside)
{
    const byte_vector sound = test_picture(30, 30, 8).packed();
    byte_vector huge = sound, many_colors = sound;
    put_number(huge, 4, 0x7FFFFFF0);
    put_number(many_colors, 32, 0x7FFFFFF0);
    const struct {
        const char* what;
        byte_vector dib;
        int32_t expected;
    } rows[] = {{"cut rows become 0", byte_vector(sound.begin(), sound.begin() + 300), 1},
                {"no whole header", byte_vector(sound.begin(), sound.begin() + 20), -14},
                {"impossible size", huge, -14},
                {"more colours than memory", many_colors, 1},
                {"cut rows of another depth", packed_dib(50, 32, BI_RGB, {}, {1, 2, 3}), -14}};
    for (const auto& r : rows) {
        SCOPED_TRACE(r.what);
        put_dib(r.dib);
        EXPECT_EQ(save(), r.expected);
    }
}

TEST_F(clipboard_test, bitmap_is_saved_where_there_is_no_dib)
{
    // 2100 bytes a row, more than the classic work buffer took.
    const test_picture wide(700, 5, 24);
    put(CF_BITMAP, reinterpret_cast<HANDLE>(IMG_dib_to_ddb(wide.handle, 700, 5)));
    {
        // The system makes the one of the other.
        const replaced_call formats("user32.dll", "IsClipboardFormatAvailable",
                                    reinterpret_cast<void*>(only_bitmaps));
        const image_guard handle(save_and_load());
        expect_same_picture(handle, wide);
        EXPECT_EQ(IMG_save_clipboard("Z:\\dev\\full", window.get()), -9);
    }
    const image_guard handle(save_and_load());
    expect_same_picture(handle, wide);
}

TEST_F(clipboard_test, failures_have_their_codes)
{
    put(0, nullptr);
    EXPECT_EQ(save(), -14);
    EXPECT_EQ(GetFileAttributesA(file.name()), INVALID_FILE_ATTRIBUTES) << "no file is created";
    put_dib(test_picture(80, 80, 24).packed());
    EXPECT_EQ(IMG_save_clipboard("no/such/directory/a.bmp", window.get()), -1);
    EXPECT_EQ(IMG_save_clipboard("", window.get()), -1);
    EXPECT_EQ(IMG_save_clipboard("Z:\\dev\\full", window.get()), -9) << "the disk is full";
    // The clipboard is closed again after each.
    EXPECT_TRUE(OpenClipboard(window.get()));
    CloseClipboard();
}

// Runs in a process of its own, for the test after it.
TEST(clipboard_holder, DISABLED_keeps_the_clipboard_open)
{
    ASSERT_TRUE(OpenClipboard(nullptr));
    SetEvent(OpenEventA(EVENT_ALL_ACCESS, FALSE, "trevolan_clipboard_held"));
    WaitForSingleObject(OpenEventA(EVENT_ALL_ACCESS, FALSE, "trevolan_clipboard_done"), 10000);
    CloseClipboard();
}

TEST_F(clipboard_test, held_by_another_process_cannot_be_saved)
{
    put_dib(test_picture(8, 8, 1).packed());
    HANDLE held = CreateEventA(nullptr, TRUE, FALSE, "trevolan_clipboard_held");
    HANDLE done = CreateEventA(nullptr, TRUE, FALSE, "trevolan_clipboard_done");
    const PROCESS_INFORMATION process =
        start_process(std::string("\"") + _pgmptr +
                      "\" --gtest_also_run_disabled_tests --gtest_filter=clipboard_holder.*");
    ASSERT_EQ(WaitForSingleObject(held, 20000), WAIT_OBJECT_0);
    EXPECT_EQ(save(), -14);
    SetEvent(done);
    WaitForSingleObject(process.hProcess, 20000);
    EXPECT_EQ(save(), 1);
    for (HANDLE h : {held, done, process.hProcess, process.hThread})
        CloseHandle(h);
}

TEST(gdi_handles, ten_thousand_operations_leave_none_behind)
{
    const test_window window(60, 40);
    const test_picture picture(30, 30, 8);
    const canvas paper(20, 20), mono(20, 20, 1);
    operate(picture, paper, window.get());
    operate(picture, mono, window.get());
    const size_t before = taken_gdi_handles().count();
    ASSERT_GT(before, 1000U);
    for (int i = 0; i < 1000; ++i)
        operate(picture, i % 2 ? mono : paper, window.get());
    EXPECT_EQ(taken_gdi_handles().count(), before);
}

TEST(gdi_handles, having_none_left_is_told_and_leaves_nothing_behind)
{
    const test_picture picture(30, 30, 8);
    const canvas paper(20, 20);
    auto* bitmap = CreateBitmap(20, 20, 1, 1, nullptr); // in no device context
    IMG_bitmap_palette(picture.handle, paper.dc());
    const size_t before = taken_gdi_handles().count();
    // With 0, 1, 2 … handles to be had each call stops at another place.
    for (size_t left = 0; left < 6; ++left) {
        SCOPED_TRACE(left);
        const taken_gdi_handles none(left);
        const int32_t palette = IMG_bitmap_palette(picture.handle, paper.dc());
        const made_bitmap made(picture.handle, 10, 10);
        const int32_t shown = IMG_display_ddb(bitmap, paper.dc(), 0, 0);
        const image_guard image(IMG_create_handle_ddb(bitmap, nullptr));
        EXPECT_EQ(IMG_display_bitmap(picture.handle, paper.dc(), 0, 0, 20, 20), 0);
        EXPECT_TRUE(palette == -1 || (palette == 0 && left > 0));
        EXPECT_TRUE(made.result == -1 || (made.ok() && left > 0));
        EXPECT_TRUE(shown == -1 || (shown == 0 && left > 0));
        EXPECT_TRUE(image >= 0 || image == -1 || image == -14);
    }
    EXPECT_EQ(taken_gdi_handles().count(), before);
    DeleteObject(bitmap);
}
