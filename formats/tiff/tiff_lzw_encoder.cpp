// tiff_lzw_encoder.cpp - makes the LZW codes of TIFF 6.0 section 13.
//
// The codes are those of the greedy search, so how strings are found is free: a table hashed
// by prefix and byte, whose entries hold key and code in one word. It is large for its few
// thousand strings, because a second probe costs more than the slower memory. Each step
// waits for the one before, so two strips are coded in turn, each in the other's waiting time.

#include "formats/tiff/tiff_lzw_encoder.h"

#include <array>
#include <cstring>

namespace {

constexpr uint32_t clear_code = 256;
constexpr uint32_t end_code = 257;
constexpr uint32_t first_free_code = 258;
constexpr uint32_t first_width = 9;
constexpr uint32_t widest = 12;
// INTENDED: the table is cleared 16 codes before it is full.
constexpr uint32_t last_limit = 4080;

constexpr uint32_t hash_bits = 15;
constexpr uint32_t hash_entries = 1u << hash_bits;

// An entry is key << 12 | code; 0 is a free one, because codes start at 258. The place of a
// key is prefix << 3 in exclusive or with a value for its byte: of the byte's high bits random
// groups of eight places, in them the low bits, so that bytes that are nearly equal, as noise
// has them, share a line of the cache. That value waits for nothing.
constexpr uint32_t group_bits = 3;
constexpr uint32_t next_group = 37 << group_bits;

constexpr auto places_of_bytes = [] {
    std::array<uint16_t, 256> places{};
    for (uint32_t byte = 0; byte < 256; ++byte) {
        const uint32_t random = (byte >> group_bits) * 0x9E3779B1u >> (32 - hash_bits);
        places[byte] = static_cast<uint16_t>((random & ~7u) | (byte & 7));
    }
    return places;
}();

// All bits set for 0, else none: by subtraction, because compilers make branches of a
// comparison.
inline uint32_t all_bits_of_zero(uint32_t v)
{
    return static_cast<uint32_t>((uint64_t{v} - 1) >> 32);
}

// Codes are put together in a machine word: 64 bits, or 32 in the DLL. Beside the 7 bits that
// may be left of the last byte there is room for so many of them.
using word = size_t;
constexpr uint32_t word_bits = sizeof(word) * 8;
constexpr int codes_in_word = (word_bits - 8) / widest;

inline void store_word_be(uint8_t* p, word v)
{
    if constexpr (sizeof(word) == 8)
        v = __builtin_bswap64(v);
    else
        v = __builtin_bswap32(v);
    std::memcpy(p, &v, sizeof v);
}

// The coding of one strip. Everything is inlined, so that two of them live in registers: a lane
// with an address would be loaded again after every store.
struct lane {
    const uint8_t* next;
    const uint8_t* end;
    uint8_t* to;
    uint32_t* table;
    word bits = 0; // the last bit_count bits, at most 7, are not yet in the output
    uint32_t bit_count = 0;
    uint32_t width = first_width;
    uint32_t next_code = first_free_code;
    uint32_t limit = 1u << first_width; // next code at which the width grows or the table ends
    uint32_t prefix = 0;                // code of the string found so far

    [[gnu::always_inline]] lane(lzw_strip& strip, uint32_t* table_entries)
        : next(strip.bytes), end(strip.bytes + strip.count), to(strip.codes), table(table_entries)
    {
        if (next == end) return;
        clear();
        put(clear_code);
        prefix = *next++;
    }

    [[gnu::always_inline]] void clear()
    {
        std::memset(table, 0, hash_entries * sizeof *table);
        width = first_width;
        next_code = first_free_code;
        limit = 1u << first_width;
    }

    [[gnu::always_inline]] void drain()
    {
        store_word_be(to, bits << 1 << (word_bits - 1 - bit_count));
        to += bit_count >> 3;
        bit_count &= 7;
    }

    [[gnu::always_inline]] void put(uint32_t code)
    {
        bits = bits << width | code;
        bit_count += width;
        drain();
    }

    // Whether a string is in the table cannot be foretold, so both outcomes take the same
    // steps: a code of no bits is put where the string goes on, its entry stored again.
    [[gnu::always_inline]] void step()
    {
        const uint32_t byte = *next++;
        const uint32_t key = prefix << 8 | byte;
        uint32_t place = prefix << group_bits ^ places_of_bytes[byte];
        uint32_t entry = table[place];
        uint32_t is_new = all_bits_of_zero(entry);
        while (((entry >> 12 ^ key) & ~is_new) != 0)
            [[unlikely]]
            {
                place = (place + next_group) % hash_entries;
                entry = table[place];
                is_new = all_bits_of_zero(entry);
            }
        const uint32_t added = width & is_new;
        bits = bits << added | (prefix & is_new);
        bit_count += added;
        table[place] = entry | ((key << 12 | next_code) & is_new);
        next_code -= is_new;
        prefix = (entry & 0xFFF) | (byte & is_new);
        if (next_code == limit) widen();
    }

    bool has_steps() const { return end - next >= codes_in_word; }
    [[gnu::always_inline]] void steps(int count)
    {
        for (int i = 0; i < count; ++i)
            step();
        drain();
    }

    [[gnu::always_inline]] void widen()
    {
        if (width == widest) {
            drain();
            put(clear_code);
            clear();
        } else {
            ++width;
            limit = width == widest ? last_limit : 1u << width;
        }
    }

    [[gnu::always_inline]] size_t finish(const lzw_strip& strip)
    {
        if (strip.count == 0) return 0;
        put(prefix);
        // The decoder has one string more by now.
        if (++next_code == limit && width < widest) ++width;
        put(end_code);
        to += bit_count != 0 ? 1 : 0; // what drain has stored of the last byte
        return static_cast<size_t>(to - strip.codes);
    }
};

} // namespace

int32_t tiff_lzw_encoder::init_tif_lzw_save()
{
    return tables_.allocate(2 * hash_entries * sizeof(uint32_t)) ? 0 : int32_t{err_memory};
}

void tiff_lzw_encoder::encode_tif_lzw(lzw_strip& first, lzw_strip& second)
{
    lane a(first, tables_.as<uint32_t>());
    lane b(second, tables_.as<uint32_t>() + hash_entries);
    while (a.has_steps() && b.has_steps()) {
        for (int i = 0; i < codes_in_word; ++i) {
            a.step();
            b.step();
        }
        a.drain();
        b.drain();
    }
    while (a.next < a.end)
        a.steps(a.has_steps() ? codes_in_word : 1);
    while (b.next < b.end)
        b.steps(b.has_steps() ? codes_in_word : 1);
    first.code_bytes = a.finish(first);
    second.code_bytes = b.finish(second);
}
