// ccitt_lookup.h - the code tables turned for decoding: one look-up with the next 13 bits
// gives a run code, and where two terminating codes follow each other within them, both.
#pragma once

#include "formats/tiff/ccitt_codes.h"

enum class ccitt_kind : uint32_t { none, single, pair, make_up, eol };

/// What a 13-bit look-ahead begins with, packed into 32 bits.
struct ccitt_run_entry {
    uint32_t packed = 0;

    /// Bits of all codes in the entry.
    constexpr uint32_t length() const { return packed & 15; }
    /// Bits of the first code.
    constexpr uint32_t first_length() const { return packed >> 4 & 15; }
    constexpr uint32_t first_run() const { return packed >> 8 & 4095; }
    /// Of the other colour, kind pair only.
    constexpr uint32_t second_run() const { return packed >> 20 & 63; }
    constexpr ccitt_kind kind() const { return static_cast<ccitt_kind>(packed >> 26); }
};

constexpr ccitt_run_entry ccitt_make_entry(ccitt_kind kind, uint32_t first_length, uint32_t run)
{
    return {static_cast<uint32_t>(kind) << 26 | run << 8 | first_length << 4 | first_length};
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
        const ccitt_run_entry entry =
            ccitt_make_entry(kind, code.word.length, static_cast<uint32_t>(code.run));
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
    const ccitt_run_table others =
        ccitt_single_codes(color == ccitt_white ? ccitt_black : ccitt_white);
    for (uint32_t i = 0; i < ccitt_run_entries; ++i) {
        const ccitt_run_entry first = table[i];
        if (first.kind() != ccitt_kind::single) continue;
        const uint32_t used = first.length();
        const ccitt_run_entry second = others[i << used & (ccitt_run_entries - 1)];
        if (second.kind() != ccitt_kind::single) continue;
        if (used + second.length() > ccitt_longest_code) continue;
        table[i].packed = static_cast<uint32_t>(ccitt_kind::pair) << 26 | second.first_run() << 20 |
                          first.first_run() << 8 | used << 4 | (used + second.length());
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
