// ccitt_bits.cpp - the bits of fax data.

#include "formats/tiff/ccitt_bits.h"

#include <algorithm>

ccitt_bit_window ccitt_bit_source::start(HFILE file, bool lsb_first)
{
    file_ = file;
    lsb_first_ = lsb_first;
    past_end_bytes_ = 0;
    source_ended_ = false;
    return {0, 0, buffer_.bytes(), buffer_.bytes()};
}

// Only when the buffer is used up.
bool ccitt_bit_source::fill_buffer(ccitt_bit_window& window)
{
    if (source_ended_) return false;
    uint8_t* const start = buffer_.bytes();
    const int32_t got = img_read_mem(file_, start, static_cast<int32_t>(buffer_bytes));
    source_ended_ = got <= 0;
    const auto count = static_cast<size_t>(std::max(got, 0));
    if (lsb_first_) tiff_rvrsbyt(start, count);
    window.next = start;
    window.end = start + count;
    return count > 0;
}

ccitt_bit_window ccitt_bit_source::refill_near_end(ccitt_bit_window window)
{
    while (window.count < ccitt_bit_window::refilled_bits) {
        ccitt_machine_word byte = 0;
        if (window.next != window.end || fill_buffer(window))
            byte = *window.next++;
        else
            ++past_end_bytes_;
        window.word |= byte << (ccitt_word_bits - 8) >> window.count;
        window.count += 8;
    }
    return window;
}
