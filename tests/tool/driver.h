// driver.h - runs the command-line tool as a user does: as a process, in a directory of the
// test's own. TREVOLAN_TOOL_COMMAND in the environment names another tool than the one that
// was built with the tests, for instance the Windows one with "wine" in front.
#pragma once

#include "tests/support/images.h"

#include <gtest/gtest.h>
#include <string>
#include <sys/types.h>
#include <vector>

struct tool_result {
    int code = -1;
    std::string out, error;
};

class tool_test : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// Arguments as a shell takes them.
    tool_result run(const std::string& arguments);
    /// The same without waiting.
    pid_t start(const std::string& arguments);
    tool_result wait_for(pid_t process);
    /// Fails the test unless the tool ends with 0 and says nothing on standard error.
    void expect_done(const std::string& arguments);

    /// Path of a file of the test's directory, for the test itself.
    std::string path(const std::string& name) const { return directory_ + "/" + name; }
    /// Names in the directory, sorted, with spaces between them.
    std::string listing(const std::string& sub_directory = "") const;

    /// Copies a sample of tests/data.
    void use_sample(const std::string& sample, const std::string& name);
    /// Writes an uncompressed BMP.
    void make_bmp(const std::string& name, const test_dib& dib);
    /// Loads a file's page with the library; fails the test when that fails.
    image_copy load(const std::string& name, int32_t page = 0);

private:
    std::string directory_;
};

/// Tests that need a POSIX process: signals, permissions, links.
class tool_posix_test : public tool_test {};
