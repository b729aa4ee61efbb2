// byte_stream.cpp - buffered reading and writing on top of the byte I/O.

#include "core/byte_stream.h"

#include "core/row_convert.h"

#include <algorithm>

byte_source::byte_source(HFILE file, uint32_t buffer_bytes)
    : file_(file), buffer_(buffer_bytes + slack_bytes), capacity_(buffer_bytes),
      start_position_(img_tell(file))
{
    next = end = start_ = buffer_.bytes();
    if (buffer_) std::memset(buffer_.bytes(), 0, slack_bytes);
}

// Memory is read where it is, except for its last bytes: they have no slack behind them.
bool byte_source::extend_in_place()
{
    const size_t kept = available();
    if (file_ != memory_file || reversed_ || (kept > 0 && start_ == buffer_.bytes())) return false;
    const int64_t left = int64_t{img_extent(file_)} - img_tell(file_);
    const int64_t count = std::min<int64_t>(left - int64_t{slack_bytes}, capacity_ - kept);
    const uint8_t* const more =
        count > 0 ? img_take_mem(file_, static_cast<int32_t>(count)) : nullptr;
    if (!more) return false;
    start_position_ = tell();
    start_ = next = more - kept;
    end = more + count;
    return true;
}

bool byte_source::refill()
{
    if (at_end_ || !buffer_) return false;
    const size_t kept = available();
    if (kept == capacity_) return false;
    if (extend_in_place()) return true;
    start_position_ = tell();
    uint8_t* const start = buffer_.bytes();
    std::memmove(start, next, kept);
    next = start_ = start;
    const int32_t got = img_read_mem(file_, start + kept, static_cast<int32_t>(capacity_ - kept));
    at_end_ = got <= 0;
    if (got < 0) failed_ = true;
    end = start + kept + std::max(got, 0);
    if (reversed_) reverse_bits_of_bytes(start + kept, static_cast<size_t>(end - start) - kept);
    std::memset(const_cast<uint8_t*>(end), 0, slack_bytes);
    return !at_end_;
}

bool byte_source::fill_to(size_t count)
{
    while (available() < count)
        if (!refill()) return false;
    return true;
}

size_t byte_source::read(void* destination, size_t count)
{
    auto* to = static_cast<uint8_t*>(destination);
    size_t done = 0;
    while (done < count) {
        if (next == end && !refill()) break;
        const size_t piece = std::min(count - done, available());
        std::memcpy(to + done, next, piece);
        next += piece;
        done += piece;
    }
    return done;
}

void byte_source::skip(uint32_t count)
{
    if (count <= available()) {
        next += count;
        return;
    }
    const int64_t target = int64_t{tell()} + count;
    seek(static_cast<int32_t>(std::min<int64_t>(target, INT32_MAX)));
}

void byte_source::seek(int32_t position)
{
    // What is in the window already is not read again: strips of a few hundred bytes lie side
    // by side. The source itself goes back behind the window, for the next refill.
    const int64_t place = int64_t{position} - start_position_;
    if (buffer_ && place >= 0 && place <= end - start_) {
        next = start_ + place;
        img_seek_mem(file_, start_position_ + static_cast<int32_t>(end - start_), seek_from_start);
        return;
    }
    img_seek_mem(file_, position, seek_from_start);
    next = end = start_ = buffer_.bytes();
    start_position_ = position;
    at_end_ = false;
}

byte_sink::byte_sink(HFILE file, uint32_t buffer_bytes)
    : file_(file), buffer_(buffer_bytes), capacity_(buffer_bytes)
{
}

void byte_sink::drain()
{
    if (fill_ && !failed_)
        failed_ = img_write_mem(file_, buffer_.bytes(), static_cast<int32_t>(fill_)) !=
                  static_cast<int32_t>(fill_);
    drained_ += fill_;
    fill_ = 0;
}

void byte_sink::put(const void* bytes, size_t count)
{
    const auto* from = static_cast<const uint8_t*>(bytes);
    while (count > 0) {
        if (fill_ == capacity_) drain();
        const size_t piece = std::min<size_t>(count, capacity_ - fill_);
        std::memcpy(buffer_.bytes() + fill_, from, piece);
        fill_ += static_cast<uint32_t>(piece);
        from += piece;
        count -= piece;
    }
}

void byte_sink::put_zeros(size_t count)
{
    while (count-- > 0)
        put(uint8_t{0});
}

void byte_sink::put_u16le(uint32_t value)
{
    store_u16le(reserve(2), value);
    commit(2);
}

void byte_sink::put_u32le(uint32_t value)
{
    store_u32le(reserve(4), value);
    commit(4);
}

void byte_sink::put_u16be(uint32_t value)
{
    store_u16be(reserve(2), value);
    commit(2);
}

void byte_sink::put_u32be(uint32_t value)
{
    store_u32be(reserve(4), value);
    commit(4);
}

int32_t byte_sink::flush()
{
    drain();
    return failed_ ? err_write : 0;
}

const uint8_t* byte_reader::take(size_t count)
{
    if (!ok_ || count > left_) {
        ok_ = false;
        left_ = 0;
        return nullptr;
    }
    const uint8_t* taken = next_;
    next_ += count;
    left_ -= count;
    return taken;
}

uint32_t byte_reader::number(size_t count)
{
    const uint8_t* p = take(count);
    if (!p) return 0;
    uint32_t value = 0;
    for (size_t i = 0; i < count; ++i)
        value = value << 8 | p[order_ == byte_order::big ? i : count - 1 - i];
    return value;
}
