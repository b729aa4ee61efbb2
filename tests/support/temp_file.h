// temp_file.h - a file name of this test's own, removed at its end, and whole files as bytes.
#pragma once

#include <cstdint>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using byte_vector = std::vector<uint8_t>;

inline byte_vector read_file(const std::string& name)
{
    byte_vector bytes;
    std::FILE* file = std::fopen(name.c_str(), "rb");
    if (!file) return bytes;
    uint8_t piece[65536];
    for (size_t got; (got = std::fread(piece, 1, sizeof piece, file)) > 0;)
        bytes.insert(bytes.end(), piece, piece + got);
    std::fclose(file);
    return bytes;
}

inline void write_file(const std::string& name, const byte_vector& bytes)
{
    std::FILE* file = std::fopen(name.c_str(), "wb");
    ASSERT_NE(file, nullptr) << name;
    if (!bytes.empty()) {
        ASSERT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), file), bytes.size());
    }
    ASSERT_EQ(std::fclose(file), 0);
}

/// Named after the running test, in the working directory; gone with the object.
class temp_file {
public:
    explicit temp_file(const std::string& extension)
    {
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        static int number = 0;
        name_ = std::string(test->test_suite_name()) + "_" + test->name() + "_" +
                std::to_string(number++) + extension;
        std::remove(name_.c_str());
    }
    ~temp_file() { std::remove(name_.c_str()); }
    temp_file(const temp_file&) = delete;
    temp_file& operator=(const temp_file&) = delete;

    const char* name() const { return name_.c_str(); }
    byte_vector bytes() const { return read_file(name_); }

private:
    std::string name_;
};
