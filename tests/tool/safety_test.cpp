// safety_test.cpp - an existing output file survives every failure, and nothing is left over.

#include "tests/builders/bmp_builder.h"
#include "tests/tool/driver.h"

#include <csignal>
#include <sys/stat.h>

namespace {

// A run-length file of a few thousand bytes that holds a large black picture, so that work on
// it takes a while. Every row is ended at once.
byte_vector large_picture()
{
    bmp_builder bmp;
    bmp.width = bmp.height = 9000;
    bmp.compression = 1;
    bmp.data.resize(size_t{2} * 9000);
    return bmp.build();
}

// Seconds of work that can be cancelled between any two of its steps.
std::string many_steps()
{
    std::string steps;
    for (int i = 0; i < 100; ++i)
        steps += " --flip-x";
    return steps;
}

void wait_until(const std::function<bool()>& condition)
{
    while (!condition())
        usleep(1000);
}

} // namespace

TEST_F(tool_test, a_failure_is_named_and_leaves_the_existing_file_alone)
{
    use_sample("chart_8.bmp", "in.bmp");
    use_sample("chart_24.bmp", "out.bmp");
    const byte_vector before = read_file(path("out.bmp"));
    byte_vector cut = read_file(path("in.bmp"));
    cut.resize(12);
    write_file(path("cut.bmp"), cut);
    write_file(path("text.txt"), {'h', 'e', 'l', 'l', 'o'});
    const struct {
        const char* arguments;
        const char* error; // how its line begins
    } rows[] = {
        {"cut.bmp out.bmp", "cut.bmp: reading page 1: the data are not of the expected format"},
        {"missing.bmp out.bmp", "missing.bmp: opening: the file cannot be opened (-2)\n"},
        {"text.txt out.bmp", "text.txt: reading page 1: the file type, compression or depth is"},
        {". out.bmp", ".: opening: "},
        {"in.bmp out.bmp --flip-x --colors popularity", "in.bmp: --colors popularity: the file"},
        {"in.bmp out.bmp --crop 61,0,5,5", "in.bmp: --crop 61,0,5,5: "},
        {"in.bmp out.bmp --page 2", "in.bmp: reading page 2: there is no such page (-11)\n"},
        {"in.bmp out.bmp --append", "out.bmp: adding a page to BMP, uncompressed: "},
        {"in.bmp nowhere/out.bmp", "nowhere/out.bmp: creating: the output file cannot be created"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.arguments);
        const tool_result result = run(std::string("convert ") + r.arguments);
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(result.error.find(r.error), 0u) << result.error;
        EXPECT_EQ(std::count(result.error.begin(), result.error.end(), '\n'), 1);
        EXPECT_EQ(read_file(path("out.bmp")), before);
        EXPECT_EQ(listing(), "cut.bmp in.bmp out.bmp text.txt");
    }
}

TEST_F(tool_test, names_with_spaces_and_other_scripts_work)
{
    use_sample("chart_8.bmp", "a b \xC3\xA9 \xE4\xBD\xA0.bmp");
    const std::string long_name(120, 'n');
    expect_done("convert 'a b \xC3\xA9 \xE4\xBD\xA0.bmp' '\xC3\xA9 out.pcx'");
    expect_done("convert '\xC3\xA9 out.pcx' " + long_name + ".bmp");
    EXPECT_EQ(load(long_name + ".bmp").width, 61);
    expect_done("convert " + long_name + ".bmp '\xC3\xA9 out.pcx' '[a, b]'");
    EXPECT_EQ(listing("[a, b]"), long_name + ".bmp \xC3\xA9 out.pcx");
}

TEST_F(tool_posix_test, links_permissions_and_special_files)
{
    use_sample("chart_8.bmp", "in.bmp");
    use_sample("chart_24.bmp", "target.bmp");
    fs::create_symlink("target.bmp", path("link.bmp"));
    fs::permissions(path("target.bmp"), fs::perms(0604));
    expect_done("convert in.bmp link.bmp");
    EXPECT_TRUE(fs::is_symlink(path("link.bmp")));
    EXPECT_EQ(load("target.bmp").bits, 8);
    EXPECT_EQ(fs::status(path("target.bmp")).permissions(), fs::perms(0604));
    // The longest names, of letters and of bytes that are no text.
    for (const char c : {'n', '\x80'})
        expect_done("convert in.bmp " + std::string(251, c) + ".bmp");
    ASSERT_EQ(mkfifo(path("pipe.bmp").c_str(), 0666), 0);
    EXPECT_EQ(run("convert in.bmp pipe.bmp").code, 1);
    EXPECT_TRUE(fs::is_fifo(path("pipe.bmp")));
    // Whoever read the tool's lines goes away: a crop beyond the picture would be told.
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    run("convert in.bmp a.bmp --crop 0,0,999,9 2>&" + std::to_string(ends[1]) + ";");
    close(ends[1]);
    EXPECT_EQ(listing().find(".tmp"), std::string::npos);
}

TEST_F(tool_posix_test, an_interrupt_removes_the_unfinished_file)
{
    write_file(path("large.bmp"), large_picture());
    use_sample("chart_8.bmp", "out.bmp");
    const byte_vector before = read_file(path("out.bmp"));
    const pid_t process = start("convert large.bmp out.bmp" + many_steps());
    wait_until([&] { return listing() != "large.bmp out.bmp"; });
    ASSERT_EQ(kill(process, SIGINT), 0);
    const tool_result result = wait_for(process);
    EXPECT_EQ(result.code, 130);
    EXPECT_NE(result.error.find(": cancelled\n"), std::string::npos) << result.error;
    EXPECT_EQ(listing(), "large.bmp out.bmp");
    EXPECT_EQ(read_file(path("out.bmp")), before);
}

TEST_F(tool_posix_test, an_interrupt_ends_the_workers_too)
{
    std::string inputs;
    for (const std::string name : {"1.bmp", "2.bmp", "3.bmp", "4.bmp", "5.bmp", "6.bmp"}) {
        write_file(path(name), large_picture());
        inputs += name + " ";
    }
    const pid_t process = start("convert " + inputs + "out --jobs 2" + many_steps());
    wait_until([&] { return fs::exists(path("out")) && !listing("out").empty(); });
    ASSERT_EQ(kill(process, SIGTERM), 0);
    EXPECT_EQ(wait_for(process).code, 130);
    EXPECT_EQ(listing("out").find(".tmp"), std::string::npos);
    EXPECT_EQ(listing("out").find("6.bmp"), std::string::npos);
}
