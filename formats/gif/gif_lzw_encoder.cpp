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
    // A step of eight pixels from one anchor to the next; a cache that may forget.
    struct leap {
        uint64_t pixels;
        uint32_t generation;
        uint16_t from, to;
    };

    uint16_t pairs[256 * 256];  // codes of strings of two pixels
    uint32_t slots[slot_count]; // hash table of the longer ones, key << 12 | code; an eighth full
    // The last string on the way whose length is 1 more than a multiple of eight, and how
    // many pixels the string has behind it.
    uint16_t anchors[gif_code_count];
    uint8_t steps[gif_code_count];
    uint8_t leaps_begin[gif_code_count]; // 1: a leap from this anchor was recorded
    leap leaps[1u << leap_bits];
    uint32_t generation;

    void clear(uint32_t single_pixels);
    uint32_t* gif_in_table(uint32_t prefix, uint8_t pixel);
    void gif_add_table_entry(uint32_t prefix, uint32_t code);
    void add_leap(uint32_t from, uint32_t to, const uint8_t* pixels);
    uint32_t find_leap(uint32_t from, const uint8_t* pixels) const;
    static uint32_t leap_index(uint32_t from, uint64_t pixels)
    {
        return static_cast<uint32_t>((pixels + from) * 0x9E3779B97F4A7C15 >> (64 - leap_bits));
    }
};

void gif_string_tree::clear(uint32_t single_pixels)
{
    std::memset(pairs, 0, single_pixels * 256 * sizeof pairs[0]);
    std::memset(slots, 0, sizeof slots);
    std::memset(leaps_begin, 0, sizeof leaps_begin);
    for (uint32_t i = 0; i < single_pixels; ++i) {
        anchors[i] = static_cast<uint16_t>(i);
        steps[i] = 0;
    }
    ++generation;
}

// The slot that holds the string's code, or the empty one that is free for it.
inline uint32_t* gif_string_tree::gif_in_table(uint32_t prefix, uint8_t pixel)
{
    const uint32_t key = key_of(prefix, pixel);
    uint32_t slot = (prefix << (slot_bits - gif_widest_code) ^ pixel * 0x1E35u) & (slot_count - 1);
    while (slots[slot] != 0 && slots[slot] >> gif_widest_code != key)
        slot = (slot + 1) & (slot_count - 1);
    return &slots[slot];
}

inline void gif_string_tree::gif_add_table_entry(uint32_t prefix, uint32_t code)
{
    steps[code] = (steps[prefix] + 1) % leap_pixels;
    anchors[code] = steps[code] == 0 ? static_cast<uint16_t>(code) : anchors[prefix];
}

void gif_string_tree::add_leap(uint32_t from, uint32_t to, const uint8_t* pixels)
{
    const uint64_t eight = load_eight(pixels);
    leaps[leap_index(from, eight)] = {eight, generation, static_cast<uint16_t>(from),
                                      static_cast<uint16_t>(to)};
    leaps_begin[from] = 1;
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
    tree_.as<gif_string_tree>()->clear(1u << code_size_);
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
    const uint8_t* const start = pixels;
    const uint8_t* const end = pixels + count;
    if (prefix_ == no_prefix && pixels != end) prefix_ = *pixels++;
    // Locals, because the compiler must take every byte stored for a change of a member.
    gif_string_tree& tree = *tree_.as<gif_string_tree>();
    gif_block_writer::position position = position_;
    const uint32_t single_pixels = 1u << code_size_;
    uint32_t next_code = next_code_;
    uint32_t prefix = prefix_;
    bool found = found_;
    while (pixels != end) {
        if (tree.leaps_begin[prefix] && static_cast<size_t>(end - pixels) >= leap_pixels) {
            if (const uint32_t landing = tree.find_leap(prefix, pixels); landing != 0) {
                prefix = landing;
                found = true;
                pixels += leap_pixels;
                continue;
            }
        }
        const uint8_t pixel = *pixels++;
        if (prefix < single_pixels) {
            uint16_t& pair = tree.pairs[key_of(prefix, pixel)];
            found = pair != 0;
            if (found) {
                prefix = pair;
                continue;
            }
            pair = static_cast<uint16_t>(next_code);
        } else {
            uint32_t& slot = *tree.gif_in_table(prefix, pixel);
            found = slot != 0;
            if (found) {
                prefix = slot & (gif_code_count - 1);
                continue;
            }
            slot = key_of(prefix, pixel) << gif_widest_code | next_code;
        }
        position = blocks_.gif_writecode(position, prefix, width_);
        tree.gif_add_table_entry(prefix, next_code);
        if (tree.steps[next_code] == 0 && static_cast<size_t>(pixels - start) >= leap_pixels)
            tree.add_leap(tree.anchors[prefix], next_code, pixels - leap_pixels);
        prefix = pixel;
        if (next_code++ == width_limit_) {
            position_ = position;
            pass_limit(next_code);
            position = position_;
        }
    }
    position_ = position;
    next_code_ = next_code;
    prefix_ = prefix;
    found_ = found;
}

void gif_lzw_encoder::finish()
{
    if (prefix_ != no_prefix && (found_ || end_ == gif_stream_end::published)) {
        write(prefix_);
        if (end_ == gif_stream_end::published && next_code_++ == width_limit_)
            pass_limit(next_code_);
    }
    write((1u << code_size_) + 1);
    blocks_.finish(position_);
}
