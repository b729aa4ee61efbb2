// wmf_test.cpp - Windows metafiles through the exports: records that draw bitmaps, their
// formats, the choice among several, damaged files, exact output.

#include "tests/builders/wmf_builder.h"

namespace {

constexpr int32_t wmf = 6;
using values = std::vector<uint32_t>;

values colors_in(const byte_vector& file)
{
    return colors_of(picture_of(file));
}

const byte_vector four_colors = {3, 2, 1, 0, 6, 5, 4, 0, 9, 8, 7, 0, 12, 11, 10, 0};

// 3 x 2 pixels of 8 bits with four colours; stored from the bottom.
wmf_test_dib small(byte_vector pixels = {1, 2, 3, 0, 0, 1, 2, 0})
{
    wmf_test_dib d;
    d.width = 3, d.height = 2, d.colors_used = 4;
    d.table = four_colors;
    d.data = std::move(pixels);
    return d;
}
const values small_colors = {0x010203, 0x040506, 0x070809, 0x040506, 0x070809, 0x0A0B0C};

byte_vector drawn(const wmf_test_dib& d)
{
    return wmf_builder().draw(0x0F43, d.build()).end().bytes;
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
                    file.record(0x0142, small({3, 3, 3, 0, 3, 3, 3, 0}).build()); // a brush
                    file.draw(function, small().build(), 0, 0, 3, 2, 0x00CC0020, 0, 2);
                    EXPECT_EQ(colors_in(file.bytes), small_colors); // no end record either
                }
    byte_vector device = {0, 0, 9, 0, 2, 0, 2, 0, 1, 1, 0x80, 0x80, 0, 0};
    for (int function : {0x0922, 0x0B23})
        EXPECT_EQ(colors_in(wmf_builder().draw(function, device).end().bytes)[0], 0xFFFFFFu);
}

TEST(wmf_reader, reads_bitmaps_of_every_format)
{
    EXPECT_EQ(colors_in(drawn(small())), small_colors);
    wmf_test_dib d = small();
    d.height = -2; // from the top
    EXPECT_EQ(colors_in(drawn(d)),
              (values{0x040506, 0x070809, 0x0A0B0C, 0x010203, 0x040506, 0x070809}));
    d = small();
    d.core = true;
    d.bits = 1, d.table = {1, 2, 3, 4, 5, 6}, d.data = {0x40, 0, 0, 0, 0xA0, 0, 0, 0};
    EXPECT_EQ(colors_in(drawn(d)),
              (values{0x060504, 0x030201, 0x060504, 0x030201, 0x060504, 0x030201}));
    d.core = false, d.colors_used = 0, d.table = {255, 255, 255, 0, 0, 0, 0, 0}; // white first
    EXPECT_EQ(colors_in(drawn(d)), (values{0, 0xFFFFFF, 0, 0xFFFFFF, 0, 0xFFFFFF}));
    d.bits = 4, d.colors_used = 4, d.table = four_colors,
    d.data = {0x12, 0x30, 0, 0, 0x01, 0x20, 0, 0};
    EXPECT_EQ(colors_in(drawn(d)), small_colors);
    d.bits = 24, d.table = {}, d.colors_used = 0;
    d.data = {6, 5, 4, 9, 8, 7, 12, 11, 10, 0, 0, 0, 3, 2, 1, 6, 5, 4, 9, 8, 7, 0, 0, 0};
    EXPECT_EQ(colors_in(drawn(d)), small_colors);
    d.core = true;
    EXPECT_EQ(colors_in(drawn(d)), small_colors);

    d = small();
    d.compression = 1, d.data = {1, 1, 1, 2, 1, 3, 0, 0, 0, 3, 0, 1, 2, 0, 0, 1};
    EXPECT_EQ(colors_in(drawn(d)), small_colors);
    d.bits = 4, d.compression = 2, d.data = {2, 0x12, 1, 0x30, 0, 0, 0, 3, 0x01, 0x20, 0, 1};
    EXPECT_EQ(colors_in(drawn(d)), small_colors);

    d = {};
    d.width = 2, d.bits = 16, d.data = {0x00, 0x7C, 0xE1, 0x03};
    EXPECT_EQ(colors_in(drawn(d)), (values{0xFF0000, 0x00FF08}));
    d.compression = 3, d.table = {0, 0xF8, 0, 0, 0xE0, 0x07, 0, 0, 0x1F, 0, 0, 0},
    d.data = {0xFF, 0x07, 0, 0xF8};
    EXPECT_EQ(colors_in(drawn(d)), (values{0x00FFFF, 0xFF0000}));
    d.bits = 32, d.compression = 0, d.table = {}, d.data = {1, 2, 3, 9, 4, 5, 6, 9};
    EXPECT_EQ(colors_in(drawn(d)), (values{0x030201, 0x060504}));
    d.compression = 3, d.table = {0xFF, 0, 0, 0, 0, 0xFF, 0, 0, 0, 0, 0xFF, 0};
    EXPECT_EQ(colors_in(drawn(d)), (values{0x010203, 0x040506}));
}

