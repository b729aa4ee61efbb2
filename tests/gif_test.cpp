// gif_test.cpp - GIF files in and out through the exports: exact bytes, block and code rules
// of both modes, damaged files.

#include "tests/builders/gif_builder.h"
#include "tests/support/images.h"

#include <random>

namespace {

using colors = gif_builder::colors;

// Entry i is red i, green 255 - i, blue n.
colors table_of(size_t entries, uint32_t blue = 7)
{
    colors table;
    for (uint32_t i = 0; i < entries; ++i)
        table.push_back(i << 16 | (255 - i) << 8 | blue);
    return table;
}

class interchange_scope {
public:
    explicit interchange_scope(int mode = 1) { IMGX_set_interchange(mode); }
    ~interchange_scope() { IMGX_set_interchange(0); }
};

int32_t load(const byte_vector& file, int32_t page = 0)
{
    return IMGX_decompress_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), page);
}

int32_t load_code(const byte_vector& file, int32_t page = 0)
{
    const image_guard image(load(file, page));
    return std::min<int32_t>(image, 0);
}

// All pixels, top row first; empty when the load fails.
byte_vector loaded_pixels(const byte_vector& file, int32_t page = 0)
{
    const image_guard image(load(file, page));
    byte_vector pixels;
    if (image < 0) return pixels;
    const image_copy copy = copy_image(image);
    for (int32_t y = 0; y < copy.height; ++y)
        for (int32_t x = 0; x < copy.width; ++x)
            pixels.push_back(static_cast<uint8_t>(copy.pixel(x, y)));
    return pixels;
}

int32_t loaded_bits(const byte_vector& file)
{
    const image_guard image(load(file));
    return image < 0 ? int32_t{image} : copy_image(image).bits;
}

byte_vector save(int32_t handle)
{
    byte_vector file(1 << 21);
    const int32_t size =
        IMGX_save_bitmap_mem(handle, file.data(), static_cast<uint32_t>(file.size()), 4);
    EXPECT_GE(size, 0);
    file.resize(static_cast<size_t>(std::max(size, 0)));
    return file;
}

byte_vector all_pixels(test_dib& dib, int32_t width, int32_t height, int32_t bits)
{
    byte_vector pixels;
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x) {
            const uint8_t* row = dib.row(y);
            pixels.push_back(bits == 8   ? row[x]
                             : bits == 4 ? (x & 1 ? row[x / 2] & 15 : row[x / 2] >> 4)
                                         : row[x / 8] >> (7 - x % 8) & 1);
        }
    return pixels;
}

// 10 x 10 pixels in four colours, in the codes of a widely known worked example.
const byte_vector sample_data = {0x8C, 0x2D, 0x99, 0x87, 0x2A, 0x1C, 0xDC, 0x33, 0xA0, 0x02, 0x75,
                                 0xEC, 0x95, 0xFA, 0xA8, 0xDE, 0x60, 0x8C, 0x04, 0x91, 0x4C, 0x01};
const char sample_rows[] = "1111122222"
                           "1111122222"
                           "1111122222"
                           "1110000222"
                           "1110000222"
                           "2220000111"
                           "2220000111"
                           "2222211111"
                           "2222211111"
                           "2222211111";

} // namespace

TEST(gif_writer, smallest_files_are_exact)
{
    // One pixel: clear and end code only, the pixel itself is left out.
    test_dib dib(1, 1, 4);
    for (int i = 0; i < 16; ++i)
        dib.set_color(i, i, 2 * i, 3 * i);
    const image_guard image(dib.create());
    byte_vector expected = {'G', 'I', 'F', '8', '7', 'a', 1, 0, 1, 0, 0x83, 0, 0};
    for (uint8_t i = 0; i < 16; ++i)
        expected.insert(expected.end(), {i, uint8_t(2 * i), uint8_t(3 * i)});
    byte_vector classic = expected;
    classic.insert(classic.end(), {0x2C, 0, 0, 0, 0, 1, 0, 1, 0, 3, 4, 2, 0x30, 0x02, 0, 0x3B});
    EXPECT_EQ(save(image), classic);

    // Clear, pixel 0, end: 16 + 0 * 32 + 17 * 1024.
    const interchange_scope interchange;
    expected.insert(expected.end(), {0x2C, 0, 0, 0, 0, 1, 0, 1, 0, 3, 4, 2, 0x10, 0x44, 0, 0x3B});
    EXPECT_EQ(save(image), expected);
}

