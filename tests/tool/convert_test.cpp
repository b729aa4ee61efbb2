// convert_test.cpp - the convert command: operations in order, types, depths, several files.

#include "tests/tool/driver.h"

TEST_F(tool_test, applies_operations_in_the_order_given)
{
    make_bmp("in.bmp", random_picture(40, 24, 24));
    const picture from = load("in.bmp");
    expect_done("convert in.bmp a.bmp --crop 2,3,20,10 --rotate 90");
    const picture cut_first = load("a.bmp");
    ASSERT_EQ(cut_first.width, 10);
    ASSERT_EQ(cut_first.height, 20);
    for (int32_t y = 0; y < 10; ++y)
        for (int32_t x = 0; x < 20; ++x)
            ASSERT_EQ(cut_first.color(9 - y, x), from.color(2 + x, 3 + y));
    expect_done("convert in.bmp b.bmp --rotate 90 --crop 2,3,20,10");
    ASSERT_EQ(load("b.bmp").width, 20);
    EXPECT_EQ(load("b.bmp").color(0, 0), from.color(3, 24 - 1 - 2));
    // The same option twice, with another between; full and further turns.
    expect_done("convert in.bmp c.bmp --flip-x --crop 0,0,5,5 --flip-x");
    EXPECT_EQ(load("c.bmp").color(0, 0), from.color(40 - 5, 0));
    expect_done("convert in.bmp d.bmp --rotate -90 --rotate 360 --rotate 90");
    expect_same_colors(load("d.bmp"), from);
}

TEST_F(tool_test, tone_changes_build_on_each_other)
{
    // Brightness counts in steps of two levels; palette pictures go through their table.
    const std::pair<const char*, uint32_t> rows[] = {
        {"--brightness 10 --brightness 5", 0x828282},
        {"--brightness 10 --flip-x --brightness 5", 0x828282},
        {"--contrast -128 --flip-y --brightness -10", 0x6C6C6C},
    };
    for (const auto& [options, color] : rows)
        for (const int32_t bits : {8, 24}) {
            picture dib(1, 1, bits);
            dib.set_pixel(0, 0, 0x646464);
            make_bmp("in.bmp", dib);
            expect_done(std::string("convert in.bmp out.bmp ") + options);
            EXPECT_EQ(load("out.bmp").color(0, 0), color) << options << ", " << bits;
        }
}

TEST_F(tool_test, resizes_to_a_size_a_width_or_a_share)
{
    make_bmp("in.bmp", random_picture(100, 50, 8));
    const struct {
        const char* size;
        int32_t width, height;
    } rows[] = {
        {"30x40", 30, 40}, {"200", 200, 100}, {"x25", 50, 25}, {"10%", 10, 5}, {"1", 1, 1},
    };
    for (const auto& r : rows) {
        expect_done(std::string("convert in.bmp out.bmp --resize ") + r.size);
        EXPECT_EQ(load("out.bmp").width, r.width) << r.size;
        EXPECT_EQ(load("out.bmp").height, r.height) << r.size;
    }
}

TEST_F(tool_test, every_operation_reaches_its_function)
{
    use_sample("chart_24.bmp", "in.bmp");
    const std::pair<const char*, int32_t> rows[] = {
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
    for (const auto& [options, bits] : rows) {
        expect_done(std::string("convert in.bmp out.bmp ") + options);
        EXPECT_EQ(load("out.bmp").bits, bits) << options;
        EXPECT_NE(std::exchange(previous, read_file(path("out.bmp"))), read_file(path("out.bmp")));
    }
}

TEST_F(tool_test, keeps_tones_true_unless_classic)
{
    picture white(4, 4, 24);
    std::memset(white.row(3), 255, 48);
    make_bmp("in.bmp", white);
    expect_done("convert in.bmp true.bmp --gray");
    expect_done("convert in.bmp classic.bmp --gray --classic");
    EXPECT_EQ(load("true.bmp").pixel(0, 0), 255u);
    EXPECT_EQ(load("classic.bmp").pixel(0, 0), 215u);
}

TEST_F(tool_test, chooses_types_by_extension_name_and_code)
{
    use_sample("chart_8.bmp", "in.bmp");
    expect_done("convert in.bmp a.BMP");
    expect_done("convert in.bmp b.bmp --to bmp-rle");
    expect_done("convert in.bmp c.dat --to 12");
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
        const char* to;
        int32_t bits;
        const char* how;
    } rows[] = {
        {"chart_24.bmp", "gif", 8, "24-bit picture reduced to 8 bits by popularity for GIF"},
        {"chart_1.bmp", "targa", 8, "1-bit picture promoted to 8 bits for Targa"},
        {"chart_4.bmp", "targa", 8, "4-bit picture promoted to 8 bits for Targa"},
        {"chart_1.bmp", "bmp-rle", 8, "1-bit picture promoted to 8 bits for BMP"},
        {"chart_24.bmp", "bmp-rle", 8, "24-bit picture reduced to 8 bits by popularity for BMP"},
        {"chart_8.bmp", "tiff-g4", 1, "8-bit picture reduced to 1 bit by diffusion for TIFF"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.to);
        const std::string in = sample_path(r.in);
        const std::string arguments = "convert " + in + " out --to " + r.to;
        EXPECT_EQ(run(arguments + " --exact").code, 1);
        EXPECT_EQ(listing(), "");
        const tool_result result = run(arguments);
        EXPECT_EQ(result.code, 0);
        EXPECT_EQ(result.error.find(in + ": " + r.how), 0u) << result.error;
        EXPECT_EQ(load("out").bits, r.bits);
        std::remove(path("out").c_str());
    }
}