TEST(wmf_reader, takes_colours_from_the_palette)
{
    wmf_builder palette;
    palette.record(0x00F7, {0, 3, 3, 0, 1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0});
    wmf_test_dib d = small();
    d.table = {2, 0, 1, 0, 0, 0, 0, 0};
    wmf_builder file = palette;
    EXPECT_EQ(colors_in(file.draw(0x0F43, d.build(), 0, 0, 3, 2, 0x00CC0020, 1).bytes)[0],
              0x070809u);
    d.table = {};
    file = palette;
    EXPECT_EQ(colors_in(file.draw(0x0F43, d.build(), 0, 0, 3, 2, 0x00CC0020, 2).bytes)[1],
              0x040506u);
    file = wmf_builder(); // no palette: shades of grey
    EXPECT_EQ(colors_in(file.draw(0x0F43, d.build(), 0, 0, 3, 2, 0x00CC0020, 2).bytes)[1],
              0x010101u);
}

TEST(wmf_reader, chooses_and_joins)
{
    const byte_vector one = small().build(), other = small({3, 3, 3, 0, 3, 3, 3, 0}).build();
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
            EXPECT_EQ(colors_in(file.bytes), small_colors) << times;
        }
    }
    wmf_builder apart; // pictures side by side: the first; not halves of a pair either
    EXPECT_EQ(colors_in(apart.draw(0x0F43, one, 0, 0, 3, 2).draw(0x0F43, other, 9, 2, 3, 2).bytes),
              small_colors);
    wmf_builder halves;
    EXPECT_EQ(
        colors_in(
            halves.draw(0x0F43, one, 0, 0, 3, 2, or_).draw(0x0F43, other, 9, 0, 3, 2, and_).bytes),
        small_colors);

    wmf_builder bands; // out of order, the middle one first
    bands.draw(0x0F43, one, 5, 22, 3, 2)
        .draw(0x0F43, other, 5, 24, 3, 2)
        .draw(0x0F43, other, 5, 20, 3, 2);
    const values joined = colors_in(bands.bytes);
    ASSERT_EQ(joined.size(), 18u);
    EXPECT_EQ(values(joined.begin() + 6, joined.begin() + 12), small_colors);
    wmf_test_dib recoloured = small();
    recoloured.table[0] = 99;
    wmf_builder unlike;
    EXPECT_EQ(
        picture_of(
            unlike.draw(0x0F43, one, 0, 0, 3, 2).draw(0x0F43, recoloured.build(), 0, 2, 3, 2).bytes)
            .height,
        2);

    wmf_builder mirrored;
    EXPECT_EQ(colors_in(mirrored.draw(0x0F43, one, 0, 0, -3, -2).bytes),
              (values{0x0A0B0C, 0x070809, 0x040506, 0x070809, 0x040506, 0x010203}));
    wmf_test_dib tall = small();
    tall.height = 50; // the header speaks of the whole picture, of which two rows are here
    wmf_builder part;
    EXPECT_EQ(colors_in(part.draw(0x0D33, tall.build(), 0, 0, 3, 2, 0, 0, 2).bytes), small_colors);
}

TEST(wmf_reader, refuses_records_that_lead_nowhere)
{
    const byte_vector line(8), enhanced = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(load_code(wmf_builder().record(0x0418, line).end().bytes), -7);
    EXPECT_EQ(load_code(wmf_builder().record(0x0B41, byte_vector(22)).end().bytes),
              -7); // a pattern
    for (int words : {0, 2})
        EXPECT_EQ(
            load_code(
                wmf_builder().record(0x0418, line, words).draw(0x0F43, small().build()).bytes),
            -3);
    EXPECT_EQ(load_code(wmf_builder().record(0x0418, line, -2).bytes), -7); // far beyond the end
    EXPECT_EQ(load_code(enhanced), -7);
    wmf_test_dib bomb;
    bomb.width = 40000, bomb.height = 40000, bomb.compression = 1, bomb.table = byte_vector(1024),
    bomb.data = {0, 1};
    EXPECT_EQ(load_code(drawn(bomb)), -3);
}

TEST(wmf_writer, writes_exact_bytes)
{
    test_dib dib(3, 2, 1);
    dib.set_pixel(1, 0, 1);
    dib.set_pixel(0, 1, 1);
    dib.header()->biXPelsPerMeter = 300;
    dib.header()->biYPelsPerMeter = 600;
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
    const image_copy back = picture_of(file);
    expect_same_colors(back, copy_image(image));
    const BITMAPINFOHEADER header = header_of(back);
    EXPECT_EQ(header.biXPelsPerMeter, 300);
    EXPECT_EQ(header.biYPelsPerMeter, 600);
}
