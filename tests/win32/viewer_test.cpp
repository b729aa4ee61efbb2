// viewer_test.cpp - the viewer as a process: what its user sees and gets.

#include "tests/win32/viewer_driver.h"

#include <cmath>
#include <shlobj.h>

namespace {

// A file with a picture of one depth; its pixels by color_at(x, y).
template <class Color>
void save_picture(const temp_file& file, int32_t width, int32_t height, int32_t bits, int32_t type,
                  Color color_at)
{
    test_dib dib(width, height, bits);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            dib.set_pixel(x, y, color_at(x, y));
    ASSERT_GE(IMG_save_bitmap(image_guard(dib.create()), file.name(), type), 0);
}

void save_plain(const temp_file& file, int32_t width, int32_t height, int32_t bits, int32_t type)
{
    save_picture(file, width, height, bits, type, [](int32_t, int32_t) { return 0x3366CCU; });
}

// Width, height and depth of the first page of a file.
std::vector<int32_t> size_of_file(const temp_file& file)
{
    const image_guard image(IMG_decompress_bitmap(file.name()));
    const image_copy copy = copy_image(image);
    return {copy.width, copy.height, copy.bits};
}

// Red tells the column of a pixel, green the row, both in eighths; blue is 0.
constexpr int32_t pixels_a_level = 8;

SIZE client_of(const viewer_driver& viewer)
{
    RECT client{};
    GetClientRect(viewer.picture(), &client);
    return {client.right, client.bottom};
}

// Where the middle of the window lies in such a picture, and how many screen pixels an image
// pixel takes.
struct seen_view {
    double x, y, scale;
};

seen_view see(const viewer_driver& viewer)
{
    const SIZE client = client_of(viewer);
    const int32_t reach = client.cx / 3;
    HDC screen = GetDC(nullptr);
    const auto column = [&](int32_t from_middle) {
        POINT place{client.cx / 2 + from_middle, client.cy / 2};
        ClientToScreen(viewer.picture(), &place);
        return color_of(GetPixel(screen, place.x, place.y));
    };
    const auto pixels = [](color level) { return (level + 0.5) * pixels_a_level; };
    const double across = pixels(column(reach) >> 16) - pixels(column(-reach) >> 16);
    const color middle = column(0);
    ReleaseDC(nullptr, screen);
    return {pixels(middle >> 16), pixels(middle >> 8 & 255), 2.0 * reach / across};
}

// Waits until the window shows this place in this scale, as near as colours tell.
void expect_view(const viewer_driver& viewer, const seen_view& expected, const char* after)
{
    seen_view seen{};
    EXPECT_TRUE(wait_for([&] {
        seen = see(viewer);
        return std::abs(seen.x - expected.x) < 1.5 * pixels_a_level &&
               std::abs(seen.y - expected.y) < 1.5 * pixels_a_level &&
               std::abs(seen.scale / expected.scale - 1) < 0.1;
    })) << after
        << ": seen " << seen.x << ", " << seen.y << " at " << seen.scale << ", expected "
        << expected.x << ", " << expected.y << " at " << expected.scale;
}

// Drops a file on the window: the list of names has to lie in the viewer's memory.
void drop(const viewer_driver& viewer, const temp_file& file)
{
    char block[sizeof(DROPFILES) + MAX_PATH + 1] = {};
    reinterpret_cast<DROPFILES*>(block)->pFiles = sizeof(DROPFILES);
    GetFullPathNameA(file.name(), MAX_PATH, block + sizeof(DROPFILES), nullptr);
    void* there =
        VirtualAllocEx(viewer.process(), nullptr, sizeof block, MEM_COMMIT, PAGE_READWRITE);
    ASSERT_TRUE(WriteProcessMemory(viewer.process(), there, block, sizeof block, nullptr));
    PostMessageA(viewer.frame(), WM_DROPFILES, reinterpret_cast<WPARAM>(there), 0);
}

} // namespace

