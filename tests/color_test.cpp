// color_test.cpp - colour reduction and promotion on small pictures worked out by hand, and
// what the dithers keep on average.

#include "tests/reference/picture.h"

namespace {

/// One row of 8-bit pixels with a grey ramp, or rows of 24-bit pixels 0xRRGGBB, top first.
int32_t grey_rows(std::initializer_list<std::initializer_list<int>> rows)
{
    test_dib dib(static_cast<int32_t>(rows.begin()->size()), static_cast<int32_t>(rows.size()), 8);
    int32_t y = 0;
    for (const auto& row : rows) {
        int32_t x = 0;
        for (int v : row)
            dib.set_pixel(x++, y, static_cast<uint32_t>(v));
        ++y;
    }
    return dib.create();
}

int32_t flat_image(int32_t width, int32_t height, int32_t bits, uint32_t value)
{
    test_dib dib(width, height, bits);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            dib.set_pixel(x, y, value);
    return dib.create();
}

/// Pixels of one row, for instance "0010".
std::string row_text(int32_t handle, int32_t y)
{
    const image_copy copy = copy_image(handle);
    std::string text;
    for (int32_t x = 0; x < copy.width; ++x)
        text += "0123456789abcdef"[copy.pixel(x, y) & 15];
    return text;
}

} // namespace

TEST(color_gray, takes_the_darkened_grey_of_the_colour_row)
{
    const struct {
        const char* what;
        int bits;
        uint32_t color; // 0xRRGGBB
        uint32_t grey;
    } cases[] = {
        {"white of a palette loses the weights' shortfall and 40", 8, 0xFFFFFF, 213},
        {"grey 40 is at the threshold", 8, 0x282828, 0},
        {"grey 41 has luminance 40", 8, 0x292929, 0},
        {"4 bits are not darkened", 4, 0xFFFFFF, 253},
        {"24-bit white is widened as negative", 24, 0xFFFFFF, 215},
        {"24-bit black", 24, 0x000000, 0},
        {"127 is the last positive byte: 126 - 40", 24, 0x7F7F7F, 86},
        {"red 128: 38 + 38 x 510 - 40 in 8 bits", 24, 0x800000, 178},
        {"blue 255: 27 + 14 x 510 - 40 in 8 bits", 24, 0x0000FF, 215},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        test_dib dib(5, 2, c.bits);
        if (c.bits < 24) dib.set_color(1, c.color >> 16, c.color >> 8 & 255, c.color & 255);
        for (int32_t i = 0; i < 10; ++i)
            dib.set_pixel(i % 5, i / 5, c.bits < 24 ? 1 : c.color);
        const image_guard image(dib.create());
        ASSERT_EQ(IMG_color_gray(image), 0);
        const image_copy copy = copy_image(image);
        EXPECT_EQ(copy.bits, 8);
        EXPECT_EQ(copy.pixel(4, 1), c.grey);
        EXPECT_EQ(copy.color(4, 1), c.grey * 0x10101);
    }
}

TEST(ordered_dither, chooses_the_group_by_column_and_the_entry_by_stored_row)
{
    // Entry 1 of the groups, below 130 or not: 128, 64, (176), 112, (140), 76, (188), 124.
    const image_guard image(flat_image(9, 3, 8, 130));
    ASSERT_EQ(IMG_bayer_mono(image), 0);
    EXPECT_EQ(row_text(image, 2), "101010101");
    EXPECT_EQ(row_text(image, 1), "110101011");
    EXPECT_EQ(row_text(image, 0), "101010101");
}

TEST(ordered_dither, compares_strictly)
{
    const struct {
        uint32_t grey;
        int bayer_set, halftone_set; // of 64
    } cases[] = {{0, 0, 0},     {1, 0, 1},     {4, 0, 1},    {5, 2, 2},
                 {128, 32, 32}, {252, 63, 63}, {253, 64, 64}};
    for (const auto& c : cases)
        for (bool halftone : {false, true}) {
            SCOPED_TRACE(testing::Message() << "grey " << c.grey << " halftone " << halftone);
            const image_guard image(flat_image(8, 8, 8, c.grey));
            ASSERT_EQ(halftone ? IMG_halftone_mono(image) : IMG_bayer_mono(image), 0);
            const image_copy copy = copy_image(image);
            int set = 0;
            for (int i = 0; i < 64; ++i)
                set += static_cast<int>(copy.pixel(i % 8, i / 8));
            EXPECT_EQ(set, halftone ? c.halftone_set : c.bayer_set);
        }
}

