// process_test.cpp - geometry, tone and filters: small pictures worked out by hand, crop
// rectangles, arguments over their whole range, and the algebra of the turns.

#include "tests/reference/plain_process.h"

#include <climits>

namespace {

/// Rows of digits, top first, as an 8-bit picture with a grey ramp.
int32_t digits_image(const std::vector<std::string>& rows)
{
    test_dib dib(static_cast<int32_t>(rows[0].size()), static_cast<int32_t>(rows.size()), 8);
    for (size_t y = 0; y < rows.size(); ++y)
        for (size_t x = 0; x < rows[y].size(); ++x)
            dib.set_pixel(static_cast<int32_t>(x), static_cast<int32_t>(y),
                          static_cast<uint32_t>(rows[y][x] - '0'));
    return dib.create();
}

std::vector<std::string> digits(int32_t handle)
{
    const image_copy copy = copy_image(handle);
    std::vector<std::string> rows(static_cast<size_t>(copy.height));
    for (int32_t y = 0; y < copy.height; ++y)
        for (int32_t x = 0; x < copy.width; ++x)
            rows[static_cast<size_t>(y)] += static_cast<char>('0' + copy.pixel(x, y));
    return rows;
}

struct rectangle {
    int32_t x, y, width, height;
    bool operator==(const rectangle&) const = default;
};

rectangle crop_of(int32_t handle)
{
    rectangle r{};
    IMG_get_croprect(handle, &r.x, &r.y, &r.width, &r.height);
    return r;
}

/// Grey levels of one 8-bit row, and of the image's colour table entry 100.
uint32_t level(int32_t handle, int32_t x = 0)
{
    return copy_image(handle).color(x, 0) & 255;
}

} // namespace

