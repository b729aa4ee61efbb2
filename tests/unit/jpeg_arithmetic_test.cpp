// jpeg_arithmetic_test.cpp - the fast transforms, conversions and quotients against plain
// arithmetic, over the inputs that matter and over millions of random ones.

#include "formats/jpeg/jpeg_color.h"
#include "formats/jpeg/jpeg_fdct.h"
#include "formats/jpeg/jpeg_idct.h"
#include "formats/jpeg/jpeg_rgb.h"
#include "tests/builders/plain_jpeg_encoder.h"

#include <cstring>
#include <gtest/gtest.h>

namespace {

// A tenth of the blocks under the sanitizers, which slow them down tenfold.
#ifdef __SANITIZE_ADDRESS__
constexpr int thousands = 100;
#else
constexpr int thousands = 1000;
#endif

struct plain_block {
    plain_jpeg::block values{};

    // Runs both forms; stops a test at the first difference.
    bool same() const
    {
        static const auto order = jpeg_builder::zigzag();
        jpeg_coefficients fast{};
        for (size_t i = 0; i < 64; ++i) {
            fast.values[i % 8 * 8 + i / 8] = static_cast<int16_t>(values[i]);
            fast.magnitude += std::abs(values[i]);
        }
        for (int k = 0; k < 64; ++k)
            if (values[static_cast<size_t>(order[static_cast<size_t>(k)])] != 0) fast.last = k;
        int8_t samples[64];
        jpeg_idct(fast, samples, 8);
        const plain_jpeg::block wanted = plain_jpeg::inverse_dct(values);
        for (size_t i = 0; i < 64; ++i)
            if (samples[i] != wanted[i]) return false;
        return true;
    }
};

} // namespace

TEST(jpeg_idct, equals_the_plain_form_for_single_coefficients)
{
    for (size_t i = 0; i < 64; ++i)
        for (int value = -32768; value <= 32767; value += i == 0 ? 3 : 61) {
            plain_block b;
            b.values[i] = value;
            ASSERT_TRUE(b.same()) << i << ": " << value;
        }
}

TEST(jpeg_idct, equals_the_plain_form_at_the_limit_of_16_bits)
{
    // The sum of absolute values at its limit, spread over every pair of positions with every
    // combination of signs: what drives values in between to their extremes.
    for (size_t i = 0; i < 64; ++i)
        for (size_t j = 0; j < 64; ++j)
            for (int signs = 0; signs < 4; ++signs)
                for (int part : {1, 4000, 8000, 15999}) {
                    plain_block b;
                    b.values[i] = signs & 1 ? -part : part;
                    const int rest = idct_16_bit_magnitude - part;
                    if (i != j) b.values[j] = signs & 2 ? -rest : rest;
                    ASSERT_TRUE(b.same()) << i << ", " << j << ", " << signs << ", " << part;
                }
    // And over a row, a column, and all of them, with random signs.
    std::mt19937 random(1);
    for (int n = 0; n < 300 * thousands; ++n) {
        plain_block b;
        const size_t kind = random() % 3, line = random() % 8;
        for (size_t i = 0; i < 64; ++i) {
            const bool in = kind == 0 || (kind == 1 ? i / 8 : i % 8) == line;
            const int value = idct_16_bit_magnitude / (kind == 0 ? 64 : 8);
            if (in) b.values[i] = random() & 1 ? value : -value;
        }
        ASSERT_TRUE(b.same()) << n;
    }
}

TEST(jpeg_idct, equals_the_plain_form_for_millions_of_random_blocks)
{
    std::mt19937 random(2);
    for (int n = 0; n < 2000 * thousands; ++n) {
        plain_block b;
        const uint32_t count = random() % 64;
        const uint32_t range = 1u << (1 + random() % 16);
        for (uint32_t i = 0; i <= count; ++i)
            b.values[random() % (n & 1 ? 64 : 28)] =
                static_cast<int16_t>(random() % range) - static_cast<int>(range / 2 & 0x7FFF);
        ASSERT_TRUE(b.same()) << n;
    }
}

