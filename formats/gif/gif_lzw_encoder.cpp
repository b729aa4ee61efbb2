// gif_lzw_encoder.cpp - pixels to codes.

#include "formats/gif/gif_lzw_encoder.h"

namespace {

// INTENDED: with 12 bits the table is cleared once this code has been given, not at 4095.
constexpr uint32_t last_code = 4080;

constexpr uint32_t slot_bits = 15;
constexpr uint32_t slot_count = 1u << slot_bits;
constexpr uint32_t leap_bits = 10;
constexpr uint32_t leap_pixels = 8;

constexpr uint32_t key_of(uint32_t prefix, uint8_t pixel)
{
    return prefix << 8 | pixel;
}

inline uint64_t load_eight(const uint8_t* p)
{
    uint64_t eight;
    std::memcpy(&eight, p, sizeof eight);
    return eight;
}

} // namespace

// The strings of a stream. 0 in a slot means none: code 0 is a single pixel, and nothing leads
// to those.
struct gif_string_tree {
    // A step of eight pixels from one string to the next; a cache that may forget.
    struct leap {
        uint64_t pixels;
        uint32_t generation;
        uint16_t from, to;
    };

    // Where a key is, or the empty slot that is free for it: then the code is 0.
    struct place {
        uint32_t slot, code;
    };

    // Codes and keys apart, so that as much as possible of the hash table stays in the cache.
    uint16_t slots[slot_count];          // hash table of codes, an eighth full
    uint32_t keys[gif_code_count];       // of each code
    uint8_t leaps_begin[gif_code_count]; // 1: a leap from this string was recorded
    leap leaps[1u << leap_bits];
    uint32_t generation;

    void clear();
    place gif_in_table(uint32_t key) const;
    void gif_add_table_entry(uint32_t slot, uint32_t key, uint32_t code);
    void add_leaps(uint32_t to);
    uint32_t add_leap(uint32_t to);
    uint32_t find_leap(uint32_t from, const uint8_t* pixels) const;
    static uint32_t leap_index(uint32_t from, uint64_t pixels)
    {
        return static_cast<uint32_t>((pixels + from) * 0x9E3779B97F4A7C15 >> (64 - leap_bits));
    }
};

void gif_string_tree::clear()
{
    std::memset(slots, 0, sizeof slots);
    std::memset(leaps_begin, 0, sizeof leaps_begin);
    ++generation;
}

inline gif_string_tree::place gif_string_tree::gif_in_table(uint32_t key) const
{
    uint32_t slot = (key >> 8 << (slot_bits - gif_widest_code)) ^
                    (key & 0xFF) * 0x9E3779B1u >> (32 - slot_bits);
    uint32_t code = slots[slot];
    while (code != 0 && keys[code] != key) {
        slot = (slot + 1) & (slot_count - 1);
        code = slots[slot];
    }
    return {slot, code};
}

inline void gif_string_tree::gif_add_table_entry(uint32_t slot, uint32_t key, uint32_t code)
{
    slots[slot] = static_cast<uint16_t>(code);
    keys[code] = key;
}

// Records the leap over the last eight pixels of a string.  Returns where it begins.
uint32_t gif_string_tree::add_leap(uint32_t to)
{
    uint32_t from = to;
    uint64_t eight = 0;
    for (uint32_t i = 0; i < leap_pixels; ++i) {
        eight = eight << 8 | (keys[from] & 0xFF);
        from = keys[from] >> 8;
    }
    leaps[leap_index(from, eight)] = {eight, generation, static_cast<uint16_t>(from),
                                      static_cast<uint16_t>(to)};
    leaps_begin[from] = 1;
    return from;
}

// Two at a time: strings without a second leap are those of photographs, in which looking for
// the first one costs more than it saves.
void gif_string_tree::add_leaps(uint32_t to)
{
    add_leap(add_leap(to));
}

