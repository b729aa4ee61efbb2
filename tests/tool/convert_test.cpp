// convert_test.cpp - the convert command: operations in order, types, depths, several files.

#include "tests/tool/driver.h"

namespace {

// The pixel of a picture's rectangle that a chain of a crop and a quarter turn leaves.
void expect_cut_then_turned(const image_copy& from, const image_copy& to, int32_t x, int32_t y,
                            int32_t width, int32_t height)
{
    ASSERT_EQ(to.width, height);
    ASSERT_EQ(to.height, width);
    for (int32_t row = 0; row < height; ++row)
        for (int32_t column = 0; column < width; ++column)
            ASSERT_EQ(to.color(height - 1 - row, column), from.color(x + column, y + row));
}

} // namespace

TEST_F(tool_test, crops_exactly_at_every_depth)
{
    for (const int32_t bits : {1, 4, 8, 24}) {
        SCOPED_TRACE(bits);
        make_bmp("in.bmp", 53, 21, bits);
        ASSERT_EQ(run("convert in.bmp out.bmp --crop 13,5,30,9").code, 0);
        const image_copy from = load("in.bmp");
        const image_copy to = load("out.bmp");
        ASSERT_EQ(to.width, 30);
        ASSERT_EQ(to.height, 9);
        for (int32_t y = 0; y < 9; ++y)
            for (int32_t x = 0; x < 30; ++x)
                ASSERT_EQ(to.color(x, y), from.color(x + 13, y + 5)) << x << ", " << y;
    }
}

TEST_F(tool_test, applies_operations_in_the_order_given)
{
    make_bmp("in.bmp", 40, 24, 24);
    const image_copy from = load("in.bmp");
    ASSERT_EQ(run("convert in.bmp a.bmp --crop 2,3,20,10 --rotate 90").code, 0);
    expect_cut_then_turned(from, load("a.bmp"), 2, 3, 20, 10);
    ASSERT_EQ(run("convert in.bmp b.bmp --rotate 90 --crop 2,3,20,10").code, 0);
    const image_copy turned_first = load("b.bmp");
    ASSERT_EQ(turned_first.width, 20);
    EXPECT_EQ(turned_first.color(0, 0), from.color(3, 24 - 1 - 2));
    // The same option twice, with another between.
    ASSERT_EQ(run("convert in.bmp c.bmp --flip-x --crop 0,0,5,5 --flip-x").code, 0);
    EXPECT_EQ(load("c.bmp").color(0, 0), from.color(40 - 5, 0));
    // Full and further turns.
    ASSERT_EQ(run("convert in.bmp d.bmp --rotate -90 --rotate 360 --rotate 90").code, 0);
    expect_same_colors(load("d.bmp"), from);
}

TEST_F(tool_test, tone_changes_build_on_each_other)
{
    // Brightness counts in steps of two levels; palette pictures go through their table.
    for (const int32_t bits : {8, 24}) {
        SCOPED_TRACE(bits);
        test_dib dib(4, 4, bits);
        for (int32_t i = 0; i < 16; ++i)
            dib.set_pixel(i % 4, i / 4, bits == 8 ? 100 : 0x646464);
        const image_guard image(dib.create());
        ASSERT_GE(IMG_save_bitmap(image, path("in.bmp").c_str(), 1), 0);
        ASSERT_EQ(run("convert in.bmp a.bmp --brightness 10 --brightness 5").code, 0);
        EXPECT_EQ(load("a.bmp").color(1, 1), 0x828282u);
        ASSERT_EQ(run("convert in.bmp b.bmp --brightness 10 --flip-x --brightness 5").code, 0);
        EXPECT_EQ(load("b.bmp").color(1, 1), 0x828282u);
        ASSERT_EQ(run("convert in.bmp c.bmp --contrast -128 --flip-y --brightness -10").code, 0);
        EXPECT_EQ(load("c.bmp").color(1, 1), 0x6C6C6Cu);
    }
}

