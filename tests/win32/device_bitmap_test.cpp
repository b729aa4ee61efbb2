// device_bitmap_test.cpp - images to and from GDI bitmaps, the clipboard, and leaks.

#include "tests/win32/gdi_support.h"

#include <cstdio>
#include <cstring>

namespace {

std::vector<uint8_t> read_file(const std::string& name)
{
    std::vector<uint8_t> bytes;
    if (FILE* file = std::fopen(name.c_str(), "rb")) {
        int c;
        while ((c = std::fgetc(file)) != EOF)
            bytes.push_back(static_cast<uint8_t>(c));
        std::fclose(file);
    }
    return bytes;
}

int32_t field(const std::vector<uint8_t>& bytes, size_t at)
{
    int32_t value = 0;
    if (at + 4 <= bytes.size()) std::memcpy(&value, bytes.data() + at, 4);
    return value;
}

bool is_error(int32_t result)
{
    return result < 0 && result > -100;
}

HBITMAP bitmap_of(int32_t result)
{
    return reinterpret_cast<HBITMAP>(result);
}

// A movable block with a copy of the bytes, as the clipboard takes it.
HGLOBAL block_of(const std::vector<uint8_t>& bytes)
{
    HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, bytes.size());
    std::memcpy(GlobalLock(block), bytes.data(), bytes.size());
    GlobalUnlock(block);
    return block;
}

// A packed DIB of any kind: depth, compression, masks behind the header.
std::vector<uint8_t> packed_dib(int32_t width, int32_t height, int32_t bits, uint32_t compression,
                                const std::vector<uint32_t>& table,
                                const std::vector<uint8_t>& rows)
{
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = static_cast<WORD>(bits);
    header.biCompression = compression;
    header.biSizeImage = static_cast<DWORD>(rows.size());
    std::vector<uint8_t> bytes(sizeof header + 4 * table.size());
    std::memcpy(bytes.data(), &header, sizeof header);
    if (!table.empty()) std::memcpy(bytes.data() + sizeof header, table.data(), 4 * table.size());
    bytes.insert(bytes.end(), rows.begin(), rows.end());
    return bytes;
}

class clipboard_test : public testing::Test {
protected:
    clipboard_test() { std::remove(name.c_str()); }
    ~clipboard_test() override { std::remove(name.c_str()); }

    void put(UINT format, HANDLE data)
    {
        ASSERT_TRUE(OpenClipboard(window.get()));
        if (!filled) EmptyClipboard();
        filled = true;
        ASSERT_TRUE(SetClipboardData(format, data));
        CloseClipboard();
    }
    void clear()
    {
        OpenClipboard(window.get());
        EmptyClipboard();
        CloseClipboard();
    }
    // Saves the clipboard and loads the file.
    int32_t save_and_load()
    {
        const int32_t saved = IMG_save_clipboard(name.c_str(), window.get());
        EXPECT_EQ(saved, 1);
        return IMG_decompress_bitmap(name.c_str());
    }

    test_window window{100, 80};
    std::string name = "clipboard_test.bmp";
    bool filled = false;
};

// Compares what two handles show, drawn one to one.
void expect_same_picture(int32_t handle, const test_picture& picture)
{
    int32_t width = 0, height = 0, bits = 0;
    ASSERT_GT(IMG_bitmap_info(handle, &width, &height, &bits), 0);
    ASSERT_EQ(width, picture.width());
    ASSERT_EQ(height, picture.height());
    const canvas paper(width, height);
    IMG_display_bitmap(handle, paper.dc(), 0, 0, width, height);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            ASSERT_EQ(paper.at(x, y), picture.at(x, y)) << x << "," << y;
}

} // namespace

