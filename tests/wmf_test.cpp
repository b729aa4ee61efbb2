// wmf_test.cpp - Windows metafiles through the exports: records that draw bitmaps, their
// formats, the choice among several, damaged files, exact output.

#include "tests/builders/wmf_builder.h"

namespace {

constexpr int32_t wmf = 6;

const byte_vector four_colors = {3, 2, 1, 0, 6, 5, 4, 0, 9, 8, 7, 0, 12, 11, 10, 0};

// 3 x 2 pixels of 8 bits with four colours; stored from the bottom.
wmf_test_dib small(byte_vector pixels = {1, 2, 3, 0, 0, 1, 2, 0})
{
    return {3, 2, 8, 0, 4, false, four_colors, std::move(pixels)};
}
const values small_colors = {0x010203, 0x040506, 0x070809, 0x040506, 0x070809, 0x0A0B0C};

byte_vector drawn(const wmf_test_dib& d)
{
    return wmf_builder().draw(0x0F43, d).finish();
}

} // namespace

TEST(wmf_reader, reads_every_record_that_draws_a_bitmap)
{
    const mode_scope interchange; // classic mode knows placeable files only
    for (bool placeable : {true, false})
        for (int kind : {1, 2})
            for (int version : {0x0100, 0x0300})
                for (int function : {0x0F43, 0x0B41, 0x0940, 0x0D33}) {
                    SCOPED_TRACE(testing::Message() << placeable << kind << " " << function);
                    wmf_builder file(placeable, kind, version);
                    file.record(0x0626, byte_vector(8192, 9)).record(0x0103, {8, 0});
                    file.record(0x0142, small({3, 3, 3, 0, 3, 3, 3, 0})); // a brush
                    file.draw(function, small(), 0, 0, 3, 2, 0x00CC0020, 0, 2);
                    EXPECT_EQ(colors_in(file), small_colors); // no end record either
                }
    byte_vector device = {0, 0, 9, 0, 2, 0, 2, 0, 1, 1, 0x80, 0x80, 0, 0};
    for (int function : {0x0922, 0x0B23})
        EXPECT_EQ(colors_in(wmf_builder().draw(function, device).finish())[0], 0xFFFFFFu);
}

TEST(wmf_reader, reads_bitmaps_of_every_format)
{
    wmf_test_dib from_the_top = small();
    from_the_top.height = -2;
    const byte_vector bits = {0x40, 0, 0, 0, 0xA0, 0, 0, 0},
                      white_first = {255, 255, 255, 0, 0, 0, 0, 0};
    const byte_vector bgr = {6, 5, 4, 9, 8, 7, 12, 11, 10, 0, 0, 0,
                             3, 2, 1, 6, 5, 4, 9,  8,  7,  0, 0, 0};
    const byte_vector masks_565 = {0, 0xF8, 0, 0, 0xE0, 0x07, 0, 0, 0x1F, 0, 0, 0};
    const byte_vector masks_888 = {0xFF, 0, 0, 0, 0, 0xFF, 0, 0, 0, 0, 0xFF, 0};
    // Width, height, bits, compression, colours used, the old header; table; pixels.
    const std::pair<wmf_test_dib, values> rows[] = {
        {small(), small_colors},
        {from_the_top, {0x040506, 0x070809, 0x0A0B0C, 0x010203, 0x040506, 0x070809}},
        {{3, 2, 1, 0, 0, true, {1, 2, 3, 4, 5, 6}, bits},
         {0x060504, 0x030201, 0x060504, 0x030201, 0x060504, 0x030201}},
        {{3, 2, 1, 0, 0, false, white_first, bits}, {0, 0xFFFFFF, 0, 0xFFFFFF, 0, 0xFFFFFF}},
        {{3, 2, 4, 0, 4, false, four_colors, {0x12, 0x30, 0, 0, 0x01, 0x20, 0, 0}}, small_colors},
        {{3, 2, 24, 0, 0, false, {}, bgr}, small_colors},
        {{3, 2, 24, 0, 0, true, {}, bgr}, small_colors},
        {{3, 2, 8, 1, 4, false, four_colors, {1, 1, 1, 2, 1, 3, 0, 0, 0, 3, 0, 1, 2, 0, 0, 1}},
         small_colors},
        {{3, 2, 4, 2, 4, false, four_colors, {2, 0x12, 1, 0x30, 0, 0, 0, 3, 0x01, 0x20, 0, 1}},
         small_colors},
        {{2, 1, 16, 0, 0, false, {}, {0x00, 0x7C, 0xE1, 0x03}}, {0xFF0000, 0x00FF08}},
        {{2, 1, 16, 3, 0, false, masks_565, {0xFF, 0x07, 0, 0xF8}}, {0x00FFFF, 0xFF0000}},
        {{2, 1, 32, 0, 0, false, {}, {1, 2, 3, 9, 4, 5, 6, 9}}, {0x030201, 0x060504}},
        {{2, 1, 32, 3, 0, false, masks_888, {1, 2, 3, 9, 4, 5, 6, 9}}, {0x010203, 0x040506}},
    };
    for (const auto& [dib, expected] : rows)
        EXPECT_EQ(colors_in(drawn(dib)), expected) << dib.bits << ", " << dib.compression;
}