TEST_F(tool_test, resizes_to_a_size_a_width_or_a_share)
{
    make_bmp("in.bmp", 100, 50, 8);
    const struct {
        const char* size;
        int32_t width, height;
    } rows[] = {
        {"30x40", 30, 40}, {"200", 200, 100}, {"x25", 50, 25}, {"10%", 10, 5}, {"1", 1, 1},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.size);
        ASSERT_EQ(run(std::string("convert in.bmp out.bmp --resize ") + r.size).code, 0);
        const image_copy to = load("out.bmp");
        EXPECT_EQ(to.width, r.width);
        EXPECT_EQ(to.height, r.height);
    }
}

TEST_F(tool_test, every_operation_reaches_its_function)
{
    use_sample("chart_24.bmp", "in.bmp");
    const struct {
        const char* options;
        int32_t bits;
    } rows[] = {
        {"--gray", 8},
        {"--mono bayer", 1},
        {"--mono halftone", 1},
        {"--mono diffusion", 1},
        {"--colors popularity", 8},
        {"--colors fixed", 8},
        {"--dither16 bayer", 4},
        {"--dither16 diffusion", 4},
        {"--colors fixed --promote 24", 24},
        {"--mono bayer --promote 8", 8},
        {"--invert --sharpen 64 --kernel 7 --kernel 0,0,0,0,1,0,0,0,0", 24},
    };
    byte_vector previous;
    for (const auto& r : rows) {
        SCOPED_TRACE(r.options);
        const tool_result result = run(std::string("convert in.bmp out.bmp ") + r.options);
        ASSERT_EQ(result.code, 0) << result.error;
        EXPECT_EQ(result.error, "");
        EXPECT_EQ(load("out.bmp").bits, r.bits);
        const byte_vector bytes = read_file(path("out.bmp"));
        EXPECT_NE(bytes, previous);
        previous = bytes;
    }
}

TEST_F(tool_test, a_refused_operation_is_named)
{
    use_sample("chart_1.bmp", "in.bmp");
    const tool_result result = run("convert in.bmp out.bmp --flip-x --gray");
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.error,
              "in.bmp: --gray: the file type, compression or depth is not supported (-7)\n");
    EXPECT_EQ(listing(), "in.bmp");
}

TEST_F(tool_test, chooses_types_by_extension_name_and_code)
{
    use_sample("chart_8.bmp", "in.bmp");
    ASSERT_EQ(run("convert in.bmp a.BMP").code, 0);
    ASSERT_EQ(run("convert in.bmp b.bmp --to bmp-rle").code, 0);
    ASSERT_EQ(run("convert in.bmp c.dat --to 12").code, 0);
    EXPECT_EQ(IMGLOW_get_filetype(path("a.BMP").c_str()), 1);
    EXPECT_EQ(IMGLOW_get_filetype(path("b.bmp").c_str()), 12);
    EXPECT_EQ(read_file(path("c.dat")), read_file(path("b.bmp")));
    EXPECT_EQ(run("convert in.bmp d.xyz").code, 1);
    EXPECT_EQ(run("convert in.bmp d.bmp --to no-such-type").code, 2);
    EXPECT_EQ(listing(), "a.BMP b.bmp c.dat in.bmp");
}

TEST_F(tool_test, fits_the_depth_and_says_so)
{
    const struct {
        const char* in;
        const char* out;
        int32_t bits;
        const char* how;
    } rows[] = {
        {"chart_24.bmp", "a.gif", 8, "24-bit picture reduced to 8 bits by popularity for GIF"},
        {"chart_1.bmp", "b.tga", 8, "1-bit picture promoted to 8 bits for Targa"},
        {"chart_4.bmp", "c.tga", 8, "4-bit picture promoted to 8 bits for Targa"},
        {"chart_24.bmp", "d.bmp --to bmp-rle", 8, "24-bit picture reduced to 8 bits by popularity"},
        {"chart_24.bmp", "e.bmp", 24, ""},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.out);
        use_sample(r.in, r.in + std::string(r.out).substr(0, 1));
        const std::string input = r.in + std::string(r.out).substr(0, 1);
        const tool_result result = run("convert " + input + " " + r.out);
        ASSERT_EQ(result.code, 0) << result.error;
        if (*r.how)
            EXPECT_EQ(result.error.find(input + ": " + r.how), 0u) << result.error;
        else
            EXPECT_EQ(result.error, "");
        const std::string name = std::string(r.out).substr(0, std::string(r.out).find(' '));
        EXPECT_EQ(load(name).bits, r.bits);
        if (*r.how) {
            EXPECT_EQ(run("convert --exact " + input + " x" + r.out).code, 1);
            EXPECT_FALSE(exists("x" + name));
        }
    }
}

