// painter_test.cpp - images on device contexts, read back pixel by pixel.

#include "tests/win32/gdi_support.h"

#include <algorithm>
#include <cstdlib>

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
    int32_t x, y, width, height;
};

const placement placements[] = {
    {0, 0, 64, 48, 3, 2, 64, 48},      // one to one
    {5, 7, 33, 21, 0, 0, 33, 21},      // one to one, from inside a byte
    {10, 10, 20, 15, 4, 3, 173, 151},  // enlarged, several bands
    {0, 0, 64, 48, -20, -9, 200, 160}, // beyond the canvas
    {50, 30, 64, 48, 0, 0, 64, 48},    // crop rectangle beyond the image
};

constexpr color background = 0x204060;

// The image pixel for a canvas pixel by the definition; false where nothing is painted.
bool shown_pixel(const test_picture& picture, const placement& p, int32_t x, int32_t y,
                 color& shown)
{
    if (x < p.x || y < p.y || x >= p.x + p.width || y >= p.y + p.height) return false;
    const int32_t image_x = p.crop_x + (x - p.x) * p.crop_width / p.width;
    const int32_t image_y = p.crop_y + (y - p.y) * p.crop_height / p.height;
    if (image_x >= picture.width() || image_y >= picture.height()) return false;
    shown = picture.at(image_x, image_y);
    return true;
}

void expect_painted(const canvas& paper, const test_picture& picture, const placement& p,
                    const raster_case& raster)
{
    const std::vector<color> pixels = paper.pixels();
    for (int32_t y = 0; y < paper.height(); ++y)
        for (int32_t x = 0; x < paper.width(); ++x) {
            color source = 0;
            const color expected = shown_pixel(picture, p, x, y, source)
                                       ? raster.combine(background, source)
                                       : background;
            ASSERT_EQ(pixels[static_cast<size_t>(y * paper.width() + x)], expected)
                << x << "," << y;
        }
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
                IMGLOW_set_rop(picture.handle(), raster.code);
                IMG_set_croprect(picture.handle(), p.crop_x, p.crop_y, p.crop_width, p.crop_height);
                ASSERT_EQ(
                    IMG_display_bitmap(picture.handle(), paper.dc(), p.x, p.y, p.width, p.height),
                    0);
                expect_painted(paper, picture, p, raster);
            }
}

