// eps_test.cpp - PostScript out, line by line, and TIFF previews in.

#include "tests/builders/tiff_builder.h"

namespace {

std::string saved_eps(picture& dib)
{
    const image_guard image(dib.create());
    const byte_vector bytes = save_bytes(image, 14);
    return {bytes.begin(), bytes.end()};
}

// The classic program; special: from the scaling to the last row.
std::string program(const char* first_line, const char* string_bytes, const char* height,
                    std::initializer_list<const char*> special)
{
    std::string text;
    for (const char* line :
         {first_line, "gsave", "/inch { 72 mul } def", "/pixel { 72 mul 300 div } def",
          "/imagetop { 10.75 inch 0 pixel sub } def"})
        text += std::string(line) + "\r\n";
    text += std::string("/imagebottom { imagetop ") + height + " pixel sub } def\r\n" +
            "/imageleft { 0.25 inch 0 pixel add } def\r\n/picstr " + string_bytes +
            " string def\r\n" + "imageleft imagebottom translate\r\n2400 pixel " + height +
            " pixel scale\r\n";
    for (const char* line : special)
        text += std::string(line) + "\r\n";
    return text + "grestore\r\n\r\n";
}

byte_vector with_header(const byte_vector& tiff, uint32_t offset)
{
    byte_vector file = {0xC5, 0xD0, 0xD3, 0xC6};
    file.resize(20);
    add_le(file, offset, 4);
    file.resize(std::max(offset, 32u));
    add_bytes(file, tiff);
    return file;
}

} // namespace

TEST(eps_writer, classic_programs)
{
    picture bilevel(72, 2, 1);
    for (int x = 0; x < 72; ++x)
        bilevel.set_pixel(x, 0, x % 2);
    EXPECT_EQ(saved_eps(bilevel),
              program("%!PS-Adobe-2.0", "2", "66",
                      {"72 2 1 [72 0 0 -2 0 2] {currentfile picstr readhexstring pop} image",
                       "555555555555555555000000", "000000000000000000000000"}));
    picture colors(9, 1, 4);
    for (int i = 0; i < 16; ++i)
        colors.set_color(i, rgb(i, 0x80 + i, 0xF0));
    for (int x = 0; x < 9; ++x)
        colors.set_pixel(x, 0, uint32_t(x + 3));
    EXPECT_EQ(saved_eps(colors),
              program("%!PS-Adobe-3.0", "1", "266",
                      {"/pal <",
                       "0080F0 0181F0 0282F0 0383F0 0484F0 0585F0 0686F0 0787F0 0888F0 0989F0 "
                       "0A8AF0 0B8BF0 0C8CF0 0D8DF0 0E8EF0 0F8FF0",
                       "> def", "/rgbstr 3 string def",
                       "/read_raw {currentfile picstr readhexstring pop} def", "/read8_24 {",
                       "  read_raw", "  /rgb_ndx 0 def", "  {",
                       "     3 mul pal exch 3 getinterval rgbstr exch rgb_ndx exch putinterval",
                       "     /rgb_ndx rgb_ndx 3 add def", "  } forall rgbstr", "} def",
                       "9 1 4 [9 0 0 -1 0 1] {read8_24} false 3 colorimage", "3456789AB0000000"}));
}

TEST(eps_reader, takes_the_preview_where_the_header_says)
{
    tiff_builder t;
    t.shape(2, 1, 8, 1, 1, 1).strip({10, 20}).next_page();
    t.shape(3, 1, 8, 1, 1, 1).strip({1, 2, 3});
    for (uint32_t offset : {32u, 1001u, 17u << 20}) // start values end at 16 MB
        EXPECT_EQ(picture_of(with_header(t.build(), offset), 1).color(2, 0), 0x030303u);
    EXPECT_EQ(load_code(with_header(t.build(), 0)), -3);
    EXPECT_EQ(load_code(with_header({'X', 'X', 42, 0, 8, 0, 0, 0, 0, 0}, 40)), -8);
    EXPECT_EQ(load_code(with_header({}, 40)), -3);
    EXPECT_EQ(load_code({0xC5, 0xD0, 0xD3, 0xC6, 1, 2, 3}), -3);
}