TEST(device_bitmap, round_trip_keeps_every_colour)
{
    for (const int32_t bits : {1, 4, 8, 24}) {
        SCOPED_TRACE(bits);
        const test_picture picture(53, 41, bits);
        const int32_t made = IMG_dib_to_ddb(picture.handle(), 53, 41);
        ASSERT_FALSE(is_error(made));
        const int32_t back = IMG_create_handle_ddb(bitmap_of(made), nullptr);
        ASSERT_GE(back, 0);
        int32_t depth = 0;
        IMG_bitmap_info(back, nullptr, nullptr, &depth);
        EXPECT_EQ(depth, 24) << "a screen of 16 or 32 bits gives 24";
        expect_same_picture(back, picture);
        const canvas paper(70, 60);
        EXPECT_EQ(IMG_display_ddb(bitmap_of(made), paper.dc(), 9, 8), 0);
        EXPECT_EQ(paper.at(9, 8), picture.at(0, 0));
        EXPECT_EQ(paper.at(61, 48), picture.at(52, 40));
        EXPECT_EQ(paper.at(62, 48), 0x204060U);
        IMG_delete_bitmap(back);
        DeleteObject(bitmap_of(made));
    }
}

TEST(device_bitmap, of_any_depth_becomes_an_image)
{
    const struct {
        int32_t bits, image_bits;
    } rows[] = {{1, 1}, {4, 4}, {8, 8}, {16, 24}, {24, 24}, {32, 24}};
    for (const auto& r : rows) {
        SCOPED_TRACE(r.bits);
        const canvas paper(21, 13, r.bits, 0xFFFFFF);
        SetPixel(paper.dc(), 3, 2, RGB(0, 0, 0));
        auto* bitmap = static_cast<HBITMAP>(GetCurrentObject(paper.dc(), OBJ_BITMAP));
        auto* other = CreateCompatibleBitmap(paper.dc(), 1, 1);
        SelectObject(paper.dc(), other);
        const int32_t handle = IMG_create_handle_ddb(bitmap, nullptr);
        SelectObject(paper.dc(), bitmap);
        DeleteObject(other);
        ASSERT_GE(handle, 0);
        int32_t width = 0, height = 0, bits = 0;
        IMG_bitmap_info(handle, &width, &height, &bits);
        EXPECT_EQ(bits, r.image_bits);
        const canvas shown(21, 13);
        IMG_display_bitmap(handle, shown.dc(), 0, 0, 21, 13);
        EXPECT_EQ(shown.at(3, 2), 0U);
        EXPECT_EQ(shown.at(4, 2), 0xFFFFFFU);
        EXPECT_EQ(shown.at(20, 12), 0xFFFFFFU);
        IMG_delete_bitmap(handle);
    }
}

TEST(device_bitmap, shows_the_whole_crop_rectangle_at_half_size)
{
    const test_picture picture(640, 480, 8);
    const int32_t made = IMG_dib_to_ddb(picture.handle(), 320, 240);
    ASSERT_FALSE(is_error(made));
    const canvas paper(320, 240);
    IMG_display_ddb(bitmap_of(made), paper.dc(), 0, 0);
    for (int32_t y = 0; y < 240; y += 3)
        for (int32_t x = 0; x < 320; x += 3)
            ASSERT_EQ(paper.at(x, y), picture.at(2 * x, 2 * y));
    DeleteObject(bitmap_of(made));
}

TEST(device_bitmap, failures_have_their_codes)
{
    const test_picture picture(20, 20, 24);
    const canvas paper(20, 20);
    EXPECT_EQ(IMG_create_handle_ddb(nullptr, nullptr), -14);
    EXPECT_EQ(IMG_create_handle_ddb(reinterpret_cast<HBITMAP>(paper.dc()), nullptr), -14);
    EXPECT_EQ(IMG_dib_to_ddb(-1, 10, 10), -13);
    EXPECT_EQ(IMG_dib_to_ddb(4711, 10, 10), -13);
    EXPECT_EQ(IMG_dib_to_ddb(picture.handle(), 0, 10), -7);
    EXPECT_EQ(IMG_dib_to_ddb(picture.handle(), 0x7FFFFFFF, 0x7FFFFFFF), -1);
    EXPECT_EQ(IMG_display_ddb(nullptr, paper.dc(), 0, 0), -14);
    auto* deleted = CreateBitmap(5, 5, 1, 1, nullptr);
    DeleteObject(deleted);
    EXPECT_EQ(IMG_display_ddb(deleted, paper.dc(), 0, 0), -14);
    auto* selected = static_cast<HBITMAP>(GetCurrentObject(paper.dc(), OBJ_BITMAP));
    EXPECT_EQ(IMG_display_ddb(selected, paper.dc(), 0, 0), -14) << "is in another context";
}

