// viewer_test.cpp - the viewer as a process: what its user sees and gets.

#include "viewer/resource.h"

#include "tests/win32/viewer_driver.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>

namespace {

// A file that is gone before and after the test.
struct test_file {
    std::string name;
    explicit test_file(const char* file) : name(file) { std::remove(file); }
    ~test_file() { std::remove(name.c_str()); }
};

color screen_at(POINT place)
{
    HDC screen = GetDC(nullptr);
    const COLORREF c = GetPixel(screen, place.x, place.y);
    ReleaseDC(nullptr, screen);
    return static_cast<color>(GetRValue(c) << 16 | GetGValue(c) << 8 | GetBValue(c));
}

// Red tells the column of a pixel, green the row, both in eighths; blue is 0.
constexpr int32_t pixels_a_level = 8;

color place_color(int32_t x, int32_t y)
{
    return static_cast<color>(x / pixels_a_level << 16 | y / pixels_a_level << 8);
}

struct client_size {
    int32_t width, height;
};

client_size client_of(const viewer_driver& viewer)
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
    const client_size client = client_of(viewer);
    const int32_t reach = client.width / 3;
    const auto column = [&](int32_t from_middle) {
        POINT place{client.width / 2 + from_middle, client.height / 2};
        ClientToScreen(viewer.picture(), &place);
        return screen_at(place);
    };
    const auto pixels = [](color level) { return (level + 0.5) * pixels_a_level; };
    const color middle = column(0);
    const double across = pixels(column(reach) >> 16) - pixels(column(-reach) >> 16);
    return {pixels(middle >> 16), pixels(middle >> 8 & 255), 2.0 * reach / across};
}

// True when the window comes to show this place in this scale, as near as colours tell.
bool view_becomes(const viewer_driver& viewer, const seen_view& expected)
{
    seen_view seen{};
    const bool reached = wait_for([&] {
        seen = see(viewer);
        return std::abs(seen.x - expected.x) < 1.5 * pixels_a_level &&
               std::abs(seen.y - expected.y) < 1.5 * pixels_a_level &&
               std::abs(seen.scale / expected.scale - 1) < 0.1;
    });
    EXPECT_TRUE(reached) << "seen " << seen.x << ", " << seen.y << " at " << seen.scale
                         << ", expected " << expected.x << ", " << expected.y << " at "
                         << expected.scale;
    return reached;
}

// An image of 24 bits whose pixels a function names.
template <class Color> int32_t make_image(int32_t width, int32_t height, Color color_at)
{
    const size_t stride = (static_cast<size_t>(width) * 3 + 3) / 4 * 4;
    std::vector<uint8_t> packed(sizeof(BITMAPINFOHEADER) + stride * static_cast<size_t>(height));
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = 24;
    std::memcpy(packed.data(), &header, sizeof header);
    for (int32_t y = 0; y < height; ++y) {
        uint8_t* p = packed.data() + sizeof header + stride * static_cast<size_t>(height - 1 - y);
        for (int32_t x = 0; x < width; ++x) {
            const color c = color_at(x, y);
            *p++ = static_cast<uint8_t>(c);
            *p++ = static_cast<uint8_t>(c >> 8);
            *p++ = static_cast<uint8_t>(c >> 16);
        }
    }
    return IMG_create_handle(packed.data());
}

struct image_size {
    int32_t width = 0, height = 0, bits = 0;
    bool operator==(const image_size&) const = default;
};

// Size of the first page of a file.
image_size size_of_file(const std::string& name)
{
    image_size size;
    const int32_t handle = IMG_decompress_bitmap(name.c_str());
    EXPECT_GE(handle, 0);
    IMG_bitmap_info(handle, &size.width, &size.height, &size.bits);
    IMG_delete_bitmap(handle);
    return size;
}

} // namespace

TEST(viewer, shows_pages_and_changes_them)
{
    const test_file file("viewer_pages.tif");
    const test_picture first(200, 300, 1), second(120, 80, 8);
    ASSERT_GE(IMG_save_bitmap(first.handle(), file.name.c_str(), 0), 0);
    ASSERT_GE(IMG_save_bitmap(second.handle(), file.name.c_str(), 0), 0);

    viewer_driver viewer(file.name);
    ASSERT_TRUE(viewer.frame());
    EXPECT_TRUE(viewer.title_becomes("viewer_pages.tif - page 1 of 2 - 200 x 300, 1 bit"));
    viewer.command(IDM_NEXT_PAGE);
    EXPECT_TRUE(viewer.title_becomes("page 2 of 2 - 120 x 80, 8 bits"));
    viewer.command(IDM_NEXT_PAGE);
    EXPECT_TRUE(viewer.title_becomes("page 2 of 2"));
    viewer.command(IDM_ROTATE_RIGHT);
    EXPECT_TRUE(viewer.title_becomes("viewer_pages.tif* - page 2 of 2 - 80 x 120, 8 bits"));
    viewer.command(IDM_MONO_HALFTONE);
    EXPECT_TRUE(viewer.title_becomes("80 x 120, 1 bit"));

    // Changes are not thrown away without a question.
    viewer.post(IDM_FIRST_PAGE);
    EXPECT_NE(viewer.message().find("not saved"), std::string::npos);
    EXPECT_TRUE(viewer.answer(IDCANCEL));
    EXPECT_TRUE(viewer.title_becomes("page 2 of 2 - 80 x 120"));
    viewer.post(IDM_FIRST_PAGE);
    EXPECT_TRUE(viewer.answer(IDOK));
    EXPECT_TRUE(viewer.title_becomes("viewer_pages.tif - page 1 of 2 - 200 x 300"));
    EXPECT_EQ(viewer.close(), 0);
}

