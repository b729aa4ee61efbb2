// slot_map_test.cpp - the lowest free handle against a plain search.

#include "core/slot_map.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <vector>

TEST(slot_map, agrees_with_a_plain_search_while_it_grows)
{
    slot_map slots;
    std::vector<bool> taken;
    std::mt19937 random(11);
    for (int step = 0; step < 60000; ++step) {
        const auto expected =
            static_cast<uint32_t>(std::find(taken.begin(), taken.end(), false) - taken.begin());
        ASSERT_EQ(slots.lowest_free(), expected) << "step " << step;
        if (expected == slots.capacity()) {
            const uint32_t capacity = std::max(64u, slots.capacity() * 2);
            ASSERT_TRUE(slots.reserve(capacity));
            taken.resize(capacity);
            continue;
        }
        if (random() % 16 < (step / 4000 % 2 ? 4u : 13u)) {
            slots.take(expected);
            taken[expected] = true;
        } else {
            const uint32_t slot = random() % slots.capacity();
            slots.release(slot);
            taken[slot] = false;
        }
    }
}