TEST_F(clipboard_test, dib_is_saved_in_every_depth)
{
    for (const int32_t bits : {1, 4, 8, 24}) {
        SCOPED_TRACE(bits);
        const test_picture picture(37, 19, bits);
        filled = false;
        put(CF_DIB, block_of(picture.packed()));
        const int32_t handle = save_and_load();
        ASSERT_GE(handle, 0);
        expect_same_picture(handle, picture);
        IMG_delete_bitmap(handle);
        const std::vector<uint8_t> file = read_file(name);
        ASSERT_EQ(file.size(), picture.packed().size() + 14);
        EXPECT_EQ(std::memcmp(file.data() + 14, picture.packed().data(), picture.packed().size()),
                  0);
        EXPECT_EQ(field(file, 2), static_cast<int32_t>(file.size()));
    }
}

TEST_F(clipboard_test, short_colour_table_is_followed_by_the_rows)
{
    std::vector<uint32_t> table(16);
    for (uint32_t i = 0; i < 16; ++i)
        table[i] = i * 0x101010;
    std::vector<uint8_t> dib = packed_dib(4, 2, 8, BI_RGB, table, {1, 2, 3, 4, 5, 6, 7, 15});
    const int32_t used = 16;
    std::memcpy(dib.data() + 32, &used, 4);
    put(CF_DIB, block_of(dib));
    ASSERT_EQ(IMG_save_clipboard(name.c_str(), window.get()), 1);
    const std::vector<uint8_t> file = read_file(name);
    ASSERT_EQ(file.size(), 14U + 40 + 1024 + 8);
    EXPECT_EQ(file[1078], 1);
    EXPECT_EQ(file[1085], 15);
    EXPECT_EQ(field(file, 54 + 15 * 4), 0xF0F0F0);
}

TEST_F(clipboard_test, uncommon_dibs_come_out_as_24_bits)
{
    const struct {
        const char* what;
        std::vector<uint8_t> dib;
    } rows[] = {
        {"32 bits",
         packed_dib(2, 2, 32, BI_RGB, {}, {1, 2, 3, 0, 4, 5, 6, 0, 9, 8, 7, 0, 3, 2, 1, 0})},
        {"32 bits top-down",
         packed_dib(2, -2, 32, BI_RGB, {}, {9, 8, 7, 0, 3, 2, 1, 0, 1, 2, 3, 0, 4, 5, 6, 0})},
        {"32 bits with masks", packed_dib(2, 2, 32, BI_BITFIELDS, {0xFF, 0xFF00, 0xFF0000},
                                          {3, 2, 1, 0, 6, 5, 4, 0, 7, 8, 9, 0, 1, 2, 3, 0})},
        {"24 bits top-down",
         packed_dib(2, -2, 24, BI_RGB, {}, {9, 8, 7, 3, 2, 1, 0, 0, 1, 2, 3, 4, 5, 6, 0, 0})},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.what);
        filled = false;
        put(CF_DIB, block_of(r.dib));
        const int32_t handle = save_and_load();
        ASSERT_GE(handle, 0);
        const canvas paper(2, 2);
        IMG_display_bitmap(handle, paper.dc(), 0, 0, 2, 2);
        EXPECT_EQ(paper.at(0, 0), 0x070809U);
        EXPECT_EQ(paper.at(1, 0), 0x010203U);
        EXPECT_EQ(paper.at(0, 1), 0x030201U);
        EXPECT_EQ(paper.at(1, 1), 0x060504U);
        IMG_delete_bitmap(handle);
    }
}

