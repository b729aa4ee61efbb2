// gif_test.cpp - GIF files in and out through the exports: exact bytes, and the block, table
// and code rules of both modes.

#include "tests/builders/gif_builder.h"

namespace {

constexpr int32_t gif = 4;

// Entry i is red i, green 255 - i, blue n.
values table_of(size_t entries, uint32_t blue = 7)
{
    values table;
    for (uint32_t i = 0; i < entries; ++i)
        table.push_back(i << 16 | (255 - i) << 8 | blue);
    return table;
}

} // namespace

TEST(gif_writer, files_are_exact)
{
    // Width, height, run: some end where the codes grow, some are of one colour for the most part.
    constexpr int pictures[][3] = {
        {1, 1, 1},     {2, 1, 1},   {3, 3, 1},      {28541, 1, 1000000000}, {17, 13, 4},
        {320, 200, 1}, {97, 31, 2}, {640, 100, 40}, {1000, 40, 3},          {5000, 90, 100000}};
    for (int mode : {0, 1})
        for (int32_t bits : {1, 4, 8})
            for (const auto& [width, height, run] : pictures) {
                if (bits == 1 && mode == 0) continue;
                SCOPED_TRACE(testing::Message() << mode << " " << bits << " " << width);
                const mode_scope scope(mode);
                const image_guard image(random_picture(width, height, bits, run).create());
                const picture copy = copy_image(image);
                const uint8_t flags = uint8_t(bits - 1), code_size = bits == 1 ? 2 : uint8_t(bits);
                byte_vector expected = {'G', 'I', 'F', '8', '7', 'a'};
                add_le(expected, {width, height, 0x80 | flags}, 2);
                expected.push_back(0);
                for (size_t i = 0; i < size_t{1} << bits; ++i)
                    for (size_t component : {2, 1, 0})
                        expected.push_back(copy.bytes[40 + 4 * i + component]);
                expected.push_back(0x2C);
                add_le(expected, {0, 0, width, height, flags | code_size << 8}, 2);
                const values numbers = values_of(copy);
                const byte_vector pixels(numbers.begin(), numbers.end());
                add_bytes(expected, gif_plain_lzw(pixels, code_size, mode == 1));
                expected.push_back(0x3B);
                EXPECT_TRUE(save_bytes(image, gif) == expected);
            }
}

TEST(gif_reader, depth_follows_the_table)
{
    for (uint32_t size = 1; size <= 8; ++size)
        for (int mode : {0, 1}) {
            SCOPED_TRACE(size);
            const mode_scope scope(mode);
            const values table = table_of(size_t{1} << size);
            byte_vector pixels;
            for (uint32_t i = 0; i < 35; ++i)
                pixels.push_back(uint8_t(i * 5 % table.size()));
            const uint32_t code_size = std::max(size, 2u);
            const picture seen =
                picture_of(gif_builder("87a", table).pixels(7, 5, code_size, pixels));
            EXPECT_EQ(seen.bits, size == 1 ? 1 : size <= 4 ? 4 : 8);
            EXPECT_EQ(values_of(seen), values(pixels.begin(), pixels.end()));
            EXPECT_EQ(seen.color(6, 4), table[pixels[34]]);
            EXPECT_EQ(colors_in(gif_builder("89a").pixels(7, 5, code_size, pixels, table)),
                      colors_of(seen));
            // Without any table the colours are greys.
            EXPECT_EQ(colors_in(gif_builder("89a").pixels(2, 1, 8, {1, 200}, {}, 7)),
                      (values{0x010101, 0xC8C8C8}));
        }
}

TEST(gif_reader, a_local_table_counts_in_interchange_mode_only)
{
    // Same size bits, so that classic mode passes over the right number of bytes.
    const auto file =
        gif_builder("89a", table_of(16, 1)).pixels(3, 1, 4, {3, 9, 15}, table_of(16, 2));
    EXPECT_EQ(picture_of(file).color(1, 0), table_of(16, 1)[9]);
    // A smaller local table under a larger global one: classic mode takes the size bits of
    // both, so the depth is the global table's and the codes are looked for in the wrong place.
    const auto mixed = gif_builder("89a", table_of(256)).pixels(3, 1, 2, {3, 0, 1}, table_of(4));
    EXPECT_LT(load_code(mixed), 0);
    const mode_scope interchange;
    EXPECT_EQ(picture_of(file).color(1, 0), table_of(16, 2)[9]);
    EXPECT_EQ(picture_of(mixed).bits, 4);
    EXPECT_EQ(values_in(mixed), (values{3, 0, 1}));
}

TEST(gif_reader, finds_the_picture_behind_extensions)
{
    const auto with = [&](const char* version, const std::string& comment) {
        return gif_builder(version, table_of(4))
            .extension(0xFE, comment)
            .extension(0xF9, "abcd")
            .pixels(2, 2, 2, {1, 2, 3, 0});
    };
    const values expected = {1, 2, 3, 0};
    EXPECT_EQ(values_in(with("89a", "one, two")), expected);
    EXPECT_EQ(values_in(with("89a", std::string(700, 'x'))), expected);
    EXPECT_EQ(values_in(with("87a", "hello")), expected);
    // In classic mode any byte ends the extensions.
    gif_builder file = gif_builder("89a", table_of(4)).extension(0xFE, "x").pixels(2, 1, 2, {1, 2});
    *std::find(file.begin() + 13, file.end(), 0x2C) = 'Q';
    EXPECT_EQ(values_in(file), (values{1, 2}));
    // Classic mode scans an 87a file for a comma; interchange mode walks its blocks.
    const mode_scope interchange;
    EXPECT_EQ(values_in(with("87a", "one, two")), expected);
}

