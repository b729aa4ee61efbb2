// slot_map.h - which handles are free: a tree of bit words, so that the lowest free one is
// found in a few steps however many are taken.
#pragma once

#include <cstdint>

class slot_map {
public:
    slot_map() = default;
    ~slot_map() { clear(); }
    slot_map(const slot_map&) = delete;
    slot_map& operator=(const slot_map&) = delete;

    /// Makes room for handles 0 to capacity - 1; false when memory ran out (nothing changed).
    bool reserve(uint32_t capacity);

    /// The lowest free handle; capacity() when every one is taken.
    uint32_t lowest_free() const;

    void take(uint32_t slot);
    void release(uint32_t slot);
    uint32_t capacity() const { return capacity_; }

    /// Frees all room; every handle is free again.
    void clear();

private:
    // 64^6 handles are more than 32 bits can name. Every level has a word from the first
    // reserve on, so take() marks full words all the way up.
    static constexpr int levels = 6;
    uint64_t* full_[levels] = {}; // level 0: slot taken; above: word below full
    uint32_t words_[levels] = {};
    uint32_t capacity_ = 0;
};