TEST_F(tool_test, several_inputs_become_files_in_a_directory)
{
    use_sample("chart_8.bmp", "a.bmp");
    use_sample("chart_24.bmp", "b.bmp");
    ASSERT_EQ(run("convert a.bmp b.bmp out --to pcx").code, 0);
    EXPECT_EQ(listing("out"), "a.pcx b.pcx");
    // Without --to the type stays; a trailing slash makes a directory of a single input's.
    ASSERT_EQ(run("convert a.bmp single/ --flip-x").code, 0);
    EXPECT_EQ(listing("single"), "a.bmp");
    // Two inputs that would become one file: nothing is begun.
    const tool_result clash = run("convert a.bmp out/a.pcx clash --to bmp");
    EXPECT_EQ(clash.code, 2);
    EXPECT_NE(clash.error.find("would both become"), std::string::npos);
    EXPECT_FALSE(exists("clash"));
    // OUT is a file.
    EXPECT_EQ(run("convert a.bmp b.bmp a.bmp").code, 1);
}

TEST_F(tool_test, workers_convert_side_by_side_and_report_each_failure)
{
    std::string inputs;
    for (int i = 0; i < 9; ++i) {
        const std::string name = "p" + std::to_string(i) + ".bmp";
        make_bmp(name, 20 + i, 10, 8);
        inputs += name + " ";
    }
    write_file(path("broken.bmp"), {'B', 'M', 1, 2, 3});
    const tool_result result =
        run("convert " + inputs + "broken.bmp out --jobs 3 --to pcx --rotate 90");
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.error.find("broken.bmp: reading page 1: "), 0u) << result.error;
    EXPECT_EQ(listing("out"), "p0.pcx p1.pcx p2.pcx p3.pcx p4.pcx p5.pcx p6.pcx p7.pcx p8.pcx");
    EXPECT_EQ(load("out/p7.pcx").height, 27);
}

TEST_F(tool_test, refuses_arguments_that_make_no_sense)
{
    use_sample("chart_8.bmp", "in.bmp");
    const char* const rows[] = {
        "",
        "nonsense",
        "convert in.bmp",
        "convert in.bmp out.bmp --crop 1,2,3",
        "convert in.bmp out.bmp --rotate 45",
        "convert in.bmp out.bmp --mono fine",
        "convert in.bmp out.bmp --resize 0x5",
        "convert in.bmp out.bmp --kernel 10",
        "convert in.bmp out.bmp --kernel 1,2,3,4,5,6,7,8,900",
        "convert in.bmp out.bmp --page 0",
        "convert in.bmp out.bmp --quality 101",
        "convert in.bmp out.bmp --offset -1",
        "fax in.bmp out.bmp --width 8 --height 8 --code g5",
        "info",
        "types extra",
    };
    for (const char* arguments : rows) {
        const tool_result result = run(arguments);
        EXPECT_EQ(result.code, 2) << arguments;
        EXPECT_NE(result.error, "") << arguments;
        EXPECT_EQ(result.out, "") << arguments;
    }
    EXPECT_EQ(listing(), "in.bmp");
    EXPECT_EQ(run("convert --help").code, 0);
}

TEST_F(tool_test, reads_a_picture_behind_other_bytes)
{
    use_sample("chart_8.bmp", "in.bmp");
    byte_vector bytes = read_file(path("in.bmp"));
    bytes.insert(bytes.begin(), 333, 'x');
    write_file(path("wrapped.dat"), bytes);
    ASSERT_EQ(run("convert wrapped.dat out.bmp --offset 333").code, 0);
    expect_same_colors(load("out.bmp"), load("in.bmp"));
}
