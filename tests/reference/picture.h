// picture.h - pictures for operations that are right because they are obvious. Row 0 of these is
// the lowest: operations are defined over rows as they are stored.
#pragma once

#include "tests/support/images.h"

inline picture upside_down(const picture& p)
{
    picture out = p;
    for (int r = 0; r < p.height; ++r)
        std::copy_n(p.row(r), p.stride(), out.row(p.height - 1 - r));
    return out;
}

/// Random pixels in runs, random or grey colours; padding 0. Dark and light runs lie side by
/// side, so that error diffusion meets values beyond both ends.
enum class test_colors { random, grey };
inline picture contrasting_picture(int width, int height, int bits, uint32_t seed,
                                   test_colors kind = test_colors::random)
{
    std::mt19937 random(seed);
    values colors = picture(1, 1, bits).colors();
    for (uint32_t& c : colors)
        c = kind == test_colors::grey ? random() % 256 * 0x10101 : random() & 0xFFFFFF;
    uint32_t value = random();
    return each_pixel(width, height, bits, colors, [&](int, int) {
        if (random() % 3 == 0) value = random() % 4 ? random() : random() % 2 * 0xFFFFFFFF;
        return value & 0xFFFFFF;
    });
}

inline int32_t create_image(const picture& p)
{
    picture dib = upside_down(p);
    dib.set_resolution(300, 200);
    return dib.create();
}

/// Fails at the first row, pad bytes included, or colour table that differs: later filters read
/// the padding. The resolution of create_image has to be there still.
inline void expect_image(int32_t handle, const picture& expected)
{
    const picture got = upside_down(copy_image(handle));
    ASSERT_EQ(got.width, expected.width);
    ASSERT_EQ(got.height, expected.height);
    ASSERT_EQ(got.bits, expected.bits);
    ASSERT_EQ(got.resolution(), std::pair(300, 200));
    ASSERT_EQ(got.colors(), expected.colors());
    for (int r = 0; r < got.height; ++r)
        ASSERT_TRUE(std::equal(got.row(r), got.row(r) + got.stride(), expected.row(r)))
            << "stored row " << r;
}
