// names.cpp - file names.

#include "tool/names.h"

#include <algorithm>

namespace fs = std::filesystem;

fs::path to_path(const std::string& name)
{
    return {std::u8string(name.begin(), name.end())};
}

std::string to_text(const fs::path& path)
{
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

std::string extension_of(const std::string& name)
{
    std::string extension = to_text(to_path(name).extension());
    if (!extension.empty()) extension.erase(0, 1);
    for (char& c : extension)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
    return extension;
}

std::string padded_number(int32_t number, int32_t highest)
{
    const size_t digits = std::max<size_t>(3, std::to_string(highest).size());
    const std::string text = std::to_string(number);
    return std::string(digits - std::min(digits, text.size()), '0') + text;
}

std::string numbered_name(const std::string& name, int32_t number, int32_t highest)
{
    const std::string extension = to_text(to_path(name).extension());
    return name.substr(0, name.size() - extension.size()) + "-" + padded_number(number, highest) +
           extension;
}

bool is_directory(const std::string& name)
{
    std::error_code ignored;
    return fs::is_directory(to_path(name), ignored);
}

bool names_directory(const std::string& name)
{
    return is_directory(name) || (!name.empty() && !to_path(name).has_filename());
}