TEST_F(clipboard_test, hostile_dibs_read_nothing_outside)
{
    const test_picture picture(30, 30, 8);
    std::vector<uint8_t> cut(picture.packed().begin(), picture.packed().begin() + 300);
    std::vector<uint8_t> tiny(picture.packed().begin(), picture.packed().begin() + 20);
    std::vector<uint8_t> huge = picture.packed();
    const int32_t big = 0x7FFFFFF0;
    std::memcpy(huge.data() + 4, &big, 4);
    std::vector<uint8_t> many_colors = picture.packed();
    std::memcpy(many_colors.data() + 32, &big, 4);
    std::vector<uint8_t> cut_32 = packed_dib(50, 50, 32, BI_RGB, {}, {1, 2, 3});
    const struct {
        const char* what;
        const std::vector<uint8_t>& dib;
        int32_t expected;
    } rows[] = {{"cut rows become 0", cut, 1},
                {"no whole header", tiny, -14},
                {"impossible size", huge, -14},
                {"more colours than memory", many_colors, 1},
                {"cut rows of another depth", cut_32, -14}};
    for (const auto& r : rows) {
        SCOPED_TRACE(r.what);
        filled = false;
        put(CF_DIB, block_of(r.dib));
        EXPECT_EQ(IMG_save_clipboard(name.c_str(), window.get()), r.expected);
    }
}

TEST_F(clipboard_test, bitmap_is_saved_and_the_dib_is_preferred)
{
    // 2100 bytes a row, more than the classic work buffer took.
    const test_picture wide(700, 5, 24);
    put(CF_BITMAP, bitmap_of(IMG_dib_to_ddb(wide.handle(), 700, 5)));
    int32_t handle = save_and_load();
    ASSERT_GE(handle, 0);
    expect_same_picture(handle, wide);
    IMG_delete_bitmap(handle);

    const test_picture picture(20, 10, 4);
    put(CF_DIB, block_of(picture.packed()));
    handle = save_and_load();
    ASSERT_GE(handle, 0);
    expect_same_picture(handle, picture);
    IMG_delete_bitmap(handle);
}

TEST_F(clipboard_test, failures_have_their_codes)
{
    clear();
    EXPECT_EQ(IMG_save_clipboard(name.c_str(), window.get()), -14);
    EXPECT_TRUE(read_file(name).empty());
    EXPECT_EQ(GetFileAttributesA(name.c_str()), INVALID_FILE_ATTRIBUTES) << "no file is created";
    const test_picture picture(8, 8, 1);
    put(CF_DIB, block_of(picture.packed()));
    EXPECT_EQ(IMG_save_clipboard("no/such/directory/a.bmp", window.get()), -1);
    EXPECT_EQ(IMG_save_clipboard("", window.get()), -1);
    // The clipboard is closed again after each.
    EXPECT_TRUE(OpenClipboard(window.get()));
    CloseClipboard();
}

// Runs in a process of its own, for the test after it.
TEST(clipboard_holder, DISABLED_keeps_the_clipboard_open)
{
    HANDLE held = OpenEventA(EVENT_ALL_ACCESS, FALSE, "trevolan_clipboard_held");
    HANDLE done = OpenEventA(EVENT_ALL_ACCESS, FALSE, "trevolan_clipboard_done");
    ASSERT_TRUE(OpenClipboard(nullptr));
    SetEvent(held);
    WaitForSingleObject(done, 10000);
    CloseClipboard();
}

TEST_F(clipboard_test, held_by_another_process_cannot_be_saved)
{
    const test_picture picture(8, 8, 1);
    put(CF_DIB, block_of(picture.packed()));
    HANDLE held = CreateEventA(nullptr, TRUE, FALSE, "trevolan_clipboard_held");
    HANDLE done = CreateEventA(nullptr, TRUE, FALSE, "trevolan_clipboard_done");
    char program[MAX_PATH];
    GetModuleFileNameA(nullptr, program, MAX_PATH);
    std::string command = std::string("\"") + program +
                          "\" --gtest_also_run_disabled_tests --gtest_filter=clipboard_holder.*";
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    ASSERT_TRUE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                               nullptr, &startup, &process));
    ASSERT_EQ(WaitForSingleObject(held, 20000), WAIT_OBJECT_0);
    EXPECT_EQ(IMG_save_clipboard(name.c_str(), window.get()), -14);
    SetEvent(done);
    WaitForSingleObject(process.hProcess, 20000);
    EXPECT_EQ(IMG_save_clipboard(name.c_str(), window.get()), 1);
    for (HANDLE h : {held, done, process.hProcess, process.hThread})
        CloseHandle(h);
}