TEST(viewer, shows_pages_and_changes_them)
{
    const temp_file file(".tif");
    save_plain(file, 200, 300, 1, 0);
    save_plain(file, 120, 80, 8, 0);
    const viewer_driver viewer(file.name());
    const std::string name = file.name();
    EXPECT_TRUE(viewer.title_becomes(name + " - page 1 of 2 - 200 x 300, 1 bit"));
    viewer.command(IDM_NEXT_PAGE);
    viewer.command(IDM_NEXT_PAGE);
    EXPECT_TRUE(viewer.title_becomes("page 2 of 2 - 120 x 80, 8 bits"));
    viewer.command(IDM_ROTATE_RIGHT);
    EXPECT_TRUE(viewer.title_becomes(name + "* - page 2 of 2 - 80 x 120, 8 bits"));
    viewer.post(IDM_TONE);
    viewer.fill(IDC_BRIGHTNESS, "127");
    EXPECT_TRUE(viewer.answer(IDOK));
    viewer.command(IDM_MONO_HALFTONE);
    EXPECT_TRUE(viewer.title_becomes("80 x 120, 1 bit"));

    // Changes are not thrown away without a question.
    viewer.post(IDM_FIRST_PAGE);
    EXPECT_NE(viewer.message().find("not saved"), std::string::npos);
    EXPECT_TRUE(viewer.answer(IDCANCEL));
    EXPECT_TRUE(viewer.title_becomes("page 2 of 2 - 80 x 120"));
    viewer.post(IDM_FIRST_PAGE);
    EXPECT_TRUE(viewer.answer(IDOK));
    EXPECT_TRUE(viewer.title_becomes(name + " - page 1 of 2 - 200 x 300"));
    EXPECT_EQ(viewer.close(), 0U);
}

TEST(viewer, zooms_and_scrolls_to_the_right_place)
{
    const temp_file file(".bmp");
    save_picture(file, 2000, 1500, 24, 1, [](int32_t x, int32_t y) {
        return static_cast<color>(x / pixels_a_level << 16 | y / pixels_a_level << 8);
    });
    const viewer_driver viewer(file.name());
    ASSERT_TRUE(viewer.title_becomes("2000 x 1500, 24 bits"));
    SIZE client = client_of(viewer);
    const double fitting = std::min(client.cx / 2000.0, client.cy / 1500.0);
    expect_view(viewer, {1000, 750, fitting}, "open");

    viewer.command(IDM_ACTUAL_SIZE);
    seen_view view{1000, 750, 1};
    expect_view(viewer, view, "actual size");
    client = client_of(viewer);
    SendMessageA(viewer.picture(), WM_KEYDOWN, VK_NEXT, 0);
    view.y += (1500 - client.cy) / 4;
    expect_view(viewer, view, "page down");
    for (int i = 0; i < 2; ++i)
        SendMessageA(viewer.picture(), WM_KEYDOWN, VK_LEFT, 0);
    view.x -= (2000 - client.cx) / 16 * 2;
    expect_view(viewer, view, "left twice");

    viewer.command(IDM_ZOOM_IN);
    view.scale = 1.25;
    expect_view(viewer, view, "zoom in keeps the middle");
    // The wheel keeps the pixel under the pointer: 100 to the right of and below the middle.
    POINT pointer{client.cx / 2 + 100, client.cy / 2 + 100};
    ClientToScreen(viewer.picture(), &pointer);
    SendMessageA(viewer.picture(), WM_MOUSEWHEEL, MAKEWPARAM(0, WHEEL_DELTA * 2),
                 MAKELPARAM(pointer.x, pointer.y));
    const double wheeled = view.scale * 1.25 * 1.25;
    const double moved = 100 / view.scale - 100 / wheeled;
    expect_view(viewer, {view.x + moved, view.y + moved, wheeled}, "wheel");

    viewer.command(IDM_FIT);
    expect_view(viewer, {1000, 750, fitting}, "fit");
    client = client_of(viewer);
    // A rectangle of half the window's size, its middle left of and above the window's.
    const int32_t x = client.cx / 8, y = client.cy / 8;
    const LPARAM to = MAKELPARAM(x + client.cx / 2, y + client.cy / 2);
    SendMessageA(viewer.picture(), WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(x, y));
    SendMessageA(viewer.picture(), WM_MOUSEMOVE, MK_LBUTTON, to);
    SendMessageA(viewer.picture(), WM_LBUTTONUP, 0, to);
    expect_view(viewer, {1000 - x / fitting, 750 - y / fitting, 2 * fitting}, "rectangle");

    SetWindowPos(viewer.frame(), nullptr, 0, 0, 500, 400, SWP_NOMOVE);
    viewer.command(IDM_FIT);
    client = client_of(viewer);
    expect_view(viewer, {1000, 750, std::min(client.cx / 2000.0, client.cy / 1500.0)},
                "smaller window");
    EXPECT_EQ(viewer.close(), 0U);
}

