// gif_lzw_decoder.cpp - codes to pixels.

#include "formats/gif/gif_lzw_decoder.h"

#include <algorithm>

namespace {

// Room for a batch behind what is left of the one before; wide loads may read on into the
// last bytes, which never count.
constexpr size_t data_bytes = IBUFFSZ + 300;
static_assert(gif_code_reader::blocks_per_batch * 255 + 16 < IBUFFSZ);

inline void store_tail(uint8_t* to, uint64_t tail)
{
    std::memcpy(to, &tail, sizeof tail); // both targets are little-endian
}

// Writes a string from its end to its start.  Returns the place behind it.
inline uint8_t* put_string(uint8_t* out, const gif_string* table, const gif_string& string)
{
    const uint32_t length = string.length();
    if (length <= 8) {
        store_tail(out, string.tail);
        return out + length;
    }
    size_t at = size_t{length - 1} & ~size_t{7};
    store_tail(out + at, string.tail);
    for (uint32_t link = string.link(); at > 0; link = table[link].link()) {
        at -= 8;
        store_tail(out + at, table[link].tail);
    }
    return out + length;
}

} // namespace

gif_code_reader::gif_code_reader(byte_source& source) : source_(source), data_(data_bytes)
{
    if (data_) std::memset(data_.bytes(), 0, data_bytes);
}

// Moves the bytes with unread bits to the front and reads a batch of sub-blocks behind them;
// false when the data are over. A block that is cut short does not count.
bool gif_code_reader::gather(uint32_t width)
{
    uint8_t* const data = data_.bytes();
    const uint32_t first = bit_position >> 3;
    uint32_t fill = (bit_end >> 3) - first;
    std::memmove(data, data + first, fill);
    bit_position &= 7;

    for (int32_t i = 0; i < blocks_per_batch && !at_end_; ++i) {
        const int count = source_.get();
        at_end_ = count <= 0 || !source_.ensure(static_cast<size_t>(count));
        if (at_end_) break;
        std::memcpy(data + fill, source_.next, static_cast<size_t>(count));
        source_.next += count;
        fill += static_cast<uint32_t>(count);
    }
    bit_end = fill * 8;
    return bit_end - bit_position >= width;
}

gif_lzw_decoder::gif_lzw_decoder(gif_code_reader& codes, uint32_t code_size, gif_stream_rules rules)
    : codes_(codes), rules_(rules), code_size_(code_size), clear_code_(1u << code_size),
      table_(sizeof(gif_string_table)), behind_clear_(rules == gif_stream_rules::published)
{
    if (!table_) return;
    std::memset(table_.bytes(), 0, table_.size());
    for (uint32_t i = 0; i < clear_code_; ++i)
        table().shorts[i] = gif_short_string::pixel(i);
    start_table();
}

void gif_lzw_decoder::start_table()
{
    if (next_code_ > clear_code_)
        std::memset(table().shorts + clear_code_, 0, (next_code_ - clear_code_) * sizeof(uint64_t));
    next_code_ = clear_code_ + 2;
    width_ = code_size_ + 1;
}

// Puts strings until the limit, a code that needs care, the end of what is gathered, or the
// code behind which the table changes its state or the codes their width. Everything is in
// locals: the pixels are bytes, so the compiler must take a store of them for a change of any
// member. Short strings that follow one another, the most of noise and of photographs, take
// one load and one store of a word each; clear, end and free codes have no short string.
template <gif_lzw_decoder::table_state state>
uint8_t* gif_lzw_decoder::put_codes(uint8_t* out, const uint8_t* limit)
{
    constexpr bool growing = state == table_state::growing;
    const uint8_t* const data = codes_.data();
    uint64_t* const shorts = table().shorts;
    gif_string* const longs = table().longs;
    const uint32_t clear_code = clear_code_;
    const uint32_t width = width_;
    const uint32_t mask = (1u << width) - 1;
    uint32_t position = codes_.bit_position;
    uint32_t next_code = next_code_;
    uint32_t previous_code = previous_code_;
    uint64_t previous = previous_;
    gif_string long_previous = long_previous_;

    // Positions at which the loop may still take a code.
    uint32_t count = (codes_.bit_end - position) / width;
    if (growing) count = std::min(count, mask + 1 - next_code);
    const uint32_t stop = position + count * width;
    while (position != stop && out < limit) {
        const uint32_t code = gif_code_reader::peek(data, position) & mask;
        const uint64_t string = shorts[code];
        if (string != 0 && (!growing || gif_short_string::has_room(previous))) {
            if (growing) shorts[next_code++] = gif_short_string::with(previous, string);
            store_tail(out, string);
            out += string >> 56;
            previous = string;
        } else {
            if (code - clear_code <= 1 || code > next_code) break;
            const gif_string before =
                previous != 0 ? gif_short_string::widen(previous) : long_previous;
            if (string != 0)
                long_previous = gif_short_string::widen(string);
            else if (code != next_code)
                long_previous = longs[code];
            else // the string that is added now: the previous one and its own first pixel
                long_previous = before.with(before.first(), previous_code);
            if (growing) {
                const gif_string added = before.with(long_previous.first(), previous_code);
                shorts[next_code] = gif_short_string::of(added);
                longs[next_code++] = added;
            }
            out = put_string(out, longs, long_previous);
            previous = gif_short_string::of(long_previous);
        }
        previous_code = code;
        position += width;
    }
    codes_.bit_position = position;
    next_code_ = next_code;
    previous_code_ = previous_code;
    previous_ = previous;
    long_previous_ = long_previous;
    return out;
}

// A full table stays as it is until a clear code.
uint8_t* gif_lzw_decoder::put_ordinary_codes(uint8_t* out, const uint8_t* limit)
{
    if (next_code_ == gif_code_count) return put_codes<table_state::full>(out, limit);
    out = put_codes<table_state::growing>(out, limit);
    if (next_code_ == 1u << width_ && width_ < gif_widest_code) ++width_;
    return out;
}

// The first code behind a clear code adds no string.
gif_lzw_decoder::status gif_lzw_decoder::put_code_behind_clear(uint8_t*& out)
{
    uint32_t code = codes_.getcode_gif(width_);
    if (code == gif_code_reader::no_code) return status::damaged;
    if (rules_ == gif_stream_rules::published) {
        while (code == clear_code_)
            code = codes_.getcode_gif(width_);
        if (code == clear_code_ + 1) return status::ended;
        if (code > clear_code_) return status::damaged;
    }
    const auto pixel = static_cast<uint8_t>(code);
    previous_code_ = pixel;
    previous_ = gif_short_string::pixel(pixel);
    *out++ = pixel;
    behind_clear_ = false;
    return status::more;
}

gif_lzw_decoder::status gif_lzw_decoder::decode(uint8_t*& out, const uint8_t* limit)
{
    while (out < limit) {
        if (behind_clear_) {
            if (status s = put_code_behind_clear(out); s != status::more) return s;
            continue;
        }
        out = put_ordinary_codes(out, limit);
        if (out >= limit) break;

        // A code that needs care, or the gathered data do not hold the next one.
        const uint32_t code = codes_.getcode_gif(width_);
        if (code == clear_code_) {
            start_table();
            behind_clear_ = true;
        } else if (code == clear_code_ + 1) {
            return status::ended;
        } else if (code > next_code_ || code == gif_code_reader::no_code) {
            return status::damaged;
        } else {
            // An ordinary code that the new batch begins with: the loop above takes it.
            codes_.bit_position -= width_;
        }
    }
    return status::more;
}
