// operation_values.h - the values of options; each throws a usage_error that names the fault.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

/// A whole number from lowest to highest.
int32_t parse_number(const std::string& text, int32_t lowest, int32_t highest);

/// Exactly count numbers with commas between them.
std::vector<int32_t> parse_numbers(const std::string& text, size_t count, int32_t lowest,
                                   int32_t highest);

/// "WxH", "W", "xH" or "P%" as width, height, percent; what is not given is 0.
std::vector<int32_t> parse_size(const std::string& text);

/// The index of the choice that the text names.
int32_t parse_choice(const std::string& text, std::initializer_list<const char*> choices);