TEST(viewer, zooms_and_scrolls_to_the_right_place)
{
    const test_file file("viewer_places.bmp");
    const int32_t image = make_image(2000, 1500, place_color);
    ASSERT_GE(IMG_save_bitmap(image, file.name.c_str(), 1), 0);
    IMG_delete_bitmap(image);
    viewer_driver viewer(file.name);
    ASSERT_TRUE(viewer.title_becomes("2000 x 1500, 24 bits"));
    client_size client = client_of(viewer);
    const double fitting = std::min(client.width / 2000.0, client.height / 1500.0);
    EXPECT_TRUE(view_becomes(viewer, {1000, 750, fitting}));

    viewer.command(IDM_ACTUAL_SIZE);
    EXPECT_TRUE(view_becomes(viewer, {1000, 750, 1}));
    client = client_of(viewer);
    seen_view view{1000, 750, 1};
    SendMessageA(viewer.picture(), WM_KEYDOWN, VK_NEXT, 0);
    view.y += (1500 - client.height) / 4;
    EXPECT_TRUE(view_becomes(viewer, view)) << "page down";
    for (int i = 0; i < 2; ++i)
        SendMessageA(viewer.picture(), WM_KEYDOWN, VK_LEFT, 0);
    view.x -= (2000 - client.width) / 16 * 2;
    EXPECT_TRUE(view_becomes(viewer, view)) << "left twice";

    viewer.command(IDM_ZOOM_IN);
    view.scale = 1.25;
    EXPECT_TRUE(view_becomes(viewer, view)) << "zoom in keeps the middle";
    // The wheel keeps the pixel under the pointer: 100 to the right of and below the middle.
    POINT pointer{client.width / 2 + 100, client.height / 2 + 100};
    ClientToScreen(viewer.picture(), &pointer);
    SendMessageA(viewer.picture(), WM_MOUSEWHEEL, MAKEWPARAM(0, WHEEL_DELTA * 2),
                 MAKELPARAM(pointer.x, pointer.y));
    const double wheeled = view.scale * 1.25 * 1.25;
    view = {view.x + 100 / view.scale - 100 / wheeled, view.y + 100 / view.scale - 100 / wheeled,
            wheeled};
    EXPECT_TRUE(view_becomes(viewer, view)) << "wheel";

    viewer.command(IDM_FIT);
    EXPECT_TRUE(view_becomes(viewer, {1000, 750, fitting}));
    client = client_of(viewer);
    // A rectangle of half the window's size, its middle left of and above the window's.
    const int32_t x = client.width / 8, y = client.height / 8;
    const LPARAM from = MAKELPARAM(x, y);
    const LPARAM to = MAKELPARAM(x + client.width / 2, y + client.height / 2);
    SendMessageA(viewer.picture(), WM_LBUTTONDOWN, MK_LBUTTON, from);
    SendMessageA(viewer.picture(), WM_MOUSEMOVE, MK_LBUTTON, to);
    SendMessageA(viewer.picture(), WM_LBUTTONUP, 0, to);
    EXPECT_TRUE(view_becomes(viewer, {1000 - client.width / 8 / fitting,
                                      750 - client.height / 8 / fitting, 2 * fitting}))
        << "rectangle";

    SetWindowPos(viewer.frame(), nullptr, 0, 0, 500, 400, SWP_NOMOVE);
    viewer.command(IDM_FIT);
    client = client_of(viewer);
    EXPECT_TRUE(
        view_becomes(viewer, {1000, 750, std::min(client.width / 2000.0, client.height / 1500.0)}))
        << "smaller window";
}

TEST(viewer, copies_pastes_and_saves)
{
    const test_file source("viewer_source.bmp"), saved("viewer_saved.tif"), clip("viewer_clip.bmp");
    const test_picture picture(150, 90, 4);
    ASSERT_GE(IMG_save_bitmap(picture.handle(), source.name.c_str(), 1), 0);
    viewer_driver viewer(source.name);
    ASSERT_TRUE(viewer.title_becomes("150 x 90, 4 bits"));
    viewer.command(IDM_ACTUAL_SIZE);
    viewer.command(IDM_COPY);
    const test_window window(50, 50);
    ASSERT_EQ(IMG_save_clipboard(clip.name.c_str(), window.get()), 1);
    EXPECT_EQ(size_of_file(clip.name), (image_size{150, 90, 4}));

    viewer.command(IDM_PASTE);
    EXPECT_TRUE(viewer.title_becomes("Clipboard* - 150 x 90, 4 bits"));
    // No file to go back to: a message box would take the place of the next dialog.
    viewer.post(IDM_REVERT);

    // The first type of the list is TIFF.
    viewer.post(IDM_SAVE_AS);
    ASSERT_TRUE(viewer.answer_file(saved.name));
    EXPECT_TRUE(viewer.title_becomes("Clipboard - 150 x 90"));
    EXPECT_EQ(size_of_file(saved.name), (image_size{150, 90, 4}));
    EXPECT_EQ(IMGLOW_get_pages(saved.name.c_str()), 1);

    // Adding a page is asked for by name.
    viewer.post(IDM_APPEND);
    ASSERT_TRUE(viewer.answer_file(saved.name));
    EXPECT_TRUE(wait_for([&] { return IMGLOW_get_pages(saved.name.c_str()) == 2; }));
    EXPECT_EQ(viewer.close(), 0);
}

