// driver.h - runs the command-line tool as a user does: as a process, in a directory of the
// test's own. TREVOLAN_TOOL_COMMAND in the environment names another tool than the one that
// was built with the tests, for instance the Windows one with "wine" in front.
#pragma once

#include "tests/support/images.h"
#include "tests/support/places.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

struct tool_result {
    int code = -1;
    std::string out, error;
};

class tool_test : public testing::Test {
protected:
    void SetUp() override
    {
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        const std::string name = std::string(test->test_suite_name()) + "." + test->name();
        directory_ = fs::absolute("tool_test_files/" + name + "." + std::to_string(getpid()));
        fs::create_directories(directory_ / "work");
    }
    void TearDown() override { fs::remove_all(directory_); }

    /// Arguments as a shell takes them.
    tool_result run(const std::string& arguments) { return wait_for(start(arguments)); }
    /// The same without waiting.
    pid_t start(const std::string& arguments)
    {
        const char* other = std::getenv("TREVOLAN_TOOL_COMMAND");
        const std::string tool = other ? other : "'" + tool_path() + "'";
        const std::string command = "exec " + tool + " " + arguments + " >../stdout 2>../stderr";
        const pid_t process = fork();
        if (process != 0) return process;
        if (chdir(path("").c_str()) == 0) execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        _exit(127);
    }
    tool_result wait_for(pid_t process)
    {
        const auto text = [&](const char* name) {
            const byte_vector bytes = read_file(directory_ / name);
            std::string all(bytes.begin(), bytes.end());
            std::erase(all, '\r');
            return all;
        };
        int status = 0;
        EXPECT_EQ(waitpid(process, &status, 0), process);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status), text("stdout"),
                text("stderr")};
    }
    /// Fails the test unless the tool ends with 0 and says nothing on standard error.
    void expect_done(const std::string& arguments)
    {
        const tool_result result = run(arguments);
        EXPECT_EQ(result.code, 0) << arguments;
        EXPECT_EQ(result.error, "") << arguments;
    }

    /// Path of a file of the test's directory, for the test itself.
    std::string path(const std::string& name) const { return directory_ / "work" / name; }
    /// Names in the directory, sorted, with spaces between them.
    std::string listing(const std::string& sub_directory = "") const
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(path(sub_directory)))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        std::string text;
        for (const std::string& name : names)
            text += (text.empty() ? "" : " ") + name;
        return text;
    }

    /// Copies a sample of tests/data.
    void use_sample(const std::string& sample, const std::string& name)
    {
        fs::copy_file(sample_path(sample), path(name));
    }
    /// Writes an uncompressed BMP.
    void make_bmp(const std::string& name, const picture& dib)
    {
        ASSERT_GE(IMG_save_bitmap(image_guard(dib.create()), path(name).c_str(), 1), 0);
    }
    /// Loads a file's page with the library; fails the test when that fails.
    picture load(const std::string& name, int32_t page = 0)
    {
        const int file = open(path(name).c_str(), O_RDONLY);
        IMGX_set_interchange(1);
        const image_guard image(IMG_decompress_bitmap_fd(file, 0, page));
        IMGX_set_interchange(0);
        close(file);
        EXPECT_GE(image, 0) << name;
        return copy_image(image);
    }

private:
    fs::path directory_;
};

/// Tests that need a POSIX process: signals, permissions, links.
class tool_posix_test : public tool_test {};