TEST(wmf_reader, takes_colours_from_the_palette)
{
    byte_vector three = {0, 3, 0xE8, 4, 1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0};
    three.resize(4 + 4 * 0x4E8); // more than pixels can name
    const auto pixels = [&](byte_vector table, int usage, const byte_vector& palette) {
        wmf_test_dib d = small();
        d.table = table;
        wmf_builder file;
        if (!palette.empty()) file.record(0x00F7, palette);
        const values all = colors_in(file.draw(0x0F43, d, 0, 0, 3, 2, 0x00CC0020, usage));
        return values(all.begin(), all.begin() + 2);
    };
    EXPECT_EQ(pixels({2, 0, 1, 0, 0, 0, 0, 0}, 1, three), (values{0x070809, 0x040506}));
    EXPECT_EQ(pixels({}, 2, three), (values{0x010203, 0x040506}));
    EXPECT_EQ(pixels({}, 2, {}), (values{0, 0x010101})); // no palette: shades of grey
}

TEST(wmf_reader, chooses_and_joins)
{
    const byte_vector one = small(), other = small({3, 3, 3, 0, 3, 3, 3, 0});
    constexpr uint32_t copy = 0x00CC0020, and_ = 0x008800C6, or_ = 0x00EE0086, xor_ = 0x00660046;
    // Masks in front of or behind the image, and a copy, which is nobody's mask.
    const std::pair<uint32_t, bool> pairs[][2] = {
        {{and_, false}, {or_, true}},  {{or_, false}, {and_, true}},
        {{and_, false}, {xor_, true}}, {{xor_, true}, {and_, false}},
        {{xor_, false}, {copy, true}}, {{and_, true}, {and_, false}}};
    for (const auto& pair : pairs) {
        SCOPED_TRACE(&pair - pairs);
        wmf_builder file;
        for (int times : {1, 2}) {
            for (const auto& [raster, is_image] : pair)
                file.draw(0x0F43, is_image ? one : other, 0, 0, 3, 2, raster);
            EXPECT_EQ(colors_in(file), small_colors) << times;
        }
    }
    const auto at = [](const byte_vector& image, int x, int y, uint32_t raster, wmf_builder file) {
        return file.draw(0x0F43, image, x, y, 3, 2, raster);
    };
    const wmf_builder none, first = at(one, 0, 0, copy, none);
    // Pictures side by side: the first; not halves of a pair either.
    EXPECT_EQ(colors_in(at(other, 9, 2, copy, first)), small_colors);
    EXPECT_EQ(colors_in(at(other, 9, 0, and_, at(one, 0, 0, or_, none))), small_colors);
    // Bands out of order, the middle one first.
    const values joined =
        colors_in(at(other, 5, 20, copy, at(other, 5, 24, copy, at(one, 5, 22, copy, none))));
    ASSERT_EQ(joined.size(), 18u);
    EXPECT_EQ(values(joined.begin() + 6, joined.begin() + 12), small_colors);
    wmf_test_dib recoloured = small(), tall = small();
    recoloured.table[0] = 99;
    EXPECT_EQ(picture_of(at(recoloured, 0, 2, copy, first)).height, 2);

    wmf_builder many; // more bands than are joined
    for (int i = 0; i < 600; ++i)
        many.draw(0x0F43, one, 0, 2 * i, 3, 2);
    EXPECT_EQ(picture_of(many).height, 2 * 512);
    // A bitmap that fills the picture has its resolution.
    EXPECT_EQ(picture_of(wmf_builder().draw(0x0F43, one, 0, 0, 100, 50)).resolution(),
              std::pair(6, 8));
    EXPECT_EQ(picture_of(drawn(small())).resolution().first, 0);
    EXPECT_EQ(colors_in(wmf_builder().draw(0x0F43, one, 0, 0, -3, -2)), // mirrored
              (values{0x0A0B0C, 0x070809, 0x040506, 0x070809, 0x040506, 0x010203}));
    tall.height = 50; // the header speaks of the whole picture, of which two rows are here
    EXPECT_EQ(colors_in(wmf_builder().draw(0x0D33, tall, 0, 0, 3, 2, 0, 0, 2)), small_colors);
}

