// ccitt_bits.h - the bits of fax data, most significant first, through a window of one
// machine word.
#pragma once

#include "core/byte_io.h"
#include "core/row_convert.h"

#include <bit>
#include <cstring>

/// The word that bits are handled in: 64 bits, or 32 in the DLL.
using ccitt_machine_word = size_t;
inline constexpr uint32_t ccitt_word_bits = sizeof(ccitt_machine_word) * 8;

inline ccitt_machine_word ccitt_big_endian(ccitt_machine_word word)
{
    if constexpr (sizeof(word) == 8)
        return __builtin_bswap64(word);
    else
        return __builtin_bswap32(word);
}
inline ccitt_machine_word ccitt_load_word(const uint8_t* p)
{
    ccitt_machine_word word;
    std::memcpy(&word, p, sizeof word);
    return ccitt_big_endian(word);
}
inline void ccitt_store_word(uint8_t* p, ccitt_machine_word word)
{
    word = ccitt_big_endian(word);
    std::memcpy(p, &word, sizeof word);
}

/// Of a word that is not 0: std::countr_zero would look for that too.
inline uint32_t ccitt_trailing_zeros(ccitt_machine_word word)
{
    if constexpr (sizeof(word) == 8)
        return static_cast<uint32_t>(__builtin_ctzll(word));
    else
        return static_cast<uint32_t>(__builtin_ctz(static_cast<unsigned>(word)));
}

/// Reverses the bits of every byte: bit i to bit 7 - i (FillOrder 2).
inline void tiff_rvrsbyt(uint8_t* bytes, size_t count)
{
    reverse_bits_of_bytes(bytes, count);
}

class ccitt_bit_source;

/// The next bits of the data. A plain value: an inner loop keeps its own copy in registers.
struct ccitt_bit_window {
    /// Bits that refill makes available.
    static constexpr uint32_t refilled_bits = ccitt_word_bits - 8;

    /// Makes at least refilled_bits bits available, imaginary ones included.
    void refill(ccitt_bit_source& source);

    /// The next bits, 1 to refilled_bits, without taking them.
    uint32_t peek(uint32_t bits) const
    {
        return static_cast<uint32_t>(word >> (ccitt_word_bits - bits));
    }
    void consume(uint32_t bits)
    {
        word <<= bits;
        count -= bits;
    }

    /// Goes on at the next byte boundary, if not at one.
    void align_to_byte() { consume(count & 7); }

    ccitt_machine_word word = 0; // next bit on top; what lies below count is data or 0
    uint32_t count = 0;          // bits in the word, below ccitt_word_bits
    const uint8_t* next = nullptr;
    const uint8_t* end = nullptr;
};

/// Feeds a window from a byte source. Behind the end of the data the bits are 0; no code
/// consists of zeros alone, so a reader of codes notices the end where it finds none.
class ccitt_bit_source {
public:
    /// False when memory ran out.
    bool allocate() { return buffer_ || buffer_.allocate(buffer_bytes); }

    /// Starts at the source's current position.
    ccitt_bit_window start(HFILE file, bool lsb_first);

    /// As refill, when the window has come near the end of the buffer.
    ccitt_bit_window refill_near_end(ccitt_bit_window window);

    /// True when every bit of the data is taken from a refilled window.
    bool ended(const ccitt_bit_window& window) const { return past_end_bytes_ * 8 >= window.count; }

    /// Where no code begins: slides a refilled window on by at least one bit. Positions in
    /// front of twelve zeros are passed at once, because no code begins with them. False at
    /// the end of the data.
    bool skip_unknown(ccitt_bit_window& window) const
    {
        if (ended(window)) return false;
        const auto zeros = static_cast<uint32_t>(std::countl_zero(window.word));
        const uint32_t known_zeros = zeros < window.count ? zeros : window.count;
        window.consume(known_zeros >= 12 ? known_zeros - 11 : 1);
        return true;
    }

private:
    static constexpr uint32_t buffer_bytes = 16 * 1024;

    bool fill_buffer(ccitt_bit_window& window);

    uint32_t past_end_bytes_ = 0; // imaginary bytes that went into the window
    bool source_ended_ = false;
    bool lsb_first_ = false;
    HFILE file_ = HFILE_ERROR;
    scratch_block buffer_;
};

inline void ccitt_bit_window::refill(ccitt_bit_source& source)
{
    if (end - next < static_cast<ptrdiff_t>(sizeof word)) [[unlikely]] {
        *this = source.refill_near_end(*this);
        return;
    }
    word |= ccitt_load_word(next) >> count;
    next += (ccitt_word_bits - 1 - count) >> 3;
    count |= refilled_bits;
}
