// color_plain_test.cpp - colour reduction and promotion beside plain versions, bit for bit,
// over depths, odd sizes and contents.

#include "tests/reference/plain_color.h"

namespace {

struct size_case {
    int width, height;
};

// Around the widths at which wide words, bytes and padding end, and heights of 1 to 4.
constexpr size_case sizes[] = {{1, 1},  {2, 2},   {3, 3},  {5, 4},   {7, 1},   {8, 9},
                               {9, 2},  {15, 5},  {16, 3}, {17, 17}, {31, 4},  {32, 8},
                               {33, 6}, {63, 10}, {64, 5}, {65, 7},  {100, 3}, {257, 40}};

template <class Operation, class Plain>
void compare(std::initializer_list<int> depths, Operation operation, Plain plain_version)
{
    for (int bits : depths)
        for (const size_case& size : sizes)
            for (test_colors kind : {test_colors::random, test_colors::grey}) {
                SCOPED_TRACE(testing::Message()
                             << size.width << " x " << size.height << " x " << bits);
                const auto seed = static_cast<uint32_t>(size.width * 1000 + size.height + bits);
                const picture p = random_picture(size.width, size.height, bits, seed, kind);
                const image_guard image(create_image(p));
                ASSERT_EQ(operation(image), 0);
                expect_image(image, plain_version(p));
                if (testing::Test::HasFatalFailure()) return;
            }
}

} // namespace

TEST(color_plain, gray)
{
    compare({4, 8, 24}, IMG_color_gray, plain::gray);
}

TEST(color_plain, ordered_dithers)
{
    compare({4, 8, 24}, IMG_bayer_mono,
            [](const picture& p) { return plain::ordered_mono(p, plain::bayer); });
    compare({4, 8, 24}, IMG_halftone_mono,
            [](const picture& p) { return plain::ordered_mono(p, plain::halftone); });
}

TEST(color_plain, error_diffusion_to_black_and_white)
{
    compare({4, 8, 24}, IMG_diffusion_mono, plain::diffusion_mono);
}

TEST(color_plain, popularity)
{
    compare({24}, IMG_popularity_color, plain::popularity);
}

TEST(color_plain, fixed_palette)
{
    compare({4, 8, 24}, IMG_mediancut_color, plain::fixed_palette);
}

TEST(color_plain, sixteen_colors)
{
    compare({4, 8, 24}, IMG_bayer_color, plain::bayer_color);
    compare({4, 8, 24}, IMG_diffusion_color, plain::diffusion_color);
}

TEST(color_plain, promotion)
{
    compare({1, 4, 8}, IMG_promote_8, plain::promote_8);
    compare({1, 4, 8}, IMG_promote_24, plain::promote_24);
}
