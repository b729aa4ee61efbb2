// plain_ccitt.h - fax codes coded and decoded pixel by pixel and bit by bit, slowly and
// obviously: what the library's coders are compared with. Only the printed code tables are
// shared with the library.
#pragma once

#include "formats/tiff/ccitt_codes.h"
#include "formats/tiff/tiff_struct.h"

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace plain {

using pixels = std::vector<uint8_t>; // 1: black; bits packed into words are slow in debug builds
using byte_string = std::vector<uint8_t>;

inline constexpr uint32_t all_codes[] = {tiff_huffman, tiff_group3, tiff_group3_2d, tiff_group4};
inline const std::string eol(ccitt_end_of_line);

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

inline std::string filled_up(std::string digits, size_t unit)
{
    return digits.append((unit - digits.size() % unit) % unit, '0');
}

/// Pixels as a row of a picture or of a file; 1 bits white, or black.
inline byte_string packed(const pixels& row, bool black_is_1 = false, size_t unit_bytes = 4)
{
    byte_string bytes((row.size() + 8 * unit_bytes - 1) / (8 * unit_bytes) * unit_bytes);
    for (size_t i = 0; i < row.size(); ++i)
        if (row[i]) bytes[i / 8] |= static_cast<uint8_t>(128 >> i % 8);
    for (uint8_t& byte : bytes)
        byte = black_is_1 ? byte : static_cast<uint8_t>(~byte);
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

/// Rows as a strip. Two-dimensional Group 3 has a one-dimensional row after every k - 1 others.
inline std::string encode(const std::vector<pixels>& rows, uint32_t compression, size_t k = 4)
{
    std::string digits;
    for (size_t i = 0; i < rows.size(); ++i) {
        const pixels reference = i > 0 ? rows[i - 1] : pixels(rows[i].size());
        const bool has_tag = compression == tiff_group3_2d;
        const bool is_2d = compression == tiff_group4 || (has_tag && i % k != 0);
        if (compression == tiff_group3 || has_tag) digits += eol;
        if (has_tag) digits += is_2d ? '0' : '1';
        digits += is_2d ? encode_row_2d(rows[i], reference) : encode_row_1d(rows[i]);
        if (compression == tiff_huffman) digits = filled_up(digits, 8);
    }
    return digits;
}

/// What the library writes: Group 3 rows fill words of 16 bits up, a complete one with another
/// word, behind EOLs that are words of their own; Group 4 ends with some EOLs.
inline std::string written(std::vector<pixels> rows, uint32_t compression, size_t width, int eols)
{
    for (pixels& row : rows)
        row.resize(width);
    std::string digits =
        compression == tiff_group3 ? std::string(16, '0') : encode(rows, compression);
    for (const pixels& row : rows)
        if (compression == tiff_group3)
            digits = filled_up(digits + "0000" + eol + encode_row_1d(row) + "0", 16);
    for (int i = 0; compression == tiff_group4 && i < eols; ++i)
        digits += eol;
    return digits;
}

/// The described decoder, one bit and one pixel at a time.
class decoder {
public:
    enum class result { row, quiet_end, error };
    pixels row;

    decoder(const std::string& digits, int width)
        : digits_(digits + std::string(16, '0')), end_(digits.size()), width_(width),
          reference_(static_cast<size_t>(width))
    {
    }

    result next_row(uint32_t compression)
    {
        row = pixels(static_cast<size_t>(width_));
        bool is_2d = compression == tiff_group4;
        if (compression == tiff_group3_2d) {
            if (!find_eol(2001) || position_ >= end_) return result::quiet_end;
            is_2d = digits_[position_++] == '0';
        }
        const bool made = is_2d ? modes() : runs();
        reference_ = row;
        switch (compression) {
        case tiff_group4: return made ? result::row : result::quiet_end;
        case tiff_group3_2d: return made || is_2d ? result::row : result::quiet_end;
        case tiff_group3:
            return made && (find_eol(2000) || position_ >= end_) ? result::row : result::error;
        default:
            position_ = (position_ + 7) / 8 * 8;
            return made && a0_ == width_ ? result::row : result::error;
        }
    }

private:
    using code_map = std::map<std::string_view, int>;
    static code_map codes_of(bool black)
    {
        code_map codes = {{ccitt_end_of_line, ccitt_eol_run}};
        const auto add = [&](const auto& rows) {
            for (const ccitt_run_row& r : rows)
                codes[black ? r.black : r.white] = r.run;
        };
        add(ccitt_terminating);
        add(ccitt_make_up);
        add(ccitt_extended_make_up);
        return codes;
    }

    // Run, ccitt_eol_run, or -1 at the end of the data, behind which zeros follow; bits that
    // begin no code are passed over one by one.
    int next_code(bool black)
    {
        static const code_map codes[2] = {codes_of(false), codes_of(true)};
        for (; position_ < end_; ++position_)
            for (size_t length = 2; length <= 13; ++length) {
                const auto found =
                    codes[black].find(std::string_view(digits_).substr(position_, length));
                if (found == codes[black].end()) continue;
                position_ += length;
                return found->second;
            }
        return -1;
    }

    bool find_eol(int codes)
    {
        for (int code = 0; codes-- > 0 && code >= 0;)
            if ((code = next_code(false)) == ccitt_eol_run) return true;
        return false;
    }

    // Paints a run of one colour; EOLs are ignored. False at the end of the data.
    bool run(bool black)
    {
        int64_t sum = 0;
        for (int code = 64; code >= 64;) {
            if ((code = next_code(black)) < 0) return false;
            if (code != ccitt_eol_run) sum += code;
        }
        paint(std::max<int64_t>(a0_, 0) + sum, black);
        return true;
    }

    void paint(int64_t a1, bool black)
    {
        for (int64_t i = std::max<int64_t>(a0_, 0); i < std::min<int64_t>(a1, width_); ++i)
            row[static_cast<size_t>(i)] = black;
        a0_ = a1;
    }

    // Runs up to the width; false where one cannot be read.
    bool runs()
    {
        a0_ = 0;
        for (bool black = false; a0_ < width_; black = !black)
            if (!run(black)) return false;
        return true;
    }

    // False where no mode or no run can be read; the row is then painted up to the width.
    bool modes()
    {
        bool black = false;
        for (a0_ = -1; a0_ < width_;) {
            const int b1 = changing_element(reference_, static_cast<int>(a0_), !black);
            const ccitt_mode_row* mode = next_mode();
            if (mode && mode->mode == ccitt_mode::pass) {
                paint(run_end(reference_, b1, !black), black);
            } else if (mode && mode->mode == ccitt_mode::vertical) {
                paint(std::max<int64_t>({b1 + mode->offset, a0_, 0}), black);
                black = !black;
            } else if (const int64_t a0 = a0_; !mode || !run(black) || !run(!black)) {
                a0_ = a0;
                return paint(width_, black), false;
            }
        }
        return true;
    }

    const ccitt_mode_row* next_mode()
    {
        for (const ccitt_mode_row& mode : ccitt_modes)
            if (position_ < end_ && digits_.compare(position_, mode.code.size(), mode.code) == 0) {
                position_ += mode.code.size();
                return &mode;
            }
        return nullptr;
    }

    std::string digits_;
    size_t end_;
    size_t position_ = 0;
    int width_;
    int64_t a0_ = 0;
    pixels reference_;
};

/// Rows as scanned pages have them: text-like strokes, dithers, single pixels, empty rows.
class row_maker {
public:
    explicit row_maker(uint32_t seed) : random_(seed) {}

    uint32_t number(uint32_t below) { return static_cast<uint32_t>(random_() % below); }

    std::vector<pixels> page(size_t width, size_t count)
    {
        std::vector<pixels> rows;
        pixels above(width);
        for (size_t i = 0; i < count; ++i)
            rows.push_back(above = next(above));
        return rows;
    }

private:
    pixels next(const pixels& above)
    {
        pixels row;
        const uint32_t longest[] = {1, 3, 40, 4000, 1u << 20};
        const uint32_t kind = number(9);
        for (bool black = number(2) != 0; kind < 5 && row.size() < above.size(); black = !black)
            row.resize(std::min(above.size(), row.size() + 1 + number(longest[kind])), black);
        if (kind == 5) return above;
        // Strokes whose edges wander by a few pixels from row to row.
        for (size_t i = 1; row.size() < above.size(); ++i) {
            const size_t from = i + number(3) - 1;
            row.push_back(from >= 1 && from <= above.size() && above[from - 1]);
        }
        return row;
    }

    std::mt19937 random_;
};

} // namespace plain
