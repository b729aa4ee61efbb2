// wpg_test.cpp - WordPerfect graphics through the exports: both versions, runs, colours,
// records around the bitmap, damaged files, exact output.

#include "tests/builders/wpg_builder.h"

namespace {

constexpr int32_t wpg = 5;

byte_vector eight_bits(int width, int height, const byte_vector& data)
{
    // What follows the bitmap would go on as literals.
    return wpg_builder().bitmap(width, height, 8, data).record(3, {7, 7, 7});
}

const byte_vector vectors = {1, 0, 2, 0, 3, 0, 4, 0};

} // namespace

TEST(wpg_reader, decodes_runs)
{
    const struct {
        const char* what;
        int width, height;
        byte_vector data;
        values expected;
    } rows[] = {
        {"literals, a run", 4, 1, {2, 5, 6, 0x82, 7}, {5, 6, 7, 7}},
        {"the long run of white", 3, 1, {0x80, 3}, {255, 255, 255}},
        {"a run on into the next rows", 2, 3, {0x85, 9, 1, 8}, {9, 9, 9, 9, 9, 8}},
        {"literals on into the next rows", 2, 2, {4, 1, 2, 3, 4}, {1, 2, 3, 4}},
        {"rows repeated", 2, 4, {2, 1, 2, 0, 2, 0x82, 3}, {1, 2, 1, 2, 1, 2, 3, 3}},
        {"no row to repeat is zeros", 2, 2, {0, 1, 2, 1, 2}, {0, 0, 1, 2}},
        {"a repeat inside a row", 2, 3, {3, 1, 2, 3, 0, 1, 1, 9}, {1, 2, 3, 2, 3, 9}},
        {"items of nothing", 2, 1, {0x80, 0, 0, 0, 2, 7, 8}, {7, 8}},
        {"more than the picture holds", 2, 1, {0xFF, 6, 1, 1}, {6, 6}},
        {"rows so far, then zeros", 2, 3, {2, 1, 2, 1, 3}, {1, 2, 3, 0, 0, 0}},
    };
    for (const auto& r : rows)
        EXPECT_EQ(values_in(eight_bits(r.width, r.height, r.data)), r.expected) << r.what;
    // More than 255 equal rows take several items.
    EXPECT_EQ(values_in(eight_bits(1, 600, {1, 7, 0, 255, 0, 255, 0, 89})), values(600, 7));
}

TEST(wpg_reader, maps_depths_to_colours)
{
    const byte_vector map = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    EXPECT_EQ(colors_in(wpg_builder().colors(0, map).bitmap(9, 1, 1, {2, 0xA0, 0xFF})),
              (values{0xFFFFFF, 0, 0xFFFFFF, 0, 0, 0, 0, 0, 0xFFFFFF}));
    EXPECT_EQ(colors_in(wpg_builder().bitmap(4, 1, 2, {1, 0x1B})),
              (values{0, 0x00AAAA, 0xAA00AA, 0xAAAAAA}));
    EXPECT_EQ(colors_in(wpg_builder().colors(0, map).bitmap(4, 1, 2, {1, 0x1B})),
              (values{0x010203, 0x040506, 0x070809, 0x0A0B0C}));
    EXPECT_EQ(colors_in(wpg_builder().bitmap(3, 1, 4, {2, 0x1E, 0x60})),
              (values{0x0000AA, 0xFFFF55, 0xAA5500}));
    // Entries that a map leaves alone keep the default; one that runs over is cut.
    EXPECT_EQ(colors_in(wpg_builder()
                            .colors(254, {1, 2, 3, 4, 5, 6, 7, 8, 9})
                            .bitmap(4, 1, 8, {4, 254, 255, 16, 31})),
              (values{0x010203, 0x040506, 0, 0xFFFFFF}));
    EXPECT_EQ(colors_in(wpg_builder().colors(1, {1, 2, 3}, 200).bitmap(2, 1, 8, {2, 1, 2})),
              (values{0x010203, 0x00AA00}));
    // Points on the default rings: pure blue, magenta, yellow, a dark and a pale colour.
    EXPECT_EQ(colors_in(wpg_builder().bitmap(5, 1, 8, {5, 32, 36, 44, 104, 247})),
              (values{0x0000FF, 0xFF00FF, 0xFFFF00, 0x000071, 0x2C3041}));
    EXPECT_EQ(colors_in(wpg_builder().bitmap(2, 1, 8, {2, 96, 248})), (values{0xB6FFB6, 0}));
}

