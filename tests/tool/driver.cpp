// driver.cpp - runs the command-line tool.

#include "tests/tool/driver.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

std::string read_text(const std::string& name)
{
    const byte_vector bytes = read_file(name);
    std::string text(bytes.begin(), bytes.end());
    std::erase(text, '\r');
    return text;
}

} // namespace

void tool_test::SetUp()
{
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    directory_ = fs::absolute(std::string("tool_test_files/") + test->test_suite_name() + "." +
                              test->name() + "." + std::to_string(getpid()) + "/work")
                     .string();
    fs::create_directories(directory_);
}

void tool_test::TearDown()
{
    fs::remove_all(fs::path(directory_).parent_path());
}

pid_t tool_test::start(const std::string& arguments)
{
    const char* other = std::getenv("TREVOLAN_TOOL_COMMAND");
    const std::string command = std::string("exec ") + (other ? other : "'" TREVOLAN_TOOL "'") +
                                " " + arguments + " >../stdout 2>../stderr";
    const pid_t process = fork();
    if (process != 0) return process;
    if (chdir(directory_.c_str()) == 0) execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    _exit(127);
}

tool_result tool_test::wait_for(pid_t process)
{
    int status = 0;
    tool_result result;
    if (waitpid(process, &status, 0) == process)
        result.code = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    result.out = read_text(directory_ + "/../stdout");
    result.error = read_text(directory_ + "/../stderr");
    return result;
}

tool_result tool_test::run(const std::string& arguments)
{
    return wait_for(start(arguments));
}

void tool_test::expect_done(const std::string& arguments)
{
    const tool_result result = run(arguments);
    EXPECT_EQ(result.code, 0) << arguments;
    EXPECT_EQ(result.error, "") << arguments;
}

std::string tool_test::listing(const std::string& sub_directory) const
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(path(sub_directory)))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : " ") + name;
    return text;
}

void tool_test::use_sample(const std::string& sample, const std::string& name)
{
    fs::copy_file(TREVOLAN_TEST_DATA "/" + sample, path(name));
}

void tool_test::make_bmp(const std::string& name, const test_dib& dib)
{
    ASSERT_GE(IMG_save_bitmap(image_guard(dib.create()), path(name).c_str(), 1), 0);
}

image_copy tool_test::load(const std::string& name, int32_t page)
{
    const int file = open(path(name).c_str(), O_RDONLY);
    EXPECT_GE(file, 0) << name;
    IMGX_set_interchange(1);
    const image_guard image(IMG_decompress_bitmap_fd(file, 0, page));
    IMGX_set_interchange(0);
    close(file);
    EXPECT_GE(image, 0) << name;
    return copy_image(image);
}