TEST(gif_writer, matches_the_plain_encoder)
{
    const struct {
        int32_t width, height;
        int run;
    } pictures[] = {
        {2, 1, 1},   {3, 3, 1},      {17, 13, 4},   {320, 200, 1},
        {97, 31, 2}, {640, 100, 40}, {1000, 40, 3}, {5000, 90, 100000}, // mostly one colour
    };
    for (int mode : {0, 1}) {
        const interchange_scope scope(mode);
        for (int32_t bits : {1, 4, 8}) {
            if (bits == 1 && mode == 0) continue;
            for (const auto& p : pictures) {
                SCOPED_TRACE(testing::Message() << "interchange " << mode << ", " << bits
                                                << " bits, " << p.width << " x " << p.height);
                test_dib dib(p.width, p.height, bits);
                dib.fill_random(static_cast<uint32_t>(p.width + bits), p.run);
                const image_guard image(dib.create());
                const byte_vector file = save(image);
                const uint32_t code_size = bits == 1 ? 2 : static_cast<uint32_t>(bits);
                byte_vector data =
                    gif_plain_lzw(all_pixels(dib, p.width, p.height, bits), code_size, mode == 1);
                data.push_back(0x3B);
                const size_t head = 13 + (size_t{3} << bits) + 11;
                ASSERT_EQ(file.size(), head + data.size());
                EXPECT_EQ(file[10], 0x80 | (bits - 1));
                EXPECT_EQ(file[head - 1], code_size);
                EXPECT_TRUE(std::equal(data.begin(), data.end(), file.begin() + int64_t(head)));
            }
        }
    }
}

TEST(gif_writer, refuses_what_the_format_cannot_hold)
{
    const temp_file file(".gif");
    for (int32_t bits : {1, 24})
        EXPECT_EQ(IMG_save_bitmap(image_guard(test_dib(4, 4, bits).create()), file.name(), 4), -7);
    EXPECT_EQ(IMG_save_bitmap(image_guard(test_dib(65536, 1, 4).create()), file.name(), 4), -7);
    EXPECT_EQ(IMG_save_bitmap(image_guard(test_dib(1, 65536, 4).create()), file.name(), 4), -7);
    const interchange_scope interchange;
    EXPECT_EQ(IMG_save_bitmap(image_guard(test_dib(4, 4, 24).create()), file.name(), 4), -7);
    EXPECT_EQ(IMG_save_bitmap(image_guard(test_dib(4, 4, 1).create()), file.name(), 4), 0);
}

TEST(gif_writer, a_full_disk_and_a_refusing_source_are_short_writes)
{
    test_dib dib(64, 64, 8);
    dib.fill_random(1);
    const image_guard image(dib.create());
    const byte_vector whole = save(image);
    byte_vector out(whole.size());
    for (size_t capacity : {size_t{0}, size_t{5}, size_t{800}, whole.size() - 1}) {
        const auto room = static_cast<uint32_t>(capacity);
        EXPECT_EQ(IMGX_save_bitmap_mem(image, out.data(), room, 4), -9) << capacity;
    }
    const IMG_GET_RASTER refuse = [](IMG_PRIVATE, void*, int32_t row, int32_t) -> int32_t {
        return row == 3 ? -77 : 0;
    };
    EXPECT_EQ(IMGLOW_save_bitmap_mem(out.data(), dib.header(), 4, refuse, 0), -9);
}

