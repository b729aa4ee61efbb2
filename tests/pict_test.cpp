// pict_test.cpp - Macintosh pictures through the exports: every kind of bitmap and packing,
// the operations around it, tiles, damaged files, exact output.

#include "tests/builders/pict_builder.h"

namespace {

constexpr int32_t pict = 15;

const std::vector<std::array<int, 4>> four_colors = {
    {0, 1, 2, 3}, {1, 4, 5, 6}, {2, 7, 8, 9}, {3, 10, 11, 12}};

// A row as literals, with its count.
byte_vector packed(const byte_vector& row, bool wide = false)
{
    byte_vector code;
    for (size_t at = 0; at < row.size(); at += 128) {
        const size_t count = std::min<size_t>(row.size() - at, 128);
        code.push_back(uint8_t(count - 1));
        code.insert(code.end(), row.begin() + ptrdiff_t(at), row.begin() + ptrdiff_t(at + count));
    }
    byte_vector bytes;
    add_be(bytes, code.size(), wide ? 2 : 1);
    add_bytes(bytes, code);
    return bytes;
}

// The same of a row that is filled up with zeros.
byte_vector packed_8(byte_vector row)
{
    row.resize(8);
    return packed(row);
}

values drawn(int opcode, const pict_bits& bits, pict_builder file = pict_builder())
{
    return colors_in(file.op(opcode, bits).op(0xFF));
}

pict_bits eight_bits(int width, int height, int row_bytes, byte_vector rows)
{
    pict_bits b;
    b.width = width, b.height = height, b.bits = 8, b.row_bytes = row_bytes;
    b.colors = four_colors, b.rows = std::move(rows);
    return b;
}

const values first_three = {0x010203, 0x040506, 0x070809};

byte_vector simple()
{
    return eight_bits(3, 1, 8, packed_8({0, 1, 2}));
}

} // namespace

TEST(pict_reader, reads_bitmaps_and_pixel_maps_of_both_versions)
{
    for (int version : {1, 2}) {
        const pict_builder file(version);
        pict_bits plain;
        plain.width = 9, plain.row_bytes = 2, plain.pixmap = false, plain.rows = {0xA0, 0x80};
        const values mono = {0, 0xFFFFFF, 0, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0};
        EXPECT_EQ(drawn(0x90, plain, file), mono);
        plain.row_bytes = 8, plain.rows = {5, 1, 0xA0, 0x80, 0xFB, 0x00}; // a literal, a run
        EXPECT_EQ(drawn(0x98, plain, file), mono);
        pict_builder colored = file;
        colored.op(0x1A, {1, 0, 2, 0, 3, 0}).op(0x1B, {4, 0, 5, 0, 6, 0});
        EXPECT_EQ(drawn(0x98, plain, colored)[1], 0x040506u);
        EXPECT_EQ(colors_in(pict_builder(file).op(0x98, simple()).op(0xFF)), first_three);
    }
    pict_bits b;
    b.width = 5, b.colors = four_colors;
    const std::pair<int, byte_vector> rows[] = {
        {1, {0x48}}, {2, {0x1B, 0x40}}, {4, {0x01, 0x23, 0x10}}};
    for (const auto& [bits, row] : rows) {
        b.bits = bits, b.rows = packed_8(row);
        EXPECT_EQ(drawn(0x98, b)[1], 0x040506u) << bits;
        EXPECT_EQ(drawn(0x98, b)[2], bits == 1 ? 0x010203u : 0x070809u) << bits;
    }
}

TEST(pict_reader, reads_direct_pixels_in_every_packing)
{
    const byte_vector chunky = {0, 1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9};
    const byte_vector rgb = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    const byte_vector planes = {1, 4, 7, 2, 5, 8, 3, 6, 9};
    const byte_vector opaque = {255, 255, 255, 1, 4, 7, 2, 5, 8, 3, 6, 9};
    const values hues = {0xFF0000, 0x00FF00, 0x0008FF};
    const struct {
        int bits, pack_type, planes, row_bytes;
        byte_vector rows;
        values expected;
    } cases[] = {
        {32, 1, 3, 12, chunky, first_three},
        {32, 2, 3, 12, rgb, first_three},
        {32, 4, 3, 12, packed(planes), first_three},
        {32, 4, 4, 12, packed(opaque), first_three},
        {32, 0, 3, 12, packed(planes), first_three},
        {32, 0, 3, 12, rgb, first_three},        // none stated, none made
        {32, 4, 3, 4, {0, 1, 2, 3}, {0x010203}}, // short rows are never packed
        {16, 1, 3, 8, {0xFC, 0x00, 0x03, 0xE0, 0x00, 0x3F, 0, 0}, hues},
        {16, 3, 3, 8, {10, 2, 0xFC, 0, 3, 0xE0, 0, 0x3F, 0x00, 0, 0}, hues},
        {16, 0, 3, 8, {3, 0xFD, 0x7C, 0x00}, {0xFF0000, 0xFF0000, 0xFF0000}},
    };
    for (const auto& c : cases) {
        pict_bits b;
        b.width = int(c.expected.size()), b.bits = c.bits, b.pack_type = c.pack_type;
        b.planes = c.planes, b.row_bytes = c.row_bytes, b.rows = c.rows;
        EXPECT_EQ(drawn(0x9A, b), c.expected) << &c - cases;
    }
}

