// process_test.cpp - geometry, tone and filters: small pictures worked out by hand, crop
// rectangles, and arguments over their whole range.

#include "tests/reference/operations.h"

#include <climits>

namespace {

/// Rows of digits, top first, as an 8-bit picture with a grey ramp.
int32_t digits_image(const std::vector<std::string>& rows)
{
    std::vector<int> ramp(256);
    for (size_t i = 0; i < 256; ++i)
        ramp[i] = static_cast<int>(i) * 0x10101;
    return create_image(each_pixel(
        static_cast<int>(rows[0].size()), static_cast<int>(rows.size()), 8, ramp,
        [&](int x, int r) {
            return rows[rows.size() - 1 - static_cast<size_t>(r)][static_cast<size_t>(x)] - '0';
        }));
}

std::vector<std::string> digits(int32_t handle)
{
    const image_copy copy = copy_image(handle);
    std::vector<std::string> rows(static_cast<size_t>(copy.height));
    for (int32_t i = 0; i < copy.width * copy.height; ++i)
        rows[static_cast<size_t>(i / copy.width)] +=
            static_cast<char>('0' + copy.pixel(i % copy.width, i / copy.width));
    return rows;
}

using rectangle = std::array<int32_t, 4>;

rectangle crop_of(int32_t handle)
{
    rectangle r{};
    IMG_get_croprect(handle, &r[0], &r[1], &r[2], &r[3]);
    return r;
}

} // namespace

