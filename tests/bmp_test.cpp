// bmp_test.cpp - bitmap files in and out through the exports: exact bytes, exact pixels,
// damaged files.

#include "tests/builders/bmp_builder.h"
#include "tests/support/codec.h"

namespace {

uint32_t field(const byte_vector& file, size_t at)
{
    return file[at] | uint32_t{file[at + 1]} << 8 | uint32_t{file[at + 2]} << 16 |
           uint32_t{file[at + 3]} << 24;
}

byte_vector rows_of(const byte_vector& file)
{
    return byte_vector(file.begin() + field(file, 10), file.end());
}

// Pixels of a row of a file's picture.
values row_of(const bmp_builder& bmp, int32_t y)
{
    const values all = values_in(bmp.build());
    return {all.begin() + y * bmp.width, all.begin() + (y + 1) * bmp.width};
}

// The described encoder, one byte at a time. start: bytes that a literal takes without looking.
byte_vector plain_rle_row(const byte_vector& row, size_t longest, size_t start, size_t pixels)
{
    byte_vector out;
    const size_t n = row.size();
    for (size_t i = 0, count; i < n; i += count) {
        const auto same = [&](size_t a, size_t b) { return b < n && row[a] == row[b]; };
        count = 1;
        if (same(i, i + 1) || i + 3 >= n) {
            while (same(i, i + count) && count < longest)
                ++count;
            out.insert(out.end(), {uint8_t(count * pixels), row[i]});
            continue;
        }
        count = start;
        while (i + count < n && !same(i + count, i + count + 1) && count < longest)
            ++count;
        out.insert(out.end(), {0, uint8_t(count * pixels)});
        out.insert(out.end(), &row[i], &row[i] + count);
        if (count & 1) out.push_back(0);
    }
    out.insert(out.end(), {0, 0});
    return out;
}

} // namespace

TEST(bmp_writer, header_is_exact_at_every_depth)
{
    for (const int bits : {1, 4, 8, 24}) {
        SCOPED_TRACE(bits);
        picture dib(5, 3, bits);
        dib.set_resolution(96, 300);
        const byte_vector file = save_bytes(image_guard(dib.create()), 1);
        const uint32_t table = bits == 24 ? 0 : 4u << bits;
        const auto stride = static_cast<uint32_t>(test_stride(5, bits));
        EXPECT_EQ(file.size(), 54 + table + 3 * stride);
        EXPECT_EQ(field(file, 2), file.size());
        EXPECT_EQ(field(file, 10), 54 + table);
        EXPECT_EQ(field(file, 34), 3 * stride);
        EXPECT_EQ(field(file, 38), 3779u); // 96 / 0.0254, cut
        EXPECT_EQ(field(file, 42), 11811u);
        dib.header()->biYPelsPerMeter = 0;
        EXPECT_EQ(field(save_bytes(image_guard(dib.create()), 1), 38), 0u) << "half is missing";
    }
}

TEST(bmp_writer, rle_rows_match_the_plain_encoder)
{
    std::mt19937 random(7);
    for (int round = 0; round < 400; ++round) {
        const int32_t width = 1 + static_cast<int32_t>(random() % (round % 10 ? 70 : 2000));
        const int bits = round & 1 ? 4 : 8;
        const picture dib = random_picture(width, 1, bits, 1 << random() % 7, uint32_t(round));
        const size_t bytes = bits == 8 ? size_t(width) : (size_t(width) + 1) / 2;
        const byte_vector row(dib.row(0), dib.row(0) + bytes);
        byte_vector expected =
            bits == 8 ? plain_rle_row(row, 255, 3, 1) : plain_rle_row(row, 127, 2, 2);
        expected.insert(expected.end(), {0, 1});
        ASSERT_EQ(rows_of(save_bytes(image_guard(dib.create()), 12)), expected)
            << "width " << width << ", bits " << bits;
    }
    // Worked out by hand.
    EXPECT_EQ(plain_rle_row(byte_vector(300, 0), 255, 3, 1), (byte_vector{255, 0, 45, 0, 0, 0}));
    EXPECT_EQ(plain_rle_row({1, 2, 3, 4, 4}, 255, 3, 1),
              (byte_vector{0, 3, 1, 2, 3, 0, 2, 4, 0, 0}));
}

TEST(bmp_writer, states_true_sizes_and_whole_runs_in_interchange_mode)
{
    const image_guard image(random_picture(33, 4, 4, 4).create());
    EXPECT_EQ(field(save_bytes(image, 12), 2), 54u + 64 + 4 * 20);
    IMGX_set_interchange(1);
    const byte_vector file = save_bytes(image, 12);
    EXPECT_EQ(field(file, 2), file.size());
    EXPECT_EQ(field(file, 34), file.size() - 118);
}