TEST(pict_reader, finds_the_size_of_row_counts)
{
    for (int row_bytes : {200, 202, 249, 250, 251, 252})
        for (bool wide : {false, true}) {
            if (row_bytes == 200 && wide) continue;
            byte_vector rows;
            for (int y = 0; y < 4; ++y) {
                byte_vector row = {uint8_t(y & 3), 1, 2};
                row.resize(size_t(row_bytes));
                add_bytes(rows, packed(row, wide));
            }
            const values v = drawn(0x98, eight_bits(3, 4, row_bytes, rows));
            EXPECT_EQ((values{v[0], v[9], v[10]}), (values{0x010203, 0x0A0B0C, 0x040506}))
                << row_bytes << " " << wide;
        }
}

TEST(pict_reader, understands_colour_tables)
{
    const auto with = [](int flags, std::vector<std::array<int, 4>> colors) {
        pict_bits b = eight_bits(3, 1, 8, packed_8({0, 1, 2}));
        b.table_flags = flags;
        b.colors = std::move(colors);
        return drawn(0x98, b);
    };
    EXPECT_EQ(with(0, {{2, 7, 8, 9}, {0, 1, 2, 3}, {1, 4, 5, 6}}), first_three);
    EXPECT_EQ(with(0x8000, {{9, 1, 2, 3}, {9, 4, 5, 6}, {9, 7, 8, 9}}), first_three);
    EXPECT_EQ(with(0, {{0, 1, 2, 3}, {0, 4, 5, 6}, {0, 7, 8, 9}}), first_three);
    EXPECT_EQ(with(0, {{1, 4, 5, 6}, {300, 1, 1, 1}}), (values{0, 0x040506, 0}));
    EXPECT_EQ(with(0x8000, std::vector<std::array<int, 4>>(9000, {0, 1, 2, 3}))[2], 0x010203u);
}

