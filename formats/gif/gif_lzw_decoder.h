// gif_lzw_decoder.h - LZW as GIF has it (GIF89a, appendix F): codes least significant bit
// first in counted sub-blocks, 3 to 12 bits wide (2 to 12 here), clear and end codes behind
// the single pixels. Knows pixels only, nothing of rows or files.
#pragma once

#include "core/byte_stream.h"
#include "formats/gif/gif_format.h"

/// Where the classic stream rules and those of GIF89a part.
///   classic    a stream begins as if pixel 0 had just been decoded, and INTENDED: the code
///              behind a clear code is a pixel whatever it is, an end code too
///   published  a stream begins as if behind a clear code; clear and end codes count
///              everywhere, and only a single pixel may follow a clear code
enum class gif_stream_rules { classic, published };

/// The bytes of the sub-blocks, gathered, and codes out of them.
class gif_code_reader {
public:
    /// What getcode_gif gives when the data are over.
    static constexpr uint32_t no_code = 32767;
    /// Sub-blocks are gathered in batches of this many.
    static constexpr int32_t blocks_per_batch = 30;

    explicit gif_code_reader(byte_source& source);
    bool ok() const { return static_cast<bool>(data_); }

    /// The next code of this width, or no_code.
    uint32_t getcode_gif(uint32_t width)
    {
        if (bit_end - bit_position < width && !gather(width)) return no_code;
        const uint32_t code = peek(bit_position) & ((1u << width) - 1);
        bit_position += width;
        return code;
    }

    /// At least 24 bits from a bit position on, which must lie before bit_end.
    uint32_t peek(uint32_t position) const { return peek(data_.bytes(), position); }
    static uint32_t peek(const uint8_t* data, uint32_t position)
    {
        return load_u32le(data + (position >> 3)) >> (position & 7);
    }
    const uint8_t* data() const { return data_.bytes(); }

    // Of the gathered bits; the decoder's inner loop works on them directly.
    uint32_t bit_position = 0;
    uint32_t bit_end = 0;

private:
    bool gather(uint32_t width);

    byte_source& source_;
    scratch_block data_;
    bool at_end_ = false;
};

/// A string is kept as its last 1 to 8 pixels and a link to the string before those, so that
/// it is written in steps of eight pixels, from its end.
struct gif_string {
    uint64_t tail; // the pixels, first one lowest; zeros behind the last
    uint64_t head; // length of the whole string, link << 16, first pixel << 32

    uint32_t length() const { return head & 0xFFFF; }
    /// Code of the string without its tail; of no meaning up to length 8.
    uint32_t link() const { return head >> 16 & 0xFFFF; }
    uint64_t first() const { return head >> 32; }

    /// This string, which has a code, and one more pixel.
    gif_string with(uint64_t added_pixel, uint32_t code) const
    {
        const uint32_t tail_length = length() % 8;
        if (tail_length != 0) return {tail | added_pixel << (tail_length * 8), head + 1};
        return {added_pixel, (head & ~uint64_t{0xFFFF0000}) + 1 + (uint64_t{code} << 16)};
    }
};

/// A string of up to 7 pixels in one word, first one lowest, with its length in the highest
/// byte. 0 stands for every other string, and for none.
struct gif_short_string {
    static constexpr uint64_t one = uint64_t{1} << 56; // of the length

    static uint64_t pixel(uint64_t value) { return one | value; }
    static uint64_t of(const gif_string& string)
    {
        return string.length() <= 7 ? string.tail | string.length() * one : 0;
    }
    static gif_string widen(uint64_t string)
    {
        return {string & (one - 1), string >> 56 | (string & 0xFF) << 32};
    }
    /// 1 to 6 pixels, so that one more fits in.
    static bool has_room(uint64_t string) { return string - one < 6 * one; }
    /// The string, which has room, with the first pixel of another.
    static uint64_t with(uint64_t string, uint64_t other)
    {
        return string + one + ((other & 0xFF) << (string >> 53)); // 8 times the length
    }
};

/// The strings of all codes: the short ones in one table, the others in the second.
struct gif_string_table {
    // One entry more than there are codes: what a full table would add goes there.
    uint64_t shorts[gif_code_count + 1];
    gif_string longs[gif_code_count + 1];
};

/// One stream of codes.
class gif_lzw_decoder {
public:
    /// No string is longer, and writing one may touch this many bytes behind its end.
    static constexpr size_t longest_string = gif_code_count;
    static constexpr size_t overshoot = 8;

    enum class status {
        more,   // the limit is reached
        ended,  // an end code was read
        damaged // a code that cannot be, or the data are over
    };

    /// code_size  minimum code size, 1 to 8
    gif_lzw_decoder(gif_code_reader& codes, uint32_t code_size, gif_stream_rules rules);
    bool ok() const { return static_cast<bool>(table_); }

    /// Writes pixels from out on until limit is reached or passed; out moves behind the last.
    /// Room for longest_string + overshoot bytes is needed behind limit.
    status decode(uint8_t*& out, const uint8_t* limit);

private:
    void start_table();
    enum class table_state { growing, full };
    template <table_state state> uint8_t* put_codes(uint8_t* out, const uint8_t* limit);
    uint8_t* put_ordinary_codes(uint8_t* out, const uint8_t* limit);
    status put_code_behind_clear(uint8_t*& out);
    gif_string_table& table() const { return *table_.as<gif_string_table>(); }

    gif_code_reader& codes_;
    gif_stream_rules rules_;
    uint32_t code_size_;
    uint32_t clear_code_;
    scratch_block table_;
    uint32_t width_ = 0;
    uint32_t next_code_ = 0; // stays at gif_code_count when the table is full
    uint32_t previous_code_ = 0;
    // The string of previous_code_.
    uint64_t previous_ = gif_short_string::pixel(0);
    gif_string long_previous_{}; // where that is none of the short ones
    bool behind_clear_;
};