TEST(bmp_reader, os2_and_inverted_palettes)
{
    bmp_builder os2;
    os2.core = true;
    os2.bits = 1;
    os2.width = 9;
    os2.colors = {0x102000, 0x405060};
    os2.data = {0xA5, 0x80, 0, 0};
    EXPECT_EQ(picture_of(os2.build()).color(0, 0), 0x405060u);
    EXPECT_EQ(picture_of(os2.build()).color(1, 0), 0x102000u);

    bmp_builder mono;
    mono.bits = 1;
    mono.data = {0x80, 0, 0, 0};
    const struct {
        uint32_t first, second;
        uint32_t pixel, color;
    } rows[] = {
        {0xFFFFFF, 0x000000, 0, 0x000000}, // white first: inverted
        {0x010101, 0x777777, 0, 0x000000}, // any entry without a zero component is
        {0xFF0000, 0xFFFFFF, 1, 0xFFFFFF}, // red first has zeros: as stored
    };
    for (const auto& r : rows) {
        mono.colors = {r.first, r.second};
        EXPECT_EQ(picture_of(mono.build()).pixel(0, 0), r.pixel) << std::hex << r.first;
        EXPECT_EQ(picture_of(mono.build()).color(0, 0), r.color) << std::hex << r.first;
    }
    IMGX_set_interchange(1);
    mono.colors = {0x010101, 0x777777};
    EXPECT_EQ(picture_of(mono.build()).color(0, 0), 0x777777u) << "other colours stay";
    mono.colors = {0xFFFFFF, 0x000000};
    EXPECT_EQ(picture_of(mono.build()).pixel(0, 0), 0u);
}

TEST(bmp_reader, resolution_becomes_dots_per_inch_when_both_are_there)
{
    const struct {
        int32_t x, y, expected_x, expected_y;
    } rows[] = {
        {3780, 3780, 96, 96}, {11811, 2835, 299, 72}, {3780, 0, 3780, 0}, {-3780, 3780, -96, 96}};
    for (const auto& r : rows) {
        bmp_builder bmp;
        bmp.x_per_metre = r.x;
        bmp.y_per_metre = r.y;
        EXPECT_EQ(picture_of(bmp.build()).resolution(), std::pair(r.expected_x, r.expected_y));
    }
}

TEST(bmp_reader, sixteen_bits_become_twenty_four)
{
    bmp_builder bmp;
    bmp.bits = 16;
    bmp.width = 3;
    bmp.height = 2;
    // Rows unpadded, bottom first: 1 2 3, then 4 5 6.
    bmp.data = {0x1F, 0x00, 0xE0, 0x03, 0x00, 0x7C, 0xFF, 0x7F, 0x21, 0x04, 0x00, 0x80};
    EXPECT_EQ(row_of(bmp, 1), (values{0x0000F8, 0x00F800, 0xF80000}));
    EXPECT_EQ(row_of(bmp, 0), (values{0xF8F8F8, 0x080808, 0x000000}));

    // Other programs pad the rows and mean full white.
    IMGX_set_interchange(1);
    bmp.data.insert(bmp.data.begin() + 6, {0, 0});
    EXPECT_EQ(row_of(bmp, 0), (values{0xFFFFFF, 0x080808, 0x000000}));
}

TEST(bmp_reader, deltas_and_stale_pixels)
{
    bmp_builder bmp;
    bmp.width = 4;
    bmp.height = 4;
    bmp.compression = 1;
    // Bottom row 9 9 9 9; then one pixel 1, a delta of two rows, one pixel 2.
    bmp.data = {4, 9, 0, 0, 1, 1, 0, 2, 0, 2, 1, 2, 0, 1};
    EXPECT_EQ(row_of(bmp, 3), (values{9, 9, 9, 9}));
    EXPECT_EQ(row_of(bmp, 2), (values{1, 9, 9, 9}));
    EXPECT_EQ(row_of(bmp, 1), (values{1, 9, 9, 9})); // delivered twice
    EXPECT_EQ(row_of(bmp, 0), (values{1, 2, 9, 9}));

    bmp.bits = 4;
    bmp.compression = 2;
    bmp.data = {4, 0x99, 0, 0, 1, 0x10, 0, 2, 0, 2, 1, 0x20, 0, 1};
    EXPECT_EQ(row_of(bmp, 2), (values{1, 0, 9, 9})); // the even pixel cleared its neighbour
    EXPECT_EQ(row_of(bmp, 1), (values{0, 0, 0, 0})); // passed over
    EXPECT_EQ(row_of(bmp, 0), (values{1, 2, 9, 9}));

    IMGX_set_interchange(1);                         // pixels passed over are background
    EXPECT_EQ(row_of(bmp, 2), (values{1, 0, 0, 0})); // delivered once
    EXPECT_EQ(row_of(bmp, 0), (values{0, 2, 0, 0}));
}