TEST(pict_reader, passes_over_every_other_operation)
{
    const byte_vector region = {0, 14, 0, 0, 0, 0, 0, 9, 0, 9, 1, 2, 3, 4};
    // Those of a fixed length, then those that tell theirs.
    constexpr std::pair<int, size_t> fixed[] = {
        {0x00, 0}, {0x02, 8}, {0x03, 2}, {0x04, 1},   {0x05, 2},   {0x06, 4},  {0x08, 2}, {0x09, 8},
        {0x0B, 4}, {0x0D, 2}, {0x0E, 4}, {0x10, 8},   {0x15, 2},   {0x17, 0},  {0x1A, 6}, {0x1C, 0},
        {0x1D, 6}, {0x1E, 0}, {0x1F, 6}, {0x20, 8},   {0x21, 4},   {0x22, 6},  {0x23, 2}, {0x30, 8},
        {0x38, 0}, {0x40, 8}, {0x48, 0}, {0x50, 8},   {0x58, 0},   {0x60, 12}, {0x68, 4}, {0x78, 0},
        {0x88, 0}, {0xA0, 2}, {0xB0, 0}, {0x0100, 2}, {0x02FE, 4}, {0x8000, 0}};
    byte_vector pattern = {0, 1, 1, 2, 3, 4, 5, 6, 7, 8}; // made of a pixel map
    const byte_vector map = simple();
    pattern.insert(pattern.end(), map.begin(), map.end() - ptrdiff_t(18 + 10));
    add_bytes(pattern, packed_8({0, 1, 2}));
    std::vector<std::pair<int, byte_vector>> others = {
        {0x12, {0, 2, 1, 2, 3, 4, 5, 6, 7, 8, 1, 1, 2, 2, 3, 3}},
        {0x12, pattern},
        {0x24, {0, 3, 1, 2, 3}},
        {0x28, {0, 0, 0, 0, 2, 'a', 'b'}},
        {0x29, {0, 1, 'a'}},
        {0x2B, {0, 0, 1, 'a'}},
        {0xA1, {0, 1, 0, 3, 1, 2, 3}},
        {0xD0, {0, 0, 0, 1, 9}}};
    for (const auto& [opcode, size] : fixed)
        others.emplace_back(opcode, byte_vector(size, 0xFF));
    for (int opcode : {0x01, 0x70, 0x80})
        others.emplace_back(opcode, region);
    for (int opcode : {0x2C, 0x92, 0x9C, 0xA2})
        others.emplace_back(opcode, byte_vector{0, 1, 9});
    for (int opcode : {0x8100, 0x8200, 0xFFFF})
        others.emplace_back(opcode, byte_vector{0, 0, 0, 3, 1, 2, 3});
    for (int version : {1, 2})
        for (const auto& [opcode, data] : others) {
            if (opcode > 0xFF && version == 1) continue;
            pict_builder file(version);
            EXPECT_EQ(colors_in(file.op(opcode, data).op(0x98, simple()).op(0xFF)), first_three)
                << version << " " << opcode;
        }
    pict_bits with_region = eight_bits(3, 1, 8, packed_8({0, 1, 2}));
    for (size_t extra : {0u, 12u}) {
        with_region.region = {0, uint8_t(10 + extra)};
        with_region.region.resize(10 + extra);
        EXPECT_EQ(drawn(0x99, with_region), first_three);
    }
    EXPECT_EQ(load_code(pict_builder().op(0x8200, {0, 0, 0, 2, 1, 2}).op(0xFF)), -7);
    EXPECT_EQ(colors_in(pict_builder().op(0x98, simple())), first_three); // no end
}

TEST(pict_reader, joins_tiles_and_else_takes_the_largest)
{
    const auto tile = [](int left, int top, int width, int height, uint8_t value) {
        byte_vector rows;
        for (int y = 0; y < height; ++y)
            add_bytes(rows, packed(byte_vector(8, value)));
        pict_bits b = eight_bits(width, height, 8, rows);
        b.left = left, b.top = top;
        return b;
    };
    const auto joined = [](const std::vector<pict_bits>& tiles) {
        pict_builder file;
        for (const pict_bits& t : tiles)
            file.op(0x98, t);
        return picture_of(file.op(0xFF));
    };
    EXPECT_EQ(colors_of(joined({tile(5, 5, 1, 2, 0), tile(5, 7, 1, 1, 1), tile(5, 8, 1, 1, 2)})),
              (values{0x010203, 0x010203, 0x040506, 0x070809}));
    // Two rows of tiles side by side, not in order.
    const picture grid = joined(
        {tile(3, 0, 2, 1, 1), tile(0, 0, 3, 1, 0), tile(0, 1, 1, 2, 2), tile(1, 1, 4, 2, 3)});
    EXPECT_EQ(colors_of(grid), (values{0x010203, 0x010203, 0x010203, 0x040506, 0x040506, 0x070809,
                                       0x0A0B0C, 0x0A0B0C, 0x0A0B0C, 0x0A0B0C, 0x070809, 0x0A0B0C,
                                       0x0A0B0C, 0x0A0B0C, 0x0A0B0C}));
    // A gap, an overlap, other colours, a scaled one: the largest alone.
    pict_bits scaled = tile(0, 2, 1, 1, 1), recoloured = tile(0, 2, 1, 1, 1);
    scaled.drawn_width = 2;
    recoloured.colors[0][1] = 99;
    for (const pict_bits& second : {tile(0, 3, 1, 1, 1), tile(0, 1, 1, 1, 1), scaled, recoloured})
        EXPECT_EQ(joined({tile(0, 0, 1, 2, 0), second}).height, 2);
    std::vector<pict_bits> strips; // more than are joined
    for (int y = 0; y < 1100; ++y)
        strips.push_back(tile(0, y, 1, 1, 1));
    EXPECT_EQ(joined(strips).height, 1);
}

TEST(pict_reader, takes_the_resolution_of_the_header_first)
{
    const auto dpi = [](pict_builder file) {
        return picture_of(file.op(0x98, simple()).op(0xFF)).resolution();
    };
    EXPECT_EQ(dpi(pict_builder().header(300, 150)), std::pair(300, 150));
    EXPECT_EQ(dpi(pict_builder().header(0, 0)), std::pair(100, 100));
    const byte_vector plain(24, 0xFF); // the first form of the header states none
    EXPECT_EQ(dpi(pict_builder().op(0x0C00, plain)), std::pair(100, 100));
}

