// painter_test.cpp - images on device contexts, read back pixel by pixel.

#include "tests/win32/gdi_support.h"

namespace {

struct raster_case {
    uint32_t code;
    color (*combine)(color destination, color source);
};

const raster_case raster_cases[] = {
    {SRCCOPY, [](color, color s) { return s; }},
    {SRCINVERT, [](color d, color s) { return d ^ s; }},
    {SRCAND, [](color d, color s) { return d & s; }},
    {NOTSRCCOPY, [](color, color s) { return ~s & 0xFFFFFF; }},
};

struct placement {
    int32_t crop_x, crop_y, crop_width, crop_height;
    int32_t x, y, width, height; // negative: runs to the left, upward
};

const placement placements[] = {
    {0, 0, 64, 48, 3, 2, 64, 48},      // one to one
    {5, 7, 33, 21, 0, 0, 33, 21},      // one to one, from inside a byte
    {10, 10, 20, 15, 4, 3, 173, 151},  // enlarged, several bands
    {0, 0, 64, 48, -20, -9, 200, 160}, // beyond the canvas
    {50, 30, 64, 48, 0, 0, 64, 48},    // crop rectangle beyond the image
    {0, 0, 64, 48, 70, 50, -64, -48},  // mirrored
};

// Nothing is painted outside the clip region.
constexpr RECT hole{30, 20, 41, 33};

// The image pixel of a device pixel on one axis by the definition; -1 where none is shown.
int32_t shown(int32_t start, int32_t extent, int32_t image, int32_t at, int32_t size, int32_t pixel)
{
    const int32_t offset = size > 0 ? pixel - at : at - 1 - pixel;
    if (offset < 0 || offset >= std::abs(size)) return -1;
    const int32_t source = start + offset * extent / std::abs(size);
    return source < image ? source : -1;
}

void expect_painted(const canvas& paper, const test_picture& picture, const placement& p,
                    const raster_case& raster = raster_cases[0], const RECT& unpainted = {})
{
    paper.expect([&](int32_t x, int32_t y) {
        if (PtInRect(&unpainted, {x, y})) return background;
        const int32_t column = shown(p.crop_x, p.crop_width, picture.width, p.x, p.width, x);
        const int32_t row = shown(p.crop_y, p.crop_height, picture.height, p.y, p.height, y);
        return column < 0 || row < 0 ? background
                                     : raster.combine(background, picture.color(column, row));
    });
}

} // namespace

TEST(painter, puts_every_depth_where_it_belongs)
{
    for (const int32_t bits : {1, 4, 8, 24})
        for (const raster_case& raster : raster_cases)
            for (const placement& p : placements) {
                SCOPED_TRACE(std::to_string(bits) + " bits, raster " + std::to_string(raster.code) +
                             ", at " + std::to_string(p.x));
                const test_picture picture(64, 48, bits);
                const canvas paper(180, 155);
                ExcludeClipRect(paper.dc(), hole.left, hole.top, hole.right, hole.bottom);
                IMGLOW_set_rop(picture.handle, raster.code);
                IMG_set_croprect(picture.handle, p.crop_x, p.crop_y, p.crop_width, p.crop_height);
                ASSERT_EQ(
                    IMG_display_bitmap(picture.handle, paper.dc(), p.x, p.y, p.width, p.height), 0);
                expect_painted(paper, picture, p, raster, hole);
            }
}

TEST(painter, shrinks_pages_to_grey_only_where_greys_can_be_seen)
{
    const test_picture page(128, 96, 1);
    const auto grey = [&](int32_t x, int32_t y) {
        uint32_t white = 0;
        for (int32_t i = 0; i < 16; ++i)
            white += page.color(4 * x + i % 4, 4 * y + i / 4) ? 1 : 0;
        return (510 * white + 16) / 32 * 0x10101;
    };
    const struct {
        int32_t bits;
        uint32_t rop;
        bool grey;
    } rows[] = {{32, SRCCOPY, true},
                {8, SRCCOPY, true},
                {4, SRCCOPY, false},
                {1, SRCCOPY, false},
                {32, SRCAND, false}};
    for (const auto& r : rows) {
        SCOPED_TRACE(std::to_string(r.bits) + " bits, raster " + std::to_string(r.rop));
        const canvas paper(32, 24, r.bits, 0xFFFFFF);
        IMGLOW_set_rop(page.handle, r.rop);
        ASSERT_EQ(IMG_display_bitmap(page.handle, paper.dc(), 0, 0, 32, 24), 0);
        paper.expect(
            [&](int32_t x, int32_t y) { return r.grey ? grey(x, y) : page.color(4 * x, 4 * y); });
    }
}

