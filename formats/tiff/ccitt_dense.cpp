// ccitt_dense.cpp - turns pixels and lists into words of changes, and those into lists.

#include "formats/tiff/ccitt_dense.h"

namespace {

constexpr uint32_t word_bits = ccitt_word_bits;
constexpr ccitt_machine_word ones = ~ccitt_machine_word{0};

} // namespace

uint32_t ccitt_find_changes(ccitt_machine_word* pixels, uint32_t width, ccitt_change_word* changes)
{
    const uint32_t words = ccitt_words_of(width);
    const ccitt_machine_word last = ones >> (word_bits * words - width);
    ccitt_machine_word before = 0; // the pixel in front of the word, in bit 0
    uint32_t count = 0;
    for (uint32_t i = 0; i < words; ++i) {
        const ccitt_machine_word inside = i + 1 < words ? ones : last;
        const ccitt_machine_word black = pixels[i] &= inside;
        const ccitt_machine_word turned = (black ^ (black << 1 | before)) & inside;
        before = black >> (word_bits - 1);
        changes[i] = {{turned & black, turned & ~black}};
        count += static_cast<uint32_t>(std::popcount(turned));
    }
    changes[words] = {{ones, ones}};
    return count;
}

void ccitt_changes_of_list(const uint32_t* elements, uint32_t count, uint32_t width,
                           ccitt_change_word* changes)
{
    const uint32_t words = ccitt_words_of(width);
    std::fill_n(changes, words, ccitt_change_word{});
    changes[words] = {{ones, ones}};
    for (uint32_t i = 0; i < count; ++i)
        changes[elements[i] / word_bits].from[i % 2] |= ccitt_machine_word{1}
                                                        << elements[i] % word_bits;
}

void ccitt_list_changes(const ccitt_change_word* changes, uint32_t width, uint32_t* elements)
{
    for (uint32_t i = 0; i < ccitt_words_of(width); ++i) {
        ccitt_machine_word rest = changes[i].from[0] | changes[i].from[1];
        for (; rest != 0; rest &= rest - 1)
            *elements++ = i * word_bits + ccitt_trailing_zeros(rest);
    }
}
