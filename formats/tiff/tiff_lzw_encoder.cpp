// tiff_lzw_encoder.cpp - makes the LZW codes of TIFF 6.0 section 13.
//
// The codes are those of the greedy search, so how strings are found is free: a table hashed
// by prefix and byte, half full at most, whose entries hold key and code in one word.

#include "formats/tiff/tiff_lzw_encoder.h"

#include <bit>
#include <cstring>

namespace {

constexpr uint32_t clear_code = 256;
constexpr uint32_t end_code = 257;
constexpr uint32_t first_free_code = 258;
constexpr uint32_t first_width = 9;
constexpr uint32_t widest = 12;
// INTENDED: the table is cleared 16 codes before it is full.
constexpr uint32_t last_limit = 4080;

constexpr uint32_t hash_bits = 13;
constexpr uint32_t hash_entries = 1u << hash_bits;

// An entry is key << 12 | code; 0 is a free one, because codes start at 258.
inline uint32_t hash_of(uint32_t key)
{
    return key * 0x9E3779B1u >> (32 - hash_bits);
}

inline uint32_t limit_of(uint32_t width)
{
    return width == widest ? last_limit : 1u << width;
}

} // namespace

int32_t tiff_lzw_encoder::init_tif_lzw_save()
{
    return table_.allocate(hash_entries * sizeof(uint32_t)) ? 0 : int32_t{err_memory};
}

void tiff_lzw_encoder::clear_table()
{
    std::memset(table_.bytes(), 0, table_.size());
    width_ = first_width;
    next_code_ = first_free_code;
    limit_ = limit_of(first_width);
}

void tiff_lzw_encoder::put_code(uint32_t code, byte_sink& out)
{
    bits_ = bits_ << width_ | code;
    bit_count_ += width_;
    if (bit_count_ < 32) return;
    bit_count_ -= 32;
    store_u32be(out.reserve(4), static_cast<uint32_t>(bits_ >> bit_count_));
    out.commit(4);
}

void tiff_lzw_encoder::begin_strip(byte_sink& out)
{
    bits_ = 0;
    bit_count_ = 0;
    clear_table();
    put_code(clear_code, out);
    prefix_ = -1;
}

void tiff_lzw_encoder::encode(const uint8_t* bytes, size_t count, byte_sink& out)
{
    if (count == 0) return;
    size_t i = 0;
    uint32_t prefix = prefix_ < 0 ? bytes[i++] : static_cast<uint32_t>(prefix_);
    uint32_t* const table = table_.as<uint32_t>();
    for (; i < count; ++i) {
        const uint32_t byte = bytes[i];
        const uint32_t key = prefix << 8 | byte;
        uint32_t place = hash_of(key);
        uint32_t entry = table[place];
        while (entry >> 12 != key && entry != 0) {
            place = (place + 1) % hash_entries;
            entry = table[place];
        }
        if (entry != 0) {
            prefix = entry & 0xFFF;
            continue;
        }
        put_code(prefix, out);
        table[place] = key << 12 | next_code_++;
        prefix = byte;
        if (next_code_ != limit_) continue;
        if (width_ == widest) {
            put_code(clear_code, out);
            clear_table();
        } else {
            limit_ = limit_of(++width_);
        }
    }
    prefix_ = static_cast<int32_t>(prefix);
}

void tiff_lzw_encoder::end_strip(byte_sink& out)
{
    if (prefix_ >= 0) put_code(static_cast<uint32_t>(prefix_), out);
    // The decoder has one string more by now.
    if (++next_code_ == limit_ && width_ < widest) ++width_;
    put_code(end_code, out);
    for (; bit_count_ > 8; bit_count_ -= 8)
        out.put(static_cast<uint8_t>(bits_ >> (bit_count_ - 8)));
    if (bit_count_ > 0) out.put(static_cast<uint8_t>(bits_ << (8 - bit_count_)));
    bit_count_ = 0;
}