TEST(geometry, turns_clockwise_as_seen_on_the_screen)
{
    const struct {
        int32_t degrees;
        std::vector<std::string> expected;
    } cases[] = {
        {90, {"41", "52", "63"}},      {180, {"654", "321"}},     {270, {"36", "25", "14"}},
        {0, {"63", "52", "41"}},       {360, {"63", "52", "41"}}, {-90, {"63", "52", "41"}},
        {INT_MIN, {"63", "52", "41"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.degrees);
        const image_guard image(digits_image({"123", "456"}));
        ASSERT_EQ(IMG_rotate_bitmap(image, c.degrees), 0);
        EXPECT_EQ(digits(image), c.expected);
    }
}

TEST(geometry, takes_the_crop_rectangle_along)
{
    const struct {
        const char* what;
        std::vector<int32_t> turns; // -1 flip x, -2 flip y
        rectangle expected;         // of 1, 2, 3 x 2 in 10 x 6
    } cases[] = {
        {"quarter turn", {90}, {2, 1, 2, 3}},
        {"quarter turn back", {270}, {2, 6, 2, 3}},
        {"half turn", {180}, {6, 2, 3, 2}},
        {"anti-diagonal", {0}, {2, 6, 2, 3}},
        {"mirror left to right", {-1}, {6, 2, 3, 2}},
        {"mirror top to bottom", {-2}, {1, 2, 3, 2}},
        {"there and back", {90, 270}, {1, 2, 3, 2}},
        {"all the way round", {90, 90, 90, 90}, {1, 2, 3, 2}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const image_guard image(create_image(random_picture(10, 6, 4, 9)));
        IMG_set_croprect(image, 1, 2, 3, 2);
        for (int32_t turn : c.turns)
            ASSERT_EQ(turn == -1   ? IMG_flip_bitmapx(image)
                      : turn == -2 ? IMG_flip_bitmapy(image)
                                   : IMG_rotate_bitmap(image, turn),
                      0);
        EXPECT_EQ(crop_of(image), c.expected);
    }
}

TEST(geometry, moves_crop_rectangles_of_any_values)
{
    const int32_t ends[] = {INT_MIN, -1, 0, INT_MAX};
    for (int32_t x : ends)
        for (int32_t size : ends) {
            const image_guard image(create_image(random_picture(9, 5, 1, 1)));
            IMG_set_croprect(image, x, size, size, x);
            const rectangle before = crop_of(image);
            for (int32_t degrees : {90, 180, 90, 270, 90})
                ASSERT_EQ(IMG_rotate_bitmap(image, degrees), 0);
            EXPECT_EQ(crop_of(image), before);
            ASSERT_EQ(IMG_resize_bitmap(image, 4, 7), 0);
            EXPECT_EQ(crop_of(image), (rectangle{0, 0, 4, 7}));
        }
}

TEST(geometry, turns_and_mirrors_undo_each_other)
{
    for (int bits : {1, 4, 8, 24})
        for (int width : {1, 9, 64, 77}) {
            SCOPED_TRACE(testing::Message() << bits << " bits, width " << width);
            const picture p = random_picture(width, 41, bits, 5);
            const image_guard image(create_image(p));
            for (int i = 0; i < 4; ++i)
                ASSERT_EQ(IMG_rotate_bitmap(image, 90), 0);
            expect_image(image, p);
            ASSERT_EQ(IMG_rotate_bitmap(image, 90), 0);
            ASSERT_EQ(IMG_rotate_bitmap(image, 270), 0);
            expect_image(image, p);
            for (int i = 0; i < 2; ++i)
                ASSERT_EQ(IMG_rotate_bitmap(image, 0) | IMG_rotate_bitmap(image, 180) |
                              IMG_flip_bitmapx(image) | IMG_flip_bitmapy(image),
                          0);
            expect_image(image, p);
            ASSERT_EQ(IMG_invert_bitmap(image) | IMG_invert_bitmap(image), 0);
            expect_image(image, p);
        }
}

TEST(geometry, resizes_by_the_pixel_to_the_left_and_below)
{
    const struct {
        std::vector<std::string> from;
        int32_t width, height;
        std::vector<std::string> to;
    } cases[] = {
        {{"123"}, 7, 1, {"1112233"}},
        {{"12345678"}, 4, 1, {"1357"}},
        {{"12345"}, 3, 1, {"124"}},
        {{"1", "2", "3"}, 1, 2, {"2", "3"}}, // stored rows 0 and 1 of 3, from the bottom
        {{"12", "34"}, 4, 4, {"1122", "1122", "3344", "3344"}},
    };
    for (const auto& c : cases) {
        const image_guard image(digits_image(c.from));
        ASSERT_EQ(IMG_resize_bitmap(image, c.width, c.height), 0);
        EXPECT_EQ(digits(image), c.to);
    }
}

TEST(geometry, resizes_into_the_padding)
{
    const struct {
        const char* what;
        int from_width, bits;
        std::vector<byte_vector> from; // stored rows
        int to_width;
        std::vector<byte_vector> to;
    } cases[] = {
        {"the byte behind a 24-bit pixel", 2, 24, {{1, 2, 3, 9, 8, 7, 0, 0}}, 1, {{1, 2, 3, 9}}},
        {"pixels 0001122 and another 2", 3, 1, {{0x20, 0, 0, 0}}, 7, {{0x07, 0, 0, 0}}},
        // Position 24 x 13653 / 65536 is still pixel 4; nothing clears its byte in row 1.
        {"a bit behind the bytes stays set",
         5,
         1,
         {{0x08, 0, 0, 0}, {0x00, 0, 0, 0}},
         24,
         {{0x00, 0x00, 0x0F, 0x80}, {0x00, 0x00, 0x00, 0x80}}},
        {"none behind 32", 5, 1, {{0x08, 0, 0, 0}}, 32, {{0, 0, 0, 0x3F}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const auto height = static_cast<int>(c.from.size());
        picture from(c.from_width, height, c.bits), to(c.to_width, height, c.bits);
        from.rows = c.from;
        to.rows = c.to;
        const image_guard image(create_image(from));
        ASSERT_EQ(IMG_resize_bitmap(image, c.to_width, height), 0);
        expect_image(image, to);
    }
}

TEST(geometry, refuses_sizes_of_nothing_and_beyond_32767)
{
    const struct {
        int32_t width, height, expected;
    } cases[] = {{0, 5, -1},     {5, 0, -1},       {-1, 5, -1},   {5, INT_MIN, -1}, {32768, 1, -1},
                 {1, 32768, -1}, {INT_MAX, 1, -1}, {32767, 1, 0}, {1, 32767, 0}};
    for (const auto& c : cases) {
        const picture p = random_picture(6, 4, 24, 8);
        const image_guard image(create_image(p));
        IMG_set_croprect(image, 1, 1, 2, 2);
        EXPECT_EQ(IMG_resize_bitmap(image, c.width, c.height), c.expected)
            << c.width << " x " << c.height;
        if (c.expected < 0) {
            expect_image(image, p);
            EXPECT_EQ(crop_of(image), (rectangle{1, 1, 2, 2}));
        }
    }
}

TEST(geometry, resizes_pictures_wider_than_32767)
{
    picture p = random_picture(70000, 2, 1, 4);
    const image_guard image(create_image(p));
    ASSERT_EQ(IMG_resize_bitmap(image, 1000, 2), 0);
    expect_image(image, plain::resized(p, 1000, 2));
}

TEST(tone, starts_from_the_first_colours_until_they_are_forgotten)
{
    const auto make = [](int bits) {
        test_dib dib(1, 1, bits);
        if (bits < 24) dib.set_color(1, 100, 100, 100);
        dib.set_pixel(0, 0, bits < 24 ? 1 : 0x646464);
        return dib.create();
    };
    const image_guard table(make(8)), pixels(make(24)), turned(make(4)), promoted(make(4));
    for (int32_t h : {int32_t(table), int32_t(pixels), int32_t(turned), int32_t(promoted)})
        ASSERT_EQ(IMG_set_lut(h, 0, 10), 0);
    ASSERT_EQ(IMG_rotate_bitmap(turned, 90) | IMG_flip_bitmapy(turned) |
                  IMG_resize_bitmap(turned, 3, 3),
              0);
    ASSERT_EQ(IMG_promote_8(promoted), 0);
    for (int32_t h : {int32_t(table), int32_t(pixels), int32_t(turned), int32_t(promoted)})
        ASSERT_EQ(IMG_set_lut(h, 0, 10), 0);
    EXPECT_EQ(level(table), 120u);
    EXPECT_EQ(level(pixels), 140u);
    EXPECT_EQ(level(turned), 120u);
    EXPECT_EQ(level(promoted), 140u);
    ASSERT_EQ(IMG_set_lut(table, 0, 0), 0);
    EXPECT_EQ(level(table), 100u);
}

TEST(tone, follows_its_formula_over_all_arguments)
{
    const struct {
        int32_t contrast, brightness;
        uint32_t in, out;
    } cases[] = {
        {0, 0, 77, 77},           {0, 10, 77, 97},      {64, 0, 128, 128},
        {64, 0, 192, 224},        {-128, 5, 200, 138},  {127, 0, 0, 0},
        {127, 0, 255, 255},       {-64, 0, 0, 64},      {-129, 0, 0, 129},
        {-129, 0, 1, 255},        {INT_MAX, 0, 9, 0},   {INT_MIN, 0, 9, 255},
        {0, INT_MAX, 9, 255},     {0, INT_MIN, 200, 0}, {INT_MAX, INT_MAX, 9, 255},
        {INT_MIN, INT_MIN, 9, 0}, {300, 0, 128, 128},   {0x800000, 0, 255, 0},
    };
    for (const auto& c : cases)
        for (int bits : {4, 8, 24}) {
            SCOPED_TRACE(testing::Message() << c.contrast << ", " << c.brightness << ", " << bits);
            test_dib dib(40, 1, bits);
            const int in = static_cast<int>(c.in);
            if (bits < 24) dib.set_color(0, in, in, in);
            for (int32_t x = 0; x < 40; ++x)
                dib.set_pixel(x, 0, bits < 24 ? 0 : c.in * 0x10101);
            const image_guard image(dib.create());
            ASSERT_EQ(IMG_set_lut(image, c.contrast, c.brightness), 0);
            EXPECT_EQ(level(image), c.out);
            EXPECT_EQ(level(image, 39), c.out);
        }
    const image_guard mono(create_image(random_picture(4, 4, 1, 1)));
    EXPECT_EQ(IMG_set_lut(mono, 1, 1), -7);
}

TEST(sharpening, smooths_over_its_own_results)
{
    // Weight 17 over 25; one bright pixel in stored row 1, column 1.
    test_dib dib(4, 3, 8);
    dib.set_pixel(1, 1, 250);
    const image_guard image(dib.create());
    ASSERT_EQ(IMG_sharpen_bitmap(image, 0), 0);
    const image_copy copy = copy_image(image);
    const uint32_t expected[3][4] = {{0, 7, 7, 0}, {0, 170, 7, 0}, {0, 10, 10, 0}};
    for (int32_t y = 0; y < 3; ++y)
        for (int32_t x = 0; x < 4; ++x)
            EXPECT_EQ(copy.pixel(x, y), expected[y][x]) << x << ", " << y;
}

TEST(sharpening, takes_strengths_beyond_128_as_128)
{
    const auto sharpened = [](int32_t strength) {
        const image_guard image(create_image(random_picture(50, 20, 24, 2)));
        EXPECT_EQ(IMG_sharpen_bitmap(image, strength), 0);
        return copy_image(image);
    };
    const image_copy most = sharpened(128), least = sharpened(-128);
    for (int32_t strength : {143, 144, 1000, INT_MAX})
        expect_same_colors(sharpened(strength), most);
    for (int32_t strength : {-129, -144, -1000, INT_MIN})
        expect_same_colors(sharpened(strength), least);
    expect_same_colors(sharpened(-113), least);
    expect_same_colors(sharpened(15), sharpened(0));
}

TEST(filters, refuse_what_they_cannot_take)
{
    const signed char kernel[9] = {};
    const struct {
        const char* what;
        int bits;
        test_colors colors;
        int32_t type; // -100: sharpen
        const signed char* kernel;
        int32_t expected;
    } cases[] = {
        {"sharpen colours", 8, test_colors::random, -100, nullptr, -7},
        {"sharpen colours of 4 bits", 4, test_colors::random, -100, nullptr, -7},
        {"sharpen 1 bit: nothing to do", 1, test_colors::random, -100, nullptr, 0},
        {"kernel on 1 bit", 1, test_colors::random, 1, nullptr, -7},
        {"kernel on grey of 4 bits: nothing to do", 4, test_colors::grey, 2, nullptr, 0},
        {"kernel type below", 24, test_colors::random, -1, kernel, -1},
        {"kernel type above", 24, test_colors::random, 10, kernel, -1},
        {"kernel type far off", 8, test_colors::random, INT_MIN, kernel, -1},
        {"no kernel", 8, test_colors::random, 0, nullptr, -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const picture p = random_picture(21, 6, c.bits, 4, c.colors);
        const image_guard image(create_image(p));
        EXPECT_EQ(c.type == -100 ? IMG_sharpen_bitmap(image, 50)
                                 : IMG_process_bitmap(image, c.type, c.kernel),
                  c.expected);
        expect_image(image, p);
    }
}

TEST(filters, turn_flat_pictures_as_their_kernels_sum)
{
    const struct {
        int32_t type;
        uint32_t in, out;
    } cases[] = {{7, 90, 90}, {1, 90, 0}, {8, 40, 255}, {8, 30, 210}, {3, 90, 0}, {9, 90, 0}};
    for (const auto& c : cases) {
        test_dib dib(20, 9, 8);
        for (int32_t i = 0; i < 180; ++i)
            dib.set_pixel(i % 20, i / 20, c.in);
        const image_guard image(dib.create());
        ASSERT_EQ(IMG_process_bitmap(image, c.type, nullptr), 0);
        const image_copy copy = copy_image(image);
        for (int32_t i = 0; i < 180; ++i) // the first and last column stay
            EXPECT_EQ(copy.pixel(i % 20, i / 20), i % 20 % 19 == 0 ? c.in : c.out) << c.type;
    }
}

TEST(filters, weigh_the_stored_row_below_first)
{
    const signed char from_below[9] = {0, 0, 1}, from_above[9] = {0, 0, 0, 0, 0, 0, 1};
    const struct {
        const signed char* kernel;
        std::vector<std::string> expected; // columns 0 and 3 stay
    } cases[] = {{from_below, {"1784", "5388", "9388"}}, {from_above, {"1124", "5128", "9568"}}};
    for (const auto& c : cases) {
        const image_guard image(digits_image({"1234", "5678", "9238"}));
        ASSERT_EQ(IMG_process_bitmap(image, 0, c.kernel), 0);
        EXPECT_EQ(digits(image), c.expected);
    }
}

TEST(filters, turn_coloured_palettes_grey_first)
{
    const signed char copy_kernel[9] = {0, 0, 0, 0, 1};
    const picture p = random_picture(30, 7, 4, 6);
    const image_guard image(create_image(p)), grey(create_image(p));
    ASSERT_EQ(IMG_process_bitmap(image, 0, copy_kernel), 0);
    ASSERT_EQ(IMG_color_gray(grey), 0);
    EXPECT_EQ(copy_image(image).bits, 8);
    expect_same_colors(copy_image(image), copy_image(grey));
}

TEST(processing, refuses_dead_handles)
{
    const signed char kernel[9] = {};
    for (int32_t dead : {-1, -13, 77, INT_MAX, INT_MIN}) {
        EXPECT_EQ(IMG_rotate_bitmap(dead, 90), -13);
        EXPECT_EQ(IMG_rotate_bitmap(dead, 180), -13);
        EXPECT_EQ(IMG_flip_bitmapx(dead), -13);
        EXPECT_EQ(IMG_flip_bitmapy(dead), -13);
        EXPECT_EQ(IMG_resize_bitmap(dead, 5, 5), -13);
        EXPECT_EQ(IMG_set_lut(dead, 1, 1), -13);
        EXPECT_EQ(IMG_invert_bitmap(dead), -13);
        EXPECT_EQ(IMG_sharpen_bitmap(dead, 1), -13);
        EXPECT_EQ(IMG_process_bitmap(dead, 1, kernel), -13);
    }
}
