// operation_values.cpp - reads the values of options.

#include "tool/operation_values.h"

#include "tool/failure.h"

#include <charconv>

int32_t parse_number(const std::string& text, int32_t lowest, int32_t highest)
{
    int32_t value = 0;
    const char* end = text.data() + text.size();
    const auto [stopped, fault] = std::from_chars(text.data(), end, value);
    if (fault != std::errc() || stopped != end)
        throw usage_error{"\"" + text + "\" is not a whole number"};
    if (value < lowest || value > highest)
        throw usage_error{text + " is not in the range " + std::to_string(lowest) + " to " +
                          std::to_string(highest)};
    return value;
}

std::vector<int32_t> parse_numbers(const std::string& text, size_t count, int32_t lowest,
                                   int32_t highest)
{
    std::vector<int32_t> numbers;
    size_t begin = 0;
    while (true) {
        const size_t comma = text.find(',', begin);
        numbers.push_back(parse_number(text.substr(begin, comma - begin), lowest, highest));
        if (comma == std::string::npos) break;
        begin = comma + 1;
    }
    if (numbers.size() != count)
        throw usage_error{std::to_string(count) + " numbers with commas between them are wanted"};
    return numbers;
}

std::vector<int32_t> parse_size(const std::string& text)
{
    constexpr int32_t widest = 32767;
    if (!text.empty() && text.back() == '%')
        return {0, 0, parse_number(text.substr(0, text.size() - 1), 1, 100000)};
    const size_t x = text.find('x');
    if (x == std::string::npos) return {parse_number(text, 1, widest), 0, 0};
    const std::string width = text.substr(0, x);
    const std::string height = text.substr(x + 1);
    if (width.empty() && height.empty()) throw usage_error{"a width or a height is wanted"};
    return {width.empty() ? 0 : parse_number(width, 1, widest),
            height.empty() ? 0 : parse_number(height, 1, widest), 0};
}

int32_t parse_choice(const std::string& text, std::initializer_list<const char*> choices)
{
    int32_t index = 0;
    std::string list;
    for (const char* choice : choices) {
        if (text == choice) return index;
        list += (index++ == 0 ? "" : ", ") + std::string(choice);
    }
    throw usage_error{"\"" + text + "\" is none of " + list};
}
