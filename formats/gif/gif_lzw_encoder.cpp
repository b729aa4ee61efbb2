// gif_lzw_encoder.cpp - pixels to codes.

#include "formats/gif/gif_lzw_encoder.h"

namespace {

// INTENDED: with 12 bits the table is cleared once this code has been given, not at 4095.
constexpr uint32_t last_code = 4080;

constexpr uint32_t key_of(uint32_t prefix, uint8_t pixel)
{
    return prefix << 8 | pixel;
}

} // namespace

void gif_block_writer::write_block(uint32_t count)
{
    sink_.put(static_cast<uint8_t>(count));
    sink_.put(block_, count);
    fill_ = 0;
}

void gif_block_writer::finish()
{
    block_[fill_] = static_cast<uint8_t>(bits_);
    write_block(fill_ + (bit_count_ > 0));
    bits_ = bit_count_ = 0;
    sink_.put(uint8_t{0});
}

gif_lzw_encoder::gif_lzw_encoder(byte_sink& sink, uint32_t code_size, gif_stream_end end)
    : blocks_(sink), end_(end), code_size_(code_size), strings_(slot_count * sizeof(uint32_t))
{
    if (!strings_) return;
    reset();
    blocks_.gif_writecode(1u << code_size_, width_);
}

void gif_lzw_encoder::reset()
{
    std::memset(strings_.bytes(), 0xFF, strings_.size());
    width_ = code_size_ + 1;
    width_limit_ = 1u << width_;
    next_code_ = (1u << code_size_) + 2;
}

// The next code has been given to a string: a wider code or a fresh table comes when the
// limit was passed.
void gif_lzw_encoder::count_code()
{
    ++next_code_;
    if (next_code_ != width_limit_ + 1) return;
    if (width_ == gif_widest_code) {
        blocks_.gif_writecode(1u << code_size_, width_);
        reset();
        return;
    }
    ++width_;
    width_limit_ = width_ == gif_widest_code ? last_code : 1u << width_;
}

void gif_lzw_encoder::put(const uint8_t* pixels, size_t count)
{
    const uint8_t* const end = pixels + count;
    if (prefix_ == no_prefix && pixels != end) prefix_ = *pixels++;
    uint32_t* const slots = strings_.as<uint32_t>();
    uint32_t prefix = prefix_;
    bool found = found_;
    while (pixels != end) {
        const uint8_t pixel = *pixels++;
        const uint32_t key = key_of(prefix, pixel);
        uint32_t slot = (prefix * 4 ^ pixel * 0x1E35u) & (slot_count - 1);
        while (slots[slot] >> 12 != key && slots[slot] != empty_slot)
            slot = (slot + 1) & (slot_count - 1);
        found = slots[slot] != empty_slot;
        if (found) {
            prefix = slots[slot] & (gif_code_count - 1);
            continue;
        }
        blocks_.gif_writecode(prefix, width_);
        slots[slot] = key << 12 | next_code_;
        count_code();
        prefix = pixel;
    }
    prefix_ = prefix;
    found_ = found;
}

void gif_lzw_encoder::finish()
{
    if (prefix_ != no_prefix && (found_ || end_ == gif_stream_end::published)) {
        blocks_.gif_writecode(prefix_, width_);
        if (end_ == gif_stream_end::published) count_code();
    }
    blocks_.gif_writecode((1u << code_size_) + 1, width_);
    blocks_.finish();
}
