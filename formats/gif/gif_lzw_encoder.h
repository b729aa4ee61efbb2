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
    /// Where the next code goes; small, so that a loop can keep it in registers.
    struct position {
        uint32_t bits = 0;      // the begun byte, its first bit lowest
        uint32_t bit_count = 0; // 0 to 7 in between codes
        uint32_t fill = 0;      // whole bytes in the block
    };

    explicit gif_block_writer(byte_sink& sink) : sink_(sink) {}

    /// Appends a code.  Returns the position behind it.
    position gif_writecode(position at, uint32_t code, uint32_t width)
    {
        if (at.fill >= full_block_bytes) {
            write_block(at.fill);
            at.fill = 0;
        }
        at.bits |= code << at.bit_count;
        at.bit_count += width;
        store_u32le(block_ + at.fill, at.bits);
        at.fill += at.bit_count >> 3;
        at.bits >>= at.bit_count & ~7u;
        at.bit_count &= 7;
        return at;
    }

    /// Writes what is left and the empty block.
    void finish(position at);

private:
    static constexpr uint32_t full_block_bytes = 253;

    void write_block(uint32_t count);

    byte_sink& sink_;
    uint8_t block_[264];
};

/// The strings that have codes, as a tree: from a string and one more pixel to a code, and in
/// steps of eight pixels where long strings allow it.
struct gif_string_tree;

class gif_lzw_encoder {
public:
    /// code_size  minimum code size, 2 to 8
    gif_lzw_encoder(byte_sink& sink, uint32_t code_size, gif_stream_end end);
    bool ok() const { return static_cast<bool>(tree_); }

    /// Appends pixels, each below 2^code_size.
    void put(const uint8_t* pixels, size_t count);

    /// Writes what is pending, the end code and the empty block.
    void finish();

private:
    static constexpr uint32_t no_prefix = UINT32_MAX;

    void reset();
    void write(uint32_t code) { position_ = blocks_.gif_writecode(position_, code, width_); }
    void pass_limit(uint32_t& next_code);

    gif_block_writer blocks_;
    gif_block_writer::position position_;
    gif_stream_end end_;
    uint32_t code_size_;
    scratch_block tree_;
    uint32_t width_ = 0;
    uint32_t width_limit_ = 0; // the last code of this width
    uint32_t next_code_ = 0;
    uint32_t prefix_ = no_prefix;
    size_t length_ = 0; // of the string that prefix_ stands for
};
