// driver.cpp - runs the command-line tool.

#include "tests/tool/driver.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

std::vector<std::string> split_arguments(const std::string& line)
{
    std::vector<std::string> words;
    bool quoted = false, open = false;
    for (const char c : line) {
        if (c == '\'') {
            quoted = !quoted;
            if (!open) words.emplace_back();
            open = true;
        } else if (c == ' ' && !quoted) {
            open = false;
        } else {
            if (!open) words.emplace_back();
            open = true;
            words.back() += c;
        }
    }
    return words;
}

std::string read_text(const std::string& name)
{
    const byte_vector bytes = read_file(name);
    std::string text(bytes.begin(), bytes.end());
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
}

std::vector<std::string> tool_command()
{
    const char* other = std::getenv("TREVOLAN_TOOL_COMMAND");
    return split_arguments(other ? other : TREVOLAN_TOOL);
}

void redirect(int stream, const std::string& name)
{
    const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (file < 0 || dup2(file, stream) < 0) _exit(126);
}

} // namespace

void tool_test::SetUp()
{
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    directory_ = fs::absolute(std::string("tool_test_files/") + test->test_suite_name() + "." +
                              test->name() + "." + std::to_string(getpid()))
                     .string();
    directory_ += "/work";
    fs::create_directories(directory_);
}

void tool_test::TearDown()
{
    fs::remove_all(fs::path(directory_).parent_path());
}

pid_t tool_test::start(const std::string& arguments)
{
    std::vector<std::string> words = tool_command();
    for (std::string& word : split_arguments(arguments))
        words.push_back(std::move(word));
    const pid_t process = fork();
    if (process != 0) return process;
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    redirect(STDOUT_FILENO, directory_ + "/../stdout");
    redirect(STDERR_FILENO, directory_ + "/../stderr");
    if (chdir(directory_.c_str()) != 0) _exit(126);
    execvp(argv[0], argv.data());
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

bool tool_test::exists(const std::string& name) const
{
    return fs::exists(path(name));
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

void tool_test::make_bmp(const std::string& name, int32_t width, int32_t height, int32_t bits,
                         uint32_t seed)
{
    test_dib dib(width, height, bits);
    dib.fill_random(seed);
    const image_guard image(dib.create());
    ASSERT_GE(IMG_save_bitmap(image, path(name).c_str(), 1), 0);
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