TEST_F(tool_test, several_inputs_become_files_in_a_directory)
{
    use_sample("chart_8.bmp", "a.bmp");
    use_sample("chart_24.bmp", "b.bmp");
    expect_done("convert a.bmp b.bmp out --to pcx");
    EXPECT_EQ(listing("out"), "a.pcx b.pcx");
    // Without --to the type stays; a trailing slash makes a directory of a single input's.
    expect_done("convert a.bmp single/ --flip-x");
    EXPECT_EQ(listing("single"), "a.bmp");
    // Two inputs that would become one file: nothing is begun.
    const tool_result clash = run("convert a.bmp out/a.pcx clash --to bmp");
    EXPECT_EQ(clash.code, 2);
    EXPECT_NE(clash.error.find("would both become"), std::string::npos);
    EXPECT_EQ(run("convert a.bmp b.bmp a.bmp").code, 1) << "OUT is a file";
    // Nor does a numbered page take the place of another input's file.
    expect_done("join a.bmp b.bmp out/a.dcx");
    expect_done("convert a.bmp out/a-001.bmp");
    EXPECT_EQ(run("convert out/a-001.bmp out/a.dcx numbers --to pcx").code, 1);
    EXPECT_EQ(listing("numbers"), "a-001.pcx");
    EXPECT_EQ(listing(), "a.bmp b.bmp numbers out single");
}

TEST_F(tool_test, workers_convert_side_by_side_and_report_each_failure)
{
    std::string inputs, outputs;
    for (int i = 0; i < 9; ++i) {
        const std::string name = "p" + std::to_string(i);
        make_bmp(name + ".bmp", random_picture(20 + i, 10, 8));
        inputs += name + ".bmp ";
        outputs += (i ? " " : "") + name + ".pcx";
    }
    write_file(path("broken.bmp"), {'B', 'M', 1, 2, 3});
    const tool_result result =
        run("convert --jobs 3 --to pcx --rotate 90 -- " + inputs + "broken.bmp out");
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.error.find("broken.bmp: reading page 1: "), 0u) << result.error;
    EXPECT_EQ(listing("out"), outputs);
    EXPECT_EQ(load("out/p7.pcx").height, 27);
}

TEST_F(tool_test, refuses_arguments_that_make_no_sense)
{
    use_sample("chart_8.bmp", "in.bmp");
    const char* const rows[] = {
        "",
        "convert in.bmp",
        "convert in.bmp out.bmp --crop 1,2,3",
        "convert in.bmp out.bmp --rotate 45",
        "convert in.bmp out.bmp --resize 0x5",
        "convert in.bmp out.bmp --kernel 1,2,3,4,5,6,7,8,900",
        "convert in.bmp out.bmp --page 0",
        "convert in.bmp out.bmp --offset -1",
        "fax in.bmp out.bmp --width 8 --height 8 --code g5",
        "info",
        "types extra",
        "convrt in.bmp out.bmp",
    };
    for (const char* arguments : rows) {
        const tool_result result = run(arguments);
        EXPECT_EQ(result.code, 2) << arguments;
        // One line.
        EXPECT_EQ(result.error.find('\n') + 1, result.error.size()) << result.error;
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
    expect_done("convert wrapped.dat out.bmp --offset 333");
    expect_same_colors(load("out.bmp"), load("in.bmp"));
}
