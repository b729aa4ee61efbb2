// dib_rows_test.cpp - the fixed colour tables and the grey rules, by worked examples.

#include "core/dib_rows.h"
#include "tests/support/images.h"

namespace {

uint32_t rgb(const RGBQUAD& c)
{
    return c.rgbBlue | uint32_t{c.rgbGreen} << 8 | uint32_t{c.rgbRed} << 16;
}

dib_header table(int32_t bits, const char* name)
{
    dib_header header;
    header.set(1, 1, bits);
    create_dib_palette(&header.info, name);
    return header;
}

// Blue, green, red and grey of the first pixel of a row.
std::array<uint16_t, 4> expand(const picture& dib, int32_t stored_row = 0)
{
    const image_guard handle(dib.create());
    dib_lock image(handle);
    std::array<uint16_t, 4 * 4> row{};
    std::array<uint8_t, 16> buffer{};
    EXPECT_EQ(
        fetch_color_raster(image.object(), row.data(), buffer.data(), image.header(), stored_row),
        0);
    return {row[0], row[1], row[2], row[3]};
}

} // namespace

TEST(dib_palette, fixed_tables)
{
    const struct {
        int32_t bits;
        const char* name;
        int32_t index;
        uint32_t color;
    } rows[] = {
        {4, "tiff", 1, 0x101010},         {4, "TIFF", 15, 0xF0F0F0}, // the ramp ends below white
        {8, "tiff", 255, 0xFFFFFF},       {8, "tiff", 7, 0x070707},
        {8, "targa", 0x25, 0x242455},     {8, "Targa", 255, 0xFFFFFF},
        {8, "targa", 0xE0, 0xFF0000},     {4, "pcx", 1, 0x800000},
        {4, "pcx", 7, 0x808080},          {4, "pcx", 8, 0x000000},
        {4, "pcx", 12, 0x0000FF},         {4, "dither", 1, 0xC80000},
        {4, "DITHER", 7, 0xC8C8C8},       {4, "dither", 9, 0xFF0000},
        {4, "no such name", 2, 0x008000}, {1, "targa", 0, 0x000000},
        {1, "dither", 1, 0xFFFFFF},
    };
    for (const auto& r : rows)
        EXPECT_EQ(rgb(table(r.bits, r.name).colors[r.index]), r.color)
            << r.bits << ' ' << r.name << ' ' << r.index;
    EXPECT_EQ(rgb(table(24, "tiff").colors[5]), 0u) << "a 24-bit header is left alone";
}

TEST(dib_palette, one_coloured_entry_makes_an_image_coloured)
{
    for (int bits : {1, 4, 8, 24}) {
        picture dib(2, 2, bits);
        const image_guard grey(dib.create());
        EXPECT_EQ(is_color(grey), bits == 24 ? 1 : 0);
        if (bits < 24) dib.set_color((1 << bits) - 1, rgb(255, 255, 254));
        const image_guard color(dib.create());
        EXPECT_EQ(is_color(color), 1);
    }
    EXPECT_EQ(is_color(-3), -13);
}

TEST(color_rows, grey_by_depth)
{
    const struct {
        int bits;
        uint32_t color;
        uint16_t grey;
    } rows[] = {
        {8, 0x282828, 0},  {8, 0x2A2A2A, 1},    {8, 0xFFFFFF, 213}, // 40 darker
        {4, 0xFF0000, 75}, {24, 0xFF0000, 215}, // bright bytes are widened with their sign
    };
    for (const auto& r : rows) {
        picture dib(3, 1, r.bits);
        if (r.bits < 24) dib.set_color(9, rgb(r.color >> 16, r.color >> 8 & 255, r.color & 255));
        dib.set_pixel(0, 0, r.bits < 24 ? 9 : r.color);
        const auto pixel = expand(dib);
        EXPECT_EQ(pixel[0] | pixel[1] << 8 | pixel[2] << 16, int(r.color));
        EXPECT_EQ(pixel[3], r.grey) << r.bits << " bits, " << std::hex << r.color;
    }
}

TEST(color_rows, rows_behind_the_top_are_the_top_and_mono_is_left_alone)
{
    picture dib(1, 2, 8);
    dib.set_pixel(0, 0, 200); // the top row, stored last
    dib.set_pixel(0, 1, 100);
    EXPECT_EQ(expand(dib, 0)[0], 100);
    EXPECT_EQ(expand(dib, 2)[0], 200);
    EXPECT_EQ(expand(dib, 9)[0], 200);
    picture mono(1, 1, 1);
    mono.set_pixel(0, 0, 1);
    EXPECT_EQ(expand(mono), (std::array<uint16_t, 4>{}));
}