TEST(wmf_reader, mirrors_and_pads_every_depth_and_width)
{
    for (int bits : {1, 4, 8, 24})
        for (int width = 1; width <= 35; ++width) {
            SCOPED_TRACE(testing::Message() << bits << " bits, width " << width);
            picture dib = random_picture(width, 2, bits);
            const picture mirrored = each_pixel(width, 2, bits, dib.colors(), [&](int x, int y) {
                return dib.pixel(width - 1 - x, y);
            });
            // Padding of ones; rows end in zeros all the same.
            picture dirty = dib;
            for (uint8_t& byte : dirty.rows())
                byte = 0xFF;
            for (int i = 0; i < 2 * width; ++i)
                dirty.set_pixel(i % width, i / width, dib.pixel(i % width, i / width));
            const picture same = picture_of(wmf_builder().draw(0x0F43, dirty.bytes));
            EXPECT_TRUE(std::ranges::equal(same.rows(), dib.rows()));
            const picture turned = picture_of(wmf_builder().draw(0x0F43, dirty.bytes, 0, 0, -1, 1));
            EXPECT_TRUE(std::ranges::equal(turned.rows(), mirrored.rows()));
        }
}

TEST(wmf_reader, refuses_records_that_lead_nowhere)
{
    const byte_vector line(8), enhanced = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(load_code(wmf_builder().record(0x0418, line).finish()), -7);
    EXPECT_EQ(load_code(wmf_builder().record(0x0B41, byte_vector(22)).finish()), -7); // a pattern
    for (int words : {0, 2})
        EXPECT_EQ(load_code(wmf_builder().record(0x0418, line, words).draw(0x0F43, small())), -3);
    EXPECT_EQ(load_code(wmf_builder().record(0x0418, line, -2)), -7); // far beyond the end
    EXPECT_EQ(load_code(enhanced), -7);
    EXPECT_EQ(load_code(drawn({40000, 40000, 8, 1, 0, false, byte_vector(1024), {0, 1}})), -3);
}

TEST(wmf_writer, writes_exact_bytes)
{
    picture dib(3, 2, 1);
    dib.set_pixel(1, 0, 1);
    dib.set_pixel(0, 1, 1);
    dib.set_resolution(300, 600);
    const image_guard image(dib.create());
    const byte_vector expected = {
        0xD7, 0xCD, 0xC6, 0x9A, 0,    0,    0, 0, 0,    0, 3, 0, 1,    0,    0x2C, 1, 0,    0, 0, 0,
        0x3F, 0x56, 1,    0,    9,    0,    0, 3, 68,   0, 0, 0, 0,    0,    42,   0, 0,    0, 0, 0,
        5,    0,    0,    0,    0x0B, 2,    0, 0, 0,    0, 5, 0, 0,    0,    0x0C, 2, 1,    0, 3, 0,
        4,    0,    0,    0,    7,    1,    3, 0, 42,   0, 0, 0, 0x43, 0x0F, 0x20, 0, 0xCC, 0, 0, 0,
        2,    0,    3,    0,    0,    0,    0, 0, 1,    0, 3, 0, 0,    0,    0,    0, 40,   0, 0, 0,
        3,    0,    0,    0,    2,    0,    0, 0, 1,    0, 1, 0, 0,    0,    0,    0, 8,    0, 0, 0,
        0x23, 0x2E, 0,    0,    0x46, 0x5C, 0, 0, 2,    0, 0, 0, 0,    0,    0,    0, 0,    0, 0, 0,
        255,  255,  255,  0,    0x80, 0,    0, 0, 0x40, 0, 0, 0, 3,    0,    0,    0, 0,    0};
    const byte_vector file = save_bytes(image, wmf);
    EXPECT_EQ(file, expected);
    const picture back = picture_of(file);
    expect_same_colors(back, copy_image(image));
    EXPECT_EQ(back.resolution(), std::pair(300, 600));
}
