// pages_test.cpp - join, split, fax, and pages in convert and info.

#include "tests/tool/driver.h"

#include <algorithm>

TEST_F(tool_test, pages_are_joined_and_split_again)
{
    make_bmp("a.bmp", 30, 20, 1, 1);
    make_bmp("b.bmp", 31, 21, 8, 2);
    make_bmp("c.bmp", 32, 22, 24, 3);
    for (const std::string type : {"tiff", "tiff-lzw", "dcx"}) {
        SCOPED_TRACE(type);
        const std::string file = "all." + std::string(type == "dcx" ? "dcx" : "tif");
        tool_result result = run("join a.bmp b.bmp c.bmp " + file + " --to " + type);
        ASSERT_EQ(result.code, 0) << result.error;
        // Pages of pages, and the output among the inputs.
        result = run("join " + file + " a.bmp " + file + " " + file + " --to " + type);
        ASSERT_EQ(result.code, 0) << result.error;
        const tool_result info = run("info " + file);
        EXPECT_NE(info.out.find(", 7 pages,"), std::string::npos) << info.out;
        EXPECT_NE(info.out.find("page 7: 32 x 22, 24 bit"), std::string::npos) << info.out;
        ASSERT_EQ(run("split " + file + " " + type + "-page --to bmp").code, 0);
        expect_same_colors(load(type + "-page001.bmp"), load("a.bmp"));
        expect_same_colors(load(type + "-page004.bmp"), load("a.bmp"));
        expect_same_colors(load(type + "-page006.bmp"), load("b.bmp"));
        expect_same_colors(load(type + "-page007.bmp"), load("c.bmp"));
        EXPECT_FALSE(exists(type + "-page008.bmp"));
    }
}

TEST_F(tool_test, convert_takes_all_pages_or_one)
{
    make_bmp("a.bmp", 30, 20, 8, 1);
    make_bmp("b.bmp", 31, 21, 8, 2);
    ASSERT_EQ(run("join a.bmp b.bmp two.dcx").code, 0);
    // Into a type with pages; into one without: numbered files.
    ASSERT_EQ(run("convert two.dcx two.tif --to tiff-lzw").code, 0);
    expect_same_colors(load("two.tif", 1), load("b.bmp"));
    ASSERT_EQ(run("convert two.dcx x.pcx").code, 0);
    expect_same_colors(load("x-001.pcx"), load("a.bmp"));
    expect_same_colors(load("x-002.pcx"), load("b.bmp"));
    EXPECT_FALSE(exists("x.pcx"));
    // The pictures of an animation are pages; classic mode knows the first only.
    const std::string animation = TREVOLAN_TEST_DATA "/chart_animated.gif";
    for (const std::string mode : {"", " --classic"}) {
        ASSERT_EQ(run("convert " + animation + " frames.tif" + mode).code, 0);
        EXPECT_NE(run("info frames.tif").out.find(mode.empty() ? " 2 pages," : " 1 page,"),
                  std::string::npos);
    }
    // One page keeps the name.
    ASSERT_EQ(run("convert two.tif y.bmp --page 2").code, 0);
    expect_same_colors(load("y.bmp"), load("b.bmp"));
    const tool_result beyond = run("convert two.tif z.bmp --page 3");
    EXPECT_EQ(beyond.code, 1);
    EXPECT_EQ(beyond.error, "two.tif: reading page 3: there is no such page (-11)\n");
    EXPECT_FALSE(exists("z.bmp"));
    EXPECT_EQ(run("show two.tif --page 3").code, 1);
    EXPECT_EQ(run("show two.tif --page 2").code, 0);
    // The file that is read is the file that is written.
    ASSERT_EQ(run("convert two.tif two.tif --flip-y").code, 0);
    EXPECT_EQ(load("two.tif", 1).color(0, 0), load("b.bmp").color(0, 20));
}