TEST(gif_reader, tells_where_the_data_end)
{
    const byte_vector file = gif_builder("89a", table_of(4))
                                 .extension(0xFE, "xyz")
                                 .pixels(2, 2, 2, {1, 2, 3, 0})
                                 .finish();
    // Header, colours, extension; separator and descriptor; code size and codes.
    for (auto [size, code] :
         {std::pair(12, -12), {13, -3}, {32, -3}, {33, -12}, {42, -12}, {43, -3}})
        for (int mode : {0, 1}) {
            const mode_scope scope(mode);
            EXPECT_EQ(load_code({file.begin(), file.begin() + size}), code) << size;
        }
}

TEST(gif_reader, an_impossible_code_size_comes_from_the_table)
{
    const byte_vector pixels = {1, 2, 3, 0, 3, 3};
    for (uint8_t code_size : {0, 9, 255})
        EXPECT_EQ(values_in(gif_builder("89a", table_of(4))
                                .picture(3, 2, code_size, gif_plain_lzw(pixels, 2, true))),
                  values(pixels.begin(), pixels.end()));
}

TEST(gif_reader, interlaced_rows_come_in_place)
{
    for (int height : {1, 2, 3, 4, 5, 8, 9, 17, 40}) {
        byte_vector pixels; // each row holds its own number, in the order of the passes
        for (auto [start, step] : {std::pair(0, 8), {4, 8}, {2, 4}, {1, 2}})
            for (int y = start; y < height; y += step)
                pixels.push_back(uint8_t(y));
        values expected(pixels.begin(), pixels.end());
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(values_in(gif_builder("89a").pixels(1, height, 8, pixels, {}, 0x47)), expected);
    }
}

TEST(gif_reader, codes_around_clear_codes)
{
    // Code size 2: clear 4, end 5, first free code 6. Codes are 3 bits wide up to the third
    // behind a clear code, then 4.
    const struct {
        const char* what;
        std::initializer_list<uint32_t> three_bits, four_bits;
        values classic, published; // empty: refused with -3
    } rows[] = {
        {"plain", {4, 1, 2, 3}, {1, 5}, {1, 2, 3, 1}, {1, 2, 3, 1}},
        {"end behind clear is a pixel", {4, 5, 1, 2}, {3}, {5, 1, 2, 3}, {0, 0, 0, 0}},
        {"clear twice", {4, 4, 1, 2}, {3, 1}, {4, 1, 2, 3}, {1, 2, 3, 2}},
        {"no clear at the start", {1, 2, 3}, {0, 0}, {1, 2, 3, 0}, {1, 2, 3, 0}},
        {"string behind clear", {4, 7, 1, 2}, {3}, {7, 1, 2, 3}, {}},
        {"code that comes too early", {4, 1, 7, 2}, {3}, {}, {}},
        {"its own string at once", {4, 1, 6, 2}, {5}, {1, 1, 1, 2}, {1, 1, 1, 2}},
        {"clear in the middle", {4, 1, 6, 4, 3}, {}, {1, 1, 1, 3}, {1, 1, 1, 3}},
        {"end too early", {4, 2, 1, 3}, {5}, {2, 1, 3, 3}, {2, 1, 3, 3}},
        {"end before the last row", {4, 2, 1, 5}, {}, {2, 1, 1, 1}, {2, 1, 1, 1}},
        {"end two rows too early", {4, 2, 5}, {}, {2, 2, 0, 0}, {2, 2, 0, 0}},
        {"no end code, all rows", {4, 1, 2, 3}, {1}, {1, 2, 3, 1}, {1, 2, 3, 1}},
        {"no end code, pixels missing", {4, 1, 2, 3}, {4}, {}, {}},
    };
    for (const auto& r : rows)
        for (int mode : {0, 1}) {
            SCOPED_TRACE(testing::Message() << r.what << ", mode " << mode);
            const mode_scope scope(mode);
            const auto bits = gif_code_bits().put(r.three_bits, 3).put(r.four_bits, 4);
            const byte_vector file =
                gif_builder("89a", table_of(4)).picture(2, 2, 2, gif_sub_blocks(bits.bytes()));
            const values& expected = mode ? r.published : r.classic;
            ASSERT_EQ(load_code(file), expected.empty() ? -3 : 0);
            EXPECT_TRUE(expected.empty() || values_in(file) == expected);
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
                                 .pixels(1, 1, 2, {2});
    const temp_file on_disk(".gif");
    write_file(on_disk.name(), file);
    EXPECT_EQ(IMGLOW_get_pages(on_disk.name()), 1);
    EXPECT_EQ(values_in(file, 2), (values{1, 2}));

    const mode_scope interchange;
    EXPECT_EQ(IMGLOW_get_pages(on_disk.name()), 3);
    EXPECT_EQ(values_in(file, 0), (values{1, 2}));
    EXPECT_EQ(colors_in(file, 1),
              (values{table_of(4, 9)[3], table_of(4, 9)[0], table_of(4, 9)[3]}));
    EXPECT_EQ(values_in(file, 2), (values{2}));
    for (int32_t page : {3, 1000})
        EXPECT_EQ(load_code(file, page), -11);
    EXPECT_EQ(load_code(gif_builder("89a", table_of(4)).finish()), -3);
}
