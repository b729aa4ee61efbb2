// ccitt_dense.h - lines of dithered pages while they are decoded: changing elements as bits of
// words. Where changes lie a few pixels apart, the branches that walk a list of them cannot be
// predicted; in words the next change is found by counting zeros, without any.
#pragma once

#include "formats/tiff/ccitt_lookup.h"

#include <algorithm>

/// A word of a reference line, the first pixel in bit 0: where the colour changes, by the
/// colour in front. Bits behind the width are 0; behind the line stands a word of ones.
struct ccitt_change_word {
    ccitt_machine_word from[2];
};

/// Finds the changes of a line of words, 1 bits black, the first pixel in bit 0; returns how
/// many. Bits behind the width may hold anything; they are cleared.
uint32_t ccitt_find_changes(ccitt_machine_word* pixels, uint32_t width, ccitt_change_word* changes);
/// From a list of changing elements, and back to one.
void ccitt_changes_of_list(const uint32_t* elements, uint32_t count, uint32_t width,
                           ccitt_change_word* changes);
void ccitt_list_changes(const ccitt_change_word* changes, uint32_t width, uint32_t* elements);

/// Words that a line of pixels, and but for the closing word one of changes, has.
inline uint32_t ccitt_words_of(uint32_t width)
{
    return (width + ccitt_word_bits - 1) / ccitt_word_bits;
}

/// Whether words are faster than a list for a reference line of so many elements. A page
/// between the two keeps what it has got: turning one into the other costs more.
inline bool ccitt_suits_words(uint32_t elements, uint32_t width, bool has_words)
{
    return elements > width / (has_words ? 6 : 3);
}

/// The coding line of a decoder, a value for the routine's own variables. The word in work is the
/// one that a0 lies in.
class ccitt_dense_line {
public:
    /// pixels: gets the line, 1 bits black, the first pixel in bit 0; bits behind the width
    /// may hold anything.
    ccitt_dense_line(const ccitt_change_word* reference, ccitt_machine_word* pixels, uint32_t width)
        : reference_(reference), pixels_(pixels), left_(width)
    {
        load();
    }

    /// A vertical or a pass mode inside the word in work, without a branch that depends on
    /// which. False, and nothing done, where move_far is needed.
    [[gnu::always_inline]] bool move(ccitt_move mode)
    {
        const ccitt_machine_word next = changes_ & ahead_;
        if (next == 0) [[unlikely]]
            return false;
        // A pass mode goes on to b1 here: the next b1 is found from there as from b2.
        const int32_t a1 = static_cast<int32_t>(ccitt_trailing_zeros(next)) + mode.offset;
        if (a1 < a0_ || a1 >= limit_) [[unlikely]]
            return false;
        const ccitt_machine_word from_a1 = ones << a1;
        const auto turns = static_cast<ccitt_machine_word>(ptrdiff_t{mode.turns});
        const ccitt_machine_word from_a0 = ((changes_ ^ all_changes_) | turns) & from_a1;
        if (from_a0 == 0) [[unlikely]]
            return false;
        a0_ = static_cast<int32_t>(ccitt_trailing_zeros(from_a0));
        ahead_ = from_a1 << 1;
        turned_ ^= from_a1 & turns;
        changes_ ^= all_changes_ & turns;
        return true;
    }

    /// The same wherever it leads to; false where that is the width.
    bool move_far(ccitt_move mode)
    {
        const uint32_t b1 = find(0, changes_ & ahead_, color());
        int64_t position = int64_t{b1} + mode.offset;
        if (mode.turns == 0 && b1 < left_) {
            const uint32_t word = b1 / word_bits, other = color() ^ 1;
            position = find(word, reference_[word].from[other] & ones << b1 % word_bits, other);
        }
        position = std::max(position, int64_t{a0_}); // only damaged data lead left of a0
        if (position >= left_) return false;
        go_to(static_cast<uint32_t>(position));
        if (mode.turns != 0) turn();
        return true;
    }

    /// A run of the colour got to and one of the other; false where they reach the width.
    bool add_runs(uint32_t first, uint32_t second)
    {
        const uint64_t a1 = uint64_t{static_cast<uint32_t>(a0_)} + first;
        const uint64_t a2 = a1 + second;
        if (a2 >= static_cast<uint32_t>(limit_)) return add_run(first) && add_run(second);
        turned_ ^= ones << a1 ^ ones << a2;
        a0_ = static_cast<int32_t>(a2);
        ahead_ = ones << a2 << 1;
        return true;
    }

    /// That the line has got to.
    uint32_t color() const { return static_cast<uint32_t>(turned_ >> (word_bits - 1)); }

    /// The rest of the line gets that colour.
    void finish()
    {
        for (; left_ > word_bits; left_ -= word_bits)
            store();
        store();
    }

private:
    static constexpr uint32_t word_bits = ccitt_word_bits;
    static constexpr ccitt_machine_word ones = ~ccitt_machine_word{0};

    void load()
    {
        changes_ = reference_->from[color()];
        all_changes_ = reference_->from[0] ^ reference_->from[1];
        limit_ = static_cast<int32_t>(std::min(left_, word_bits));
    }
    void store()
    {
        *pixels_++ = turned_;
        turned_ = 0 - ccitt_machine_word{color()};
    }
    // To a position in front of the width.
    void go_to(uint32_t position)
    {
        for (; position >= word_bits; position -= word_bits) {
            store();
            left_ -= word_bits;
            ++reference_;
        }
        a0_ = static_cast<int32_t>(position);
        ahead_ = ones << position << 1;
        load();
    }
    void turn()
    {
        turned_ ^= ones << a0_;
        changes_ ^= all_changes_;
    }
    bool add_run(uint32_t length)
    {
        const uint64_t position = uint64_t{static_cast<uint32_t>(a0_)} + length;
        if (position >= left_) return false;
        go_to(static_cast<uint32_t>(position));
        turn();
        return true;
    }
    // The first change from these bits of a word on; at most the width.
    uint32_t find(uint32_t word, ccitt_machine_word bits, uint32_t color) const
    {
        while (bits == 0)
            bits = reference_[++word].from[color];
        return std::min(word * word_bits + ccitt_trailing_zeros(bits), left_);
    }

    // Positions are counted from the word in work on.
    const ccitt_change_word* reference_;
    ccitt_machine_word* pixels_;
    uint32_t left_;     // the width
    int32_t limit_ = 0; // the same in front of the end of the word
    int32_t a0_ = 0;
    ccitt_machine_word ahead_ = ones; // where b1 is looked for
    ccitt_machine_word changes_ = 0;  // of the reference line, those that can be b1
    ccitt_machine_word all_changes_ = 0;
    ccitt_machine_word turned_ = 0; // pixels, as if the colour did not change any more
};
