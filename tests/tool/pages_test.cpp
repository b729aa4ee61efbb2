// pages_test.cpp - join, split, fax, and pages in convert and info.

#include "tests/builders/tiff_builder.h"
#include "tests/tool/driver.h"

namespace {

class tool_pages_test : public tool_test {
protected:
    void SetUp() override
    {
        tool_test::SetUp();
        make_bmp("a.bmp", random_picture(30, 20, 1));
        make_bmp("b.bmp", random_picture(31, 21, 8));
    }
    void expect_info(const std::string& file, const std::string& part)
    {
        const std::string text = run("info " + file).out;
        EXPECT_NE(text.find(part), std::string::npos) << part << " in " << text;
    }
    void expect_same(const std::string& file, int32_t page, const std::string& bmp)
    {
        SCOPED_TRACE(file);
        expect_same_colors(load(file, page), load(bmp));
    }
};

} // namespace

TEST_F(tool_pages_test, are_joined_and_split_again)
{
    for (const std::string type : {"tiff", "tiff-lzw", "dcx"}) {
        const std::string file = type + (type == "dcx" ? ".dcx" : ".tif");
        expect_done("join a.bmp b.bmp " + file + " --to " + type);
        // Pages of pages, and the output among the inputs.
        expect_done("join " + file + " a.bmp " + file + " " + file + " --to " + type);
        expect_info(file, ", 5 pages,");
        expect_info(file, "page 5: 31 x 21, 8 bit");
        expect_done("split " + file + " " + type + "-page --to bmp");
        expect_same(type + "-page003.bmp", 0, "a.bmp");
        expect_same(type + "-page004.bmp", 0, "a.bmp");
        expect_same(type + "-page005.bmp", 0, "b.bmp");
    }
    EXPECT_EQ(listing().find("006"), std::string::npos);
}

TEST_F(tool_pages_test, are_all_converted_or_one)
{
    expect_done("join a.bmp b.bmp two.dcx");
    // Into a type with pages; into one without: numbered files.
    expect_done("convert two.dcx two.tif --to tiff-lzw");
    expect_same("two.tif", 1, "b.bmp");
    expect_done("convert two.dcx x.pcx");
    expect_same("x-001.pcx", 0, "a.bmp");
    expect_same("x-002.pcx", 0, "b.bmp");
    // One page keeps the name.
    expect_done("convert two.tif y.bmp --page 2");
    expect_same("y.bmp", 0, "b.bmp");
    const tool_result beyond = run("convert two.tif z.bmp --page 3");
    EXPECT_EQ(beyond.code, 1);
    EXPECT_EQ(beyond.error, "two.tif: reading page 3: there is no such page (-11)\n");
    EXPECT_EQ(run("show two.tif --page 3").code, 1);
    EXPECT_EQ(run("show two.tif --page 2").code, 0);
    EXPECT_EQ(listing(), "a.bmp b.bmp two.dcx two.tif x-001.pcx x-002.pcx y.bmp");
    // The file that is read is the file that is written.
    expect_done("convert two.tif two.tif --flip-y");
    EXPECT_EQ(load("two.tif", 1).color(0, 0), load("b.bmp").color(0, 20));
    // The pictures of an animation are pages; classic mode knows the first only.
    const std::string animation = "convert " + sample_path("chart_animated.gif") + " ";
    expect_done(animation + "frames.tif");
    expect_info("frames.tif", ", 2 pages,");
    expect_done(animation + "frames.tif --classic");
    expect_info("frames.tif", ", 1 page,");
}

