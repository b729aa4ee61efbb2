// color_test.cpp - colour reduction on small pictures worked out by hand, and what the dithers
// keep on average.

#include "tests/reference/plain_color.h"
#include "tests/support/codec.h"

#include <numeric>

namespace {

using export_t = int32_t(IMG_STD*)(int32_t);

picture flat(int width, int height, int color)
{
    return each_pixel(width, height, 24, {}, [&](int, int) { return color; });
}

/// Pixels of the stored rows, for instance "0010".
std::vector<std::string> rows_of(const picture& copy)
{
    std::vector<std::string> rows(copy.height);
    for (int32_t i = 0; i < copy.width * copy.height; ++i)
        rows[copy.height - 1 - i / copy.width] +=
            "0123456789abcdef"[copy.pixel(i % copy.width, i / copy.width) & 15];
    return rows;
}

/// Mean of a channel that an operation leaves of one colour.
double mean_after(export_t operation, int color, int k)
{
    const image_guard image(create_image(flat(160, 128, color)));
    EXPECT_EQ(operation(image), 0);
    const values colors = colors_of(copy_image(image));
    return std::accumulate(colors.begin(), colors.end(), 0.0, [&](double sum, uint32_t c) {
        return sum + channel(c, k) / (160.0 * 128);
    });
}

} // namespace

TEST(color_gray, takes_the_darkened_grey_of_the_colour_row_or_the_percentages)
{
    const struct {
        const char* what;
        int bits, color;
        uint32_t classic, true_tone;
    } cases[] = {
        {"white of a palette loses the weights' shortfall and 40", 8, 0xFFFFFF, 213, 255},
        {"grey 40 is at the threshold", 8, 0x282828, 0, 40},
        {"grey 42 has luminance 41", 8, 0x2A2A2A, 1, 42},
        {"4 bits are not darkened", 4, 0xFFFFFF, 253, 255},
        {"24-bit white is widened as negative", 24, 0xFFFFFF, 215, 255},
        {"127 is the last positive byte: 126 - 40", 24, 0x7F7F7F, 86, 127},
        {"red 128: 38 + 38 x 510 - 40 in 8 bits", 24, 0x800000, 178, 38},
    };
    for (const auto& c : cases)
        for (bool true_tones : {false, true}) {
            SCOPED_TRACE(c.what);
            IMGX_set_true_tones(true_tones);
            const image_guard image(create_image(
                each_pixel(5, 2, c.bits, values(c.bits < 24 ? 1u << c.bits : 0, c.color),
                           [&](int, int) { return c.color; })));
            ASSERT_EQ(IMG_color_gray(image), 0);
            const uint32_t grey = true_tones ? c.true_tone : c.classic;
            EXPECT_EQ(copy_image(image).pixel(4, 1), grey);
            EXPECT_EQ(copy_image(image).color(4, 1), grey * 0x10101);
        }
}

TEST(dithers, follow_their_rules)
{
    const auto grey = [](int v) { return v * 0x10101; };
    const struct {
        const char* what;
        export_t operation;
        std::vector<std::vector<int>> rows; // stored rows
        std::vector<std::string> expected, true_tones;
    } cases[] = {
        // Entry 1 of the groups, below 130 or not: 128, 64, (176), 112, (140), 76, (188), 124.
        {"the column chooses the group, the stored row the entry",
         IMG_bayer_mono,
         std::vector(2, std::vector(9, grey(130))),
         {"101010101", "110101011"},
         {}},
        {"running values 100, 119, 131, 88",
         IMG_diffusion_mono,
         {{grey(100), grey(100), grey(100), grey(100)}},
         {"0010"},
         {}},
        // 128 is white and passes -24 and -12: 0 - 24 reads as 65512.
        {"values below zero", IMG_diffusion_mono, {{grey(128), 0, 0}}, {"111"}, {"100"}},
        // The upper row runs from the right: 100 + 31 white, then 100 + 30 - 23 black.
        {"odd stored rows run right to left",
         IMG_diffusion_mono,
         std::vector(2, std::vector(2, grey(100))),
         {"00", "01"},
         {}},
        {"leading bits of each channel", IMG_mediancut_color, {{0x5F9FBF}}, {"2"}, {}},
        // Blue 64 becomes 85 with error -21; the next pixel's 0 - 6 wraps and counts as 255.
        {"colours below zero", IMG_mediancut_color, {{64, 0}}, {"13"}, {"10"}},
        // Bright where the threshold is below 175 or 213: entry 1 of the groups has 176, 188.
        {"bright 40 above the threshold",
         IMG_bayer_color,
         std::vector(2, std::vector(8, 0xFFFFFF)),
         {"f7f7f7f7", "ff7fff7f"},
         {"ffffffff", "ffffffff"}},
        // 200 gives 7 with error 72; 200 + 18 gives 7 with 90; 200 + 9 + 22 gives 15.
        {"180 and 220", IMG_diffusion_color, {{grey(200), grey(200), grey(200)}}, {"77f"}, {}},
        // Black and white pass no errors, so each row shows which source row it came from.
        {"one row ahead",
         IMG_diffusion_color,
         {{0xFFFFFF}, {0xFFFFFF}, {0}, {0xFFFFFF}, {0}, {0xFFFFFF}},
         {"f", "f", "f", "0", "f", "f"},
         {"f", "f", "0", "f", "0", "f"}},
    };
    for (const auto& c : cases)
        for (bool true_tones : {false, true}) {
            SCOPED_TRACE(testing::Message() << c.what << ", true tones " << true_tones);
            IMGX_set_true_tones(true_tones);
            const image_guard image(
                create_image(each_pixel(int(c.rows[0].size()), int(c.rows.size()), 24, {},
                                        [&](int x, int r) { return c.rows[r][x]; })));
            ASSERT_EQ(c.operation(image), 0);
            const auto& expected = true_tones && !c.true_tones.empty() ? c.true_tones : c.expected;
            EXPECT_EQ(rows_of(copy_image(image)), expected);
        }
}