TEST(wpg_reader, passes_over_what_is_no_bitmap)
{
    const byte_vector two = {2, 5, 6};
    for (size_t size : {0u, 254u, 255u, 32767u, 32768u, 70000u})
        EXPECT_EQ(values_in(wpg_builder(1, 80)
                                .record(0x0F, {1, 0, 9, 0, 9, 0})
                                .record(5, byte_vector(size, 0x0B))
                                .record(0x77, vectors)
                                .bitmap(2, 1, 8, two)),
                  (values{5, 6}));
    EXPECT_EQ(load_code(wpg_builder().record(5, vectors).record(0x10, {})), -7);
    EXPECT_EQ(load_code(wpg_builder(2).record(7, vectors).record(2, {})), -7);
    EXPECT_EQ(load_code(wpg_builder().bitmap(2, 1, 24, two)), -7);
    // The largest bitmap counts, with the colours that were in force where it stands.
    EXPECT_EQ(colors_in(wpg_builder()
                            .colors(5, {1, 1, 1})
                            .bitmap(1, 1, 8, {1, 5})
                            .colors(5, {2, 2, 2})
                            .bitmap(2, 1, 8, {0x82, 5})
                            .colors(5, {3, 3, 3})
                            .bitmap(1, 1, 8, {1, 5})),
              (values{0x020202, 0x020202}));
}

TEST(wpg_reader, applies_the_mirror_flags_of_a_placed_bitmap)
{
    const auto placed = [](int rotation) {
        return values_in(wpg_builder().bitmap(2, 2, 8, {4, 1, 2, 3, 4}, rotation));
    };
    EXPECT_EQ(placed(0), (values{1, 2, 3, 4}));
    EXPECT_EQ(placed(0x8000), (values{2, 1, 4, 3}));
    EXPECT_EQ(placed(0x2000 | 30), (values{3, 4, 1, 2}));
}

TEST(wpg2_reader, reads_formats_and_items)
{
    const auto file = [](int width, int height, int format, int coding, const byte_vector& data) {
        return wpg_builder(2, 26)
            .record(1, byte_vector(20))
            .bitmap_2(width, height, format, coding, data);
    };
    EXPECT_EQ(colors_in(file(9, 1, 1, 0, {0xA0, 0x80})),
              (values{0xFFFFFF, 0, 0xFFFFFF, 0, 0, 0, 0, 0, 0xFFFFFF}));
    EXPECT_EQ(values_in(file(5, 1, 2, 0, {0x1B, 0x40})), (values{0, 1, 2, 3, 1}));
    EXPECT_EQ(values_in(file(3, 1, 3, 0, {0x1E, 0x60})), (values{1, 14, 6}));
    EXPECT_EQ(colors_in(file(2, 1, 8, 0, {1, 2, 3, 4, 5, 6})), (values{0x010203, 0x040506}));
    EXPECT_EQ(colors_in(file(2, 1, 12, 0, {1, 200})), (values{0x010101, 0xC8C8C8}));
    EXPECT_EQ(load_code(file(2, 1, 9, 0, {1, 2, 3, 4, 5, 6, 7, 8})), -7);
    EXPECT_EQ(load_code(file(2, 1, 8, 2, {1, 2, 3, 4, 5, 6, 7, 8})), -7);

    const struct {
        const char* what;
        byte_vector data;
        values expected; // 4 x 3 of 8 bits
    } rows[] = {
        {"literals, a unit, again",
         {3, 1, 2, 3, 4, 0x81, 9, 0xFD, 5},
         {1, 2, 3, 4, 9, 9, 9, 9, 9, 9, 9, 9}},
        {"zeros, ones, rows again",
         {0x7F, 1, 0xFF, 1, 0xFE, 1},
         {0, 0, 255, 255, 0, 0, 255, 255, 0, 0, 255, 255}},
        {"units of two bytes",
         {0x7D, 2, 0x82, 1, 2, 2, 3, 4, 5, 6, 7, 8},
         {1, 2, 1, 2, 1, 2, 3, 4, 5, 6, 7, 8}},
        {"combined with the row above",
         {0x7E, 3, 1, 2, 3, 4, 0x7E, 0x83, 1, 0x83, 5},
         {1, 2, 3, 4, 0, 3, 2, 5, 5, 5, 5, 5}},
        {"combining inside a row does nothing",
         {3, 1, 2, 3, 4, 1, 5, 6, 0x7E, 1, 7, 8, 0x83, 9},
         {1, 2, 3, 4, 5, 6, 7, 8, 9, 9, 9, 9}},
        {"a unit again before there is one", {0xFD, 11}, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"a unit that outlives zeros",
         {0x83, 8, 0x7F, 3, 0xFD, 3},
         {8, 8, 8, 8, 0, 0, 0, 0, 8, 8, 8, 8}},
    };
    for (const auto& r : rows)
        EXPECT_EQ(values_in(file(4, 3, 4, 1, r.data)), r.expected) << r.what;
    EXPECT_EQ(load_code(file(4, 3, 4, 1, {0x7D, 0})), -3); // no unit has no bytes
    EXPECT_EQ(load_code(file(4, 3, 4, 1, {0x7D, 9})), -3);

    byte_vector palette = {1, 0, 1, 0, 10, 20, 30, 0},
                deep = {2, 0, 1, 0, 1, 40, 2, 50, 3, 60, 0, 0};
    EXPECT_EQ(colors_in(wpg_builder(2)
                            .record(0x0C, palette)
                            .record(0x0D, deep)
                            .bitmap_2(4, 1, 4, 0, {1, 2, 17, 255})),
              (values{0x0A141E, 0x28323C, 0x111111, 0xFFFFFF}));
}