TEST(gif_reader, decodes_the_worked_example)
{
    const byte_vector file =
        gif_builder("89a", table_of(4)).picture(10, 10, 2, gif_sub_blocks(sample_data)).end();
    byte_vector expected;
    for (char c : std::string(sample_rows))
        expected.push_back(static_cast<uint8_t>(c - '0'));
    EXPECT_EQ(loaded_pixels(file), expected);
}

TEST(gif_reader, depth_follows_the_table)
{
    for (uint32_t size = 1; size <= 8; ++size) {
        SCOPED_TRACE(size);
        const colors table = table_of(size_t{1} << size);
        byte_vector pixels;
        for (uint32_t i = 0; i < 35; ++i)
            pixels.push_back(static_cast<uint8_t>(i * 5 % table.size()));
        const uint32_t code_size = std::max(size, 2u);
        const byte_vector global = gif_builder("87a", table).pixels(7, 5, code_size, pixels).end();
        const byte_vector local = gif_builder("89a").pixels(7, 5, code_size, pixels, table).end();
        for (int mode : {0, 1}) {
            const interchange_scope scope(mode);
            EXPECT_EQ(loaded_bits(global), size == 1 ? 1 : size <= 4 ? 4 : 8);
            EXPECT_EQ(loaded_pixels(global), pixels);
            EXPECT_EQ(loaded_pixels(local), pixels);
        }
        const image_guard image(load(global));
        const image_copy copy = copy_image(image);
        for (int32_t x = 0; x < 7; ++x)
            EXPECT_EQ(copy.color(x, 1), table[pixels[static_cast<size_t>(7 + x)]]);
    }
}

TEST(gif_reader, a_local_table_counts_in_interchange_mode_only)
{
    // Same size bits, so that classic mode passes over the right number of bytes.
    const byte_vector file =
        gif_builder("89a", table_of(16, 1)).pixels(3, 1, 4, {3, 9, 15}, table_of(16, 2)).end();
    for (int mode : {0, 1}) {
        const interchange_scope scope(mode);
        const image_guard image(load(file));
        EXPECT_EQ(copy_image(image).color(1, 0), table_of(16, mode ? 2 : 1)[9]);
    }
    // A smaller local table under a larger global one: classic mode takes the size bits of
    // both, so the depth is the global table's and the codes are looked for in the wrong place.
    const byte_vector mixed =
        gif_builder("89a", table_of(256)).pixels(3, 1, 2, {3, 0, 1}, table_of(4)).end();
    EXPECT_LT(load_code(mixed), 0);
    const interchange_scope interchange;
    EXPECT_EQ(loaded_bits(mixed), 4);
    EXPECT_EQ(loaded_pixels(mixed), (byte_vector{3, 0, 1}));
}

TEST(gif_reader, without_any_table_the_colours_are_greys)
{
    const byte_vector file = gif_builder("89a", {}, 0).pixels(2, 1, 8, {1, 200}, {}, 7).end();
    for (int mode : {0, 1}) {
        const interchange_scope scope(mode);
        const image_guard image(load(file));
        EXPECT_EQ(copy_image(image).color(0, 0), 0x010101u);
        EXPECT_EQ(copy_image(image).color(1, 0), 0xC8C8C8u);
    }
}

TEST(gif_reader, finds_the_picture_behind_extensions)
{
    const byte_vector pixels = {1, 2, 3, 0};
    const auto with = [&](const char* version, const std::string& comment) {
        return gif_builder(version, table_of(4))
            .extension(0xFE, comment)
            .extension(0xF9, "abcd")
            .pixels(2, 2, 2, pixels)
            .end();
    };
    EXPECT_EQ(loaded_pixels(with("89a", "hello")), pixels);
    EXPECT_EQ(loaded_pixels(with("89a", "one, two")), pixels);
    EXPECT_EQ(loaded_pixels(with("89a", std::string(700, 'x'))), pixels);
    EXPECT_EQ(loaded_pixels(with("87a", "hello")), pixels);
    const interchange_scope interchange;
    // Classic mode scans an 87a file for a comma; interchange mode walks its blocks.
    EXPECT_EQ(loaded_pixels(with("87a", "one, two")), pixels);
}

