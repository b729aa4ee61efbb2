// slot_map.cpp - the lowest free handle.

#include "core/slot_map.h"

#include <bit>
#include <cstdlib>
#include <cstring>

bool slot_map::reserve(uint32_t capacity)
{
    uint64_t bits = capacity;
    for (int level = 0; level < levels; ++level) {
        const auto words = static_cast<uint32_t>((bits + 63) / 64);
        if (words > words_[level]) {
            auto* grown = static_cast<uint64_t*>(std::realloc(full_[level], size_t{words} * 8));
            if (!grown) return false;
            std::memset(grown + words_[level], 0, size_t{words - words_[level]} * 8);
            full_[level] = grown;
            words_[level] = words;
        }
        bits = words;
    }
    if (capacity > capacity_) capacity_ = capacity;
    return true;
}

uint32_t slot_map::lowest_free() const
{
    if (capacity_ == 0) return 0;
    uint64_t index = 0;
    for (int level = levels - 1; level >= 0; --level) {
        if (index >= words_[level]) return capacity_;
        const uint64_t word = full_[level][index];
        if (word == UINT64_MAX) return capacity_;
        index = index * 64 + static_cast<uint64_t>(std::countr_one(word));
    }
    return index < capacity_ ? static_cast<uint32_t>(index) : capacity_;
}

void slot_map::take(uint32_t slot)
{
    for (int level = 0; level < levels; ++level) {
        uint64_t& word = full_[level][slot / 64];
        word |= uint64_t{1} << slot % 64;
        if (word != UINT64_MAX) return;
        slot /= 64;
    }
}

void slot_map::release(uint32_t slot)
{
    for (int level = 0; level < levels; ++level) {
        full_[level][slot / 64] &= ~(uint64_t{1} << slot % 64);
        slot /= 64;
    }
}

void slot_map::clear()
{
    for (int level = 0; level < levels; ++level) {
        std::free(full_[level]);
        full_[level] = nullptr;
        words_[level] = 0;
    }
    capacity_ = 0;
}
