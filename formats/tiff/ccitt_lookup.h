// ccitt_lookup.h - the code tables turned for decoding: one look-up with the next 13 bits
// gives a run code, and where it is followed by another one that belongs to it within them,
// both: a make-up code with its terminating code, or the terminating codes of two runs.
#pragma once

#include "formats/tiff/ccitt_bits.h"
#include "formats/tiff/ccitt_codes.h"

enum class ccitt_kind : uint32_t {
    none,
    eol,
    make_up,
    single, // from here on a whole run: of one code
    made,   // of a make-up code and a terminating code
    pair,   // of one code, and one of the other colour
};

/// What a 13-bit look-ahead begins with, packed into 32 bits: the length in the lowest six, where
/// a shift by it takes it from without a mask.
struct ccitt_run_entry {
    uint32_t packed = 0;

    /// Bits of all codes in the entry.
    constexpr uint32_t length() const { return packed & (ccitt_word_bits - 1); }
    /// Bits of the first code.
    constexpr uint32_t first_length() const { return packed >> 6 & 15; }
    /// Of the first run.
    constexpr uint32_t first_run() const { return packed >> 10 & 4095; }
    /// Of the other colour; 0 where there is none.
    constexpr uint32_t second_run() const { return packed >> 22 & 63; }
    constexpr ccitt_kind kind() const { return static_cast<ccitt_kind>(packed >> 28); }
};

constexpr ccitt_run_entry ccitt_make_entry(ccitt_kind kind, uint32_t first_run,
                                           uint32_t first_length, uint32_t length,
                                           uint32_t second_run = 0)
{
    return {static_cast<uint32_t>(kind) << 28 | second_run << 22 | first_run << 10 |
            first_length << 6 | length};
}

inline constexpr uint32_t ccitt_run_entries = 1u << ccitt_longest_code;
using ccitt_run_table = std::array<ccitt_run_entry, ccitt_run_entries>;

constexpr ccitt_run_table ccitt_single_codes(ccitt_color color)
{
    ccitt_run_table table{};
    for (const ccitt_run_code& code : ccitt_codes_of(color)) {
        const ccitt_kind kind = code.run == ccitt_eol_run ? ccitt_kind::eol
                                : code.run >= 64          ? ccitt_kind::make_up
                                                          : ccitt_kind::single;
        const ccitt_run_entry entry = ccitt_make_entry(kind, static_cast<uint32_t>(code.run),
                                                       code.word.length, code.word.length);
        const uint32_t copies = 1u << (ccitt_longest_code - code.word.length);
        const uint32_t first = code.word.bits * copies;
        for (uint32_t i = 0; i < copies; ++i)
            table[first + i] = entry;
    }
    return table;
}

constexpr ccitt_run_table ccitt_paired_codes(ccitt_color color)
{
    ccitt_run_table table = ccitt_single_codes(color);
    const ccitt_run_table singles = table;
    const ccitt_run_table others =
        ccitt_single_codes(color == ccitt_white ? ccitt_black : ccitt_white);
    for (uint32_t i = 0; i < ccitt_run_entries; ++i) {
        const ccitt_run_entry first = table[i];
        const bool is_made = first.kind() == ccitt_kind::make_up;
        if (!is_made && first.kind() != ccitt_kind::single) continue;
        const uint32_t behind = i << first.length() & (ccitt_run_entries - 1);
        const ccitt_run_entry second = is_made ? singles[behind] : others[behind];
        if (second.kind() != ccitt_kind::single) continue;
        const uint32_t length = first.length() + second.length();
        if (length > ccitt_longest_code) continue;
        const uint32_t runs[2] = {first.first_run(), second.first_run()};
        table[i] =
            is_made ? ccitt_make_entry(ccitt_kind::made, runs[0] + runs[1], first.length(), length)
                    : ccitt_make_entry(ccitt_kind::pair, runs[0], first.length(), length, runs[1]);
    }
    return table;
}

/// Indexed by the colour of the first code, then by the next 13 bits.
inline constexpr std::array<ccitt_run_table, 2> ccitt_run_tables = {
    ccitt_paired_codes(ccitt_white), ccitt_paired_codes(ccitt_black)};

/// A mode, by the next 7 bits.
struct ccitt_mode_entry {
    int8_t offset = 0;
    uint8_t length = 0;
    ccitt_mode mode = ccitt_mode::none;
};

constexpr auto ccitt_make_mode_table()
{
    std::array<ccitt_mode_entry, 1 << ccitt_longest_mode> table{};
    for (const ccitt_mode_row& row : ccitt_modes) {
        const ccitt_word word = ccitt_word_of(row.code);
        const uint32_t copies = 1u << (ccitt_longest_mode - word.length);
        for (uint32_t i = 0; i < copies; ++i)
            table[word.bits * copies + i] = {static_cast<int8_t>(row.offset), word.length,
                                             row.mode};
    }
    return table;
}
inline constexpr auto ccitt_mode_table = ccitt_make_mode_table();

/// A vertical or a pass mode.
struct ccitt_move {
    int8_t turns; // -1 for a vertical mode, 0 for a pass mode
    int8_t offset;
};

/// Two modes of one look-up, as long as they are not horizontal. The table stays in the first
/// cache; with 12 bits, which hold nearly all pairs, it does not.
struct ccitt_mode_pair {
    ccitt_move first, second;
    uint8_t first_length; // 0: there is none
    uint8_t length;       // as first_length: there is no second one
    uint8_t verticals;    // how many vertical modes it begins with
    uint8_t unused;       // a power of two is quicker to index
};
inline constexpr int ccitt_pair_look_ahead = 10;

constexpr auto ccitt_make_mode_pairs()
{
    std::array<ccitt_mode_pair, 1 << ccitt_pair_look_ahead> table{};
    const auto is_move = [](const ccitt_mode_entry& mode) {
        return mode.mode == ccitt_mode::vertical || mode.mode == ccitt_mode::pass;
    };
    const auto move = [](const ccitt_mode_entry& mode) {
        return ccitt_move{static_cast<int8_t>(mode.mode == ccitt_mode::vertical ? -1 : 0),
                          mode.offset};
    };
    constexpr int spare = ccitt_pair_look_ahead - ccitt_longest_mode;
    for (uint32_t i = 0; i < table.size(); ++i) {
        const ccitt_mode_entry first = ccitt_mode_table[i >> spare];
        if (!is_move(first)) continue;
        const uint32_t behind = i << first.length & (table.size() - 1);
        const ccitt_mode_entry second = ccitt_mode_table[behind >> spare];
        table[i] = {move(first), {}, first.length, first.length, 0, 0};
        table[i].verticals = first.mode == ccitt_mode::vertical;
        if (!is_move(second) || first.length + second.length > ccitt_pair_look_ahead) continue;
        table[i].second = move(second);
        table[i].length = static_cast<uint8_t>(first.length + second.length);
        if (table[i].verticals == 1 && second.mode == ccitt_mode::vertical) table[i].verticals = 2;
    }
    return table;
}
inline constexpr auto ccitt_mode_pairs = ccitt_make_mode_pairs();
