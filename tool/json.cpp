// json.cpp - texts in JSON output.

#include "tool/json.h"

#include <cstdint>
#include <cstdio>

namespace {

// Bytes of the well-formed UTF-8 sequence at a position, 0 where there is none.
size_t utf8_length(const std::string& text, size_t at)
{
    const auto byte = [&](size_t i) {
        return i < text.size() ? static_cast<uint8_t>(text[i]) : uint8_t{0};
    };
    const uint8_t first = byte(at);
    size_t length = 0;
    uint32_t value = 0;
    if (first < 0x80) return 1;
    if (first >= 0xC2 && first <= 0xDF)
        length = 2, value = first & 0x1Fu;
    else if (first >= 0xE0 && first <= 0xEF)
        length = 3, value = first & 0x0Fu;
    else if (first >= 0xF0 && first <= 0xF4)
        length = 4, value = first & 0x07u;
    else
        return 0;
    for (size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80) return 0;
        value = value << 6 | (byte(at + i) & 0x3Fu);
    }
    const bool overlong = (length == 3 && value < 0x800) || (length == 4 && value < 0x10000);
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    return overlong || surrogate || value > 0x10FFFF ? 0 : length;
}

std::string escaped(uint8_t byte)
{
    char code[8];
    std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(byte));
    return code;
}

} // namespace

std::string json_text(const std::string& text)
{
    std::string result = "\"";
    for (size_t i = 0; i < text.size();) {
        const auto byte = static_cast<uint8_t>(text[i]);
        const size_t length = utf8_length(text, i);
        if (byte == '"' || byte == '\\')
            result += {'\\', text[i]};
        else if (length == 0 || byte < 0x20)
            result += escaped(byte);
        else
            result += text.substr(i, length);
        i += length == 0 ? 1 : length;
    }
    return result + "\"";
}
