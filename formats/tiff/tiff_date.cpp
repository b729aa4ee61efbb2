// tiff_date.cpp - brings the date text into the standard's form.

#include "formats/tiff/tiff_date.h"

#include <cstdio>
#include <cstring>
#include <utility>

namespace {

constexpr size_t standard_bytes = 20; // with its zero
constexpr int most_numbers = 6;

struct number {
    int value;
    int digits;
};

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

// The numbers of a text that holds nothing else but separators; 0 when it holds other things.
int take_numbers(const char* text, number (&numbers)[most_numbers])
{
    int count = 0;
    for (const char* p = text; *p;) {
        if (!is_digit(*p)) {
            if (!std::strchr("-/.: T", *p)) return 0;
            ++p;
            continue;
        }
        if (count == most_numbers) return 0;
        number n{0, 0};
        for (; is_digit(*p) && n.digits < 5; ++p, ++n.digits)
            n.value = 10 * n.value + (*p - '0');
        numbers[count++] = n;
    }
    return count;
}

bool format_date(const char* from, char* text)
{
    number n[most_numbers] = {};
    const int count = take_numbers(from, n);
    if (count < 3) return false;
    if (n[2].digits == 4) { // month, day, year
        std::swap(n[0], n[2]);
        std::swap(n[1], n[2]);
    }
    const bool valid = n[0].digits == 4 && n[1].value >= 1 && n[1].value <= 12 && n[2].value >= 1 &&
                       n[2].value <= 31 && n[3].value < 24 && n[4].value < 60 && n[5].value < 61;
    if (!valid) return false;
    const auto part = [&n](int i, uint32_t modulus) {
        return static_cast<uint32_t>(n[i].value) % modulus;
    };
    std::snprintf(text, standard_bytes, "%04u:%02u:%02u %02u:%02u:%02u", part(0, 10000),
                  part(1, 100), part(2, 100), part(3, 100), part(4, 100), part(5, 100));
    return true;
}

} // namespace

void tiff_date_text(char (&text)[img_date_bytes])
{
    std::memcpy(text, img_date, sizeof text);
    if (!interchange_mode()) return;
    std::memset(text + standard_bytes - 1, 0, sizeof text - standard_bytes + 1);
    format_date(img_date, text);
}
