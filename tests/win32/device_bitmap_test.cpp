// device_bitmap_test.cpp - images to and from GDI bitmaps, the clipboard, and GDI handles
// that run out or leak.

#include "tests/win32/gdi_support.h"

namespace {

// The test program started again with this argument is the other process that has the clipboard
// open: it tells when, and lets go when it is told to.
constexpr const char* hold_clipboard = "--hold-clipboard";

struct holding_events {
    HANDLE opened = CreateEventA(nullptr, TRUE, FALSE, "trevolan_clipboard_opened");
    HANDLE let_go = CreateEventA(nullptr, TRUE, FALSE, "trevolan_clipboard_let_go");
};

[[maybe_unused]] const bool is_other_process = [] {
    if (!std::strstr(GetCommandLineA(), hold_clipboard)) return false;
    const holding_events events;
    const BOOL opened = OpenClipboard(nullptr);
    SetEvent(events.opened);
    WaitForSingleObject(events.let_go, 20000);
    ExitProcess(opened && CloseClipboard() ? 0 : 1);
}();

byte_vector joined(byte_vector first, const byte_vector& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// A packed DIB two pixels wide, its colours or masks behind the header.
byte_vector packed_dib(int32_t height, int32_t bits, uint32_t compression,
                       const std::vector<uint32_t>& table, const byte_vector& rows)
{
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = 2;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = static_cast<WORD>(bits);
    header.biCompression = compression;
    header.biSizeImage = static_cast<DWORD>(rows.size());
    byte_vector bytes(sizeof header + 4 * table.size());
    std::memcpy(bytes.data(), &header, sizeof header);
    if (!table.empty()) std::memcpy(bytes.data() + sizeof header, table.data(), 4 * table.size());
    return joined(bytes, rows);
}

byte_vector with_number(byte_vector bytes, size_t at, size_t number)
{
    const auto little_endian = static_cast<uint32_t>(number);
    std::memcpy(&bytes[at], &little_endian, 4);
    return bytes;
}

// The BMP file of a packed DIB with a full colour table.
byte_vector bmp_file(const byte_vector& packed)
{
    BITMAPINFOHEADER header;
    std::memcpy(&header, packed.data(), sizeof header);
    const size_t table = header.biBitCount == 24 ? 0 : size_t{4} << header.biBitCount;
    const byte_vector head = {'B', 'M', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    return joined(with_number(with_number(head, 2, packed.size() + 14), 10, 54 + table), packed);
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
    picture saved_picture() const
    {
        EXPECT_EQ(save(), 1);
        return copy_image(image_guard(IMG_decompress_bitmap(file.name())));
    }

    test_window window{100, 80};
    temp_file file{".bmp"};
};

using palette_display = clipboard_test;

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
        const test_picture shown(60, 41, bits);
        IMG_set_croprect(shown.handle, 10, 1, 50, 40);
        const made_bitmap made(shown.handle, 100, 80);
        // A screen of 16 or 32 bits gives 24.
        const picture back = copy_image(image_guard(IMG_create_handle_ddb(made.get(), nullptr)));
        ASSERT_EQ(back.bits, 24);
        const canvas paper(120, 90);
        EXPECT_EQ(IMG_display_ddb(made.get(), paper.dc(), 9, 8), 0);
        paper.expect([&](int32_t x, int32_t y) {
            const bool inside = x >= 9 && x < 109 && y >= 8 && y < 88;
            return inside ? shown.color(10 + (x - 9) / 2, 1 + (y - 8) / 2) : background;
        });
        for (int32_t x = 0; x < 100; ++x)
            ASSERT_EQ(back.color(x, 79), shown.color(10 + x / 2, 40));
    }
    for (const int32_t bits : {1, 4, 8, 16, 24, 32}) {
        SCOPED_TRACE(bits);
        const canvas paper(21, 13, bits, 0xFFFFFF);
        SetPixel(paper.dc(), 3, 2, RGB(0, 0, 0));
        const picture copy =
            copy_image(image_guard(IMG_create_handle_ddb(paper.bitmap(), nullptr)));
        ASSERT_EQ(copy.bits, bits > 8 ? 24 : bits);
        paper.expect([&](int32_t x, int32_t y) { return copy.color(x, y); });
        EXPECT_EQ(copy.color(3, 2), 0U);
    }
}

TEST_F(clipboard_test, dibs_are_saved_as_they_are_or_in_24_bits)
{
    const byte_vector sound = test_picture(30, 30, 8).bytes;
    byte_vector cut = sound, short_table = sound;
    std::fill(cut.begin() + 1100, cut.end(), uint8_t{0});
    // Only 16 colours, and the rows behind them. INTENDED: the file's table is filled with
    // what follows in memory.
    short_table.erase(short_table.begin() + 40 + 64, short_table.begin() + 40 + 1024);
    byte_vector full_table(short_table.begin(), short_table.begin() + 40 + 1024);
    full_table.insert(full_table.end(), short_table.begin() + 40 + 64, short_table.end());
    const byte_vector low{1, 2, 3, 4, 5, 6, 0, 0}, high{9, 8, 7, 3, 2, 1, 0, 0};
    const byte_vector low_32{1, 2, 3, 0, 4, 5, 6, 0}, high_32{9, 8, 7, 0, 3, 2, 1, 0};
    const byte_vector in_24_bits = packed_dib(2, 24, BI_RGB, {}, joined(low, high));
    const std::vector<uint32_t> masks{0xFF, 0xFF00, 0xFF0000};
    const byte_vector masked{3, 2, 1, 0, 6, 5, 4, 0, 7, 8, 9, 0, 1, 2, 3, 0};
    const struct {
        const char* what;
        byte_vector dib;
        int32_t expected;
        byte_vector saved;
    } rows[] = {
        {"1 bit", test_picture(37, 19, 1).bytes, 1, {}},
        {"4 bits", test_picture(37, 19, 4).bytes, 1, {}},
        {"8 bits", sound, 1, {}},
        {"24 bits", test_picture(37, 19, 24).bytes, 1, {}},
        {"short colour table", with_number(short_table, 32, 16), 1,
         with_number(full_table, 32, 16)},
        {"32 bits", packed_dib(2, 32, BI_RGB, {}, joined(low_32, high_32)), 1, in_24_bits},
        {"32 bits top-down", packed_dib(-2, 32, BI_RGB, {}, joined(high_32, low_32)), 1,
         in_24_bits},
        {"masks", packed_dib(2, 32, BI_BITFIELDS, masks, masked), 1, in_24_bits},
        {"24 bits top-down", packed_dib(-2, 24, BI_RGB, {}, joined(high, low)), 1, in_24_bits},
        {"cut rows become 0", {sound.begin(), sound.begin() + 1100}, 1, cut},
        {"more colours than memory", with_number(sound, 32, 0x7FFFFFF0), 1, {0}},
        {"no whole header", {sound.begin(), sound.begin() + 20}, -14, {0}},
        {"impossible size", with_number(sound, 4, 0x7FFFFFF0), -14, {0}},
        {"cut rows of another depth", packed_dib(50, 32, BI_RGB, {}, {1, 2, 3}), -14, {0}},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.what);
        put_dib(r.dib);
        EXPECT_EQ(save(), r.expected);
        const byte_vector expected = bmp_file(r.saved.empty() ? r.dib : r.saved);
        if (r.saved.size() != 1) {
            EXPECT_EQ(file.bytes(), expected);
        }
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
        expect_same_colors(saved_picture(), wide);
        EXPECT_EQ(IMG_save_clipboard("Z:\\dev\\full", window.get()), -9);
    }
    expect_same_colors(saved_picture(), wide);
}