TEST(pict_reader, refuses_what_does_not_fit)
{
    const struct {
        const char* fault;
        pict_bits bits;
        int32_t code;
    } rows[] = {{"rows shorter than the width", eight_bits(30, 1, 8, packed(byte_vector(8))), -3},
                {"no width", eight_bits(0, 1, 8, packed(byte_vector(8))), -3},
                {"upside down", eight_bits(3, -4, 8, packed(byte_vector(8))), -3},
                {"taller than the data", eight_bits(3, 30000, 8, packed(byte_vector(8))), -3},
                {"a row that says too much", eight_bits(3, 1, 8, {200, 7, 1, 2}), -3},
                {"a row that holds nothing", eight_bits(3, 1, 8, {0}), 0},
                {"a run over the row", eight_bits(3, 1, 8, {4, 0x81, 1, 0x80, 0x80}), 0}};
    for (const auto& r : rows)
        EXPECT_EQ(load_code(pict_builder().op(0x98, r.bits).op(0xFF)), r.code) << r.fault;
    EXPECT_EQ(load_code(pict_builder().op(0x01, {0, 1, 0, 0}).op(0x98, simple())), -3);
    EXPECT_EQ(load_code(pict_builder().op(0xA1, {0, 1, 0xFF, 0xFF}).op(0x98, simple())), -3);
    EXPECT_EQ(load_code(pict_builder().op(0x20, byte_vector(8)).op(0xFF)), -7);
}

TEST(pict_writer, writes_exact_bytes)
{
    picture dib(10, 2, 8);
    for (int x = 0; x < 10; ++x)
        for (int y = 0; y < 2; ++y)
            dib.set_pixel(x, y, uint32_t(x < 5 ? 7 : x));
    dib.set_resolution(144, 144);
    const image_guard image(dib.create());
    const byte_vector file = save_bytes(image, pict);
    ASSERT_EQ(file.size(), 638u + 8 * 256 + 18 + 2);
    EXPECT_EQ(file[512] << 8 | file[513], int(file.size() - 512));
    const byte_vector front = {0,    0,    0, 0, 0, 1,    0, 5,  0, 0x11, 2,    0xFF, 0x0C, 0,
                               0xFF, 0xFE, 0, 0, 0, 0x90, 0, 0,  0, 0x90, 0,    0,    0,    0,
                               0,    0,    0, 2, 0, 10,   0, 0,  0, 0,    0,    1,    0,    10,
                               0,    0,    0, 0, 0, 2,    0, 10, 0, 0x98, 0x80, 10};
    EXPECT_EQ(byte_vector(file.begin() + 514, file.begin() + 568), front);
    const byte_vector rows = {8, 0xFC, 7, 4, 5, 6, 7, 8, 9, 8, 0xFC, 7, 4, 5, 6, 7, 8, 9, 0, 0xFF};
    EXPECT_EQ(byte_vector(file.end() - 20, file.end()), rows);
    // Readers disagree about the counts of rows of 202 to 250 bytes, which are avoided.
    EXPECT_EQ(save_bytes(image_guard(picture(225, 1, 8).create()), pict)[567], 252);
    // A tile of one pixel has planes of two bytes, the second 0.
    const byte_vector tiles =
        save_bytes(image_guard(random_picture(8177, 1, 24, 1).create()), pict);
    for (size_t from_end : {3u, 5u, 7u})
        EXPECT_EQ(tiles[tiles.size() - from_end], 0);
}

TEST(pict_writer, keeps_widths_around_the_sizes_of_counts_and_rows)
{
    const std::pair<int, std::vector<int>> widths[] = {{1, {62, 1608, 2001, 32767}},
                                                       {4, {403, 404, 500, 32767}},
                                                       {8, {9, 200, 201, 250, 251, 16383, 32767}},
                                                       {24, {1, 62, 63, 66, 67, 4095, 4096, 9000}}};
    for (const auto& [bits, list] : widths)
        for (int width : list) {
            SCOPED_TRACE(testing::Message() << bits << " " << width);
            for (int run : {1, 20}) {
                const image_guard image(random_picture(width, 3, bits, run).create());
                expect_same_colors(picture_of(save_bytes(image, pict)), copy_image(image));
            }
        }
}
