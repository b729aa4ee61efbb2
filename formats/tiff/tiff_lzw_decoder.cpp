// tiff_lzw_decoder.cpp - decodes the LZW codes of TIFF 6.0 section 13.
//
// The table holds no characters: each string is a piece of the output of some earlier code,
// so a code is decoded by one look-up and a copy of 16 bytes or a few times 16. The output
// since the last Clear therefore stays in the buffer, which is moved down when it is full.

#include "formats/tiff/tiff_lzw_decoder.h"

#include "core/byte_runs.h"

#include <algorithm>
#include <bit>

namespace {

constexpr uint32_t clear_code = 256;
constexpr uint32_t end_code = 257;
constexpr uint32_t first_free_code = 258;
// Of an empty table: the first code adds no string, but what is put here is never looked up;
// and any code beyond it is damage.
constexpr uint32_t cleared_code = end_code;
constexpr uint32_t table_codes = 4096;
constexpr uint32_t first_width = 9;
constexpr uint32_t widest = 12;

// No string is longer than the number of codes in the table.
constexpr uint32_t longest_string = table_codes;
constexpr uint32_t buffer_slack = longest_string + 128;
constexpr uint32_t root_bytes = 256 + 16; // and room for a wide load of the last root
constexpr uint32_t usual_capacity = 128 * 1024;

// Next code at which a width ends.
// INTENDED: the width grows one code early, at 511, 1023 and 2047. TIFF 6.0 section 13 has it
// so; GIF does not.
inline uint32_t end_of_width(uint32_t width)
{
    return width < widest ? (1u << width) - 1 : table_codes;
}

// Copies forward; up to 15 bytes more are written. The source may run into the destination by
// one byte, which is there already.
inline void copy_string(uint8_t* to, const uint8_t* from, uint32_t length)
{
    store_16(to, load_16(from));
    for (uint32_t i = 16; i < length; i += 16)
        store_16(to + i, load_16(from + i));
}

} // namespace

int32_t tiff_lzw_decoder::initlzw()
{
    // One entry more takes what comes when the table is full.
    if (!table_.allocate((table_codes + 1) * sizeof(entry))) return err_memory;
    entry* table = table_.as<entry>();
    for (uint32_t i = 0; i < 256; ++i)
        table[i] = {i, 1};
    return 0;
}

int32_t tiff_lzw_decoder::prepare(uint32_t row_bytes, int32_t rows)
{
    const uint64_t strip_bytes = uint64_t{row_bytes} * static_cast<uint32_t>(rows);
    const uint64_t wanted =
        std::max<uint64_t>(row_bytes, std::min<uint64_t>(strip_bytes, usual_capacity));
    if (wanted > INT32_MAX - root_bytes - buffer_slack) return err_memory;
    const auto capacity = static_cast<uint32_t>(root_bytes + wanted + buffer_slack);
    if (capacity > capacity_) {
        if (!buffer_.allocate(capacity)) return err_memory;
        capacity_ = capacity;
        std::memset(buffer_.bytes(), 0, root_bytes);
        for (uint32_t i = 0; i < 256; ++i)
            buffer_.bytes()[i] = static_cast<uint8_t>(i);
    }
    fill_ = row_start_ = history_ = root_bytes;
    full_end_ = 0;
    row_bytes_ = row_bytes;
    first_bit_ = 0;
    next_code_ = cleared_code;
    width_ = first_width;
    previous_length_ = 0;
    return 0;
}

// Decodes until the rows are there, the buffer is full or the data end.
tiff_lzw_decoder::state tiff_lzw_decoder::decode_some(byte_source& source)
{
    entry* const table = table_.as<entry>();
    uint8_t* const base = buffer_.bytes();
    const uint64_t rows_end =
        row_start_ + uint64_t{row_bytes_} * static_cast<uint32_t>(last_row_ - row_);
    const uint32_t stop =
        static_cast<uint32_t>(std::min<uint64_t>(rows_end, capacity_ - buffer_slack + 64));

    // Bits are counted from the first byte of the source's window.
    uint32_t bit = first_bit_, bits_there = 8 * static_cast<uint32_t>(source.available());
    uint32_t width = width_, next_code = next_code_, fill = fill_;
    uint32_t previous_length = previous_length_;
    uint32_t grow_at = end_of_width(width);
    // A full table stays as it is until the next Clear.
    uint32_t step = next_code < table_codes ? 1 : 0;
    state result = state::running;
    const uint8_t* window = source.next;
    while (fill < stop) {
        if (bit + width > bits_there) [[unlikely]] {
            source.next += bit / 8;
            bit %= 8;
            source.ensure(sizeof(uint32_t));
            window = source.next;
            bits_there = 8 * static_cast<uint32_t>(source.available());
            if (bit + width > bits_there) {
                result = state::damaged;
                break;
            }
        }
        const uint32_t code = load_u32be(window + bit / 8) << bit % 8 >> (32 - width);
        bit += width;
        if (code - clear_code < 2) {
            if (code == end_code) {
                result = state::strip_done;
                break;
            }
            history_ = fill;
            full_end_ = 0;
            width = first_width;
            next_code = cleared_code;
            grow_at = end_of_width(first_width);
            step = 1;
            continue;
        }
        table[next_code] = {fill - previous_length, previous_length + 1};
        if (code >= next_code) [[unlikely]] {
            if (code > next_code) {
                result = state::damaged;
                break;
            }
            // The byte that a string of its own beginning ends with has to be there first.
            base[fill] = base[fill - previous_length];
        }
        const entry s = table[code];
        copy_string(base + fill, base + s.start, s.length);
        previous_length = s.length;
        fill += s.length;
        next_code += step;
        if (next_code == grow_at) {
            if (width < widest)
                grow_at = end_of_width(++width);
            else
                step = 0;
        }
    }
    source.next += bit / 8;
    first_bit_ = bit % 8;
    previous_length_ = previous_length;
    width_ = width;
    next_code_ = next_code;
    fill_ = fill;
    return result;
}