TEST_F(clipboard_test, failures_have_their_codes)
{
    put(0, nullptr);
    EXPECT_EQ(save(), -14);
    EXPECT_EQ(GetFileAttributesA(file.name()), INVALID_FILE_ATTRIBUTES) << "no file is created";
    const byte_vector dib = test_picture(80, 80, 24).bytes;
    put_dib(dib);
    EXPECT_EQ(IMG_save_clipboard("no/such/directory/a.bmp", window.get()), -1);
    EXPECT_EQ(IMG_save_clipboard("", window.get()), -1);
    EXPECT_EQ(IMG_save_clipboard("Z:\\dev\\full", window.get()), -9) << "the disk is full";
    // The clipboard is closed again after each; while another process has it open it cannot be
    // saved.
    const holding_events events;
    const child_process other("\"" + std::string(_pgmptr) + "\" " + hold_clipboard);
    EXPECT_TRUE(wait_for([&] {
        window.settle(); // the owner of what is on the clipboard has to answer
        return WaitForSingleObject(events.opened, 0) == WAIT_OBJECT_0;
    }));
    EXPECT_FALSE(OpenClipboard(window.get()));
    EXPECT_EQ(save(), -14);
    EXPECT_EQ(GetFileAttributesA(file.name()), INVALID_FILE_ATTRIBUTES);
    SetEvent(events.let_go);
    EXPECT_EQ(other.exit_code(), 0U);
    EXPECT_EQ(save(), 1);
    EXPECT_EQ(file.bytes(), bmp_file(dib));
    CloseHandle(events.opened);
    CloseHandle(events.let_go);
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

// On displays whose colours are in a palette; run it under an X server of 8 bits.
TEST_F(palette_display, shows_and_saves_what_the_device_makes_of_each_colour)
{
    HDC dc = GetDC(window.get());
    const bool has_palette = GetDeviceCaps(dc, RASTERCAPS) & RC_PALETTE;
    if (!has_palette) ReleaseDC(window.get(), dc);
    if (!has_palette) GTEST_SKIP() << "the display has no palette";
    // 16 colours of their own, which the system's palette does not have.
    const test_picture picture(100, 80, 4);
    ASSERT_EQ(IMG_bitmap_palette(picture.handle, dc), 0);
    ASSERT_EQ(IMG_display_bitmap(picture.handle, dc, 0, 0, 100, 80), 0);
    for (int32_t y = 0; y < 80; ++y)
        for (int32_t x = 0; x < 100; ++x) {
            const color meant = picture.color(x, y);
            // How near the display comes is its own affair.
            ASSERT_EQ(GetPixel(dc, x, y),
                      GetNearestColor(dc, RGB(meant >> 16, meant >> 8 & 255, meant & 255)))
                << x << "," << y;
        }
    const made_bitmap made(picture.handle, 40, 30);
    auto* palette = static_cast<HPALETTE>(GetCurrentObject(dc, OBJ_PAL));
    EXPECT_EQ(copy_image(image_guard(IMG_create_handle_ddb(made.get(), palette))).bits, 8);

    // INTENDED: a device bitmap is saved with the system's colours.
    put(CF_BITMAP, reinterpret_cast<HANDLE>(IMG_dib_to_ddb(picture.handle, 40, 30)));
    const replaced_call formats("user32.dll", "IsClipboardFormatAvailable",
                                reinterpret_cast<void*>(only_bitmaps));
    ASSERT_EQ(save(), 1);
    const byte_vector bytes = file.bytes();
    PALETTEENTRY entries[256];
    ASSERT_EQ(GetSystemPaletteEntries(dc, 0, 256, entries), 256U);
    for (size_t i = 0; i < 256; ++i)
        ASSERT_EQ(color_of(RGB(bytes[56 + 4 * i], bytes[55 + 4 * i], bytes[54 + 4 * i])),
                  color_of(RGB(entries[i].peRed, entries[i].peGreen, entries[i].peBlue)));
    ReleaseDC(window.get(), dc);
}