TEST(processing, gives_what_comes_out_by_hand)
{
    const struct {
        const char* what;
        operation by_hand;
        std::vector<std::string> from, to; // top first
    } cases[] = {
        {"clockwise on the screen", turn(90), {"123", "456"}, {"41", "52", "63"}},
        {"upside down", turn(180), {"123", "456"}, {"654", "321"}},
        {"back", turn(270), {"123", "456"}, {"36", "25", "14"}},
        {"other angles: anti-diagonal", turn(INT_MIN), {"123", "456"}, {"63", "52", "41"}},
        {"the pixel to the left", resize(7, 1), {"123"}, {"1112233"}},
        {"every other pixel", resize(4, 1), {"12345678"}, {"1357"}},
        {"stored rows 0 and 1 of 3", resize(1, 2), {"1", "2", "3"}, {"2", "3"}},
        // Columns 0 and 3 stay.
        {"the row below first",
         kernel(0, {0, 0, 1}),
         {"1234", "5678", "9238"},
         {"1784", "5388", "9388"}},
        {"the row above last",
         kernel(0, {0, 0, 0, 0, 0, 0, 1}),
         {"1234", "5678", "9238"},
         {"1124", "5128", "9568"}},
        // Weight 17 over 25; z is 74 and b 50: 74, 74 + 2; 17 x 74 + 2 + 3, 50 + 2 + 3; 52, 54.
        {"smoothing over its own results",
         sharpen(0),
         {"0000", "0z00", "0000"},
         {"0220", "0b20", "0230"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const image_guard image(digits_image(c.from));
        ASSERT_EQ(c.by_hand.run(image), 0);
        EXPECT_EQ(digits(image), c.to);
    }
}

TEST(geometry, takes_the_crop_rectangle_along)
{
    const struct {
        const char* what;
        std::vector<operation> steps;
        rectangle expected; // of 1, 2, 3 x 2 in 10 x 6
    } cases[] = {
        {"quarter turn", {turn(90)}, {2, 1, 2, 3}},
        {"quarter turn back", {turn(270)}, {2, 6, 2, 3}},
        {"half turn", {turn(180)}, {6, 2, 3, 2}},
        {"anti-diagonal", {turn(0)}, {2, 6, 2, 3}},
        {"mirror left to right", {{"", IMG_flip_bitmapx, {}}}, {6, 2, 3, 2}},
        {"mirror top to bottom", {{"", IMG_flip_bitmapy, {}}}, {1, 2, 3, 2}},
        {"all the way round", {turn(90), turn(90), turn(90), turn(90)}, {1, 2, 3, 2}},
        {"resize", {resize(4, 7)}, {0, 0, 4, 7}},
        {"refused resizes", {}, {1, 2, 3, 2}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const image_guard image(create_image(random_picture(10, 6, 4, 9)));
        IMG_set_croprect(image, 1, 2, 3, 2);
        for (const auto& step : c.steps)
            ASSERT_EQ(step.run(image), 0);
        for (int32_t bad : {0, -1, INT_MIN, 32768, INT_MAX}) {
            EXPECT_EQ(IMG_resize_bitmap(image, bad, 1), -1);
            EXPECT_EQ(IMG_resize_bitmap(image, 1, bad), -1);
        }
        EXPECT_EQ(crop_of(image), c.expected);
        EXPECT_EQ(IMG_resize_bitmap(image, 32767, 1) | IMG_resize_bitmap(image, 1, 32767), 0);
    }
}

TEST(geometry, moves_crop_rectangles_of_any_values)
{
    for (int32_t x : {INT_MIN, -1, 0, INT_MAX})
        for (int32_t size : {INT_MIN, -1, 0, INT_MAX}) {
            const image_guard image(create_image(random_picture(9, 5, 1, 1)));
            IMG_set_croprect(image, x, size, size, x);
            const rectangle before = crop_of(image);
            for (int32_t angle : {90, 180, 90, 270, 90})
                ASSERT_EQ(IMG_rotate_bitmap(image, angle), 0);
            EXPECT_EQ(crop_of(image), before);
        }
}

TEST(geometry, resizes_pictures_wider_than_32767)
{
    const picture wide = random_picture(70000, 2, 1, 4);
    const image_guard image(create_image(wide));
    ASSERT_EQ(IMG_resize_bitmap(image, 1000, 2), 0);
    expect_image(image, plain::resized(wide, 1000, 2));
}

TEST(tone, follows_its_formula_over_all_arguments)
{
    const struct {
        int32_t contrast, brightness;
        int in, out;
    } cases[] = {
        {0, 10, 77, 97},          {64, 0, 192, 224},          {-128, 5, 200, 138},
        {127, 0, 255, 255},       {-129, 0, 0, 129},          {-129, 0, 1, 255},
        {INT_MAX, 0, 9, 0},       {INT_MIN, 0, 9, 255},       {0, INT_MAX, 9, 255},
        {0, INT_MIN, 200, 0},     {300, 0, 128, 128},         {0x800000, 0, 255, 0},
        {INT_MIN, INT_MIN, 9, 0}, {INT_MAX, INT_MAX, 9, 255},
    };
    for (const auto& c : cases)
        for (int bits : {4, 8, 24}) {
            SCOPED_TRACE(testing::Message() << c.contrast << ", " << c.brightness << ", " << bits);
            const auto flat = [&](int grey) {
                return each_pixel(40, 1, bits, std::vector(bits < 24 ? 1u << bits : 0, grey),
                                  [&](int, int) { return bits < 24 ? 0 : grey; });
            };
            const image_guard image(create_image(flat(c.in * 0x10101)));
            ASSERT_EQ(IMG_set_lut(image, c.contrast, c.brightness), 0);
            expect_image(image, flat(c.out * 0x10101));
        }
}

TEST(filters, take_any_arguments)
{
    constexpr int32_t sharpen_it = 100;
    constexpr signed char none[9] = {};
    const picture p = random_picture(50, 20, 24, 2);
    const struct {
        int32_t type, strength, code;
        const signed char* kernel;
        picture expected;
    } cases[] = {
        {sharpen_it, INT_MAX, 0, nullptr, plain::sharpened(p, 128)},
        {sharpen_it, 144, 0, nullptr, plain::sharpened(p, 128)},
        {sharpen_it, -129, 0, nullptr, plain::sharpened(p, -128)},
        {sharpen_it, INT_MIN, 0, nullptr, plain::sharpened(p, -128)},
        {-1, 0, -1, none, p},
        {10, 0, -1, none, p},
        {INT_MIN, 0, -1, none, p},
        {0, 0, -1, nullptr, p},
    };
    for (const auto& c : cases) {
        const image_guard image(create_image(p));
        EXPECT_EQ(c.type == sharpen_it ? IMG_sharpen_bitmap(image, c.strength)
                                       : IMG_process_bitmap(image, c.type, c.kernel),
                  c.code);
        expect_image(image, c.expected);
    }
}
