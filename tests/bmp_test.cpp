// bmp_test.cpp - bitmap files in and out through the exports: exact bytes, exact pixels,
// damaged files.

#include "tests/builders/bmp_builder.h"
#include "tests/support/images.h"

namespace {

int32_t load(const byte_vector& file)
{
    return IMGX_decompress_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0);
}

byte_vector save(int32_t handle, int32_t type, size_t capacity = 1 << 20)
{
    byte_vector file(capacity);
    const int32_t size =
        IMGX_save_bitmap_mem(handle, file.data(), static_cast<uint32_t>(capacity), type);
    EXPECT_GE(size, 0);
    file.resize(static_cast<size_t>(std::max(size, 0)));
    return file;
}

uint32_t field(const byte_vector& file, size_t at)
{
    return file[at] | uint32_t{file[at + 1]} << 8 | uint32_t{file[at + 2]} << 16 |
           uint32_t{file[at + 3]} << 24;
}

byte_vector rows_of(const byte_vector& file)
{
    return byte_vector(file.begin() + field(file, 10), file.end());
}

std::vector<uint32_t> row_pixels(int32_t handle, int32_t y)
{
    const image_copy copy = copy_image(handle);
    std::vector<uint32_t> pixels;
    for (int32_t x = 0; x < copy.width; ++x)
        pixels.push_back(copy.pixel(x, y));
    return pixels;
}

struct interchange {
    interchange() { IMGX_set_interchange(1); }
    ~interchange() { IMGX_set_interchange(0); }
};

// The described encoder, one byte at a time. unit: bytes that a literal starts with.
byte_vector plain_rle_row(byte_vector row, int longest, int literal_start, int pixels_per_byte)
{
    const auto n = static_cast<int>(row.size());
    row.push_back(static_cast<uint8_t>(~row.back()));
    row.push_back(0);
    byte_vector out;
    for (int i = 0; i < n;) {
        int count = 1;
        if (row[size_t(i) + 1] == row[size_t(i)] || i >= n - 3) {
            const uint8_t v = row[size_t(i)];
            while (row[size_t(i) + 1] == v && count < longest)
                ++i, ++count;
            out.push_back(uint8_t(count * pixels_per_byte));
            out.push_back(v);
            ++i;
            continue;
        }
        out.push_back(0);
        const size_t count_at = out.size();
        out.push_back(0);
        for (count = 0; count < literal_start; ++count)
            out.push_back(row[size_t(i++)]);
        while (row[size_t(i) + 1] != row[size_t(i)] && i < n && count < longest)
            out.push_back(row[size_t(i++)]), ++count;
        out[count_at] = uint8_t(count * pixels_per_byte);
        if (out.size() & 1) out.push_back(0);
    }
    out.push_back(0);
    out.push_back(0);
    return out;
}

} // namespace

TEST(bmp_writer, header_is_exact_at_every_depth)
{
    for (int bits : {1, 4, 8, 24}) {
        SCOPED_TRACE(bits);
        test_dib dib(5, 3, bits);
        dib.header()->biXPelsPerMeter = 96;
        dib.header()->biYPelsPerMeter = 300;
        const image_guard image(dib.create());
        const byte_vector file = save(image, 1);
        const uint32_t table = bits == 24 ? 0 : 4u << bits;
        const auto stride = static_cast<uint32_t>(test_stride(5, bits));
        EXPECT_EQ(file.size(), 54 + table + 3 * stride);
        EXPECT_EQ(field(file, 2), file.size());
        EXPECT_EQ(field(file, 10), 54 + table);
        EXPECT_EQ(field(file, 34), 3 * stride);
        EXPECT_EQ(field(file, 38), 3779u); // 96 / 0.0254, cut
        EXPECT_EQ(field(file, 42), 11811u);
    }
}

TEST(bmp_writer, leaves_a_resolution_out_when_one_half_is_missing)
{
    test_dib dib(1, 1, 8);
    dib.header()->biXPelsPerMeter = 96;
    const image_guard image(dib.create());
    EXPECT_EQ(field(save(image, 1), 38), 0u);
}