TEST(viewer, copies_pastes_and_saves)
{
    const temp_file source(".bmp"), saved(".tif"), clip(".bmp");
    save_plain(source, 150, 90, 4, 1);
    const viewer_driver viewer(source.name());
    ASSERT_TRUE(viewer.title_becomes("150 x 90, 4 bits"));
    viewer.command(IDM_ACTUAL_SIZE);
    viewer.command(IDM_COPY);
    const test_window window(50, 50);
    ASSERT_EQ(IMG_save_clipboard(clip.name(), window.get()), 1);
    EXPECT_EQ(size_of_file(clip), (std::vector<int32_t>{150, 90, 4}));

    viewer.command(IDM_PASTE);
    EXPECT_TRUE(viewer.title_becomes("Clipboard* - 150 x 90, 4 bits"));
    // No file to go back to: a message box would take the place of the next dialog.
    viewer.post(IDM_REVERT);

    // The first type of the list is TIFF.
    viewer.post(IDM_SAVE_AS);
    ASSERT_TRUE(viewer.answer_file(saved.name()));
    EXPECT_TRUE(viewer.title_becomes(std::string(saved.name()) + " - 150 x 90"));
    EXPECT_EQ(size_of_file(saved), (std::vector<int32_t>{150, 90, 4}));
    EXPECT_EQ(IMGLOW_get_pages(saved.name()), 1);

    // Adding a page is asked for by name.
    viewer.post(IDM_APPEND);
    ASSERT_TRUE(viewer.answer_file(saved.name()));
    EXPECT_TRUE(wait_for([&] { return IMGLOW_get_pages(saved.name()) == 2; }));
    EXPECT_EQ(viewer.close(), 0U);
}