TEST_F(tool_test, append_adds_pages_to_a_copy)
{
    make_bmp("a.bmp", 30, 20, 8, 1);
    make_bmp("b.bmp", 31, 21, 8, 2);
    ASSERT_EQ(run("convert a.bmp out.tif --append").code, 0); // nothing there yet
    ASSERT_EQ(run("convert b.bmp out.tif --append").code, 0);
    expect_same_colors(load("out.tif", 0), load("a.bmp"));
    expect_same_colors(load("out.tif", 1), load("b.bmp"));
    // A failure behind the first new page leaves the old pages alone.
    const byte_vector before = read_file(path("out.tif"));
    write_file(path("bad.bmp"), {'B', 'M'});
    EXPECT_EQ(run("join b.bmp bad.bmp out.tif --append").code, 1);
    EXPECT_EQ(read_file(path("out.tif")), before);
    // What is there is of another format, or the type holds one picture.
    EXPECT_EQ(run("convert b.bmp a.bmp --append --to tiff").code, 1);
    EXPECT_EQ(run("convert b.bmp a.bmp --append").code, 1);
    EXPECT_EQ(run("join a.bmp b.bmp out.bmp").code, 1);
    EXPECT_EQ(load("a.bmp").width, 30);
    // Without --append the file is a new one; classic LZW holds one page.
    ASSERT_EQ(run("convert b.bmp out.tif").code, 0);
    EXPECT_NE(run("info out.tif").out.find("1 page,"), std::string::npos);
    EXPECT_EQ(run("join a.bmp b.bmp lzw.tif --to tiff-lzw --classic").code, 1);
}

TEST_F(tool_test, texts_travel_with_their_pages)
{
    use_sample("chart_8.bmp", "a.bmp");
    ASSERT_EQ(run("convert a.bmp named.tif --name 'Me & \"co\"' --date '2026:11:21 10:00:00'").code,
              0);
    ASSERT_EQ(run("join named.tif a.bmp both.tif").code, 0);
    const std::string info = run("info both.tif").out;
    const size_t second = info.find("page 2");
    ASSERT_NE(second, std::string::npos);
    EXPECT_LT(info.find("name \"Me & \"co\"\", date \"2026:11:21 10:00:00\""), second) << info;
    // The second page's file had no text of its own: the library's stands there.
    EXPECT_NE(info.find("name \"Trevolan imaging library 4.0\"", second), std::string::npos)
        << info;
    EXPECT_NE(run("info --json named.tif").out.find("\"name\": \"Me & \\\"co\\\"\""),
              std::string::npos);
    EXPECT_EQ(run("info a.bmp").out.find("name"), std::string::npos);
}

TEST_F(tool_test, raw_fax_data_become_a_page)
{
    // T.6: two white rows are V0 each, then a row whose left half is black: H, white run 0,
    // black run 8, then V0 at the end of the row.
    //   1 1 | 001 00110101 000101 1
    write_file(path("raw.g4"), {0b11001001, 0b10101000, 0b10110000, 0, 0});
    const tool_result result = run("fax raw.g4 out.bmp --width 16 --height 3 --code g4");
    ASSERT_EQ(result.code, 0) << result.error;
    const image_copy page = load("out.bmp");
    ASSERT_EQ(page.width, 16);
    ASSERT_EQ(page.height, 3);
    for (int32_t x = 0; x < 16; ++x) {
        EXPECT_EQ(page.color(x, 0), page.color(15, 2)) << x;
        EXPECT_EQ(page.color(x, 2) != page.color(x, 0), x < 8) << x;
    }
    // The same bits in the other order, behind three other bytes.
    byte_vector turned = {9, 9, 9};
    for (const uint8_t byte : read_file(path("raw.g4"))) {
        uint8_t mirrored = 0;
        for (int i = 0; i < 8; ++i)
            mirrored = static_cast<uint8_t>(mirrored | (byte >> i & 1) << (7 - i));
        turned.push_back(mirrored);
    }
    write_file(path("turned.g4"), turned);
    ASSERT_EQ(
        run("fax turned.g4 out2.bmp --width 16 --height 3 --code g4 --fill-order 2 --offset 3")
            .code,
        0);
    expect_same_colors(load("out2.bmp"), page);
    EXPECT_EQ(run("fax missing.g4 out3.bmp --width 16 --height 3 --code g3").code, 1);
    EXPECT_EQ(run("fax raw.g4 out3.bmp --height 3 --code g3").code, 2);
}

TEST_F(tool_test, info_tells_sampling_and_each_pages_compression)
{
    use_sample("chart_24.bmp", "a.bmp");
    use_sample("chart_420.jpg", "a.jpg");
    EXPECT_NE(run("info a.jpg").out.find("3 components, sampling 2x2,1x1,1x1"), std::string::npos);
    ASSERT_EQ(run("convert a.bmp a.tif --to tiff-lzw").code, 0);
    ASSERT_EQ(run("convert a.bmp a.tif --to tiff --append --mono bayer").code, 0);
    const std::string info = run("info a.tif").out;
    EXPECT_NE(info.find("page 1: 61 x 47, 24 bit, 16777216 colours, TIFF, LZW (type 9,"),
              std::string::npos)
        << info;
    EXPECT_NE(info.find("page 2: 61 x 47, 1 bit, 2 greys, TIFF, uncompressed (type 0,"),
              std::string::npos)
        << info;
}
