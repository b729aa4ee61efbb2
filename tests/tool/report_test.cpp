// report_test.cpp - what info, types and show print.

#include "tests/tool/driver.h"

namespace {

const std::string half_block = "\xE2\x96\x80";

int64_t blocks_in(const std::string& text)
{
    return std::count(text.begin(), text.end(), half_block[2]);
}

} // namespace

TEST_F(tool_test, info_tells_what_a_file_holds)
{
    use_sample("chart_4_os2.bmp", "a.bmp");
    EXPECT_EQ(run("info a.bmp").out,
              "a.bmp: bmp, 1 page, 1578 bytes\n"
              "  page 1: 61 x 47, 4 bit, 16 colours, BMP, uncompressed (type 1, bmp), "
              "1608 bytes in memory\n");
    const tool_result json = run("info --json a.bmp");
    EXPECT_EQ(json.code, 0);
    for (const char* part :
         {"\"file\": \"a.bmp\"", "\"bytes\": 1578", "\"format\": \"bmp\"", "\"page_count\": 1",
          "\"type\": 1", "\"type_name\": \"bmp\"", "\"width\": 61", "\"height\": 47", "\"bits\": 4",
          "\"colors\": 16", "\"gray\": false", "\"memory_bytes\": 1608"})
        EXPECT_NE(json.out.find(part), std::string::npos) << part << " in " << json.out;
}

TEST_F(tool_test, info_goes_on_behind_a_bad_file_but_fails)
{
    use_sample("chart_1.bmp", "\xC3\xA9.bmp");
    use_sample("chart_8_gray.bmp", "b.bmp");
    write_file(path("bad.bmp"), {'B', 'M'});
    const tool_result text = run("info \xC3\xA9.bmp bad.bmp missing.bmp b.bmp");
    EXPECT_EQ(text.code, 1);
    EXPECT_NE(text.out.find("\xC3\xA9.bmp: bmp"), std::string::npos);
    EXPECT_NE(text.out.find("256 greys"), std::string::npos);
    EXPECT_EQ(text.out.find("bad.bmp"), std::string::npos);
    EXPECT_NE(text.error.find("bad.bmp: reading page 1: "), std::string::npos);
    EXPECT_NE(text.error.find("missing.bmp: opening: "), std::string::npos);
    // Valid JSON also when the first or the last file fails.
    EXPECT_EQ(run("info --json missing.bmp").out, "[\n]\n");
    const std::string json = run("info --json bad.bmp \xC3\xA9.bmp missing.bmp").out;
    EXPECT_EQ(json.find("[\n  {\"file\": \"\xC3\xA9.bmp\""), 0u) << json;
    EXPECT_EQ(json.substr(json.size() - 5), "]}\n]\n") << json;
}

TEST_F(tool_test, types_lists_the_whole_table)
{
    const std::string text = run("types").out, json = run("types --json").out;
    IMGX_TYPE_INFO row;
    int32_t rows = 0;
    for (; IMGX_get_type_info(rows, &row) == 0; ++rows) {
        EXPECT_NE(text.find(row.description), std::string::npos) << row.description;
        EXPECT_NE(json.find(row.description), std::string::npos) << row.description;
    }
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), rows + 1);
    EXPECT_NE(text.find("   1  bmp            bmp           yes    yes"), std::string::npos);
    EXPECT_NE(json.find("\"writes\": \"yes\", \"pages\": \"no\", \"depths\": [1,4,8,24]}"),
              std::string::npos)
        << json;
}

TEST_F(tool_test, show_paints_half_blocks_in_the_pictures_colours)
{
    // Two columns: red over blue at the left, white over black at the right.
    picture dib(2, 2, 24);
    dib.set_pixel(0, 0, 0xFF0000);
    dib.set_pixel(0, 1, 0x0000FF);
    dib.set_pixel(1, 0, 0xFFFFFF);
    make_bmp("a.bmp", dib);
    EXPECT_EQ(run("show a.bmp").out, "\x1b[38;2;255;0;0;48;2;0;0;255m" + half_block +
                                         "\x1b[38;2;255;255;255;48;2;0;0;0m" + half_block +
                                         "\x1b[0m\n" + "a.bmp: page 1, 2 x 2, 24 bit\n");
    // The window has 80 x 24 characters where there is no terminal.
    make_bmp("wide.bmp", picture(1000, 100, 1));
    make_bmp("high.bmp", picture(40, 4000, 4));
    EXPECT_EQ(blocks_in(run("show wide.bmp").out), 80 * 4);
    EXPECT_EQ(blocks_in(run("show high.bmp").out), 22);
}
