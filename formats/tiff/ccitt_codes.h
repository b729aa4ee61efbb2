// ccitt_codes.h - the code words of ITU-T T.4 and T.6 as those print them; decoder and
// encoder derive their look-up forms from these tables.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

/// Code words of one run length. A code word counts its digits, so no zero gets lost.
struct ccitt_run_row {
    int run;
    std::string_view white;
    std::string_view black;
};

// clang-format off

// Table 2/T.4, terminating codes.
inline constexpr ccitt_run_row ccitt_terminating[] = {
    // run  white        black
    { 0, "00110101", "0000110111"  },
    { 1, "000111",   "010"         },
    { 2, "0111",     "11"          },
    { 3, "1000",     "10"          },
    { 4, "1011",     "011"         },
    { 5, "1100",     "0011"        },
    { 6, "1110",     "0010"        },
    { 7, "1111",     "00011"       },
    { 8, "10011",    "000101"      },
    { 9, "10100",    "000100"      },
    {10, "00111",    "0000100"     },
    {11, "01000",    "0000101"     },
    {12, "001000",   "0000111"     },
    {13, "000011",   "00000100"    },
    {14, "110100",   "00000111"    },
    {15, "110101",   "000011000"   },
    {16, "101010",   "0000010111"  },
    {17, "101011",   "0000011000"  },
    {18, "0100111",  "0000001000"  },
    {19, "0001100",  "00001100111" },
    {20, "0001000",  "00001101000" },
    {21, "0010111",  "00001101100" },
    {22, "0000011",  "00000110111" },
    {23, "0000100",  "00000101000" },
    {24, "0101000",  "00000010111" },
    {25, "0101011",  "00000011000" },
    {26, "0010011",  "000011001010"},
    {27, "0100100",  "000011001011"},
    {28, "0011000",  "000011001100"},
    {29, "00000010", "000011001101"},
    {30, "00000011", "000001101000"},
    {31, "00011010", "000001101001"},
    {32, "00011011", "000001101010"},
    {33, "00010010", "000001101011"},
    {34, "00010011", "000011010010"},
    {35, "00010100", "000011010011"},
    {36, "00010101", "000011010100"},
    {37, "00010110", "000011010101"},
    {38, "00010111", "000011010110"},
    {39, "00101000", "000011010111"},
    {40, "00101001", "000001101100"},
    {41, "00101010", "000001101101"},
    {42, "00101011", "000011011010"},
    {43, "00101100", "000011011011"},
    {44, "00101101", "000001010100"},
    {45, "00000100", "000001010101"},
    {46, "00000101", "000001010110"},
    {47, "00001010", "000001010111"},
    {48, "00001011", "000001100100"},
    {49, "01010010", "000001100101"},
    {50, "01010011", "000001010010"},
    {51, "01010100", "000001010011"},
    {52, "01010101", "000000100100"},
    {53, "00100100", "000000110111"},
    {54, "00100101", "000000111000"},
    {55, "01011000", "000000100111"},
    {56, "01011001", "000000101000"},
    {57, "01011010", "000001011000"},
    {58, "01011011", "000001011001"},
    {59, "01001010", "000000101011"},
    {60, "01001011", "000000101100"},
    {61, "00110010", "000001011010"},
    {62, "00110011", "000001100110"},
    {63, "00110100", "000001100111"},
};

// Table 3a/T.4, make-up codes.
inline constexpr ccitt_run_row ccitt_make_up[] = {
    // run    white        black
    {  64, "11011",     "0000001111"   },
    { 128, "10010",     "000011001000" },
    { 192, "010111",    "000011001001" },
    { 256, "0110111",   "000001011011" },
    { 320, "00110110",  "000000110011" },
    { 384, "00110111",  "000000110100" },
    { 448, "01100100",  "000000110101" },
    { 512, "01100101",  "0000001101100"},
    { 576, "01101000",  "0000001101101"},
    { 640, "01100111",  "0000001001010"},
    { 704, "011001100", "0000001001011"},
    { 768, "011001101", "0000001001100"},
    { 832, "011010010", "0000001001101"},
    { 896, "011010011", "0000001110010"},
    { 960, "011010100", "0000001110011"},
    {1024, "011010101", "0000001110100"},
    {1088, "011010110", "0000001110101"},
    {1152, "011010111", "0000001110110"},
    {1216, "011011000", "0000001110111"},
    {1280, "011011001", "0000001010010"},
    {1344, "011011010", "0000001010011"},
    {1408, "011011011", "0000001010100"},
    {1472, "010011000", "0000001010101"},
    {1536, "010011001", "0000001011010"},
    {1600, "010011010", "0000001011011"},
    {1664, "011000",    "0000001100100"},
    {1728, "010011011", "0000001100101"},
};

