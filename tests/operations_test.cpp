// operations_test.cpp - geometry, tone, filters and colours: by hand on small pictures, and every
// operation beside its plain version, bit for bit: over depths, odd sizes and all arguments,
// over the seams of the filters, and in random chains. What becomes of crop rectangles.

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
    model m{contrasting_picture(s.width, s.height, s.bits, seed, colors), {}};
    const image_guard image(create_image(m.p));
    compare(operation, image, m);
}

/// Rows of digits, top first with '/' between them, as an 8-bit picture with a grey ramp.
int32_t digits_image(const std::string& text)
{
    const int width = int(std::min(text.find('/'), text.size()));
    const int height = int(text.size() + 1) / (width + 1);
    return create_image(each_pixel(width, height, 8, {}, [&](int x, int r) {
        return text[(height - 1 - r) * (width + 1) + x] - '0';
    }));
}

std::string digits(int32_t handle)
{
    const picture copy = copy_image(handle);
    std::string text;
    for (int32_t i = 0; i < copy.width * copy.height; ++i) {
        if (i && i % copy.width == 0) text += '/';
        text += char('0' + copy.pixel(i % copy.width, i / copy.width));
    }
    return text;
}

using rectangle = std::array<int32_t, 4>;

rectangle crop_of(int32_t handle)
{
    rectangle r{};
    IMG_get_croprect(handle, &r[0], &r[1], &r[2], &r[3]);
    return r;
}

} // namespace

TEST(operations, give_what_comes_out_by_hand)
{
    const struct {
        const char* what;
        operation by_hand;
        std::string from, to;
    } cases[] = {
        {"clockwise on the screen", turn(90), "123/456", "41/52/63"},
        {"upside down", turn(180), "123/456", "654/321"},
        {"back", turn(270), "123/456", "36/25/14"},
        {"other angles: anti-diagonal", turn(INT_MIN), "123/456", "63/52/41"},
        {"the pixel to the left", resize(7, 1), "123", "1112233"},
        {"every other pixel", resize(4, 1), "12345678", "1357"},
        {"stored rows 0 and 1 of 3", resize(1, 2), "1/2/3", "2/3"},
        // Columns 0 and 3 stay.
        {"the row below first", kernel(0, {0, 0, 1}), "1234/5678/9238", "1784/5388/9388"},
        {"the row above last", kernel(0, {0, 0, 0, 0, 0, 0, 1}), "1234/5678/9238",
         "1124/5128/9568"},
        // Weight 17 over 25; z is 74 and b 50: 74, 74 + 2; 17 x 74 + 2 + 3, 50 + 2 + 3; 52, 54.
        {"smoothing over its own results", sharpen(0), "0000/0z00/0000", "0220/0b20/0230"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const image_guard image(digits_image(c.from));
        ASSERT_EQ(c.by_hand.run(image), 0);
        EXPECT_EQ(digits(image), c.to);
    }
}

TEST(operations, take_the_crop_rectangle_along)
{
    const struct {
        const char* what;
        std::vector<operation> steps;
        rectangle expected; // of 1, 3, 3 x 2 in 10 x 6
    } cases[] = {
        {"quarter turn", {turn(90)}, {1, 1, 2, 3}},
        {"quarter turn back", {turn(270)}, {3, 6, 2, 3}},
        {"half turn", {turn(180)}, {6, 1, 3, 2}},
        {"anti-diagonal", {turn(0)}, {1, 6, 2, 3}},
        {"mirror left to right", {{"", IMG_flip_bitmapx, {}}}, {6, 3, 3, 2}},
        {"mirror top to bottom", {{"", IMG_flip_bitmapy, {}}}, {1, 1, 3, 2}},
        {"all the way round", {turn(90), turn(90), turn(90), turn(90)}, {1, 3, 3, 2}},
        {"resize", {resize(4, 7)}, {0, 0, 4, 7}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const image_guard image(create_image(contrasting_picture(10, 6, 4, 9)));
        IMG_set_croprect(image, 1, 3, 3, 2);
        for (const auto& step : c.steps)
            ASSERT_EQ(step.run(image), 0);
        EXPECT_EQ(crop_of(image), c.expected);
    }
    // Of any values.
    for (int32_t x : {INT_MIN, -1, 0, INT_MAX})
        for (int32_t size : {INT_MIN, -1, 0, INT_MAX}) {
            const image_guard image(create_image(contrasting_picture(9, 5, 1, 1)));
            IMG_set_croprect(image, x, size, size, x);
            const rectangle before = crop_of(image);
            for (int32_t angle : {90, 180, 90, 270, 90})
                ASSERT_EQ(IMG_rotate_bitmap(image, angle), 0);
            EXPECT_EQ(crop_of(image), before);
        }
}

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
        model m{contrasting_picture(width, height, depths[random() % 4], round, kind), {}};
        const image_guard image(create_image(m.p));
        for (int step = 0; step < 10; ++step) {
            compare(operations[random() % operations.size()], image, m);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(operations, take_or_refuse_any_arguments)
{
    const operation extremes[] = {
        tone(-129, 0),    tone(300, 0),           tone(0x800000, 0), tone(INT_MAX, 0),
        tone(INT_MIN, 0), tone(0, INT_MAX),       tone(0, INT_MIN),  tone(INT_MIN, INT_MIN),
        sharpen(144),     tone(INT_MAX, INT_MAX), sharpen(-129),     sharpen(INT_MAX),
        sharpen(INT_MIN), resize(32767, 1),
    };
    for (const operation& extreme : extremes)
        for (int bits : {4, 8, 24})
            compare_new(extreme, {50, 20, bits}, test_colors::grey, 2);
    compare_new(resize(1000, 2), {70000, 2, 1}, test_colors::grey, 4);

    const picture p = contrasting_picture(50, 20, 24, 2);
    const image_guard image(create_image(p));
    constexpr signed char none[9] = {};
    for (int32_t type : {-1, 10, INT_MIN})
        EXPECT_EQ(IMG_process_bitmap(image, type, none), -1);
    EXPECT_EQ(IMG_process_bitmap(image, 0, nullptr), -1);
    for (int32_t bad : {0, -1, INT_MIN, 32768, INT_MAX}) {
        EXPECT_EQ(IMG_resize_bitmap(image, bad, 1), -1);
        EXPECT_EQ(IMG_resize_bitmap(image, 1, bad), -1);
    }
    expect_image(image, p);
    EXPECT_GE(IMG_resize_bitmap(image, 1, 32767), 0);
    for (const operation& operation : all_operations())
        for (int32_t dead : {-1, -13, 77, INT_MAX, INT_MIN})
            EXPECT_EQ(operation.run(dead), -13) << operation.name;
}