// Rows that are whole go out. Unless the strip is through, they are still the table's strings,
// so a copy goes.
int32_t tiff_lzw_decoder::deliver_rows(const row_output& output)
{
    const bool is_last =
        row_start_ + uint64_t{row_bytes_} * static_cast<uint32_t>(last_row_ - row_) <= fill_;
    while (row_ < last_row_ && fill_ - row_start_ >= row_bytes_) {
        uint8_t* row = buffer_.bytes() + row_start_;
        if (!is_last) {
            std::memcpy(row_copy_.bytes(), row, row_bytes_);
            row = row_copy_.bytes();
        }
        if (int32_t err = output.put(row, row_, 0); err < 0) return err;
        row_start_ += row_bytes_;
        ++row_;
    }
    return 0;
}

// What neither the table nor an unfinished row needs leaves the buffer; if that is little, the
// buffer grows. It stays small: the strings of a whole table are 7.4 MB at the very most.
int32_t tiff_lzw_decoder::make_room()
{
    uint8_t* const base = buffer_.bytes();
    if (full_end_ != 0 && row_start_ > full_end_ + usual_capacity / 4) {
        // Nothing behind full_end_ is in the table any more.
        std::memmove(base + full_end_, base + row_start_, fill_ - row_start_);
        fill_ -= row_start_ - full_end_;
        row_start_ = full_end_;
        return 0;
    }
    const uint32_t keep = std::min(history_, row_start_);
    const uint32_t distance = keep - root_bytes;
    if (full_end_ != 0 || distance < usual_capacity / 4) return grow() ? 0 : int32_t{err_memory};
    std::memmove(base + root_bytes, base + keep, fill_ - keep);
    entry* table = table_.as<entry>();
    for (uint32_t code = first_free_code; code < next_code_; ++code)
        table[code].start -= distance;
    fill_ -= distance;
    row_start_ -= distance;
    history_ -= distance;
    if (next_code_ == table_codes) full_end_ = fill_;
    return 0;
}

bool tiff_lzw_decoder::grow()
{
    const uint64_t capacity = uint64_t{capacity_} * 2;
    if (capacity > INT32_MAX) return false;
    if (next_code_ == table_codes && full_end_ == 0) full_end_ = fill_;
    scratch_block larger(static_cast<size_t>(capacity));
    if (!larger) return false;
    std::memcpy(larger.bytes(), buffer_.bytes(), fill_);
    buffer_.swap(larger);
    capacity_ = static_cast<uint32_t>(capacity);
    return true;
}

// What is missing of the rows is 0.
int32_t tiff_lzw_decoder::deliver_rest(const row_output& output)
{
    const uint32_t there = fill_ - row_start_;
    for (bool is_first = true; row_ < last_row_; ++row_, is_first = false) {
        std::memset(row_copy_.bytes(), 0, row_bytes_);
        if (is_first) std::memcpy(row_copy_.bytes(), buffer_.bytes() + row_start_, there);
        if (int32_t err = output.put(row_copy_.bytes(), row_, 0); err < 0) return err;
    }
    return 1;
}

int32_t tiff_lzw_decoder::decode_lzw_strip(byte_source& source, int32_t first_row,
                                           uint32_t row_bytes, int32_t rows,
                                           const row_output& output)
{
    if (int32_t err = prepare(row_bytes, rows); err < 0) return err;
    if (row_copy_.size() < size_t{row_bytes} + run_slack_bytes &&
        !row_copy_.allocate(size_t{row_bytes} + run_slack_bytes))
        return err_memory;
    row_ = first_row;
    last_row_ = first_row + rows;
    for (;;) {
        const state reached = decode_some(source);
        if (int32_t err = deliver_rows(output); err < 0) return err;
        if (row_ == last_row_) return 1;
        if (reached == state::strip_done) return deliver_rest(output);
        if (reached == state::damaged) return err_format;
        if (int32_t err = make_room(); err < 0) return err;
    }
}