TEST(bmp_writer, rle_rows_match_the_plain_encoder)
{
    std::mt19937 random(7);
    for (int round = 0; round < 400; ++round) {
        const int32_t width = 1 + static_cast<int32_t>(random() % (round % 10 ? 70 : 2000));
        const int bits = round & 1 ? 4 : 8;
        test_dib dib(width, 1, bits);
        dib.fill_random(static_cast<uint32_t>(round), 1 << (random() % 7));
        const image_guard image(dib.create());
        const size_t bytes = bits == 8 ? size_t(width) : (size_t(width) + 1) / 2;
        const byte_vector row(dib.row(0), dib.row(0) + bytes);
        byte_vector expected =
            bits == 8 ? plain_rle_row(row, 255, 3, 1) : plain_rle_row(row, 127, 2, 2);
        expected.insert(expected.end(), {0, 1});
        ASSERT_EQ(rows_of(save(image, 12)), expected) << "width " << width << ", bits " << bits;
    }
}

TEST(bmp_writer, rle_examples_worked_out_by_hand)
{
    test_dib equal(300, 1, 8);
    const image_guard first(equal.create());
    EXPECT_EQ(rows_of(save(first, 12)), (byte_vector{255, 0, 45, 0, 0, 0, 0, 1}));

    test_dib mixed(5, 1, 8);
    for (int x = 0; x < 5; ++x)
        mixed.set_pixel(x, 0, static_cast<uint32_t>(std::min(x + 1, 4)));
    const image_guard second(mixed.create());
    EXPECT_EQ(rows_of(save(second, 12)), (byte_vector{0, 3, 1, 2, 3, 0, 2, 4, 0, 0, 0, 1}));
}

TEST(bmp_writer, rle_refuses_other_depths_and_writes_nothing)
{
    for (int bits : {1, 24}) {
        test_dib dib(3, 3, bits);
        const image_guard image(dib.create());
        byte_vector file(100, 0xAA);
        EXPECT_EQ(IMGX_save_bitmap_mem(image, file.data(), 100, 12), -7);
        EXPECT_EQ(file, byte_vector(100, 0xAA));
    }
}

TEST(bmp_writer, states_true_sizes_and_whole_runs_in_interchange_mode)
{
    test_dib dib(33, 4, 4);
    dib.fill_random(3, 4);
    const image_guard image(dib.create());
    const byte_vector classic = save(image, 12);
    EXPECT_EQ(field(classic, 2), 54u + 64 + 4 * 20);
    const interchange on;
    const byte_vector file = save(image, 12);
    EXPECT_EQ(field(file, 2), file.size());
    EXPECT_EQ(field(file, 34), file.size() - 118);
    const image_guard again(load(file));
    expect_same_colors(copy_image(again), copy_image(image));
}

TEST(bmp_reader, os2_and_inverted_palettes)
{
    bmp_builder os2;
    os2.core = true;
    os2.bits = 1;
    os2.width = 9;
    os2.colors = {0x102000, 0x405060};
    os2.data = {0xA5, 0x80, 0, 0};
    const image_guard image(load(os2.build()));
    ASSERT_GE(image, 0);
    EXPECT_EQ(copy_image(image).color(0, 0), 0x405060u);
    EXPECT_EQ(copy_image(image).color(1, 0), 0x102000u);

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
        const image_guard white(load(mono.build()));
        EXPECT_EQ(copy_image(white).pixel(0, 0), r.pixel) << std::hex << r.first;
        EXPECT_EQ(copy_image(white).color(0, 0), r.color) << std::hex << r.first;
    }
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
        bmp.data = {1, 0, 0, 0};
        const image_guard image(load(bmp.build()));
        const image_copy copy = copy_image(image);
        BITMAPINFOHEADER header;
        std::memcpy(&header, copy.head.data(), sizeof header);
        EXPECT_EQ(header.biXPelsPerMeter, r.expected_x);
        EXPECT_EQ(header.biYPelsPerMeter, r.expected_y);
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
    const image_guard image(load(bmp.build()));
    EXPECT_EQ(row_pixels(image, 1), (std::vector<uint32_t>{0x0000F8, 0x00F800, 0xF80000}));
    EXPECT_EQ(row_pixels(image, 0), (std::vector<uint32_t>{0xF8F8F8, 0x080808, 0x000000}));

    // Other programs pad the rows and mean full white.
    const interchange on;
    bmp.data.insert(bmp.data.begin() + 6, {0, 0});
    const image_guard padded(load(bmp.build()));
    EXPECT_EQ(row_pixels(padded, 0), (std::vector<uint32_t>{0xFFFFFF, 0x080808, 0x000000}));
}