TEST(jpeg_color, equals_the_formulas_for_all_samples)
{
    // All pairs of chroma samples; luminance at its ends and in between.
    for (int y : {-128, -37, 0, 64, 127}) {
        int8_t luma[256 + jpeg_row_slack], cb[256 + jpeg_row_slack], cr[256 + jpeg_row_slack];
        std::memset(luma, y, sizeof luma);
        for (int c = -128; c < 128; ++c) {
            std::memset(cr, c, sizeof cr);
            for (int i = 0; i < 256 + jpeg_row_slack; ++i)
                cb[i] = static_cast<int8_t>(i - 128);
            uint8_t one[768 + jpeg_row_slack], two[768 + jpeg_row_slack];
            jpeg_ycc_row(luma, cb, cr, chroma_step::one, one, 256);
            jpeg_ycc_row(luma, cb, cr, chroma_step::two, two, 256);
            for (int x = 0; x < 256; ++x) {
                const int b = x - 128;
                const int blue = static_cast<int>(std::trunc(b * 1.772));
                const int green = -static_cast<int>(std::trunc(b * 0.34414)) -
                                  static_cast<int>(std::trunc(c * 0.71414));
                const int red = static_cast<int>(std::trunc(c * 1.402));
                int i = 0;
                for (int add : {blue, green, red}) {
                    const int wanted = std::clamp(y + 128 + add, 0, 255);
                    ASSERT_EQ(one[3 * x + i], wanted) << y << ' ' << b << ' ' << c;
                    if (x < 128) {
                        ASSERT_EQ(two[6 * x + i], wanted);
                        ASSERT_EQ(two[6 * x + 3 + i], wanted);
                    }
                    ++i;
                }
            }
        }
    }
}

TEST(jpeg_color, rgb_and_back_stay_close_in_both_weights)
{
    std::mt19937 random(4);
    uint8_t pixels[48];
    int16_t y[16], cb[8], cr[8];
    for (int n = 0; n < 100000; ++n) {
        for (uint8_t& p : pixels)
            p = static_cast<uint8_t>(random());
        jpeg_rgb_to_yuv(pixels, 16, color_weights::jfif, y, cb, cr);
        for (size_t x = 0; x < 16; ++x) {
            const double b = pixels[3 * x], g = pixels[3 * x + 1], r = pixels[3 * x + 2];
            ASSERT_NEAR(y[x] + 128, 0.299 * r + 0.587 * g + 0.114 * b, 0.53);
            const size_t even = x / 2 * 6;
            const double pb = (pixels[even] + pixels[even + 3]) / 2.0;
            const double pg = (pixels[even + 1] + pixels[even + 4]) / 2.0;
            const double pr = (pixels[even + 2] + pixels[even + 5]) / 2.0;
            const double wanted_cb = std::min(127.0, -0.168736 * pr - 0.331264 * pg + 0.5 * pb);
            const double wanted_cr = std::min(127.0, 0.5 * pr - 0.418688 * pg - 0.081312 * pb);
            ASSERT_NEAR(cb[x / 2], wanted_cb, 0.54);
            ASSERT_NEAR(cr[x / 2], wanted_cr, 0.54);
        }
    }
}

TEST(jpeg_fdct, quotients_are_exact_for_every_divisor)
{
    // A block of one value has nothing but DC, eight times the value: every quotient of DC
    // is met by all values; the other 63 places share the code.
    for (int q = 1; q <= 255; ++q)
        for (quotient rounding : {quotient::truncated, quotient::nearest}) {
            std::array<uint8_t, 64> table;
            table.fill(static_cast<uint8_t>(q));
            std::array<uint8_t, 64> ones;
            ones.fill(1);
            jpeg_divisors divisors, identity;
            divisors.set(table, rounding);
            identity.set(ones, rounding);
            for (int value = -128; value < 128; ++value) {
                alignas(16) int16_t samples[64], exact[64], divided[64];
                for (size_t i = 0; i < 64; ++i)
                    samples[i] = static_cast<int16_t>(i % 3 ? value : -value / 2);
                jpeg_dct_and_quantise(samples, 8, identity, exact);
                jpeg_dct_and_quantise(samples, 8, divisors, divided);
                for (size_t i = 0; i < 64; ++i) {
                    const int c = std::abs(exact[i]);
                    const int wanted = (rounding == quotient::nearest ? c + q / 2 : c) / q;
                    ASSERT_EQ(std::abs(divided[i]), wanted) << c << " / " << q;
                }
            }
        }
}
