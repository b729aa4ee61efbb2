// safety_test.cpp - an existing output file survives every failure, and nothing is left over.

#include "tests/tool/driver.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// A run-length file of a few hundred bytes that holds a large black picture, so that work on
// it takes a while. Every row is ended at once.
byte_vector large_picture(int32_t side)
{
    byte_vector bytes(54 + 1024);
    const auto put = [&](size_t at, uint32_t value) {
        for (size_t i = 0; i < 4; ++i)
            bytes[at + i] = static_cast<uint8_t>(value >> 8 * i);
    };
    bytes[0] = 'B';
    bytes[1] = 'M';
    put(10, 54 + 1024);
    put(14, 40);
    put(18, static_cast<uint32_t>(side));
    put(22, static_cast<uint32_t>(side));
    bytes[26] = 1;
    bytes[28] = 8;
    put(30, 1);
    for (int32_t y = 0; y < side; ++y) {
        bytes.push_back(0);
        bytes.push_back(0);
    }
    bytes.push_back(0);
    bytes.push_back(1);
    put(2, static_cast<uint32_t>(bytes.size()));
    return bytes;
}

} // namespace

TEST_F(tool_test, a_failure_leaves_the_existing_file_alone)
{
    use_sample("chart_8.bmp", "in.bmp");
    use_sample("chart_24.bmp", "out.bmp");
    const byte_vector before = read_file(path("out.bmp"));
    byte_vector cut = read_file(path("in.bmp"));
    cut.resize(12);
    write_file(path("cut.bmp"), cut);
    for (const char* arguments :
         {"convert cut.bmp out.bmp", "convert missing.bmp out.bmp", "convert . out.bmp",
          "convert in.bmp out.bmp --promote 8 --colors popularity",
          "convert in.bmp out.bmp --crop 61,0,5,5", "convert in.bmp out.bmp --page 2",
          "convert in.bmp out.bmp --append"}) {
        SCOPED_TRACE(arguments);
        const tool_result result = run(arguments);
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(std::count(result.error.begin(), result.error.end(), '\n'), 1);
        EXPECT_EQ(read_file(path("out.bmp")), before);
        EXPECT_EQ(listing(), "cut.bmp in.bmp out.bmp");
    }
}

TEST_F(tool_test, error_lines_name_the_file_the_action_and_the_code)
{
    use_sample("chart_8.bmp", "in.bmp");
    EXPECT_EQ(run("convert missing.bmp out.bmp").error,
              "missing.bmp: opening: the file cannot be opened (-2)\n");
    EXPECT_EQ(run("convert in.bmp no-such-directory/out.bmp").error,
              "no-such-directory/out.bmp: creating: the output file cannot be created (-6)\n");
    write_file(path("text.txt"), {'h', 'e', 'l', 'l', 'o'});
    EXPECT_EQ(
        run("convert text.txt out.bmp").error,
        "text.txt: reading page 1: the file type, compression or depth is not supported (-7)\n");
}

TEST_F(tool_test, input_and_output_can_be_the_same_file)
{
    use_sample("chart_8.bmp", "in.bmp");
    const image_copy before = load("in.bmp");
    ASSERT_EQ(run("convert in.bmp in.bmp --flip-x").code, 0);
    const image_copy after = load("in.bmp");
    EXPECT_EQ(after.color(0, 0), before.color(60, 0));
    EXPECT_EQ(after.color(60, 46), before.color(0, 46));
    EXPECT_EQ(listing(), "in.bmp");
}

TEST_F(tool_test, names_with_spaces_and_other_scripts_work)
{
    use_sample("chart_8.bmp", "a b \xC3\xA9 \xE4\xBD\xA0.bmp");
    ASSERT_EQ(run("convert 'a b \xC3\xA9 \xE4\xBD\xA0.bmp' '\xC3\xA9 out.pcx'").code, 0);
    EXPECT_TRUE(exists("\xC3\xA9 out.pcx"));
    const std::string long_name(120, 'n');
    ASSERT_EQ(run("convert '\xC3\xA9 out.pcx' " + long_name + ".bmp").code, 0);
    EXPECT_TRUE(exists(long_name + ".bmp"));
}

TEST_F(tool_posix_test, links_permissions_and_special_files)
{
    use_sample("chart_8.bmp", "in.bmp");
    use_sample("chart_24.bmp", "target.bmp");
    fs::create_symlink("target.bmp", path("link.bmp"));
    fs::permissions(path("target.bmp"), fs::perms(0604));
    ASSERT_EQ(run("convert in.bmp link.bmp").code, 0);
    EXPECT_TRUE(fs::is_symlink(path("link.bmp")));
    EXPECT_EQ(load("target.bmp").bits, 8);
    EXPECT_EQ(fs::status(path("target.bmp")).permissions(), fs::perms(0604));
    ASSERT_EQ(mkfifo(path("pipe.bmp").c_str(), 0666), 0);
    EXPECT_EQ(run("convert in.bmp pipe.bmp").code, 1);
    EXPECT_TRUE(fs::is_fifo(path("pipe.bmp")));
}

TEST_F(tool_posix_test, a_full_disk_is_reported)
{
    if (access("/dev/full", W_OK) != 0) GTEST_SKIP() << "/dev/full is missing";
    use_sample("chart_8.bmp", "in.bmp");
    fs::create_symlink("/dev/full", path("full.bmp"));
    EXPECT_EQ(run("convert in.bmp full.bmp").code, 1);
    EXPECT_EQ(listing(), "full.bmp in.bmp");
}

TEST_F(tool_posix_test, an_interrupt_removes_the_unfinished_file)
{
    using namespace std::chrono_literals;
    write_file(path("large.bmp"), large_picture(9000));
    use_sample("chart_8.bmp", "out.bmp");
    const byte_vector before = read_file(path("out.bmp"));
    const pid_t process = start("convert large.bmp out.bmp");
    while (listing() == "large.bmp out.bmp")
        std::this_thread::sleep_for(1ms);
    ASSERT_EQ(kill(process, SIGINT), 0);
    const tool_result result = wait_for(process);
    EXPECT_EQ(result.code, 130);
    EXPECT_NE(result.error.find(": cancelled\n"), std::string::npos) << result.error;
    EXPECT_EQ(listing(), "large.bmp out.bmp");
    EXPECT_EQ(read_file(path("out.bmp")), before);
}

TEST_F(tool_posix_test, an_interrupt_ends_the_workers_too)
{
    using namespace std::chrono_literals;
    std::string inputs;
    for (int i = 0; i < 6; ++i) {
        const std::string name = "large" + std::to_string(i) + ".bmp";
        write_file(path(name), large_picture(9000));
        inputs += name + " ";
    }
    const pid_t process = start("convert " + inputs + "out --jobs 2");
    while (!exists("out") || listing("out").empty())
        std::this_thread::sleep_for(1ms);
    ASSERT_EQ(kill(process, SIGTERM), 0);
    EXPECT_EQ(wait_for(process).code, 130);
    for (const auto& entry : fs::directory_iterator(path("out")))
        EXPECT_EQ(entry.path().extension(), ".bmp") << entry.path();
    EXPECT_LT(std::distance(fs::directory_iterator(path("out")), fs::directory_iterator()), 6);
}
