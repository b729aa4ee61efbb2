// jpeg_bits.cpp - refilling the bit window and finding restart markers.

#include "formats/jpeg/jpeg_bits.h"

#include <algorithm>

bool jpeg_bit_reader::start(HFILE file, int32_t position, uint8_t* buffer, int32_t span,
                            data_end end, int32_t skip)
{
    file_ = file;
    position_ = position;
    end_ = end;
    span_ = span;
    start_ = buffer;
    at_end_ = false;
    std::memset(buffer, 0, buffer_bytes(span));
    load(buffer, buffer);
    if (data_end_ == buffer) return false;
    first_ = buffer + skip;
    go_to(first_, 0);
    return true;
}

void jpeg_bit_reader::set_end(uint8_t* end)
{
    data_end_ = end;
    limit_ = end_ == data_end::stops ? end : start_ + span_ + lookahead;
    const bool never = end_ == data_end::stops && at_end_;
    refill_at_ = never ? start_ + buffer_bytes(span_) : start_ + span_ - 200;
    first_ = start_;
    phantom_ = 0;
    window = {0, 0, start_};
}

// Puts the next bit at bit bits_taken (from the top) of a byte.
void jpeg_bit_reader::go_to(const uint8_t* byte, int32_t bits_taken)
{
    phantom_ = 0;
    window = {0, 0, byte};
    if (bits_taken == 0) return;
    fill(window);
    window.bits <<= bits_taken;
    window.count -= bits_taken;
}

// The byte that holds the next bit, as a reader of single bits would point at it.
const uint8_t* jpeg_bit_reader::position() const
{
    const uint8_t* p = window.next;
    for (int32_t back = (window.count - phantom_ + 7) / 8; back > 0; --back) {
        --p;
        if (*p == 0 && p > first_ && p[-1] == 0xFF) --p;
    }
    return p;
}

void jpeg_bit_reader::refill()
{
    const uint8_t* from = position();
    if (from < refill_at_) return;
    const int32_t bits_taken = -(window.count - phantom_) & 7;
    uint8_t* const end = end_ == data_end::stops ? data_end_ : std::max(data_end_, start_ + span_);
    std::memmove(start_, from, static_cast<size_t>(end - from));
    // In classic mode the real data can end before the stale bytes that moved with them.
    load(start_ + std::max<ptrdiff_t>(data_end_ - from, 0), start_ + (end - from));
    go_to(start_, bits_taken);
}

// Reads behind to; the real data end at data_end when nothing more comes.
void jpeg_bit_reader::load(uint8_t* data_end, uint8_t* to)
{
    uint8_t* const full = start_ + span_ + lookahead;
    if (position_ != read_on) img_seek_mem(file_, position_, seek_from_start);
    while (to < full && !at_end_) {
        const int32_t got = img_read_mem(file_, to, static_cast<int32_t>(full - to));
        at_end_ = got <= 0;
        if (at_end_) break;
        data_end = to += got;
        if (position_ != read_on) position_ += got;
    }
    set_end(data_end);
}

bit_window jpeg_bit_reader::fill_slowly(bit_window w)
{
    while (w.count < 56) {
        uint64_t byte = 0;
        const uint8_t* p = w.next;
        const bool inside = p < limit_;
        const bool marker =
            inside && *p == 0xFF && end_ == data_end::stops && (p + 1 >= limit_ || p[1] != 0);
        if (inside && !marker) {
            byte = *p;
            w.next += byte == 0xFF && p + 1 < limit_ && p[1] == 0 ? 2 : 1;
        } else {
            phantom_ += 8;
        }
        w.bits |= byte << (56 - w.count);
        w.count += 8;
    }
    return w;
}

// INTENDED: looks at every bit position, not only at bytes, for FF D0 to FF DF, and does not
// compare the marker's number.
bool jpeg_bit_reader::restart_in_bits()
{
    for (uint32_t last_bits = 0; (last_bits & 0xFFF0) != 0xFFD0;) {
        if (window.next >= start_ + span_) refill();
        if (at_end_ && window.next >= data_end_ && position() >= data_end_) return false;
        if (window.count == 0) fill(window);
        last_bits = (last_bits << 1 | static_cast<uint32_t>(window.bits >> 63)) & 0xFFFF;
        window.bits <<= 1;
        --window.count;
    }
    return true;
}

// A marker lies on a byte, may have fill bytes FF before it, and ends the search when it is
// not a restart marker.
bool jpeg_bit_reader::restart_at_marker()
{
    if ((window.count - phantom_) & 7) { // pass over the padding bits
        const uint8_t* p = position();
        go_to(p + (*p == 0xFF ? 2 : 1), 0);
    } else {
        go_to(position(), 0);
    }
    for (;;) {
        if (window.next >= refill_at_) refill();
        const uint8_t* p = window.next;
        if (limit_ - p < 2) return false;
        const bool marker = p[0] == 0xFF && p[1] != 0 && p[1] != 0xFF;
        const bool is_restart = marker && (p[1] & 0xF8) == (0xD0);
        if (marker && !is_restart) return false;
        go_to(p + (is_restart ? 2 : 1), 0);
        if (is_restart) return true;
    }
}
