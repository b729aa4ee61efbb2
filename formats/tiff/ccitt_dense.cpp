// ccitt_dense.cpp - the lines of dithered pages between decoding one and the next.

#include "formats/tiff/ccitt_dense.h"

namespace {

constexpr uint32_t word_bits = ccitt_word_bits;
constexpr ccitt_machine_word ones = ~ccitt_machine_word{0};

} // namespace

bool ccitt_dense_rows::allocate(uint32_t width)
{
    width_ = width;
    words_ = (width + word_bits - 1) / word_bits;
    return allocate_rows(reference_, sizeof(ccitt_change_word), size_t{words_} + 1) &&
           allocate_rows(pixels_, sizeof(ccitt_machine_word), words_);
}

ccitt_dense_line ccitt_dense_rows::begin_line() const
{
    return {reference(), pixels_.as<ccitt_machine_word>(), width_};
}

uint32_t ccitt_dense_rows::end_line(uint8_t* row, ccitt_machine_word white)
{
    const auto* const pixels = pixels_.as<ccitt_machine_word>();
    const ccitt_machine_word last = ones >> (word_bits * words_ - width_);
    ccitt_machine_word before = 0; // the pixel in front of the word, in bit 0
    uint32_t count = 0;
    for (uint32_t i = 0; i < words_; ++i) {
        const ccitt_machine_word inside = i + 1 < words_ ? ones : last;
        const ccitt_machine_word black = pixels[i] & inside;
        const ccitt_machine_word changes = (black ^ (black << 1 | before)) & inside;
        before = black >> (word_bits - 1);
        reference()[i] = {{changes & black, changes & ~black}};
        count += static_cast<uint32_t>(std::popcount(changes));
        const ccitt_machine_word bits = black ^ white;
        std::memcpy(row + i * sizeof bits, &bits, sizeof bits);
    }
    tiff_rvrsbyt(row, words_ * sizeof(ccitt_machine_word));
    return count;
}

void ccitt_dense_rows::set_reference(const uint32_t* elements, uint32_t count)
{
    std::memset(reference_.bytes(), 0, reference_.size());
    reference()[words_] = {{ones, ones}};
    for (uint32_t i = 0; i < count; ++i)
        reference()[elements[i] / word_bits].from[i % 2] |= ccitt_machine_word{1}
                                                            << elements[i] % word_bits;
}

void ccitt_dense_rows::get_reference(uint32_t* elements) const
{
    for (uint32_t i = 0; i < words_; ++i) {
        ccitt_machine_word changes = reference()[i].from[0] | reference()[i].from[1];
        for (; changes != 0; changes &= changes - 1)
            *elements++ = i * word_bits + ccitt_trailing_zeros(changes);
    }
}