TEST_F(tool_pages_test, are_appended_to_a_copy)
{
    expect_done("convert a.bmp out.tif --append"); // nothing there yet
    expect_done("convert b.bmp out.tif --append");
    expect_same("out.tif", 0, "a.bmp");
    expect_same("out.tif", 1, "b.bmp");
    // A failure behind the first new page leaves the old pages alone.
    const byte_vector before = read_file(path("out.tif"));
    write_file(path("bad.bmp"), {'B', 'M'});
    EXPECT_EQ(run("join b.bmp bad.bmp out.tif --append").code, 1);
    EXPECT_EQ(read_file(path("out.tif")), before);
    // What is there is of another format or byte order, or the type holds one picture.
    tiff_builder big;
    big.big = true;
    write_file(path("big.tif"), big.shape(1, 1, 8, 1, 1, 1).strip({1}).build());
    EXPECT_EQ(run("convert b.bmp big.tif --append").code, 1);
    EXPECT_EQ(run("convert b.bmp a.bmp --append --to tiff").code, 1);
    EXPECT_EQ(run("convert b.bmp a.bmp --append").code, 1);
    EXPECT_EQ(run("join a.bmp b.bmp out.bmp").code, 1);
    EXPECT_EQ(load("a.bmp").width, 30);
    // Without --append the file is a new one; classic LZW holds one page.
    expect_done("convert b.bmp out.tif");
    expect_info("out.tif", ", 1 page,");
    EXPECT_EQ(run("join a.bmp b.bmp lzw.tif --to tiff-lzw --classic").code, 1);
}

TEST_F(tool_pages_test, carry_texts_with_them)
{
    expect_done("convert a.bmp named.tif --name 'Me\n& \"co\"' --date '2026:11:21 10:00:00'");
    expect_done("join named.tif a.bmp both.tif");
    const std::string info = run("info both.tif").out;
    const size_t second = info.find("page 2");
    ASSERT_NE(second, std::string::npos);
    EXPECT_LT(info.find("name \"Me & \"co\"\", date \"2026:11:21 10:00:00\""), second) << info;
    // The second page's file had no text of its own: the library's stands there.
    EXPECT_NE(info.find("name \"Trevolan imaging library 4.0\"", second), std::string::npos);
    expect_info("--json named.tif", "\"name\": \"Me\\u000a& \\\"co\\\"\"");
    EXPECT_EQ(run("info a.bmp").out.find("name"), std::string::npos);
}

TEST_F(tool_pages_test, come_from_raw_fax_data)
{
    // T.6: two white rows are V0 each, then a row whose left half is black: H, white run 0,
    // black run 8, then V0 at the end of the row.
    //   1 1 | 001 00110101 000101 1
    write_file(path("raw.g4"), {0b11001001, 0b10101000, 0b10110000, 0, 0});
    expect_done("fax raw.g4 out.bmp --width 16 --height 3 --code g4");
    const picture page = load("out.bmp");
    ASSERT_EQ(page.width, 16);
    ASSERT_EQ(page.height, 3);
    for (int32_t x = 0; x < 16; ++x) {
        EXPECT_EQ(page.color(x, 0), page.color(15, 2)) << x;
        EXPECT_EQ(page.color(x, 2) != page.color(x, 0), x < 8) << x;
    }
    // The same bits in the other order, behind three other bytes.
    write_file(path("turned.g4"), {9, 9, 9, 0b10010011, 0b00010101, 0b00001101, 0, 0});
    expect_done("fax turned.g4 b.bmp --width 16 --height 3 --code g4 --fill-order 2 --offset 3");
    expect_same("out.bmp", 0, "b.bmp");
}

TEST_F(tool_pages_test, are_told_apart_by_info)
{
    use_sample("chart_24.bmp", "c.bmp");
    use_sample("chart_420.jpg", "a.jpg");
    expect_info("a.jpg", "3 components, sampling 2x2,1x1,1x1");
    expect_done("convert c.bmp c.tif --to tiff-lzw");
    expect_done("convert c.bmp c.tif --to tiff --append --mono bayer");
    expect_info("c.tif", "page 1: 61 x 47, 24 bit, 16777216 colours, TIFF, LZW (type 9,");
    expect_info("c.tif", "page 2: 61 x 47, 1 bit, 2 greys, TIFF, uncompressed (type 0,");
}