TEST(bmp_reader, deltas_and_stale_pixels)
{
    bmp_builder bmp;
    bmp.width = 4;
    bmp.height = 4;
    bmp.compression = 1;
    // Bottom row 9 9 9 9; then one pixel 1, a delta of two rows, one pixel 2.
    bmp.data = {4, 9, 0, 0, 1, 1, 0, 2, 0, 2, 1, 2, 0, 1};
    const image_guard rle8(load(bmp.build()));
    EXPECT_EQ(row_pixels(rle8, 3), (std::vector<uint32_t>{9, 9, 9, 9}));
    EXPECT_EQ(row_pixels(rle8, 2), (std::vector<uint32_t>{1, 9, 9, 9}));
    EXPECT_EQ(row_pixels(rle8, 1), (std::vector<uint32_t>{1, 9, 9, 9})); // delivered twice
    EXPECT_EQ(row_pixels(rle8, 0), (std::vector<uint32_t>{1, 2, 9, 9}));

    bmp.bits = 4;
    bmp.compression = 2;
    bmp.data = {4, 0x99, 0, 0, 1, 0x10, 0, 2, 0, 2, 1, 0x20, 0, 1};
    const image_guard rle4(load(bmp.build()));
    EXPECT_EQ(row_pixels(rle4, 2),
              (std::vector<uint32_t>{1, 0, 9, 9})); // the even pixel cleared its neighbour
    EXPECT_EQ(row_pixels(rle4, 1), (std::vector<uint32_t>{0, 0, 0, 0})); // passed over
    EXPECT_EQ(row_pixels(rle4, 0), (std::vector<uint32_t>{1, 2, 9, 9}));

    const interchange on; // pixels passed over are background
    const image_guard clean(load(bmp.build()));
    EXPECT_EQ(row_pixels(clean, 0), (std::vector<uint32_t>{0, 2, 0, 0}));
}

TEST(bmp_reader, rle4_pixels_at_odd_columns)
{
    bmp_builder bmp;
    bmp.bits = 4;
    bmp.compression = 2;
    bmp.width = 8;
    const struct {
        byte_vector data;
        std::vector<uint32_t> pixels;
    } rows[] = {
        {{3, 0x12, 4, 0x34, 0, 1}, {1, 2, 1, 3, 4, 3, 4, 0}},
        {{1, 0x10, 0, 5, 0x23, 0x45, 0x60, 0, 0, 1}, {1, 2, 3, 4, 5, 6, 0, 0}},
        {{0, 3, 0x12, 0x30, 2, 0x56, 0, 1}, {1, 2, 3, 5, 6, 0, 0, 0}},
        {{20, 0x12, 0, 1}, {1, 2, 1, 2, 1, 2, 1, 2}},              // run behind the row
        {{0, 2, 200, 0, 9, 0x77, 0, 1}, {0, 0, 0, 0, 0, 0, 0, 0}}, // column behind the row
    };
    for (const auto& r : rows) {
        bmp.data = r.data;
        const image_guard image(load(bmp.build()));
        EXPECT_EQ(row_pixels(image, 0), r.pixels);
    }
}

