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
    uint32_t peek(uint32_t position) const
    {
        return load_u32le(data_.bytes() + (position >> 3)) >> (position & 7);
    }

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

    static gif_string pixel(uint32_t value) { return {value, 1 | uint64_t{value} << 32}; }
    /// This string, which has a code, and one more pixel.
    gif_string with(uint64_t added_pixel, uint32_t code) const
    {
        const uint32_t tail_length = length() % 8;
        if (tail_length != 0) return {tail | added_pixel << (tail_length * 8), head + 1};
        return {added_pixel, (head & ~uint64_t{0xFFFF0000}) + 1 + (uint64_t{code} << 16)};
    }
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
    gif_string* entries() const { return table_.as<gif_string>(); }

    gif_code_reader& codes_;
    gif_stream_rules rules_;
    uint32_t code_size_;
    uint32_t clear_code_;
    scratch_block table_;
    uint32_t width_ = 0;
    uint32_t next_code_ = 0; // stays at gif_code_count when the table is full
    uint32_t previous_code_ = 0;
    gif_string previous_{}; // the string of previous_code_
    bool behind_clear_;
};
