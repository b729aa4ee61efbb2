// color_rows_test.cpp - the grey rules by worked examples and for every colour, and diffusion of
// widths whose working rows would not fit into 32 bits.

#include "color/color_diffusion.h"
#include "color/grey_source.h"
#include "color/mono_diffusion.h"
#include "core/dib_rows.h"
#include "core/row_convert.h"
#include "tests/support/images.h"

#include <numeric>

namespace {

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

TEST(dib_palette, names_count_in_any_case)
{
    dib_header header;
    header.set(1, 1, 4);
    for (auto [name, red] : {std::pair("Dither", 200), {"no such name", 128}, {"tIFf", 16}}) {
        create_dib_palette(&header.info, name);
        EXPECT_EQ(header.colors[1].rgbRed, red) << name;
    }
    dib_header without_table;
    without_table.set(1, 1, 24);
    create_dib_palette(&without_table.info, "tiff");
    EXPECT_EQ(without_table.colors[5].rgbRed, 0);
}

TEST(dib_palette, one_coloured_entry_makes_an_image_coloured)
{
    for (int bits : {1, 4, 8, 24}) {
        picture dib(2, 2, bits);
        const image_guard grey(dib.create());
        EXPECT_EQ(is_color(grey), bits == 24 ? 1 : 0);
        if (bits < 24) dib.set_color((1 << bits) - 1, 0xFFFFFE);
        const image_guard color(dib.create());
        EXPECT_EQ(is_color(color), 1);
    }
    EXPECT_EQ(is_color(-3), -13);
}

TEST(color_rows, swapping_red_and_blue_ends_with_the_last_pixel)
{
    byte_vector row(256);
    std::iota(row.begin(), row.end(), uint8_t{0});
    for (size_t width = 0; width <= 64; ++width) {
        byte_vector swapped = row;
        swap_red_blue(swapped.data(), swapped.data(), width);
        for (size_t i = 0; i < row.size(); ++i)
            ASSERT_EQ(swapped[i], i < 3 * width ? row[i + 2 - 2 * (i % 3)] : row[i]) << width;
    }
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
        if (r.bits < 24) dib.set_color(9, r.color);
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

TEST(grey_source, gives_every_colour_its_grey)
{
    constexpr int32_t width = 65536 + 5; // ends behind the last group of sixteen
    dib_header header;
    header.set(width, 1, 24);
    std::vector<uint8_t> row(size_t{3} * width), grey(width);
    for (uint32_t red = 0; red < 256; ++red) {
        for (size_t x = 0; x < width; ++x) {
            row[3 * x] = x;
            row[3 * x + 1] = x >> 8;
            row[3 * x + 2] = red;
        }
        for (grey_rule rule : {grey_rule::percent, grey_rule::color_row}) {
            grey_source(&header.info, rule).fetch_gray_raster(row.data(), grey.data(), width);
            for (size_t x = 0; x < width; ++x) {
                const uint8_t* p = &row[3 * x];
                ASSERT_EQ(grey[x], rule == grey_rule::percent
                                       ? (30 * red + 59 * p[1] + 11 * p[0]) / 100
                                       : grey_of_pixel(p[0], p[1], p[2]));
            }
        }
    }
}

TEST(diffusion_memory, refuses_widths_whose_rows_exceed_32_bits)
{
    // Sizes just above 2^32, so that a wrapped product would be a small block.
    constexpr int32_t bytes_per_color_pixel = 40, bytes_per_grey_pixel = 16;
    constexpr auto wrapping = [](int32_t bytes) {
        return static_cast<int32_t>((int64_t{1} << 32) / bytes) + 1;
    };
    dib_header header;
    header.set(1, 1, 24);
    image_object object{};
    object.dib = &header.info;
    for (int32_t width : {wrapping(bytes_per_color_pixel), int32_t{1} << 30}) {
        object.width = width;
        EXPECT_EQ(color_diffusion().begin(object), -1) << width;
    }
    for (int32_t width : {wrapping(bytes_per_grey_pixel), int32_t{1} << 30})
        EXPECT_EQ(mono_diffusion().begin(width, running_values::wrap), -1) << width;
}
