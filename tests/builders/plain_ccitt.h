// plain_ccitt.h - fax codes coded and decoded pixel by pixel and bit by bit, slowly and
// obviously: what the library's coders are compared with. Only the printed code tables are
// shared with the library.
#pragma once

#include "formats/tiff/ccitt_codes.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace plain {

using pixels = std::vector<bool>; // true: black
using byte_string = std::vector<uint8_t>;

/// Bits in the order of transmission, from digits ("0001 1"; anything else is skipped).
inline byte_string bytes_of(const std::string& digits, bool lsb_first = false)
{
    byte_string bytes;
    size_t n = 0;
    for (char digit : digits) {
        if (digit != '0' && digit != '1') continue;
        if (n % 8 == 0) bytes.push_back(0);
        if (digit == '1')
            bytes.back() |= static_cast<uint8_t>(lsb_first ? 1 << n % 8 : 128 >> n % 8);
        ++n;
    }
    return bytes;
}

inline std::string digits_of_run(int run, bool black)
{
    const auto word = [&](const ccitt_run_row& row) {
        return std::string(black ? row.black : row.white);
    };
    std::string digits;
    while (run >= 64) {
        const int step = std::min(run / 64 * 64, 2560);
        digits += word(step <= 1728 ? ccitt_make_up[step / 64 - 1]
                                    : ccitt_extended_make_up[step / 64 - 28]);
        run -= step;
    }
    return digits + word(ccitt_terminating[run]);
}

inline std::string digits_of_mode(ccitt_mode mode, int offset)
{
    for (const ccitt_mode_row& row : ccitt_modes)
        if (row.mode == mode && row.offset == offset) return std::string(row.code);
    return "";
}

/// First pixel right of position (-1: in front of the row) that differs from the one on its
/// left and has this colour; the row's width if there is none.
inline int changing_element(const pixels& row, int position, bool black)
{
    const int width = static_cast<int>(row.size());
    for (int i = position + 1; i < width; ++i) {
        const bool left = i > 0 && row[static_cast<size_t>(i) - 1];
        const bool here = row[static_cast<size_t>(i)];
        if (here != left && here == black) return i;
    }
    return width;
}

/// First pixel from position on that is not of this colour.
inline int run_end(const pixels& row, int position, bool black)
{
    const int width = static_cast<int>(row.size());
    while (position < width && row[static_cast<size_t>(position)] == black)
        ++position;
    return position;
}

inline std::string encode_row_1d(const pixels& row)
{
    std::string digits;
    bool black = false;
    int position = 0;
    do {
        const int end = run_end(row, position, black);
        digits += digits_of_run(end - position, black);
        position = end;
        black = !black;
    } while (position < static_cast<int>(row.size()));
    return digits;
}

inline std::string encode_row_2d(const pixels& row, const pixels& reference)
{
    const int width = static_cast<int>(row.size());
    std::string digits;
    bool black = false;
    int a0 = -1;
    while (a0 < width) {
        const int start = std::max(a0, 0);
        const int a1 = run_end(row, start, black);
        const int b1 = changing_element(reference, a0, !black);
        const int b2 = run_end(reference, b1, !black);
        if (b2 < a1) {
            digits += digits_of_mode(ccitt_mode::pass, 0);
            a0 = b2;
        } else if (a1 - b1 >= -3 && a1 - b1 <= 3) {
            digits += digits_of_mode(ccitt_mode::vertical, a1 - b1);
            a0 = a1;
            black = !black;
        } else {
            const int a2 = run_end(row, a1, !black);
            digits += digits_of_mode(ccitt_mode::horizontal, 0) + digits_of_run(a1 - start, black) +
                      digits_of_run(a2 - a1, !black);
            a0 = a2;
        }
    }
    return digits;
}

/// The described decoder, one bit and one pixel at a time.
class decoder {
public:
    decoder(const std::string& digits, int width)
        : digits_(digits), width_(width), reference_(size())
    {
    }

    enum class result { row, quiet_end, error };

    result next_row_1d(bool huffman)
    {
        row_ = pixels(size());
        const int end = runs();
        if (end < 0) return result::error;
        if (huffman) {
            position_ = (position_ + 7) / 8 * 8;
            return end == width_ ? result::row : result::error;
        }
        for (int i = 0; i < 2000; ++i) {
            const int code = next_code(false);
            if (code == ccitt_eol_run || code < 0) return result::row;
        }
        return result::error;
    }

    result next_row_g4()
    {
        if (!modes()) return result::quiet_end;
        reference_ = row_;
        return result::row;
    }

    result next_row_g3_2d()
    {
        int code = next_code(false);
        for (int i = 0; code != ccitt_eol_run && i < 2000; ++i)
            if ((code = next_code(false)) < 0) break;
        if (code != ccitt_eol_run || position_ >= digits_.size()) return result::quiet_end;
        if (bit(position_++)) {
            row_ = pixels(size());
            if (runs() < 0) return result::quiet_end;
        } else {
            modes();
        }
        reference_ = row_;
        return result::row;
    }

    const pixels& row() const { return row_; }
    void white_reference() { reference_ = pixels(size()); }

private:
    size_t size() const { return static_cast<size_t>(width_); }
    bool bit(size_t i) const { return i < digits_.size() && digits_[i] == '1'; }

    struct known_code {
        int run = -1; // -1: no code begins so
        size_t length = 0;
    };
    using code_table = std::vector<known_code>; // by the next 13 bits

