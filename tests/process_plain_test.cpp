// process_plain_test.cpp - geometry, tone and filters beside plain versions, bit for bit, over
// depths, odd sizes and arguments.

#include "tests/reference/plain_process.h"

namespace {

struct size_case {
    int width, height;
};

// Around the blocks and wide words of the transpositions and mirrors.
constexpr size_case sizes[] = {{1, 1},   {1, 9},   {9, 1},   {2, 3},    {7, 8},   {8, 7},
                               {15, 17}, {16, 16}, {17, 33}, {31, 32},  {33, 31}, {64, 64},
                               {65, 63}, {127, 5}, {5, 129}, {130, 70}, {257, 66}};

template <class Operation, class Plain>
void compare(int width, int height, int bits, Operation operation, Plain plain_version,
             test_colors kind = test_colors::random)
{
    SCOPED_TRACE(testing::Message() << width << " x " << height << " x " << bits);
    const auto seed = static_cast<uint32_t>(width * 1000 + height + bits);
    const picture p = random_picture(width, height, bits, seed, kind);
    const image_guard image(create_image(p));
    ASSERT_EQ(operation(image), 0);
    expect_image(image, plain_version(p));
}

template <class Operation, class Plain>
void compare_all(std::initializer_list<int> depths, Operation operation, Plain plain_version)
{
    for (int bits : depths)
        for (const size_case& s : sizes) {
            compare(s.width, s.height, bits, operation, plain_version);
            if (testing::Test::HasFatalFailure()) return;
        }
}

// Strides below which a strip of each row count fits, so that seams fall everywhere.
struct strip_case {
    int width, height, bits;
};
constexpr strip_case strips[] = {
    {700, 200, 8}, {1000, 65, 8}, {5000, 15, 8},  {6553, 9, 8},   {8192, 7, 8},   {8193, 6, 8},
    {9000, 5, 8},  {20000, 4, 8}, {333, 70, 24},  {1001, 23, 24}, {1365, 13, 24}, {1364, 14, 24},
    {2183, 8, 24}, {2500, 9, 24}, {3000, 5, 24},  {11000, 3, 24}, {1, 9000, 24},  {3, 20, 24},
    {2, 7, 24},    {3000, 50, 4}, {10000, 15, 4}, {13000, 9, 4},  {5, 8, 4},      {1, 5, 8},
};

} // namespace

TEST(process_plain, turns)
{
    for (int degrees : {0, 90, 180, 270, -90, 45})
        compare_all(
            {1, 4, 8, 24}, [&](int32_t h) { return IMG_rotate_bitmap(h, degrees); },
            [&](const picture& p) { return plain::rotated(p, degrees); });
}

TEST(process_plain, flips)
{
    compare_all({1, 4, 8, 24}, IMG_flip_bitmapx, plain::flipped_x);
    compare_all({1, 4, 8, 24}, IMG_flip_bitmapy, plain::flipped_y);
}

TEST(process_plain, resizes)
{
    const size_case targets[] = {{1, 1},   {3, 5},    {8, 8},     {16, 4},  {33, 31}, {64, 64},
                                 {100, 1}, {130, 35}, {260, 140}, {390, 7}, {1000, 3}};
    for (const size_case& to : targets)
        compare_all(
            {1, 4, 8, 24}, [&](int32_t h) { return IMG_resize_bitmap(h, to.width, to.height); },
            [&](const picture& p) { return plain::resized(p, to.width, to.height); });
}

TEST(process_plain, tone_and_inversion)
{
    for (int contrast : {-128, -77, -1, 0, 1, 64, 127})
        for (int brightness : {-128, -20, 0, 5, 127})
            for (int bits : {4, 8, 24})
                compare(
                    37, 5, bits, [&](int32_t h) { return IMG_set_lut(h, contrast, brightness); },
                    [&](const picture& p) { return plain::toned(p, contrast, brightness); });
    compare_all({1, 4, 8, 24}, IMG_invert_bitmap, plain::inverted);
}

TEST(process_plain, sharpening_with_its_seams)
{
    for (const strip_case& s : strips)
        for (int strength : {-128, -1, 0, 15, 16, 100, 128})
            compare(
                s.width, s.height, s.bits == 24 ? 24 : s.bits,
                [&](int32_t h) { return IMG_sharpen_bitmap(h, strength); },
                [&](const picture& p) { return plain::sharpened(p, strength); }, test_colors::grey);
}

TEST(process_plain, kernels_with_their_seams)
{
    for (const strip_case& s : strips) {
        if (s.bits == 4) continue;
        for (int type = 1; type <= 9; ++type)
            compare(
                s.width, s.height, s.bits,
                [&](int32_t h) { return IMG_process_bitmap(h, type, nullptr); },
                [&](const picture& p) { return plain::convolved(p, plain::kernels[type - 1]); },
                test_colors::grey);
    }
}

TEST(process_plain, client_kernels_over_the_whole_range)
{
    const signed char kernels[][9] = {
        {127, 127, 127, 127, 127, 127, 127, 127, 127},
        {-128, -128, -128, -128, -128, -128, -128, -128, -128},
        {127, -128, 127, -128, 127, -128, 127, -128, 127},
        {0, 0, 0, 0, 1, 0, 0, 0, 0},
        {16, 16, 16, 16, -128, 16, 16, 16, 16},
        {14, 14, 14, 14, 15, 14, 14, 14, 14},
        {0, 0, 127, 1, 0, 0, 0, 0, 0},
        {3, -7, 11, -13, 17, -19, 23, -29, 31},
    };
    for (const auto& kernel : kernels) {
        int wide[9];
        std::copy(std::begin(kernel), std::end(kernel), wide);
        for (int bits : {8, 24})
            for (const size_case& s : sizes)
                compare(
                    s.width, s.height, bits,
                    [&](int32_t h) { return IMG_process_bitmap(h, 0, kernel); },
                    [&](const picture& p) { return plain::convolved(p, wide); }, test_colors::grey);
    }
}
