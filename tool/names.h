// names.h - file names. All texts are UTF-8; paths are what the system makes of them.
#pragma once

#include <filesystem>
#include <string>

std::filesystem::path to_path(const std::string& name);
std::string to_text(const std::filesystem::path& path);

/// The name's extension without its dot, in lower case; empty when it has none.
std::string extension_of(const std::string& name);

/// The name with "-NUMBER" in front of the extension.
std::string numbered_name(const std::string& name, int32_t number, int32_t highest);

/// The number in at least three digits, as many as the highest needs.
std::string padded_number(int32_t number, int32_t highest);

bool is_directory(const std::string& name);
/// True also for a name that ends like one.
bool names_directory(const std::string& name);