TEST(gif_reader, any_byte_ends_the_extensions_in_classic_mode)
{
    byte_vector file = gif_builder("89a", table_of(4)).extension(0xFE, "x").end();
    const byte_vector rest = gif_builder("89a").pixels(2, 1, 2, {1, 2}).end();
    file.back() = 'Q';
    file.insert(file.end(), rest.begin() + 14, rest.end());
    EXPECT_EQ(loaded_pixels(file), (byte_vector{1, 2}));
}

TEST(gif_reader, an_impossible_code_size_comes_from_the_table)
{
    const byte_vector pixels = {1, 2, 3, 0, 3, 3};
    for (uint8_t code_size : {0, 9, 255}) {
        const byte_vector file = gif_builder("89a", table_of(4))
                                     .picture(3, 2, code_size, gif_plain_lzw(pixels, 2, true))
                                     .end();
        EXPECT_EQ(loaded_pixels(file), pixels) << int{code_size};
    }
}

TEST(gif_reader, interlaced_rows_arrive_once_in_place)
{
    for (int height : {1, 2, 3, 4, 5, 8, 9, 17, 40}) {
        SCOPED_TRACE(height);
        byte_vector pixels; // each row holds its own number, in the order of the passes
        for (auto [start, step] : {std::pair(0, 8), {4, 8}, {2, 4}, {1, 2}})
            for (int y = start; y < height; y += step)
                pixels.insert(pixels.end(), 3, static_cast<uint8_t>(y));
        const byte_vector file =
            gif_builder("89a", table_of(256)).pixels(3, height, 8, pixels, {}, 0x40).end();
        std::vector<int> rows;
        const IMG_PUT_RASTER note = [](const void* row, IMG_PRIVATE list, int32_t index,
                                       int32_t) -> int32_t {
            EXPECT_EQ(*static_cast<const uint8_t*>(row), index);
            reinterpret_cast<std::vector<int>*>(list)->push_back(index);
            return 0;
        };
        const IMG_SET_HEADER any = [](const BITMAPINFOHEADER*, IMG_PRIVATE) -> int32_t {
            return 0;
        };
        EXPECT_GE(IMGX_stream_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0, note,
                                         reinterpret_cast<IMG_PRIVATE>(&rows), any),
                  0);
        std::sort(rows.begin(), rows.end());
        ASSERT_EQ(rows.size(), static_cast<size_t>(height));
        for (int y = 0; y < height; ++y)
            EXPECT_EQ(rows[static_cast<size_t>(y)], y);
    }
}

TEST(gif_reader, client_results_end_the_load)
{
    const byte_vector file = gif_builder("89a", table_of(4)).pixels(1, 4, 2, {1, 2, 3, 0}).end();
    const IMG_PUT_RASTER stop = [](const void*, IMG_PRIVATE, int32_t row, int32_t) -> int32_t {
        return row == 2 ? -55 : 0;
    };
    const IMG_SET_HEADER accept = [](const BITMAPINFOHEADER*, IMG_PRIVATE) -> int32_t { return 0; };
    const IMG_SET_HEADER refuse = [](const BITMAPINFOHEADER*, IMG_PRIVATE) -> int32_t {
        return -66;
    };
    const auto size = static_cast<uint32_t>(file.size());
    EXPECT_EQ(IMGX_stream_bitmap_mem(file.data(), size, 0, stop, 0, accept), -55);
    EXPECT_EQ(IMGX_stream_bitmap_mem(file.data(), size, 0, stop, 0, refuse), -66);
}