TEST(bmp_reader, headers_that_lie)
{
    const struct {
        const char* fault;
        int32_t width, height;
        int bits;
        uint32_t compression;
        int32_t expected;
    } rows[] = {
        {"no columns", 0, 1, 8, 0, -3},
        {"no rows", 1, 0, 8, 0, -3},
        {"negative width", -1, 1, 8, 0, -3},
        {"rows from the top are not classic", 1, -1, 8, 0, -3},
        {"widest", INT32_MAX, 1, 24, 0, -1},
        {"tallest", 1, INT32_MAX, 8, 0, -1},
        {"product beyond 32 bits", 65536, 65536, 8, 0, -1},
        {"depth 2", 1, 1, 2, 0, -7},
        {"depth 0", 1, 1, 0, 0, -7},
        {"depth 32 is not classic", 1, 1, 32, 0, -7},
    };
    for (const auto& r : rows) {
        bmp_builder bmp;
        bmp.width = r.width;
        bmp.height = r.height;
        bmp.bits = r.bits;
        bmp.compression = r.compression;
        EXPECT_EQ(load(bmp.build()), r.expected) << r.fault;
    }
    // Rows that are said to lie beyond the file are not there.
    for (uint32_t offset : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        bmp_builder bmp;
        bmp.data = byte_vector(4, 0x55);
        byte_vector bytes = bmp.build();
        std::memcpy(bytes.data() + 10, &offset, 4);
        const image_guard image(load(bytes));
        EXPECT_EQ(row_pixels(image, 0), std::vector<uint32_t>{0}) << offset;
    }
    // An unknown compression gives a header without rows; interchange mode refuses it.
    bmp_builder fields;
    fields.bits = 24;
    fields.compression = 9;
    const image_guard image(load(fields.build()));
    EXPECT_GE(image, 0);
    const interchange on;
    EXPECT_EQ(load(fields.build()), -7);
}

TEST(bmp_reader, every_truncation_gives_a_code_or_the_rows_so_far)
{
    for (uint32_t compression : {0u, 1u, 2u}) {
        bmp_builder bmp;
        bmp.bits = compression == 2 ? 4 : 8;
        bmp.width = 8;
        bmp.height = 3;
        bmp.compression = compression;
        bmp.data = compression == 0 ? byte_vector(24, 5)
                                    : byte_vector{8,    0x55, 0, 0, 0, 5, 0x55, 0x55, 0x55,
                                                  0x55, 0x55, 0, 0, 0, 8, 0x55, 0,    1};
        const byte_vector whole = bmp.build();
        for (size_t size = 1; size < whole.size(); ++size) {
            const byte_vector cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
            const int32_t handle = load(cut);
            if (handle >= 0) {
                EXPECT_GE(size, 26u);
                IMG_delete_bitmap(handle);
            } else {
                EXPECT_TRUE(handle == -3 || handle == -7) << size << ": " << handle;
            }
        }
        // The slots of the failures are free again.
        const image_guard next(load(whole));
        EXPECT_EQ(next, 0);
    }
}

TEST(bmp_reader, interchange_mode_reads_newer_headers)
{
    const interchange on;
    bmp_builder bmp;
    bmp.bits = 32;
    bmp.width = 2;
    bmp.height = -2;
    bmp.data = {1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0, 10, 11, 12, 0};
    byte_vector file = bmp.build();
    const image_guard top_down(load(file));
    EXPECT_EQ(row_pixels(top_down, 0), (std::vector<uint32_t>{0x030201, 0x060504}));

    // A 108-byte header: 68 more bytes, the first 12 of which are the masks.
    bmp.bits = 16;
    bmp.compression = 3;
    bmp.height = 1;
    bmp.data = {0xFF, 0xFF, 0xE0, 0x07};
    file = bmp.build();
    byte_vector more(68);
    more[1] = 0xF8;
    more[4] = 0xE0, more[5] = 0x07;
    more[8] = 0x1F;
    file.insert(file.begin() + 54, more.begin(), more.end());
    file[10] = 122;
    file[14] = 108;
    const image_guard fields(load(file));
    EXPECT_EQ(row_pixels(fields, 0), (std::vector<uint32_t>{0xFFFFFF, 0x00FF00}));
}

TEST(bmp_types, are_told_apart)
{
    bmp_builder bmp;
    const byte_vector plain = bmp.build();
    bmp.compression = 1;
    const byte_vector packed = bmp.build();
    EXPECT_EQ(IMGX_get_filetype_mem(plain.data(), static_cast<uint32_t>(plain.size())), 1);
    EXPECT_EQ(IMGX_get_filetype_mem(packed.data(), static_cast<uint32_t>(packed.size())), 12);
    EXPECT_EQ(IMGX_get_pages_mem(packed.data(), static_cast<uint32_t>(packed.size())), 1);
}