TEST(popularity, lists_the_last_bin_where_colours_run_out_and_counts_in_16_bits)
{
    const struct {
        int size, color;
        bool true_tones;
        uint32_t expected;
    } cases[] = {{3, 0x123456, false, 0x103050},
                 {256, 0xE0E0E0, false, 0xF0F0F0}, // 65536 pixels count as none
                 {256, 0xE5E0E0, true, 0xE5E0E0}};
    for (const auto& c : cases) {
        IMGX_set_true_tones(c.true_tones);
        const image_guard image(create_image(flat(c.size, c.size, c.color)));
        ASSERT_EQ(IMG_popularity_color(image), 0);
        const picture copy = copy_image(image);
        EXPECT_EQ(copy.color(0, 0), c.expected);
        EXPECT_EQ(copy.bytes[40], c.true_tones ? 0xE0 : 0);
        EXPECT_EQ(copy.bytes[40 + 4 * 255], c.true_tones ? 0 : 0xF0);
    }
}

// Shares of errors are truncated in black and white, which draws tones towards both ends, and
// rounded down in classic colours, which loses up to six levels. The ordered 16 colours have
// two levels a channel: 128 above a threshold, 255 where the grey is 40 above it.
TEST(dithers, keep_the_mean)
{
    const auto itself = [](int v) { return double(v); };
    const auto two_levels = [](int v) {
        const int lead = plain::true_tones ? 0 : 40;
        return v / 2.0 + std::max(plain::grey_weighted(v * 0x10101, 24) - lead, 0) * 127 / 256.0;
    };
    const std::vector<int> tones = {16, 64, 96, 127, 160, 230}, middle = {96, 111, 128, 145, 160};
    const struct {
        const char* what;
        export_t operation;
        double (*expected)(int);
        std::vector<int> tones;
        double classic_low, classic_high, tolerance;
    } cases[] = {
        {"bayer", IMG_bayer_mono, itself, tones, -2.55, 2.55, 2.55},
        {"halftone", IMG_halftone_mono, itself, tones, -2.55, 2.55, 2.55},
        {"diffusion", IMG_diffusion_mono, itself, middle, -2.55, 2.55, 2.55},
        {"fixed palette", IMG_mediancut_color, itself, tones, -4.5, 0, 0.5},
        {"16 colours", IMG_diffusion_color, itself, tones, -6, -2, 2.55},
        {"16 ordered", IMG_bayer_color, two_levels, tones, -2.55, 2.55, 2.55},
    };
    for (const auto& c : cases)
        for (int tone : c.tones) {
            SCOPED_TRACE(testing::Message() << c.what << ", " << tone);
            plain::set_true_tones(false);
            const double classic = mean_after(c.operation, tone * 0x10101, 1) - c.expected(tone);
            EXPECT_TRUE(classic >= c.classic_low && classic <= c.classic_high) << classic;
            plain::set_true_tones(true);
            EXPECT_NEAR(mean_after(c.operation, tone * 0x10101, 1), c.expected(tone), c.tolerance);
        }
    // Channels of their own tones.
    for (int color : {0x6090A0, 0xB07050, 0x48C890, 0x101820, 0xF8E8D0})
        for (export_t operation : {IMG_mediancut_color, IMG_diffusion_color})
            for (int k : {0, 1, 2})
                EXPECT_NEAR(mean_after(operation, color, k), channel(color, k), 2.55);
}