TEST(painter, works_in_logical_units_and_puts_the_mapping_back)
{
    const test_picture picture(40, 30, 24);
    const canvas paper(200, 150);
    SetMapMode(paper.dc(), MM_ANISOTROPIC);
    SetWindowExtEx(paper.dc(), 100, 100, nullptr);
    SetViewportExtEx(paper.dc(), 200, 50, nullptr);
    SetWindowOrgEx(paper.dc(), -5, -20, nullptr);
    SetViewportOrgEx(paper.dc(), 10, 3, nullptr);
    ASSERT_EQ(IMG_display_bitmap(picture.handle, paper.dc(), 5, 10, 40, 80), 0);

    EXPECT_EQ(GetMapMode(paper.dc()), MM_ANISOTROPIC);
    // One corner and the extents: where the mapping takes them.
    POINT corners[2] = {{-5, -20}, {95, 80}};
    LPtoDP(paper.dc(), corners, 2);
    const std::vector<LONG> mapped = {corners[0].x, corners[0].y, corners[1].x, corners[1].y};
    EXPECT_EQ(mapped, (std::vector<LONG>{10, 3, 210, 53}));
    SetMapMode(paper.dc(), MM_TEXT);
    SetViewportOrgEx(paper.dc(), 0, 0, nullptr);
    SetWindowOrgEx(paper.dc(), 0, 0, nullptr);
    // Two device pixels for a unit across, half a one down: 30, 18 and 80 by 40.
    expect_painted(paper, picture, {0, 0, 40, 30, 30, 18, 80, 40});
}

TEST(bad_input, has_its_code_and_paints_nothing)
{
    const test_picture picture(64, 48, 24);
    const int32_t h = picture.handle;
    const canvas paper(70, 50);
    HDC dc = paper.dc(), deleted_dc = CreateCompatibleDC(nullptr);
    DeleteDC(deleted_dc);
    auto* deleted = CreateBitmap(5, 5, 1, 1, nullptr);
    DeleteObject(deleted);
    constexpr int32_t most = 0x7FFFFFFF;
    const struct {
        int32_t result, expected;
    } rows[] = {
        // The painter's own result is not passed on.
        {IMG_display_bitmap(h, nullptr, 0, 0, 64, 48), 0},
        {IMG_display_bitmap(h, dc, 0, 0, 0, 48), 0},
        {IMG_display_bitmap(h, dc, most - 600, 0, 64, 48), 0},
        {IMG_create_handle_ddb(nullptr, nullptr), -14},
        {IMG_create_handle_ddb(reinterpret_cast<HBITMAP>(dc), nullptr), -14},
        {IMG_dib_to_ddb(h, 0, 10), -7},
        {IMG_dib_to_ddb(h, most, most), -1},
        {IMG_display_ddb(nullptr, dc, 0, 0), -14},
        {IMG_display_ddb(deleted, dc, 0, 0), -14},
        {IMG_display_ddb(paper.bitmap(), dc, 0, 0), -14}, // in another context
        {IMG_print_bitmap(h, nullptr, 0, 0, 20, 20), -7},
        {IMG_print_bitmap(h, deleted_dc, 0, 0, 20, 20), -7},
        {IMG_print_bitmap(h, dc, 5, 5, 0, 0), 0},
        {IMG_print_bitmap_fast(h, nullptr, 0, 0, 20, 20), -7},
        {IMG_print_bitmap_fast(h, deleted_dc, 0, 0, 20, 20), -7},
        {IMG_print_bitmap_fast(h, dc, 5, 5, 0, 0), 0},
        {IMGX_set_print_dither(h, 3), -7},
        {IMGX_set_print_dither(h, -1), -7},
        {IMG_zoom_bitmap(h, nullptr, 200), 0},
        {IMG_zoom_bitmap(-4, nullptr, 200), -4},
        {IMG_scroll_bitmap(-7, nullptr, 0, 0, WM_VSCROLL), -7},
    };
    for (const auto& r : rows)
        EXPECT_EQ(r.result, r.expected) << "row " << &r - rows;
    for (const int32_t dead : {-13, 4711})
        for (const int32_t result :
             {IMG_display_bitmap(dead, dc, 0, 0, 64, 48), IMG_dib_to_ddb(dead, 10, 10),
              IMG_bitmap_palette(dead, dc), IMG_print_bitmap(dead, dc, 0, 0, 20, 20),
              IMG_print_bitmap_fast(dead, dc, 0, 0, 20, 20), IMGX_set_print_dither(dead, 0),
              IMG_zoom_bitmap(dead, nullptr, 100),
              IMG_scroll_bitmap(dead, nullptr, 0, 0, WM_VSCROLL),
              IMG_repaint_scroll(dead, dc, nullptr, 1, nullptr)})
            EXPECT_EQ(result, -13);
    for (const int32_t start : {64, 0, most}) {
        IMG_set_croprect(h, start, 0, start, 10);
        EXPECT_EQ(IMG_display_bitmap(h, dc, 0, 0, 64, 48), 0);
    }
    paper.expect([](int32_t, int32_t) { return background; });
}

