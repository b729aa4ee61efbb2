// eps_test.cpp - PostScript out, line by line, and TIFF previews in.

#include "tests/builders/tiff_builder.h"
#include "tests/support/images.h"

namespace {

std::string save_eps(int32_t handle)
{
    std::string text(1 << 20, '\0');
    const int32_t size =
        IMGX_save_bitmap_mem(handle, text.data(), static_cast<uint32_t>(text.size()), 14);
    EXPECT_GT(size, 0);
    text.resize(static_cast<size_t>(std::max(size, 0)));
    return text;
}

std::string lines(std::initializer_list<const char*> all)
{
    std::string text;
    for (const char* line : all)
        text += std::string(line) + "\r\n";
    return text;
}

byte_vector with_header(const byte_vector& tiff, uint32_t offset)
{
    byte_vector file = {0xC5, 0xD0, 0xD3, 0xC6};
    file.resize(offset < 32 ? 32 : offset);
    for (int i = 0; i < 4; ++i)
        file[20 + size_t(i)] = static_cast<uint8_t>(offset >> 8 * i);
    file.insert(file.end(), tiff.begin(), tiff.end());
    return file;
}

int32_t load(const byte_vector& file, int32_t page = 0)
{
    return IMGX_decompress_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), page);
}

} // namespace

TEST(eps_writer, classic_program_of_a_1_bit_image)
{
    test_dib dib(40, 2, 1);
    for (int x = 0; x < 40; ++x)
        dib.set_pixel(x, 0, x % 2);
    const image_guard image(dib.create());
    EXPECT_EQ(save_eps(image),
              lines({"%!PS-Adobe-2.0", "gsave", "/inch { 72 mul } def",
                     "/pixel { 72 mul 300 div } def", "/imagetop { 10.75 inch 0 pixel sub } def",
                     "/imagebottom { imagetop 120 pixel sub } def",
                     "/imageleft { 0.25 inch 0 pixel add } def", "/picstr 1 string def",
                     "imageleft imagebottom translate", "2400 pixel 120 pixel scale",
                     "40 2 1 [40 0 0 -2 0 2] {currentfile picstr readhexstring pop} image",
                     "5555555555000000", "0000000000000000", "grestore", ""}));
}

TEST(eps_writer, classic_program_of_a_palette_image)
{
    test_dib dib(9, 1, 4);
    for (int i = 0; i < 16; ++i)
        dib.set_color(i, i, 0x80 + i, 0xF0);
    for (int x = 0; x < 9; ++x)
        dib.set_pixel(x, 0, uint32_t(x + 3));
    const image_guard image(dib.create());
    EXPECT_EQ(save_eps(image),
              lines({"%!PS-Adobe-3.0",
                     "gsave",
                     "/inch { 72 mul } def",
                     "/pixel { 72 mul 300 div } def",
                     "/imagetop { 10.75 inch 0 pixel sub } def",
                     "/imagebottom { imagetop 266 pixel sub } def",
                     "/imageleft { 0.25 inch 0 pixel add } def",
                     "/picstr 1 string def",
                     "imageleft imagebottom translate",
                     "2400 pixel 266 pixel scale",
                     "/pal <",
                     "0080F0 0181F0 0282F0 0383F0 0484F0 0585F0 0686F0 0787F0 0888F0 0989F0 0A8AF0 "
                     "0B8BF0 0C8CF0 0D8DF0 0E8EF0 0F8FF0",
                     "> def",
                     "/rgbstr 3 string def",
                     "/read_raw {currentfile picstr readhexstring pop} def",
                     "/read8_24 {",
                     "  read_raw",
                     "  /rgb_ndx 0 def",
                     "  {",
                     "     3 mul pal exch 3 getinterval rgbstr exch rgb_ndx exch putinterval",
                     "     /rgb_ndx rgb_ndx 3 add def",
                     "  } forall rgbstr",
                     "} def",
                     "9 1 4 [9 0 0 -1 0 1] {read8_24} false 3 colorimage",
                     "3456789AB0000000",
                     "grestore",
                     ""}));
}

TEST(eps_reader, takes_the_preview_where_the_header_says)
{
    tiff_builder t;
    t.shape(2, 1, 8, 1, 1, 1).strip({10, 20});
    t.pages.emplace_back();
    t.shape(3, 1, 8, 1, 1, 1, 1).strip({1, 2, 3}, 1);
    for (uint32_t offset : {32u, 1001u, 17u << 20}) { // start values end at 16 MB
        const image_guard image(load(with_header(t.build(), offset), 1));
        ASSERT_GE(image, 0);
        EXPECT_EQ(copy_image(image).color(2, 0), 0x030303u);
    }
    EXPECT_EQ(load(with_header(t.build(), 32), 2), -11);
    EXPECT_EQ(load(with_header(t.build(), 0)), -3);
    EXPECT_EQ(load(with_header({'X', 'X', 42, 0, 8, 0, 0, 0, 0, 0}, 40)), -8);
    EXPECT_EQ(load(with_header({}, 40)), -3);
    EXPECT_EQ(load({0xC5, 0xD0, 0xD3, 0xC6, 1, 2, 3}), -3);
}