inline uint32_t gif_string_tree::find_leap(uint32_t from, const uint8_t* pixels) const
{
    const uint64_t eight = load_eight(pixels);
    const leap& found = leaps[leap_index(from, eight)];
    const bool same = found.pixels == eight && found.from == from && found.generation == generation;
    return same ? found.to : 0u;
}

void gif_block_writer::write_block(uint32_t count)
{
    sink_.put(static_cast<uint8_t>(count));
    sink_.put(block_, count);
}

void gif_block_writer::finish(position at)
{
    block_[at.fill] = static_cast<uint8_t>(at.bits);
    write_block(at.fill + (at.bit_count > 0));
    sink_.put(uint8_t{0});
}

gif_lzw_encoder::gif_lzw_encoder(byte_sink& sink, uint32_t code_size, gif_stream_end end)
    : blocks_(sink), end_(end), code_size_(code_size), tree_(sizeof(gif_string_tree))
{
    if (!tree_) return;
    std::memset(tree_.bytes(), 0, tree_.size());
    reset();
    write(1u << code_size_);
}

void gif_lzw_encoder::reset()
{
    tree_.as<gif_string_tree>()->clear();
    width_ = code_size_ + 1;
    width_limit_ = 1u << width_;
    next_code_ = (1u << code_size_) + 2;
}

// A wider code or a fresh table, once the last code of this width has been given.
void gif_lzw_encoder::pass_limit(uint32_t& next_code)
{
    if (width_ == gif_widest_code) {
        write(1u << code_size_);
        reset();
        next_code = next_code_;
        return;
    }
    ++width_;
    width_limit_ = width_ == gif_widest_code ? last_code : 1u << width_;
}

void gif_lzw_encoder::put(const uint8_t* pixels, size_t count)
{
    const uint8_t* const end = pixels + count;
    if (prefix_ == no_prefix && pixels != end) {
        prefix_ = *pixels++;
        length_ = 1;
    }
    // Locals, because the compiler must take every byte stored for a change of a member.
    gif_string_tree& tree = *tree_.as<gif_string_tree>();
    gif_block_writer::position position = position_;
    uint32_t next_code = next_code_;
    uint32_t prefix = prefix_;
    // Of the string; a number, because it can have begun in an earlier row.
    uintptr_t begin = reinterpret_cast<uintptr_t>(pixels) - length_;
    while (pixels != end) {
        if (tree.leaps_begin[prefix] && static_cast<size_t>(end - pixels) >= leap_pixels) {
            if (const uint32_t landing = tree.find_leap(prefix, pixels); landing != 0) {
                prefix = landing;
                pixels += leap_pixels;
                continue;
            }
        }
        const uint32_t key = key_of(prefix, *pixels++);
        const auto [slot, code] = tree.gif_in_table(key);
        if (code != 0) {
            prefix = code;
            continue;
        }
        tree.gif_add_table_entry(slot, key, next_code);
        const uintptr_t length = reinterpret_cast<uintptr_t>(pixels) - begin;
        if (length > 2 * leap_pixels && length % leap_pixels == 1) tree.add_leaps(next_code);
        position = blocks_.gif_writecode(position, prefix, width_);
        prefix = key & 0xFF;
        begin = reinterpret_cast<uintptr_t>(pixels) - 1;
        if (next_code++ == width_limit_) {
            position_ = position;
            pass_limit(next_code);
            position = position_;
        }
    }
    position_ = position;
    next_code_ = next_code;
    prefix_ = prefix;
    length_ = reinterpret_cast<uintptr_t>(pixels) - begin;
}

void gif_lzw_encoder::finish()
{
    if (length_ > 1 || (length_ == 1 && end_ == gif_stream_end::published)) {
        write(prefix_);
        if (end_ == gif_stream_end::published && next_code_++ == width_limit_)
            pass_limit(next_code_);
    }
    write((1u << code_size_) + 1);
    blocks_.finish(position_);
}
