// viewer_test.cpp - the viewer as a process: what its user sees and gets.

#include "viewer/resource.h"

#include "tests/win32/viewer_driver.h"

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

// The colour of the middle of the viewer's picture on the screen.
color middle_of(const viewer_driver& viewer)
{
    Sleep(300);
    RECT place{};
    GetWindowRect(viewer.picture(), &place);
    HDC screen = GetDC(nullptr);
    const COLORREF c =
        GetPixel(screen, (place.left + place.right) / 2, (place.top + place.bottom) / 2);
    ReleaseDC(nullptr, screen);
    return static_cast<color>(GetRValue(c) << 16 | GetGValue(c) << 8 | GetBValue(c));
}

// All of one colour, 24 bits.
int32_t plain_image(int32_t width, int32_t height, color c)
{
    std::vector<uint8_t> packed(40 + static_cast<size_t>((width * 3 + 3) / 4 * 4 * height));
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = 24;
    std::memcpy(packed.data(), &header, sizeof header);
    const size_t stride = static_cast<size_t>((width * 3 + 3) / 4 * 4);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            for (size_t i = 0; i < 3; ++i)
                packed[40 + stride * static_cast<size_t>(y) + 3 * static_cast<size_t>(x) + i] =
                    static_cast<uint8_t>(c >> 8 * i);
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

TEST(viewer, paints_zooms_and_scrolls)
{
    const test_file file("viewer_colours.bmp");
    const int32_t image = plain_image(2000, 1500, 0x3366CC);
    ASSERT_GE(IMG_save_bitmap(image, file.name.c_str(), 1), 0);
    IMG_delete_bitmap(image);
    viewer_driver viewer(file.name);
    ASSERT_TRUE(viewer.title_becomes("2000 x 1500, 24 bits"));
    EXPECT_EQ(middle_of(viewer), 0x3366CCU);
    const struct {
        const char* what;
        std::function<void()> act;
    } steps[] = {
        {"actual size", [&] { viewer.command(IDM_ACTUAL_SIZE); }},
        {"page down", [&] { SendMessageA(viewer.picture(), WM_KEYDOWN, VK_NEXT, 0); }},
        {"line right", [&] { SendMessageA(viewer.picture(), WM_KEYDOWN, VK_RIGHT, 0); }},
        {"zoom in", [&] { viewer.command(IDM_ZOOM_IN); }},
        {"wheel back",
         [&] {
             SendMessageA(viewer.picture(), WM_MOUSEWHEEL, MAKEWPARAM(0, -WHEEL_DELTA * 3),
                          MAKELPARAM(300, 300));
         }},
        {"rectangle",
         [&] {
             SendMessageA(viewer.picture(), WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(100, 100));
             SendMessageA(viewer.picture(), WM_MOUSEMOVE, MK_LBUTTON, MAKELPARAM(300, 250));
             SendMessageA(viewer.picture(), WM_LBUTTONUP, 0, MAKELPARAM(300, 250));
         }},
        {"smaller window",
         [&] { SetWindowPos(viewer.frame(), nullptr, 0, 0, 400, 300, SWP_NOMOVE); }},
        {"fit", [&] { viewer.command(IDM_FIT); }},
        {"negative", [&] { viewer.command(IDM_INVERT); }},
    };
    for (const auto& s : steps) {
        SCOPED_TRACE(s.what);
        s.act();
        EXPECT_EQ(middle_of(viewer), std::string(s.what) == "negative" ? 0xCC9933U : 0x3366CCU);
    }
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

    // The first type of the list is TIFF.
    viewer.post(IDM_SAVE_AS);
    ASSERT_TRUE(viewer.answer_file(saved.name));
    EXPECT_TRUE(viewer.title_becomes("Clipboard - 150 x 90"));
    EXPECT_EQ(size_of_file(saved.name), (image_size{150, 90, 4}));
    EXPECT_EQ(IMGLOW_get_pages(saved.name.c_str()), 1);

    // Adding a page is asked for by name.
    viewer.post(IDM_APPEND);
    ASSERT_TRUE(viewer.answer_file(saved.name));
    Sleep(300);
    EXPECT_EQ(IMGLOW_get_pages(saved.name.c_str()), 2);
    EXPECT_EQ(viewer.close(), 0);
}

TEST(viewer, prints_to_a_file)
{
    const test_file source("viewer_print.bmp"), printed("viewer_print.emf");
    const int32_t image = plain_image(60, 40, 0x3366CC);
    ASSERT_GE(IMG_save_bitmap(image, source.name.c_str(), 1), 0);
    IMG_delete_bitmap(image);
    viewer_driver viewer(source.name);
    ASSERT_TRUE(viewer.title_becomes("60 x 40"));
    viewer.post(IDM_PRINT_METAFILE);
    ASSERT_TRUE(viewer.answer_file(printed.name));
    Sleep(500);
    HENHMETAFILE metafile = GetEnhMetaFileA(printed.name.c_str());
    ASSERT_TRUE(metafile);
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