TEST(gif_reader, codes_around_clear_codes)
{
    // Code size 2: clear 4, end 5, first free code 6. Codes are 3 bits wide up to the third
    // behind a clear code, then 4.
    const auto file = [](std::initializer_list<uint32_t> three_bits,
                         std::initializer_list<uint32_t> four_bits) {
        const gif_code_bits codes = gif_code_bits().put(three_bits, 3).put(four_bits, 4);
        return gif_builder("89a", table_of(4))
            .picture(2, 2, 2, gif_sub_blocks(codes.bytes()))
            .end();
    };
    const struct {
        const char* what;
        byte_vector file;
        byte_vector classic, published; // empty: refused with -3
    } rows[] = {
        {"plain", file({4, 1, 2, 3}, {1, 5}), {1, 2, 3, 1}, {1, 2, 3, 1}},
        {"end behind clear is a pixel", file({4, 5, 1, 2}, {3}), {5, 1, 2, 3}, {0, 0, 0, 0}},
        {"clear twice", file({4, 4, 1, 2}, {3, 1}), {4, 1, 2, 3}, {1, 2, 3, 2}},
        {"no clear at the start", file({1, 2, 3}, {0, 0}), {1, 2, 3, 0}, {1, 2, 3, 0}},
        {"string behind clear", file({4, 7, 1, 2}, {3}), {7, 1, 2, 3}, {}},
        {"code that comes too early", file({4, 1, 7, 2}, {3}), {}, {}},
        {"its own string at once", file({4, 1, 6, 2}, {5}), {1, 1, 1, 2}, {1, 1, 1, 2}},
        {"clear in the middle", file({4, 1, 6, 4, 3}, {}), {1, 1, 1, 3}, {1, 1, 1, 3}},
        {"end too early", file({4, 2, 1, 3}, {5}), {2, 1, 3, 3}, {2, 1, 3, 3}},
        {"no end code, all rows", file({4, 1, 2, 3}, {1}), {1, 2, 3, 1}, {1, 2, 3, 1}},
        {"no end code, pixels missing", file({4, 1, 2, 3}, {4}), {}, {}},
    };
    for (const auto& r : rows)
        for (int mode : {0, 1}) {
            SCOPED_TRACE(testing::Message() << r.what << ", interchange " << mode);
            const interchange_scope scope(mode);
            const byte_vector& expected = mode ? r.published : r.classic;
            if (expected.empty())
                EXPECT_EQ(load_code(r.file), -3);
            else
                EXPECT_EQ(loaded_pixels(r.file), expected);
        }
}

TEST(gif_reader, a_full_table_goes_on_without_a_clear_code)
{
    // As encoders do that clear late: 12-bit codes of a full table, thousands of them.
    std::mt19937 random(3);
    gif_code_bits codes;
    byte_vector expected;
    uint32_t width = 9, next = 258;
    codes.put(256, width);
    for (int i = 0; i < 10000; ++i) {
        const auto pixel = static_cast<uint8_t>(random());
        codes.put(pixel, width);
        expected.push_back(pixel);
        if (i > 0 && next < 4096 && ++next == 1u << width && width < 12) ++width;
    }
    const byte_vector file = gif_builder("89a", table_of(256))
                                 .picture(100, 100, 8, gif_sub_blocks(codes.put(257, 12).bytes()))
                                 .end();
    EXPECT_EQ(loaded_pixels(file), expected);
}

TEST(gif_reader, completes_the_last_row_of_classic_files)
{
    std::mt19937 random(11);
    for (int round = 0; round < 200; ++round) {
        const auto width = static_cast<int32_t>(1 + random() % 9);
        const auto height = static_cast<int32_t>(1 + random() % 4);
        const int32_t bits = round & 1 ? 4 : 8;
        test_dib dib(width, height, bits);
        dib.fill_random(static_cast<uint32_t>(round), 2);
        const byte_vector expected = all_pixels(dib, width, height, bits);
        const image_guard image(dib.create());
        const byte_vector file = save(image);
        byte_vector got = loaded_pixels(file);
        ASSERT_EQ(got.size(), expected.size());
        got.back() = expected.back();
        EXPECT_EQ(got, expected) << width << " x " << height;
    }
}