TEST(bmp_reader, rle4_pixels_at_odd_columns)
{
    bmp_builder bmp;
    bmp.bits = 4;
    bmp.compression = 2;
    bmp.width = 8;
    const std::pair<byte_vector, values> rows[] = {
        {{3, 0x12, 4, 0x34, 0, 1}, {1, 2, 1, 3, 4, 3, 4, 0}},
        {{1, 0x10, 0, 5, 0x23, 0x45, 0x60, 0, 0, 1}, {1, 2, 3, 4, 5, 6, 0, 0}},
        {{0, 3, 0x12, 0x30, 2, 0x56, 0, 1}, {1, 2, 3, 5, 6, 0, 0, 0}},
        {{20, 0x12, 0, 1}, {1, 2, 1, 2, 1, 2, 1, 2}},              // run behind the row
        {{0, 2, 200, 0, 9, 0x77, 0, 1}, {0, 0, 0, 0, 0, 0, 0, 0}}, // column behind the row
    };
    for (const auto& [data, pixels] : rows) {
        bmp.data = data;
        EXPECT_EQ(row_of(bmp, 0), pixels);
    }
}

TEST(bmp_reader, headers_that_lie)
{
    const struct {
        const char* fault;
        int32_t width, height;
        int bits;
        int32_t expected;
    } rows[] = {
        {"no columns", 0, 1, 8, -3},
        {"no rows", 1, 0, 8, -3},
        {"negative width", -1, 1, 8, -3},
        {"rows from the top are not classic", 1, -1, 8, -3},
        {"widest", INT32_MAX, 1, 24, -1},
        {"tallest", 1, INT32_MAX, 8, -1},
        {"product beyond 32 bits", 65536, 65536, 8, -1},
        {"depth 2", 1, 1, 2, -7},
        {"depth 0", 1, 1, 0, -7},
        {"depth 32 is not classic", 1, 1, 32, -7},
    };
    for (const auto& r : rows) {
        bmp_builder bmp;
        bmp.width = r.width;
        bmp.height = r.height;
        bmp.bits = r.bits;
        EXPECT_EQ(load_code(bmp.build()), r.expected) << r.fault;
    }
    // Rows that are said to lie beyond the file are not there.
    for (const uint32_t offset : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        bmp_builder bmp;
        bmp.data = byte_vector(4, 0x55);
        byte_vector bytes = bmp.build();
        std::memcpy(bytes.data() + 10, &offset, 4);
        EXPECT_EQ(picture_of(bytes).pixel(0, 0), 0u) << offset;
    }
    // An unknown compression gives a header without rows; interchange mode refuses it.
    bmp_builder fields;
    fields.bits = 24;
    fields.compression = 9;
    EXPECT_EQ(load_code(fields.build()), 0);
    IMGX_set_interchange(1);
    EXPECT_EQ(load_code(fields.build()), -7);
}

TEST(bmp_reader, interchange_mode_reads_newer_headers)
{
    IMGX_set_interchange(1);
    bmp_builder bmp;
    bmp.bits = 32;
    bmp.width = 2;
    bmp.height = -2;
    bmp.data = {1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0, 10, 11, 12, 0};
    EXPECT_EQ(row_of(bmp, 0), (values{0x030201, 0x060504}));

    // A 108-byte header: 68 more bytes, the first 12 of which are the masks.
    bmp.bits = 16;
    bmp.compression = 3;
    bmp.height = 1;
    bmp.data = {0xFF, 0xFF, 0xE0, 0x07};
    byte_vector file = bmp.build();
    byte_vector more(68);
    more[1] = 0xF8;
    more[4] = 0xE0, more[5] = 0x07;
    more[8] = 0x1F;
    file.insert(file.begin() + 54, more.begin(), more.end());
    file[10] = 122;
    file[14] = 108;
    EXPECT_EQ(colors_of(picture_of(file)), (values{0xFFFFFF, 0x00FF00}));
}