    static code_table table(bool black)
    {
        code_table codes(1 << 13);
        const auto add = [&](int run, std::string_view word) {
            for (size_t i = 0; i < codes.size(); ++i) {
                bool matches = true;
                for (size_t k = 0; k < word.size(); ++k)
                    matches = matches && (i >> (12 - k) & 1) == (word[k] == '1');
                if (matches) codes[i] = {run, word.size()};
            }
        };
        const auto add_rows = [&](const auto& rows) {
            for (const ccitt_run_row& row : rows)
                add(row.run, black ? row.black : row.white);
        };
        add(ccitt_eol_run, ccitt_end_of_line);
        add_rows(ccitt_terminating);
        add_rows(ccitt_make_up);
        add_rows(ccitt_extended_make_up);
        return codes;
    }

    // Run, ccitt_eol_run, or -1 at the end of the data; bits that begin no code are passed
    // over one by one.
    int next_code(bool black)
    {
        static const code_table tables[2] = {table(false), table(true)};
        for (; position_ < digits_.size(); ++position_) {
            size_t look_ahead = 0;
            for (size_t i = 0; i < 13; ++i)
                look_ahead = look_ahead * 2 + bit(position_ + i);
            const known_code& found = tables[black][look_ahead];
            if (found.run < 0) continue;
            position_ += found.length;
            return found.run;
        }
        return -1;
    }

    // A run of one colour, or -1 at the end of the data. EOLs are ignored.
    int64_t run(bool black)
    {
        int64_t sum = 0;
        for (;;) {
            const int code = next_code(black);
            if (code < 0) return -1;
            if (code == ccitt_eol_run) continue;
            sum += code;
            if (code < 64) return sum;
        }
    }

    void paint(int64_t from, int64_t to, bool black)
    {
        for (int64_t i = std::max<int64_t>(from, 0); i < std::min<int64_t>(to, width_); ++i)
            row_[static_cast<size_t>(i)] = black;
    }

    // Runs up to the width: where they end (width + 1 for any place behind it), or -1.
    int runs()
    {
        int64_t position = 0;
        for (bool black = false; position < width_; black = !black) {
            const int64_t length = run(black);
            if (length < 0) return -1;
            paint(position, position + length, black);
            position += length;
        }
        return static_cast<int>(std::min<int64_t>(position, width_ + 1));
    }

    // False where no mode or no run can be read; the row is then painted up to the width.
    bool modes()
    {
        row_ = pixels(size());
        int64_t a0 = -1;
        bool black = false;
        while (a0 < width_) {
            const int b1 = changing_element(reference_, static_cast<int>(a0), !black);
            const int b2 = run_end(reference_, b1, !black);
            const ccitt_mode_row* mode = next_mode();
            if (!mode) return paint(a0, width_, black), false;
            if (mode->mode == ccitt_mode::pass) {
                paint(a0, b2, black);
                a0 = b2;
            } else if (mode->mode == ccitt_mode::vertical) {
                const int64_t a1 = std::max<int64_t>({b1 + mode->offset, a0, 0});
                paint(a0, a1, black);
                a0 = a1;
                black = !black;
            } else {
                const int64_t first = run(black);
                const int64_t second = first < 0 ? -1 : run(!black);
                if (second < 0) return paint(a0, width_, black), false;
                const int64_t a1 = std::max<int64_t>(a0, 0) + first;
                paint(a0, a1, black);
                paint(a1, a1 + second, !black);
                a0 = a1 + second;
            }
        }
        return true;
    }

    const ccitt_mode_row* next_mode()
    {
        for (const ccitt_mode_row& row : ccitt_modes) {
            bool matches = true;
            for (size_t i = 0; i < row.code.size(); ++i)
                matches = matches && bit(position_ + i) == (row.code[i] == '1');
            if (!matches) continue;
            position_ += row.code.size();
            return &row;
        }
        return nullptr;
    }

    std::string digits_;
    size_t position_ = 0;
    int width_;
    pixels row_;
    pixels reference_;
};

/// Rows as scanned pages have them: text-like strokes, dithers, single pixels, empty rows.
class row_maker {
public:
    explicit row_maker(uint32_t seed) : random_(seed) {}

    uint32_t number(uint32_t below) { return static_cast<uint32_t>(random_() % below); }

    pixels next(const pixels& above)
    {
        pixels row = above;
        switch (number(8)) {
        case 0: return pixels(row.size(), number(4) == 0);
        case 1: return runs(row.size(), 1 + number(3));
        case 2: return runs(row.size(), 40);
        case 3: return runs(row.size(), 4000);
        case 4:
            for (size_t i = 0; i < row.size(); ++i)
                row[i] = (i + number(9) / 8) % 2 != 0;
            return row;
        case 5: return row;
        default: shift_edges(row); return row;
        }
    }

private:
    pixels runs(size_t width, uint32_t longest)
    {
        pixels row;
        for (bool black = number(2) != 0; row.size() < width; black = !black)
            row.resize(std::min(width, row.size() + 1 + number(longest)), black);
        return row;
    }

    // Strokes whose edges wander by a few pixels from row to row.
    void shift_edges(pixels& row)
    {
        const pixels above = row;
        for (size_t i = 0; i < row.size(); ++i) {
            const size_t from = i + number(3);
            row[i] = from >= 1 && from - 1 < row.size() && above[from - 1];
        }
    }

    std::mt19937 random_;
};

} // namespace plain
