// gif_lzw_encoder.h - pixels to GIF's LZW codes (GIF89a, appendix F) in counted sub-blocks.
#pragma once

#include "core/byte_stream.h"
#include "formats/gif/gif_format.h"

/// How a stream ends.
///   classic    INTENDED: the last string is written only if it has more than one pixel, so
///              that pictures can lack their last pixel; and the end code does not grow with
///              the string that a reader adds for it
///   published  every pixel is written, and the end code has the width that readers expect
enum class gif_stream_end { classic, published };

/// Collects codes into sub-blocks of 253 or 254 bytes, the last one shorter.
class gif_block_writer {
public:
    explicit gif_block_writer(byte_sink& sink) : sink_(sink) {}

    void gif_writecode(uint32_t code, uint32_t width)
    {
        if (fill_ >= full_block_bytes) write_block(fill_);
        bits_ |= code << bit_count_;
        bit_count_ += width;
        store_u32le(block_ + fill_, bits_);
        fill_ += bit_count_ >> 3;
        bits_ >>= bit_count_ & ~7u;
        bit_count_ &= 7;
    }

    /// Writes what is left and the empty block.
    void finish();

private:
    static constexpr uint32_t full_block_bytes = 253;

    void write_block(uint32_t count);

    byte_sink& sink_;
    uint32_t bits_ = 0;      // the begun byte, its first bit lowest
    uint32_t bit_count_ = 0; // 0 to 7 in between codes
    uint32_t fill_ = 0;      // whole bytes in the block
    uint8_t block_[264];
};

class gif_lzw_encoder {
public:
    /// code_size  minimum code size, 2 to 8
    gif_lzw_encoder(byte_sink& sink, uint32_t code_size, gif_stream_end end);
    bool ok() const { return static_cast<bool>(strings_); }

    /// Appends pixels, each below 2^code_size.
    void put(const uint8_t* pixels, size_t count);

    /// Writes what is pending, the end code and the empty block.
    void finish();

private:
    /// Strings by prefix code and last pixel: key << 12 | code in a hash table, where the
    /// key is prefix << 8 | pixel. A quarter of the slots at most is used.
    static constexpr uint32_t slot_count = 4 * gif_code_count;
    static constexpr uint32_t empty_slot = UINT32_MAX;

    void reset();
    void gif_add_table_entry(uint32_t& slot, uint32_t key);
    void count_code();

    gif_block_writer blocks_;
    gif_stream_end end_;
    uint32_t code_size_;
    scratch_block strings_;
    uint32_t width_ = 0;
    uint32_t width_limit_ = 0; // the last code of this width
    uint32_t next_code_ = 0;
    uint32_t prefix_ = no_prefix;
    bool found_ = false; // the last look-up found its string

    static constexpr uint32_t no_prefix = UINT32_MAX;
};