// Table 3b/T.4, extended make-up codes, the same for both colours.
inline constexpr ccitt_run_row ccitt_extended_make_up[] = {
    {1792, "00000001000",  "00000001000" },
    {1856, "00000001100",  "00000001100" },
    {1920, "00000001101",  "00000001101" },
    {1984, "000000010010", "000000010010"},
    {2048, "000000010011", "000000010011"},
    {2112, "000000010100", "000000010100"},
    {2176, "000000010101", "000000010101"},
    {2240, "000000010110", "000000010110"},
    {2304, "000000010111", "000000010111"},
    {2368, "000000011100", "000000011100"},
    {2432, "000000011101", "000000011101"},
    {2496, "000000011110", "000000011110"},
    {2560, "000000011111", "000000011111"},
};

// T.4 4.1.2, end of line.
inline constexpr std::string_view ccitt_end_of_line = "000000000001";
inline constexpr int ccitt_longest_code = 13;

// Table 4/T.4 and table 1/T.6, the modes of two-dimensional coding.
enum class ccitt_mode : uint8_t { vertical, horizontal, pass, none };
struct ccitt_mode_row {
    ccitt_mode mode;
    int offset; // a1 - b1 of a vertical mode
    std::string_view code;
};
inline constexpr ccitt_mode_row ccitt_modes[] = {
    {ccitt_mode::pass,       0,  "0001"   },
    {ccitt_mode::horizontal, 0,  "001"    },
    {ccitt_mode::vertical,   0,  "1"      },
    {ccitt_mode::vertical,   1,  "011"    },
    {ccitt_mode::vertical,   2,  "000011" },
    {ccitt_mode::vertical,   3,  "0000011"},
    {ccitt_mode::vertical,   -1, "010"    },
    {ccitt_mode::vertical,   -2, "000010" },
    {ccitt_mode::vertical,   -3, "0000010"},
};
inline constexpr int ccitt_longest_mode = 7;

// clang-format on

enum ccitt_color : uint32_t { ccitt_white = 0, ccitt_black = 1 };

/// A code word as a number.
struct ccitt_word {
    uint16_t bits = 0;
    uint8_t length = 0;
};

constexpr ccitt_word ccitt_word_of(std::string_view digits)
{
    ccitt_word word;
    for (char digit : digits) {
        word.bits = static_cast<uint16_t>(word.bits << 1 | (digit == '1'));
        ++word.length;
    }
    return word;
}

/// One code of one colour. EOL has a run of its own.
struct ccitt_run_code {
    int run;
    ccitt_word word;
};
inline constexpr int ccitt_eol_run = 4095;

/// All codes that can stand where a run of this colour is expected.
using ccitt_code_set = std::array<ccitt_run_code, 64 + 27 + 13 + 1>;

constexpr ccitt_code_set ccitt_codes_of(ccitt_color color)
{
    ccitt_code_set codes{};
    size_t n = 0;
    const auto add = [&](const ccitt_run_row& row) {
        codes[n++] = {row.run, ccitt_word_of(color == ccitt_white ? row.white : row.black)};
    };
    for (const ccitt_run_row& row : ccitt_terminating)
        add(row);
    for (const ccitt_run_row& row : ccitt_make_up)
        add(row);
    for (const ccitt_run_row& row : ccitt_extended_make_up)
        add(row);
    codes[n] = {ccitt_eol_run, ccitt_word_of(ccitt_end_of_line)};
    return codes;
}

constexpr bool ccitt_starts_with(ccitt_word word, ccitt_word start)
{
    return word.length >= start.length && word.bits >> (word.length - start.length) == start.bits;
}

/// No code starts with another one, and run lengths rise in steps of 1, then of 64.
constexpr bool ccitt_is_sound(const ccitt_code_set& codes)
{
    for (size_t i = 0; i < codes.size(); ++i) {
        const int expected = i < 64 ? static_cast<int>(i) : static_cast<int>(i - 63) * 64;
        if (codes[i].run != expected && codes[i].run != ccitt_eol_run) return false;
        if (codes[i].word.length < 2 || codes[i].word.length > ccitt_longest_code) return false;
        for (size_t k = 0; k < codes.size(); ++k)
            if (i != k && ccitt_starts_with(codes[i].word, codes[k].word)) return false;
    }
    return true;
}

/// How much of all 13-bit look-aheads the codes cover; a mistyped digit changes it.
constexpr int ccitt_covered(const ccitt_code_set& codes)
{
    int covered = 0;
    for (const ccitt_run_code& code : codes)
        covered += 1 << (ccitt_longest_code - code.word.length);
    return covered;
}

static_assert(ccitt_is_sound(ccitt_codes_of(ccitt_white)));
static_assert(ccitt_is_sound(ccitt_codes_of(ccitt_black)));
// All look-aheads are covered but 30, which begin with eight zeros: a single wrong digit
// would leave another hole or an overlap.
static_assert(ccitt_covered(ccitt_codes_of(ccitt_white)) == (1 << ccitt_longest_code) - 30);
static_assert(ccitt_covered(ccitt_codes_of(ccitt_black)) == (1 << ccitt_longest_code) - 30);
