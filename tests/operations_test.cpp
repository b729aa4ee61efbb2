// operations_test.cpp - every operation beside its plain version, bit for bit: over depths, odd
// sizes and arguments, over the seams of the filters, and in random chains.

#include "tests/reference/operations.h"

#include <climits>

namespace {

struct shape {
    int width, height, bits;
};

// Around the widths and blocks at which wide words, bytes and padding end.
constexpr shape shapes[] = {{1, 1, 0},   {1, 9, 0},   {9, 1, 0},   {2, 3, 0},     {5, 4, 0},
                            {7, 8, 0},   {8, 7, 0},   {15, 17, 0}, {16, 16, 0},   {17, 33, 0},
                            {31, 32, 0}, {33, 31, 0}, {64, 5, 0},  {65, 63, 0},   {127, 5, 0},
                            {5, 129, 0}, {97, 70, 0}, {257, 6, 0}, {130, 140, 0}, {600, 5, 0}};

// Strides below which a strip of each row count fits, so that seams fall everywhere.
constexpr shape strips[] = {
    {700, 200, 8}, {1000, 65, 8}, {5000, 15, 8},  {6553, 9, 8},   {8192, 7, 8},   {8193, 6, 8},
    {9000, 5, 8},  {20000, 4, 8}, {333, 70, 24},  {1001, 23, 24}, {1365, 13, 24}, {1364, 14, 24},
    {2183, 8, 24}, {2500, 9, 24}, {3000, 5, 24},  {11000, 3, 24}, {1, 9000, 24},  {3, 20, 24},
    {2, 7, 24},    {3000, 50, 4}, {10000, 15, 4}, {13000, 9, 4},
};

void compare(const operation& operation, int32_t handle, model& m)
{
    SCOPED_TRACE(testing::Message()
                 << operation.name << " on " << m.p.width << " x " << m.p.height << " x "
                 << m.p.bits << (plain::true_tones ? ", true tones" : ""));
    ASSERT_EQ(operation.run(handle), operation.plain(m));
    expect_image(handle, m.p);
}

void compare_new(const operation& operation, const shape& s, test_colors colors, uint32_t seed)
{
    model m{random_picture(s.width, s.height, s.bits, seed, colors), {}};
    const image_guard image(create_image(m.p));
    compare(operation, image, m);
}

} // namespace

TEST(operations, equal_their_plain_versions)
{
    for (const operation& operation : all_operations())
        for (const shape& s : shapes)
            for (int bits : {1, 4, 8, 24})
                for (uint32_t n = 0; n < 4; ++n) {
                    plain::set_true_tones(n / 2);
                    compare_new(operation, {s.width, s.height, bits},
                                n % 2 ? test_colors::grey : test_colors::random, n);
                    if (HasFatalFailure()) return;
                }
}

TEST(operations, put_the_seams_of_filters_where_they_are_defined)
{
    plain::set_true_tones(false);
    for (const operation& filter : filters)
        for (const shape& s : strips) {
            compare_new(filter, s, test_colors::grey, 5);
            if (HasFatalFailure()) return;
        }
}

// What one operation leaves behind (padding, first colours, header) is what the next one meets.
TEST(operations, end_in_chains_as_their_plain_versions_do)
{
    constexpr int depths[] = {1, 4, 8, 24};
    const std::vector<operation> operations = all_operations();
    std::mt19937 random(7);
    for (uint32_t round = 0; round < 400; ++round) {
        SCOPED_TRACE(round);
        plain::set_true_tones(round % 2);
        const int width = 1 + static_cast<int>(random() % 80);
        const int height = 1 + static_cast<int>(random() % 50);
        const auto kind = random() % 2 ? test_colors::grey : test_colors::random;
        model m{random_picture(width, height, depths[random() % 4], round, kind), {}};
        const image_guard image(create_image(m.p));
        for (int step = 0; step < 10; ++step) {
            compare(operations[random() % operations.size()], image, m);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(operations, refuse_dead_handles)
{
    for (const operation& operation : all_operations())
        for (int32_t dead : {-1, -13, 77, INT_MAX, INT_MIN})
            EXPECT_EQ(operation.run(dead), -13) << operation.name;
}
