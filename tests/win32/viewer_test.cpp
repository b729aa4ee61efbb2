// viewer_test.cpp - the viewer as a process: what its user sees and gets.

#include "tests/support/places.h"
#include "tests/win32/viewer_driver.h"

#include <algorithm>
#include <cmath>
#include <shlobj.h>
#include <winspool.h>

namespace {

// A file with a picture of one depth; its pixels by color_at(x, y).
template <class Color>
void save_picture(const temp_file& file, int32_t width, int32_t height, int32_t bits, int32_t type,
                  Color color_at)
{
    const picture dib = each_pixel(width, height, bits, {}, color_at);
    ASSERT_GE(IMG_save_bitmap(image_guard(dib.create()), file.name(), type), 0);
}

void save_plain(const temp_file& file, int32_t width, int32_t height, int32_t bits, int32_t type)
{
    save_picture(file, width, height, bits, type, [](int32_t, int32_t) { return 0x3366CCU; });
}

// Small pages of which no two pixels are alike, nor two pages that follow each other.
color spot_color(int page, int32_t x, int32_t y)
{
    return static_cast<color>((page % 4 * 60 + 20) << 16 | (x * 60 + 30) << 8 | (y * 80 + 40));
}

// Width, height and depth of the first page of a file.
std::vector<int32_t> size_of_file(const temp_file& file)
{
    const image_guard image(IMG_decompress_bitmap(file.name()));
    const picture copy = copy_image(image);
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

// Makes a PostScript printer the default one.  False where the system has no driver for it.
bool add_printer()
{
    static char name[] = "Trevolan test printer", driver_file[] = "wineps.drv";
    static char port[] = "FILE:", processor[] = "WinPrint", type[] = "RAW";
    char description[MAX_PATH];
    GetFullPathNameA(sample_path("printer.ppd").c_str(), MAX_PATH, description, nullptr);
    DRIVER_INFO_3A driver{};
    driver.cVersion = 3;
    driver.pName = name;
    driver.pDriverPath = driver.pConfigFile = driver_file;
    driver.pDataFile = description;
    AddPrinterDriverExA(nullptr, 3, reinterpret_cast<BYTE*>(&driver),
                        APD_COPY_NEW_FILES | APD_COPY_FROM_DIRECTORY);
    PRINTER_INFO_2A printer{};
    printer.pPrinterName = printer.pDriverName = name;
    printer.pPortName = port;
    printer.pPrintProcessor = processor;
    printer.pDatatype = type;
    HANDLE added = AddPrinterA(nullptr, 2, reinterpret_cast<BYTE*>(&printer));
    const bool there = added || GetLastError() == ERROR_PRINTER_ALREADY_EXISTS;
    if (added) ClosePrinter(added);
    return there && SetDefaultPrinterA(name);
}

// The first page that was printed into a file, 18 pixels to the inch.
picture printed_page(const std::string& postscript)
{
    // Drive Z is the root of the file system that the other program sees.
    char path[MAX_PATH] = "  ";
    GetFullPathNameA(postscript.c_str(), MAX_PATH, path, nullptr);
    std::string there = path + 2;
    std::replace(there.begin(), there.end(), '\\', '/');
    const child_process interpreter(
        "start.exe /unix /usr/bin/gs -q -dNOPAUSE -dBATCH -sDEVICE=ppmraw -r18 -sOutputFile=" +
        there + ".ppm " + there);
    picture page;
    wait_for([&] { return (page = read_pixmap(postscript + ".ppm")).width > 0; });
    std::remove((postscript + ".ppm").c_str());
    return page;
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
    EXPECT_TRUE(viewer.fill_in(IDM_TONE, IDC_BRIGHTNESS, "127"));
    viewer.command(IDM_MONO_HALFTONE);
    EXPECT_TRUE(viewer.title_becomes("80 x 120, 1 bit"));

    // Changes are not thrown away without a question.
    viewer.post(IDM_FIRST_PAGE);
    EXPECT_TRUE(viewer.says("not saved", IDCANCEL));
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
    const temp_file source(".bmp"), saved(".tif"), clip(".bmp"), typed(".GIF");
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

    // The first type of the list is TIFF; an extension of another type chooses that.
    ASSERT_TRUE(viewer.name_file(IDM_SAVE_AS, typed.name()));
    EXPECT_TRUE(viewer.title_becomes(std::string(typed.name()) + " - 150 x 90"));
    EXPECT_EQ(IMGLOW_get_filetype(typed.name()), 4);
    ASSERT_TRUE(viewer.name_file(IDM_SAVE_AS, saved.name()));
    EXPECT_TRUE(viewer.title_becomes(std::string(saved.name()) + " - 150 x 90"));
    EXPECT_EQ(size_of_file(saved), (std::vector<int32_t>{150, 90, 4}));
    EXPECT_EQ(IMGLOW_get_pages(saved.name()), 1);

    // Adding a page is asked for by name.
    ASSERT_TRUE(viewer.name_file(IDM_APPEND, saved.name()));
    EXPECT_TRUE(wait_for([&] { return IMGLOW_get_pages(saved.name()) == 2; }));
    EXPECT_EQ(viewer.close(), 0U);
}

TEST(viewer, prints_into_metafiles_in_the_tone_that_is_set)
{
    const temp_file source(".bmp");
    save_plain(source, 60, 40, 24, 1);
    const viewer_driver viewer(source.name());
    const std::pair<const char*, color> rows[] = {
        {"0", 0x3366CC}, {"300", 0xFFFFFF}}; // held to 127, which makes all white
    for (const auto& [brightness, printed] : rows) {
        const temp_file metafile(".emf");
        ASSERT_TRUE(viewer.fill_in(IDM_PRINT_TONE, IDC_BRIGHTNESS, brightness));
        ASSERT_TRUE(viewer.name_file(IDM_PRINT_METAFILE, metafile.name()));
        ASSERT_TRUE(viewer.status_becomes(metafile.name()));
        HENHMETAFILE recorded = GetEnhMetaFileA(metafile.name());
        const canvas paper(200, 100);
        const RECT all{0, 0, 200, 100};
        EXPECT_TRUE(PlayEnhMetaFile(paper.dc(), recorded, &all));
        EXPECT_EQ(paper.at(100, 50), printed);
        DeleteEnhMetaFile(recorded);
    }
    EXPECT_EQ(viewer.close(), 0U);
}

TEST(viewer, prints_the_pages_that_are_wanted_until_escape)
{
    const temp_file source(".tif"), given_up(".prn"), postscript(".prn");
    constexpr int page_count = 40;
    for (int page = 0; page < page_count; ++page)
        save_picture(source, 4, 3, 24, 0,
                     [&](int32_t x, int32_t y) { return spot_color(page, x, y); });
    if (!add_printer()) GTEST_SKIP() << "the system has no PostScript driver";
    const viewer_driver viewer(source.name());
    // chx1, rad1, rad3, edt1 and edt2 of the print dialog.
    constexpr int print_to_file = 0x410, all_pages = 0x420, some_pages = 0x422;
    constexpr int first_page = 0x480, last_page = 0x481;
    const auto print = [&](const temp_file& file, int pages) {
        viewer.post(IDM_PRINT);
        for (const int button : {print_to_file, pages})
            SendDlgItemMessageA(viewer.dialog(), button, BM_CLICK, 0, 0);
        if (pages == some_pages) {
            viewer.fill(first_page, "2");
            viewer.fill(last_page, "3");
        }
        return viewer.answer(IDOK) && viewer.answer_file(file.name());
    };
    ASSERT_TRUE(print(given_up, all_pages));
    ASSERT_TRUE(viewer.status_becomes("Printing page"));
    EXPECT_FALSE(IsWindowEnabled(viewer.frame()));
    PostMessageA(viewer.picture(), WM_KEYDOWN, VK_ESCAPE, 0);
    ASSERT_TRUE(viewer.status_becomes("Printing was cancelled."));
    EXPECT_EQ(GetFileAttributesA(given_up.name()), INVALID_FILE_ATTRIBUTES);
    EXPECT_TRUE(IsWindowEnabled(viewer.frame()));

    ASSERT_TRUE(print(postscript, some_pages));
    ASSERT_TRUE(viewer.status_becomes("Printed."));
    // As wide as the paper, in the middle of its height.
    const picture page = printed_page(postscript.name());
    ASSERT_GT(page.width, 100);
    const int32_t spot = page.width / 4, middle = page.height / 2;
    for (int32_t y = 0; y < 3; ++y)
        for (int32_t x = 0; x < 4; ++x)
            for (const int32_t inset : {4, spot - 4})
                EXPECT_EQ(page.color(x * spot + inset, middle + (y - 1) * spot),
                          spot_color(1, x, y));
    EXPECT_EQ(page.color(page.width / 2, middle - spot * 3 / 2 - 4), 0xFFFFFFU);
    const byte_vector bytes = postscript.bytes();
    EXPECT_NE(std::string(bytes.begin(), bytes.end()).find("%%Pages: 2"), std::string::npos);
    EXPECT_EQ(viewer.close(), 0U);
}

TEST(viewer, opens_files_and_tells_errors_in_words)
{
    const temp_file damaged(".bmp"), first(".bmp"), second(".bmp");
    write_file(damaged.name(), {'B', 'M', 'n', 'o', ' ', 's', 'e', 'n', 's', 'e', '!', '!'});
    save_plain(first, 30, 200, 24, 1);
    save_plain(second, 50, 200, 24, 1);
    const viewer_driver viewer(damaged.name());
    EXPECT_TRUE(viewer.says(".bmp cannot be opened"));
    // Without a picture its commands do nothing.
    for (const int id : {IDM_COPY, IDM_ROTATE_LEFT, IDM_ZOOM_IN, IDM_FIT, IDM_NEXT_PAGE, IDM_PRINT,
                         IDM_SAVE_AS, IDM_CLOSE, IDM_TONE, IDM_REVERT})
        viewer.command(id);
    ASSERT_TRUE(viewer.name_file(IDM_OPEN, first.name()));
    EXPECT_TRUE(viewer.title_becomes("30 x 200, 24 bits"));
    drop(viewer, second);
    EXPECT_TRUE(viewer.title_becomes("50 x 200"));
    drop(viewer, first);
    PostMessageA(viewer.picture(), WM_KEYDOWN, VK_ESCAPE, 0);
    EXPECT_TRUE(viewer.status_becomes("Loading was cancelled."));
    EXPECT_TRUE(viewer.title_becomes("50 x 200"));
    EXPECT_EQ(viewer.close(), 0U);
}