TEST(gif_pages, are_an_affair_of_interchange_mode)
{
    const byte_vector file = gif_builder("89a", table_of(4, 1))
                                 .extension(0xFF, "NETSCAPE2.0")
                                 .extension(0xF9, "abcd")
                                 .pixels(2, 1, 2, {1, 2})
                                 .extension(0xF9, ",;!,")
                                 .pixels(3, 1, 2, {3, 0, 3}, table_of(4, 9))
                                 .raw({0, 0}) // stray bytes between blocks
                                 .pixels(1, 1, 2, {2})
                                 .end();
    const auto size = static_cast<uint32_t>(file.size());
    EXPECT_EQ(IMGX_get_pages_mem(file.data(), size), 1);
    EXPECT_EQ(loaded_pixels(file, 2), (byte_vector{1, 2}));

    const interchange_scope interchange;
    EXPECT_EQ(IMGX_get_pages_mem(file.data(), size), 3);
    EXPECT_EQ(loaded_pixels(file, 0), (byte_vector{1, 2}));
    EXPECT_EQ(loaded_pixels(file, 1), (byte_vector{3, 0, 3}));
    EXPECT_EQ(loaded_pixels(file, 2), (byte_vector{2}));
    EXPECT_EQ(load_code(file, 3), -11);
    EXPECT_EQ(load_code(file, 1000), -11);
    {
        const image_guard second(load(file, 1));
        EXPECT_EQ(copy_image(second).color(0, 0), table_of(4, 9)[3]);
    }
    const temp_file on_disk(".gif");
    write_file(on_disk.name(), file);
    EXPECT_EQ(IMGLOW_get_pages(on_disk.name()), 3);
    EXPECT_EQ(load_code(gif_builder("89a", table_of(4)).end()), -3);
}

TEST(gif_reader, sizes_that_cannot_be)
{
    const byte_vector data = gif_plain_lzw(byte_vector{1}, 2, true);
    const auto sized = [&](int width, int height, size_t entries) {
        return gif_builder("89a", table_of(entries)).picture(width, height, 2, data).end();
    };
    EXPECT_EQ(load_code(sized(0, 5, 4)), -3);
    EXPECT_EQ(load_code(sized(5, 0, 4)), -3);
    EXPECT_EQ(load_code(sized(65535, 65535, 256)), -1);
}

TEST(gif_reader, every_cut_gives_a_code_or_the_whole_picture)
{
    std::mt19937 random(5);
    byte_vector pixels(40 * 30);
    for (uint8_t& p : pixels)
        p = static_cast<uint8_t>(random() % 64);
    const byte_vector file = gif_builder("89a", table_of(64))
                                 .extension(0xFE, "a comment")
                                 .pixels(40, 30, 6, pixels, table_of(64, 3))
                                 .end();
    for (int mode : {0, 1}) {
        const interchange_scope scope(mode);
        for (size_t size = 1; size < file.size(); ++size) {
            SCOPED_TRACE(size);
            const byte_vector cut(file.begin(), file.begin() + static_cast<ptrdiff_t>(size));
            const int32_t code = load_code(cut);
            if (code == 0)
                EXPECT_EQ(loaded_pixels(cut), pixels);
            else
                EXPECT_TRUE(code == -12 || code == -3 || (size < 3 && code == -7)) << code;
            IMGX_get_pages_mem(cut.data(), static_cast<uint32_t>(size));
        }
    }
    EXPECT_EQ(load_code(byte_vector(file.begin(), file.begin() + 12)), -12);
}