TEST(mono_diffusion, spreads_truncated_errors_and_wraps_below_zero)
{
    const struct {
        const char* what;
        std::initializer_list<std::initializer_list<int>> rows; // top first
        const char* expected[2];
    } cases[] = {
        // 100 black; 100 + 19 black; 100 + 9 + 22 white; 100 + 11 - 23 black.
        {"running values 100, 119, 131, 88", {{100, 100, 100, 100}}, {"0010"}},
        // 128 is white and passes -24 and -12: 0 - 24 reads as 65512.
        {"values below zero turn white", {{128, 0, 0}}, {"111"}},
        // The upper row runs from the right: 100 + 31 white, then 100 + 30 - 23 black.
        {"odd stored rows run right to left", {{100, 100}, {100, 100}}, {"01", "00"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const image_guard image(grey_rows(c.rows));
        ASSERT_EQ(IMG_diffusion_mono(image), 0);
        for (int32_t y = 0; y < static_cast<int32_t>(c.rows.size()); ++y)
            EXPECT_EQ(row_text(image, y), c.expected[y]);
    }
}

TEST(popularity, fills_its_list_with_the_last_bin)
{
    const image_guard image(flat_image(3, 3, 24, 0x123456));
    ASSERT_EQ(IMG_popularity_color(image), 0);
    const image_copy copy = copy_image(image);
    EXPECT_EQ(copy.pixel(1, 1), 1u);
    EXPECT_EQ(copy.color(1, 1), 0x103050u);
    for (size_t i = 2; i < 256; ++i)
        for (size_t k = 0; k < 4; ++k)
            ASSERT_EQ(copy.head[40 + 4 * i + k], k < 3 ? 0xF0 : 0);
}

TEST(popularity, counts_in_16_bits)
{
    // 65536 pixels of one colour count as none: the list is black and the last bin.
    const image_guard image(flat_image(256, 256, 24, 0xE0E0E0));
    ASSERT_EQ(IMG_popularity_color(image), 0);
    EXPECT_EQ(copy_image(image).color(0, 0), 0xF0F0F0u);
}

TEST(fixed_palette, truncates_channels_and_wraps_below_zero)
{
    const struct {
        const char* what;
        uint32_t color;
        uint32_t index;
    } cases[] = {{"white", 0xFFFFFF, 255},
                 {"top bits of each channel", 0x5F9FBF, 2 << 5 | 4 << 2 | 2},
                 {"black", 0, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const image_guard image(flat_image(2, 1, 24, c.color));
        ASSERT_EQ(IMG_mediancut_color(image), 0);
        EXPECT_EQ(copy_image(image).pixel(0, 0), c.index);
    }
    // Blue 64 becomes 85 with error -21; the next pixel's 0 - 6 wraps and counts as 255.
    test_dib dib(2, 1, 24);
    dib.set_pixel(0, 0, 64);
    const image_guard image(dib.create());
    ASSERT_EQ(IMG_mediancut_color(image), 0);
    EXPECT_EQ(copy_image(image).pixel(1, 0), 3u);
}

TEST(sixteen_colors, ordered_dither_brightens_40_above_the_threshold)
{
    const image_guard image(flat_image(8, 8, 24, 0xFFFFFF));
    ASSERT_EQ(IMG_bayer_color(image), 0);
    // Bright where the threshold is below 175: entry 1 of the groups has 176 and 188.
    EXPECT_EQ(row_text(image, 7), "f7f7f7f7");
    EXPECT_EQ(row_text(image, 6), "ff7fff7f");
    EXPECT_EQ(row_text(image, 5), "f7f7f7f7");
}

TEST(sixteen_colors, diffusion_quantises_at_180_and_220)
{
    // 200 gives 7 with error 72; 200 + 18 gives 7 with 90; 200 + 9 + 22 gives 15.
    const image_guard image(flat_image(3, 1, 24, 0xC8C8C8));
    ASSERT_EQ(IMG_diffusion_color(image), 0);
    EXPECT_EQ(row_text(image, 0), "77f");
}

TEST(sixteen_colors, diffusion_runs_one_row_ahead)
{
    // Black and white pass no errors, so each row shows which source row it came from.
    const struct {
        const char* source; // stored rows from the bottom: 1 white
        const char* result;
    } cases[] = {{"1", "1"},       {"01", "01"},       {"101", "101"},
                 {"0010", "0000"}, {"01010", "01100"}, {"110101", "111011"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.source);
        const auto height = static_cast<int32_t>(std::strlen(c.source));
        test_dib dib(2, height, 24);
        for (int32_t i = 0; i < 2 * height; ++i)
            dib.set_pixel(i % 2, height - 1 - i / 2, c.source[i / 2] == '1' ? 0xFFFFFF : 0);
        const image_guard image(dib.create());
        ASSERT_EQ(IMG_diffusion_color(image), 0);
        for (int32_t r = 0; r < height; ++r)
            EXPECT_EQ(row_text(image, height - 1 - r), c.result[r] == '1' ? "ff" : "00") << r;
    }
}

TEST(depth_changes, keep_the_header_but_for_size_and_depth)
{
    test_dib dib(5, 3, 4);
    dib.header()->biClrUsed = 16;
    dib.header()->biXPelsPerMeter = 300;
    dib.header()->biYPelsPerMeter = 200;
    const struct {
        int32_t(IMG_STD* operation)(int32_t);
        int bits;
    } cases[] = {{IMG_color_gray, 8},      {IMG_bayer_mono, 1},      {IMG_halftone_mono, 1},
                 {IMG_diffusion_mono, 1},  {IMG_mediancut_color, 8}, {IMG_bayer_color, 4},
                 {IMG_diffusion_color, 4}, {IMG_promote_8, 8},       {IMG_promote_24, 24}};
    for (const auto& c : cases) {
        const image_guard image(dib.create());
        ASSERT_EQ(c.operation(image), 0);
        const image_copy copy = copy_image(image);
        BITMAPINFOHEADER header;
        std::memcpy(&header, copy.head.data(), sizeof header);
        EXPECT_EQ(header.biBitCount, c.bits);
        EXPECT_EQ(header.biClrUsed, 16u);
        EXPECT_EQ(header.biXPelsPerMeter, 300);
        EXPECT_EQ(header.biYPelsPerMeter, 200);
        EXPECT_EQ(header.biSizeImage, static_cast<DWORD>(3 * test_stride(5, c.bits)));
    }
}

TEST(depth_changes, refuse_depths_and_dead_handles)
{
    const struct {
        int32_t(IMG_STD* operation)(int32_t);
        int refused[3];
    } cases[] = {{IMG_color_gray, {1, 1, 1}},      {IMG_bayer_mono, {1, 1, 1}},
                 {IMG_halftone_mono, {1, 1, 1}},   {IMG_diffusion_mono, {1, 1, 1}},
                 {IMG_mediancut_color, {1, 1, 1}}, {IMG_popularity_color, {1, 4, 8}},
                 {IMG_bayer_color, {1, 1, 1}},     {IMG_diffusion_color, {1, 1, 1}},
                 {IMG_promote_8, {24, 24, 24}},    {IMG_promote_24, {24, 24, 24}}};
    for (const auto& c : cases) {
        for (int bits : c.refused) {
            const picture p = random_picture(13, 4, bits, 3);
            const image_guard image(create_image(p));
            EXPECT_EQ(c.operation(image), -7);
            expect_image(image, p);
        }
        for (int32_t dead : {-1, -13, 77, INT32_MAX, INT32_MIN})
            EXPECT_EQ(c.operation(dead), -13);
    }
}

// Each share of an error is truncated, so diffusion drifts off towards both ends.
TEST(dithers, keep_the_mean_of_mid_tones)
{
    constexpr int32_t width = 160, height = 128;
    for (uint32_t grey = 96; grey <= 160; grey += 4)
        for (auto operation : {IMG_bayer_mono, IMG_halftone_mono, IMG_diffusion_mono}) {
            const image_guard image(flat_image(width, height, 8, grey));
            ASSERT_EQ(operation(image), 0);
            const image_copy copy = copy_image(image);
            double sum = 0;
            for (int32_t i = 0; i < width * height; ++i)
                sum += 255.0 * copy.pixel(i % width, i / width);
            EXPECT_NEAR(sum / (width * height), grey, 2.55) << "grey " << grey;
        }
}

// Arithmetic shifts round shares down: up to four levels are lost.
TEST(dithers, keep_the_mean_of_each_channel_in_the_fixed_palette)
{
    constexpr int32_t width = 160, height = 128;
    for (uint32_t color : {0x808080u, 0x6090A0u, 0xB07050u, 0x48C890u}) {
        const image_guard image(flat_image(width, height, 24, color));
        ASSERT_EQ(IMG_mediancut_color(image), 0);
        const image_copy copy = copy_image(image);
        double sums[3] = {};
        for (int32_t i = 0; i < width * height; ++i)
            for (int k = 0; k < 3; ++k)
                sums[k] += copy.color(i % width, i / width) >> 8 * k & 255;
        for (int k = 0; k < 3; ++k)
            EXPECT_NEAR(sums[k] / (width * height), (color >> 8 * k & 255) - 2, 2) << color;
    }
}
