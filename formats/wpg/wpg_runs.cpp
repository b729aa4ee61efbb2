// wpg_runs.cpp - decoding the runs of WPG bitmaps, and encoding those of version 1.

#include "formats/wpg/wpg_runs.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr size_t longest_item = 127; // of version 1, runs and literals

// Items of version 2 that are neither literals nor runs of a unit.
enum wpg2_item : uint8_t {
    set_unit_size = 0x7D,
    combine_with_above = 0x7E,
    zero_bytes = 0x7F,
    same_unit_again = 0xFD,
    rows_again = 0xFE,
    one_bits = 0xFF,
};

} // namespace

// Reads the front of the next item; false at the end of the data.
bool wpg1_decoder::next_item()
{
    if (size_left_ == 0 || (!in_.ensure(2) && in_.available() == 0)) return false;
    const uint8_t token = *in_.next;
    if (token >= 1 && token <= longest_item) {
        in_.next += 1;
        size_left_ -= 1;
        literals_left_ = token;
        return true;
    }
    if (size_left_ < 2 || in_.available() < 2) return false;
    const uint8_t second = in_.next[1];
    in_.next += 2;
    size_left_ -= 2;
    if (token == 0) {
        repeated_rows_ = second;
    } else if (token == 0x80) { // the long form for white
        run_left_ = second;
        value_ = 0xFF;
    } else {
        run_left_ = token & 0x7F;
        value_ = second;
    }
    return true;
}

bool wpg1_decoder::repeats(size_t row_bytes)
{
    while (run_left_ == 0 && literals_left_ == 0 && above_left_ == 0 && repeated_rows_ == 0)
        if (!next_item()) return false;
    if (above_left_ == 0 && repeated_rows_ > 0) {
        above_left_ = uint64_t{repeated_rows_} * row_bytes;
        repeated_rows_ = 0;
    }
    if (above_left_ < row_bytes) return false;
    above_left_ -= row_bytes;
    return true;
}

size_t wpg1_decoder::decode(uint8_t* row, const uint8_t* above, size_t row_bytes)
{
    size_t done = 0;
    while (done < row_bytes) {
        const size_t room = row_bytes - done;
        if (run_left_ > 0) {
            const size_t count = std::min(run_left_, room);
            spread_byte(row + done, value_, count);
            run_left_ -= count;
            done += count;
        } else if (literals_left_ > 0) {
            const size_t wanted = std::min({literals_left_, room, size_t{size_left_}});
            in_.ensure(wanted);
            const size_t count = std::min(wanted, in_.available());
            if (count == 0) break;
            copy_bytes(row + done, in_.next, count);
            in_.next += count;
            size_left_ -= static_cast<uint32_t>(count);
            literals_left_ -= count;
            done += count;
        } else if (above_left_ > 0) {
            const auto count = static_cast<size_t>(std::min<uint64_t>(above_left_, room));
            std::memcpy(row + done, above + done, count);
            above_left_ -= count;
            done += count;
        } else if (repeated_rows_ > 0) {
            // Only written at the start of a row; inside one it goes on with what stands
            // above, which is the same rule.
            above_left_ = uint64_t{repeated_rows_} * row_bytes;
            repeated_rows_ = 0;
        } else if (!next_item()) {
            break;
        }
    }
    return done;
}

int wpg2_decoder::get()
{
    if (size_left_ == 0) return -1;
    --size_left_;
    return in_.get();
}

bool wpg2_decoder::next_item(size_t row_bytes, bool row_starts)
{
    const int token = get();
    if (token < 0) return false;
    phase_ = 0;
    from_constant_ = false;
    if (token < set_unit_size) {
        source_ = source::literals;
        left_ = static_cast<uint64_t>(token + 1) * unit_bytes_;
        return true;
    }
    if (token == combine_with_above) {
        combine_ = combine_ || row_starts;
        return true;
    }
    if (token >= 0x80 && token < same_unit_again) {
        if (size_left_ < unit_bytes_ || in_.read(unit_, unit_bytes_) != unit_bytes_) return false;
        size_left_ -= unit_bytes_;
        source_ = source::unit;
        left_ = static_cast<uint64_t>((token & 0x7F) + 1) * unit_bytes_;
        return true;
    }
    const int count = get();
    if (count < 0) return false;
    if (token == set_unit_size) {
        if (count >= 1 && count <= 8) unit_bytes_ = static_cast<uint32_t>(count);
        return count >= 1 && count <= 8;
    }
    source_ = token == rows_again ? source::above : source::unit;
    const uint64_t times = static_cast<uint64_t>(count) + 1;
    left_ = times * (token == rows_again ? row_bytes : unit_bytes_);
    from_constant_ = token == zero_bytes || token == one_bits;
    if (from_constant_) std::memset(constant_, token == one_bits ? 0xFF : 0, sizeof constant_);
    return true;
}

size_t wpg2_decoder::decode(uint8_t* row, const uint8_t* above, size_t row_bytes)
{
    size_t done = 0;
    while (done < row_bytes) {
        if (left_ == 0) {
            if (!next_item(row_bytes, done == 0)) break;
            continue;
        }
        const auto count = static_cast<size_t>(std::min<uint64_t>(left_, row_bytes - done));
        if (source_ == source::above) {
            std::memcpy(row + done, above + done, count);
        } else if (source_ == source::literals) {
            const size_t wanted = std::min<size_t>(count, size_left_);
            const size_t got = in_.read(row + done, wanted);
            size_left_ -= static_cast<uint32_t>(got);
            if (got < count) {
                done += got;
                break;
            }
        } else {
            const uint8_t* unit = from_constant_ ? constant_ : unit_;
            for (size_t i = 0; i < count; ++i) {
                row[done + i] = unit[phase_];
                if (++phase_ == unit_bytes_) phase_ = 0;
            }
        }
        left_ -= count;
        done += count;
    }
    if (combine_)
        for (size_t i = 0; i < done; ++i)
            row[i] ^= above[i];
    combine_ = false;
    return done;
}

size_t wpg1_encode(const uint8_t* row, size_t row_bytes, uint8_t* to)
{
    uint8_t* const start = to;
    const uint8_t* const end = row + row_bytes;
    while (row < end) {
        for (size_t left = distance_to_run(row, static_cast<size_t>(end - row)); left > 0;) {
            const size_t piece = std::min(left, longest_item);
            *to++ = static_cast<uint8_t>(piece);
            copy_bytes(to, row, piece);
            to += piece;
            row += piece;
            left -= piece;
        }
        if (row == end) break;
        for (size_t left = run_length(row, static_cast<size_t>(end - row)); left > 0;) {
            const bool long_white = *row == 0xFF && left > longest_item;
            const size_t piece = std::min(left, long_white ? size_t{255} : longest_item);
            *to++ = long_white ? uint8_t{0x80} : static_cast<uint8_t>(0x80 | piece);
            *to++ = long_white ? static_cast<uint8_t>(piece) : *row;
            row += piece;
            left -= piece;
        }
    }
    return static_cast<size_t>(to - start);
}