TEST(wpg_writer, writes_exact_bytes)
{
    picture dib(10, 3, 8);
    for (int x = 0; x < 10; ++x)
        for (int y = 0; y < 3; ++y)
            dib.set_pixel(x, y, uint32_t(x < 5 ? 7 : x));
    const image_guard image(dib.create());
    const byte_vector file = save_bytes(image, wpg);
    const byte_vector front = {0xFF, 'W', 'P', 'C', 16,  0, 0,  0, 1,    0x16, 1, 0, 0, 0, 0, 0,
                               0x0F, 6,   1,   0,   160, 0, 48, 0, 0x0E, 0xFF, 4, 3, 0, 0, 0, 1};
    EXPECT_EQ(byte_vector(file.begin(), file.begin() + 32), front);
    const byte_vector rest = {0x0B, 0xFF, 0,    0x80, 20, 0, 10, 0, 3, 0, 8, 0, 75,   0,
                              75,   0,    0x85, 7,    5,  5, 6,  7, 8, 9, 0, 2, 0x10, 0};
    EXPECT_EQ(byte_vector(file.begin() + 32 + 768, file.end()), rest);
    for (auto [y_dpi, expected] : {std::pair(300, 600), {4801, 0}}) {
        dib.set_resolution(600, y_dpi);
        const byte_vector fine = save_bytes(image_guard(dib.create()), wpg);
        EXPECT_EQ(fine[20], 20);
        EXPECT_EQ(picture_of(fine).resolution().first, expected);
    }
    // A picture that is too large for 16 bits at its resolution gets a finer one: 92 dpi.
    const byte_vector wide = save_bytes(image_guard(picture(5000, 1, 8).create()), wpg);
    EXPECT_EQ(wide[20] | wide[21] << 8, 5000 * 1200 / 92);
}

TEST(wpg_writer, splits_long_runs_and_repeats)
{
    // A white row longer than the long run, and more equal rows than one item repeats.
    picture tall(1000, 700, 8);
    for (int y = 0; y < 700; ++y)
        std::memset(tall.row(y), y == 600 ? 3 : 255, 1000);
    const image_guard image(tall.create());
    const byte_vector file = save_bytes(image, wpg);
    EXPECT_EQ(file.size(), 816u + 4 * 2 + 6 + 8 * 2 + 4 * 2 + 2 + 2);
    expect_same_colors(picture_of(file), copy_image(image));
}