TEST(painter, dithers_a_part_for_sixteen_colours_like_the_whole)
{
    const test_picture picture(32, 32, 24);
    const canvas whole(32, 37, 4), parts(32, 37, 4);
    ASSERT_EQ(IMG_display_bitmap(picture.handle, whole.dc(), 0, 5, 32, 32), 0);
    for (const int32_t top : {5, 8, 20, 29}) {
        HRGN part = CreateRectRgn(0, top, 32, top + 12);
        SelectClipRgn(parts.dc(), part);
        DeleteObject(part);
        ASSERT_EQ(IMG_display_bitmap(picture.handle, parts.dc(), 0, 5, 32, 32), 0);
    }
    EXPECT_EQ(parts.pixels(), whole.pixels());
    // The thresholds count from the rectangle's first row, not from the window's.
    const canvas higher(32, 37, 4);
    ASSERT_EQ(IMG_display_bitmap(picture.handle, higher.dc(), 0, 0, 32, 32), 0);
    higher.expect(
        [&](int32_t x, int32_t y) { return y < 32 ? whole.at(x, y + 5) : higher.at(x, y); });
}

TEST(palette, holds_the_colours_of_the_image)
{
    for (const int32_t bits : {1, 4, 8, 24}) {
        SCOPED_TRACE(bits);
        const test_picture picture(16, 16, bits);
        const canvas paper(16, 16);
        ASSERT_EQ(IMG_bitmap_palette(picture.handle, paper.dc()), 0);
        // A second palette replaces the first.
        ASSERT_EQ(IMG_bitmap_palette(picture.handle, paper.dc()), 0);
        PALETTEENTRY entries[256] = {};
        auto* palette = static_cast<HPALETTE>(GetCurrentObject(paper.dc(), OBJ_PAL));
        const UINT count = bits == 24 ? 256 : 1U << bits;
        ASSERT_EQ(GetPaletteEntries(palette, 0, 256, entries), count);
        for (UINT i = 0; i < count; ++i) {
            const color seen =
                color_of(RGB(entries[i].peRed, entries[i].peGreen, entries[i].peBlue));
            // 3 bits red, 3 green, 2 blue.
            const color cube = rgb((i >> 5) * 255 / 7, (i >> 2 & 7) * 255 / 7, (i & 3) * 85);
            ASSERT_EQ(seen, bits == 24 ? cube : picture.colors()[i]) << i;
        }
    }
}