TEST(viewer, prints_to_files)
{
    const temp_file source(".tif"), metafile(".emf"), white(".emf"), postscript(".prn");
    for (int page = 0; page < 2; ++page)
        save_plain(source, 60, 40, 24, 0);
    const char* printer = postscript_printer();
    const viewer_driver viewer(source.name());
    ASSERT_TRUE(viewer.title_becomes("60 x 40"));
    viewer.post(IDM_PRINT_METAFILE);
    ASSERT_TRUE(viewer.answer_file(metafile.name()));
    ASSERT_TRUE(viewer.status_becomes("Printed to"));
    HENHMETAFILE recorded = GetEnhMetaFileA(metafile.name());
    const canvas paper(200, 100);
    const RECT all{0, 0, 200, 100};
    EXPECT_TRUE(PlayEnhMetaFile(paper.dc(), recorded, &all));
    EXPECT_EQ(paper.at(100, 50), 0x3366CCU);
    DeleteEnhMetaFile(recorded);

    // The dialog holds numbers to what is sensible: the brightest is white.
    viewer.post(IDM_PRINT_TONE);
    viewer.fill(IDC_BRIGHTNESS, "300");
    ASSERT_TRUE(viewer.answer(IDOK));

    viewer.post(IDM_PRINT_METAFILE);
    ASSERT_TRUE(viewer.answer_file(white.name()));
    ASSERT_TRUE(viewer.status_becomes(white.name()));
    recorded = GetEnhMetaFileA(white.name());
    EXPECT_TRUE(PlayEnhMetaFile(paper.dc(), recorded, &all));
    EXPECT_EQ(paper.at(100, 50), 0xFFFFFFU);
    DeleteEnhMetaFile(recorded);
    viewer.post(IDM_PRINT_TONE);
    viewer.fill(IDC_BRIGHTNESS, "0");
    ASSERT_TRUE(viewer.answer(IDOK));

    if (!printer) GTEST_SKIP() << "the system has no PostScript driver";
    constexpr int print_to_file = 0x410; // chx1 of the print dialog
    viewer.post(IDM_PRINT);
    SendDlgItemMessageA(viewer.dialog(), print_to_file, BM_CLICK, 0, 0);
    ASSERT_TRUE(viewer.answer(IDOK));
    ASSERT_TRUE(viewer.answer_file(postscript.name()));
    ASSERT_TRUE(viewer.status_becomes("Printed."));
    // As wide as the paper, in the middle of its height.
    const pixmap page = printed_page(postscript.name());
    ASSERT_GT(page.width, 100);
    const auto pixel = [&](int32_t x, int32_t y) {
        return page.colors[static_cast<size_t>(y * page.width + x)];
    };
    for (const int32_t x : {4, page.width / 2, page.width - 4})
        EXPECT_EQ(pixel(x, page.height / 2), 0x3366CCU);
    EXPECT_EQ(pixel(page.width / 2, page.height / 2 - page.width / 3 - 4), 0xFFFFFFU);
    const byte_vector bytes = postscript.bytes();
    EXPECT_NE(std::string(bytes.begin(), bytes.end()).find("%%Pages: 2"), std::string::npos);
    EXPECT_EQ(viewer.close(), 0U);
}

TEST(viewer, takes_dropped_files_and_gives_up_a_load_on_escape)
{
    const temp_file first(".bmp"), second(".bmp");
    save_plain(first, 30, 200, 24, 1);
    save_plain(second, 50, 200, 24, 1);
    const viewer_driver viewer(first.name());
    ASSERT_TRUE(viewer.title_becomes("30 x 200"));
    drop(viewer, second);
    ASSERT_TRUE(viewer.title_becomes("50 x 200"));
    drop(viewer, first);
    PostMessageA(viewer.picture(), WM_KEYDOWN, VK_ESCAPE, 0);
    EXPECT_TRUE(viewer.status_becomes("Loading was cancelled."));
    EXPECT_TRUE(viewer.title_becomes("50 x 200"));
    EXPECT_EQ(viewer.close(), 0U);
}

TEST(viewer, tells_errors_in_words_and_goes_on)
{
    const temp_file damaged(".bmp"), sound(".bmp");
    write_file(damaged.name(), {'B', 'M', 'n', 'o', ' ', 's', 'e', 'n', 's', 'e', '!', '!'});
    const viewer_driver viewer(damaged.name());
    EXPECT_NE(viewer.message().find(".bmp cannot be opened"), std::string::npos);
    EXPECT_TRUE(viewer.answer(IDOK) || viewer.answer(IDCANCEL));
    // Without a picture its commands do nothing.
    for (const int id : {IDM_COPY, IDM_ROTATE_LEFT, IDM_ZOOM_IN, IDM_FIT, IDM_NEXT_PAGE, IDM_PRINT,
                         IDM_SAVE_AS, IDM_CLOSE, IDM_TONE, IDM_REVERT})
        viewer.command(id);
    save_plain(sound, 70, 50, 24, 1);
    viewer.post(IDM_OPEN);
    ASSERT_TRUE(viewer.answer_file(sound.name()));
    EXPECT_TRUE(viewer.title_becomes("70 x 50, 24 bits"));
    EXPECT_EQ(viewer.close(), 0U);
}