TEST(painter, shrinks_pages_to_grey_only_where_greys_can_be_seen)
{
    const test_picture page(128, 96, 1);
    const auto share = [&](int32_t x, int32_t y) {
        int32_t white = 0;
        for (int32_t i = 0; i < 16; ++i)
            white += page.at(4 * x + i % 4, 4 * y + i / 4) ? 1 : 0;
        return (510 * white + 16) / 32;
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
        IMGLOW_set_rop(page.handle(), r.rop);
        ASSERT_EQ(IMG_display_bitmap(page.handle(), paper.dc(), 0, 0, 32, 24), 0);
        for (int32_t y = 0; y < 24; ++y)
            for (int32_t x = 0; x < 32; ++x) {
                const auto level = static_cast<color>(share(x, y));
                const color expected = r.grey ? level * 0x10101 : page.at(4 * x, 4 * y);
                ASSERT_EQ(paper.at(x, y), expected) << x << "," << y;
            }
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
    ASSERT_EQ(IMG_display_bitmap(picture.handle(), paper.dc(), 5, 10, 40, 80), 0);

    EXPECT_EQ(GetMapMode(paper.dc()), MM_ANISOTROPIC);
    SIZE extent;
    POINT origin;
    GetViewportExtEx(paper.dc(), &extent);
    EXPECT_EQ(extent.cx, 200);
    EXPECT_EQ(extent.cy, 50);
    GetWindowOrgEx(paper.dc(), &origin);
    EXPECT_EQ(origin.x, -5);
    EXPECT_EQ(origin.y, -20);
    SetMapMode(paper.dc(), MM_TEXT);
    SetViewportOrgEx(paper.dc(), 0, 0, nullptr);
    SetWindowOrgEx(paper.dc(), 0, 0, nullptr);
    // Two device pixels for a unit across, half a one down: 30, 18 and 80 by 40.
    expect_painted(paper, picture, {0, 0, 40, 30, 30, 18, 80, 40}, raster_cases[0]);
}

TEST(painter, mirrors_where_the_axis_runs_upward)
{
    const test_picture picture(40, 30, 8);
    const canvas paper(60, 50);
    ASSERT_EQ(IMG_display_bitmap(picture.handle(), paper.dc(), 45, 33, -40, -30), 0);
    for (int32_t y = 0; y < 30; ++y)
        for (int32_t x = 0; x < 40; ++x)
            ASSERT_EQ(paper.at(5 + x, 3 + y), picture.at(39 - x, 29 - y)) << x << "," << y;
}

TEST(painter, keeps_to_the_clip_region)
{
    const test_picture picture(64, 48, 4);
    const canvas paper(64, 48);
    IntersectClipRect(paper.dc(), 10, 12, 30, 40);
    ExcludeClipRect(paper.dc(), 15, 15, 20, 20);
    ASSERT_EQ(IMG_display_bitmap(picture.handle(), paper.dc(), 0, 0, 64, 48), 0);
    for (int32_t y = 0; y < 48; ++y)
        for (int32_t x = 0; x < 64; ++x) {
            const bool inside = x >= 10 && x < 30 && y >= 12 && y < 40;
            const bool hole = x >= 15 && x < 20 && y >= 15 && y < 20;
            SelectClipRgn(paper.dc(), nullptr);
            ASSERT_EQ(paper.at(x, y), inside && !hole ? picture.at(x, y) : background)
                << x << "," << y;
        }
}

TEST(painter, leaves_impossible_requests_alone)
{
    const test_picture picture(64, 48, 24);
    const canvas paper(70, 50);
    EXPECT_EQ(IMG_display_bitmap(-1, paper.dc(), 0, 0, 64, 48), -13);
    EXPECT_EQ(IMG_display_bitmap(4711, paper.dc(), 0, 0, 64, 48), -13);
    // The painter's own result is not passed on.
    EXPECT_EQ(IMG_display_bitmap(picture.handle(), nullptr, 0, 0, 64, 48), 0);
    EXPECT_EQ(IMG_display_bitmap(picture.handle(), paper.dc(), 0, 0, 0, 48), 0);
    EXPECT_EQ(IMG_display_bitmap(picture.handle(), paper.dc(), 2147483000, 0, 64, 48), 0);
    const placement crops[] = {
        {64, 0, 10, 10, 0, 0, 64, 48},
        {0, -48, 10, 48, 0, 0, 64, 48},
        {0, 0, 0, 10, 0, 0, 64, 48},
        {0, 0, -5, 10, 0, 0, 64, 48},
        {2147483647, 0, 2147483647, 5, 0, 0, 64, 48},
    };
    for (const placement& p : crops) {
        IMG_set_croprect(picture.handle(), p.crop_x, p.crop_y, p.crop_width, p.crop_height);
        EXPECT_EQ(IMG_display_bitmap(picture.handle(), paper.dc(), p.x, p.y, p.width, p.height), 0);
    }
    for (const color pixel : paper.pixels())
        ASSERT_EQ(pixel, background);
}

TEST(palette, holds_the_colours_of_the_image)
{
    const struct {
        int32_t bits;
        UINT entries;
    } rows[] = {{1, 2}, {4, 16}, {8, 256}, {24, 256}};
    for (const auto& r : rows) {
        SCOPED_TRACE(r.bits);
        const test_picture picture(16, 16, r.bits);
        const canvas paper(16, 16);
        ASSERT_EQ(IMG_bitmap_palette(picture.handle(), paper.dc()), 0);
        // A second palette replaces the first.
        ASSERT_EQ(IMG_bitmap_palette(picture.handle(), paper.dc()), 0);
        PALETTEENTRY entries[256] = {};
        auto* palette = static_cast<HPALETTE>(GetCurrentObject(paper.dc(), OBJ_PAL));
        ASSERT_EQ(GetPaletteEntries(palette, 0, 256, entries), r.entries);
        if (r.bits == 24) {
            EXPECT_EQ(entries[0x25].peRed, 36);
            EXPECT_EQ(entries[0x25].peGreen, 36);
            EXPECT_EQ(entries[0x25].peBlue, 85);
            EXPECT_EQ(entries[0xFF].peRed & entries[0xFF].peGreen & entries[0xFF].peBlue, 255);
            continue;
        }
        const auto* colors = picture.packed().data() + sizeof(BITMAPINFOHEADER);
        for (UINT i = 0; i < r.entries; ++i) {
            ASSERT_EQ(entries[i].peBlue, colors[4 * i]);
            ASSERT_EQ(entries[i].peGreen, colors[4 * i + 1]);
            ASSERT_EQ(entries[i].peRed, colors[4 * i + 2]);
        }
    }
    EXPECT_EQ(IMG_bitmap_palette(-3, nullptr), -13);
}

TEST(painter, dithers_for_sixteen_colours_from_the_first_row_of_each_paint)
{
    const test_picture picture(32, 32, 24);
    const canvas paper(32, 32, 4);
    ASSERT_EQ(IMG_display_bitmap(picture.handle(), paper.dc(), 0, 0, 32, 32), 0);
    const std::vector<color> first = paper.pixels();
    ASSERT_EQ(IMG_display_bitmap(picture.handle(), paper.dc(), 0, 0, 32, 32), 0);
    EXPECT_EQ(paper.pixels(), first);
    // A grey mean: the dots' mean lightness is near the picture's.
    double shown = 0, meant = 0;
    for (int32_t y = 0; y < 32; ++y)
        for (int32_t x = 0; x < 32; ++x) {
            const color c = picture.at(x, y);
            meant += (30 * (c >> 16) + 59 * (c >> 8 & 255) + 11 * (c & 255)) / 100.0;
            shown += first[static_cast<size_t>(y * 32 + x)] & 255;
        }
    EXPECT_NEAR(shown / 1024, meant / 1024, 12);
}