TEST(viewer, prints_to_a_file)
{
    const test_file source("viewer_print.bmp"), printed("viewer_print.emf");
    const int32_t image = make_image(60, 40, [](int32_t, int32_t) { return color{0x3366CC}; });
    ASSERT_GE(IMG_save_bitmap(image, source.name.c_str(), 1), 0);
    IMG_delete_bitmap(image);
    viewer_driver viewer(source.name);
    ASSERT_TRUE(viewer.title_becomes("60 x 40"));
    viewer.post(IDM_PRINT_METAFILE);
    ASSERT_TRUE(viewer.answer_file(printed.name));
    HENHMETAFILE metafile = nullptr;
    ASSERT_TRUE(wait_for([&] {
        metafile = GetEnhMetaFileA(printed.name.c_str());
        return metafile != nullptr;
    }));
    const canvas paper(200, 100);
    const RECT all{0, 0, 200, 100};
    EXPECT_TRUE(PlayEnhMetaFile(paper.dc(), metafile, &all));
    EXPECT_EQ(paper.at(100, 50), 0x3366CCU);
    DeleteEnhMetaFile(metafile);
    EXPECT_EQ(viewer.close(), 0);
}

TEST(viewer, tells_errors_in_words_and_goes_on)
{
    const test_file file("viewer_damaged.bmp"), sound("viewer_sound.bmp");
    if (FILE* damaged = std::fopen(file.name.c_str(), "wb")) {
        std::fputs("BM, and then nothing that makes sense", damaged);
        std::fclose(damaged);
    }
    viewer_driver viewer(file.name);
    ASSERT_TRUE(viewer.frame());
    EXPECT_NE(viewer.message().find("viewer_damaged.bmp cannot be opened"), std::string::npos);
    EXPECT_TRUE(viewer.answer(IDOK) || viewer.answer(IDCANCEL));
    // Without a picture its commands do nothing.
    for (const int id : {IDM_COPY, IDM_ROTATE_LEFT, IDM_ZOOM_IN, IDM_FIT, IDM_NEXT_PAGE, IDM_PRINT,
                         IDM_SAVE_AS, IDM_CLOSE, IDM_TONE, IDM_REVERT})
        viewer.command(id);
    const test_picture picture(70, 50, 24);
    ASSERT_GE(IMG_save_bitmap(picture.handle(), sound.name.c_str(), 1), 0);
    viewer.post(IDM_OPEN);
    ASSERT_TRUE(viewer.answer_file(sound.name));
    EXPECT_TRUE(viewer.title_becomes("70 x 50, 24 bits"));
    EXPECT_EQ(viewer.close(), 0);
}

// Makes the pictures of docs/: run in a directory with fax.tif and photo.jpg, in a desktop
// window of Wine, which draws the frames.
TEST(viewer, DISABLED_makes_pictures_for_the_documentation)
{
    const auto keep = [](const viewer_driver& viewer, const char* name) {
        const int32_t shot = viewer.screenshot();
        ASSERT_GE(shot, 0);
        EXPECT_GE(IMG_save_bitmap(shot, name, 1), 0);
        IMG_delete_bitmap(shot);
    };
    {
        viewer_driver viewer("fax.tif");
        ASSERT_TRUE(viewer.title_becomes("1 bit"));
        keep(viewer, "viewer_fax_fit.bmp");
        viewer.command(IDM_ACTUAL_SIZE);
        SendMessageA(viewer.picture(), WM_KEYDOWN, VK_HOME, 0);
        keep(viewer, "viewer_fax_actual_size.bmp");
    }
    viewer_driver viewer("photo.jpg");
    ASSERT_TRUE(viewer.title_becomes("24 bits"));
    keep(viewer, "viewer_photo.bmp");
    viewer.command(IDM_MONO_HALFTONE);
    viewer.command(IDM_ACTUAL_SIZE);
    keep(viewer, "viewer_halftone.bmp");
    viewer.post(IDM_PRINT_TONE);
    EXPECT_TRUE(viewer.dialog());
    keep(viewer, "viewer_print_tone.bmp");
    viewer.answer(IDCANCEL);
    viewer.post(IDM_SAVE_AS);
    EXPECT_TRUE(viewer.dialog());
    keep(viewer, "viewer_save_as.bmp");
    viewer.answer(IDCANCEL);
}
