// pcx_test.cpp - PCX and DCX through the exports: every organisation, palettes, runs, exact
// output, pages.

#include "tests/builders/pcx_builder.h"

namespace {

constexpr int32_t pcx = 2, dcx = 11;

// Stored bytes of random pixels, and what each pixel's value is.
struct random_planes {
    random_planes(pcx_builder& f, uint32_t seed)
    {
        std::mt19937 random(seed);
        for (int y = 0; y < f.height; ++y) {
            byte_vector bytes(size_t(f.planes * f.plane()));
            for (uint8_t& b : bytes)
                b = uint8_t(random());
            for (int x = 0; x < f.width; ++x) {
                uint32_t value = 0;
                for (int p = 0; p < f.planes; ++p) {
                    const int bit = x * f.bits;
                    const uint32_t byte = bytes[size_t(p * f.plane() + bit / 8)];
                    const uint32_t part = byte >> (8 - f.bits - bit % 8) & ((1u << f.bits) - 1);
                    // Planes of bytes are red, green, blue; planes of bits count upwards.
                    value |= f.bits == 8 && f.planes > 1 ? (p < 3 ? part << 8 * (2 - p) : 0)
                                                         : part << p * f.bits;
                }
                pixels.push_back(value);
            }
            add_bytes(plain, bytes);
        }
        for (uint8_t b : plain)
            add_bytes(coded, b >= 0xC0 ? byte_vector{0xC1, b} : byte_vector{b});
    }
    byte_vector plain, coded;
    values pixels;
};

pcx_builder one_row(byte_vector data, int width, byte_vector tail = {})
{
    pcx_builder f;
    f.width = width;
    f.data = std::move(data);
    f.tail = std::move(tail);
    return f;
}

byte_vector coloured_page(int value, int salt)
{
    return one_row({0xC4, uint8_t(value)}, 4, vga_palette(salt));
}

} // namespace

TEST(pcx_reader, reads_every_organisation_with_and_without_padding)
{
    const struct {
        int bits, planes, dib_bits;
    } kinds[] = {{1, 1, 1}, {1, 2, 4}, {2, 1, 4},  {1, 3, 4}, {1, 4, 4},
                 {4, 1, 4}, {8, 1, 8}, {8, 3, 24}, {8, 4, 24}};
    for (const auto& kind : kinds)
        for (int width : {1, 2, 7, 8, 9, 15, 16, 17, 31, 33, 37, 64, 301})
            for (int extra : {0, 1, 80})
                for (int encoding : {0, 1}) {
                    SCOPED_TRACE(testing::Message() << kind.bits << " x " << kind.planes << ", "
                                                    << width << " + " << extra);
                    pcx_builder f;
                    f.bits = kind.bits, f.planes = kind.planes;
                    f.width = width, f.height = 5, f.x = 100, f.y = 50;
                    f.encoding = encoding;
                    f.plane_bytes = f.plane() + extra;
                    const random_planes stored(f, uint32_t(width + extra));
                    f.data = encoding ? stored.coded : stored.plain;
                    const picture seen = picture_of(f);
                    ASSERT_EQ(seen.bits, kind.dib_bits);
                    ASSERT_EQ(values_of(seen), stored.pixels);
                }
}

TEST(pcx_reader, follows_runs_across_planes_and_rows)
{
    pcx_builder f;
    f.planes = 3, f.width = 37, f.height = 20;
    for (int done = 0; done < 3 * 37 * 20; done += 63) // the last run goes on behind the picture
        add_bytes(f.data, {0xFF, 0xD7});
    EXPECT_EQ(colors_in(f), values(37 * 20, 0xD7D7D7));
    // Single bytes above 0xC0, a run of none, and runs that end with the row and one later.
    EXPECT_EQ(values_in(one_row({0xC1, 0xC0, 0xC1, 0xFF, 0xC0, 0x55, 0x05, 0xC3, 0xC1}, 6)),
              (values{0xC0, 0xFF, 0x05, 0xC1, 0xC1, 0xC1}));
    // The rows so far, then black.
    f.width = 4, f.height = 4, f.data = byte_vector(30, 5);
    EXPECT_EQ(colors_in(f)[7], 0x050505u);
    EXPECT_EQ(colors_in(f)[12], 0u);
}

TEST(pcx_reader, finds_the_256_colours)
{
    byte_vector junk_behind = vga_palette(1), gap = byte_vector(20, 0);
    add_bytes(junk_behind, byte_vector(128, 9));
    add_bytes(gap, vga_palette(1));
    const struct {
        const char* where;
        byte_vector tail;
        uint32_t color;
    } files[] = {{"at the end", vga_palette(1), 0x05FA01},
                 {"in front of junk", junk_behind, 0x05FA01},
                 {"behind a gap", gap, 0x05FA01},
                 {"nowhere", {}, 0x050505},
                 {"cut short", byte_vector(700, 0x0C), 0x050505}};
    for (const auto& file : files)
        for (int version : {2, 3, 5}) {
            SCOPED_TRACE(file.where);
            pcx_builder f = one_row({0xC3, 0x05}, 3, file.tail);
            f.version = version;
            EXPECT_EQ(colors_in(f)[0], file.color);
        }
    // A marker byte among the pixels, 769 bytes from the end, starts no palette.
    byte_vector markers(900, 0x0C);
    markers[0] = 5;
    EXPECT_EQ(colors_in(one_row(markers, 900))[0], 0x050505u);
}

TEST(pcx_reader, chooses_the_colours_of_small_depths)
{
    byte_vector header_colors;
    for (int i = 0; i < 16; ++i)
        add_bytes(header_colors, {uint8_t(16 * i), 1, 2});
    const struct {
        int version, bits, planes, palette_info;
        byte_vector palette;
        byte_vector data;
        values expected;
    } rows[] = {
        // 16 colours, index 6: versions 0 and 3 state none, nor do zeros.
        {0, 1, 4, 1, header_colors, {0, 0x80, 0x80, 0}, {0xAA5500}},
        {2, 1, 4, 1, header_colors, {0, 0x80, 0x80, 0}, {0x600102}},
        {3, 1, 4, 1, header_colors, {0, 0x80, 0x80, 0}, {0xAA5500}},
        {5, 1, 4, 1, header_colors, {0, 0x80, 0x80, 0}, {0x600102}},
        {5, 1, 4, 1, {}, {0, 0x80, 0x80, 0}, {0xAA5500}},
        // The colour settings of a CGA.
        {5, 2, 1, 0, {0x10, 0, 0, 0x00}, {0x1B}, {0x0000AA, 0x00AA00, 0xAA0000, 0xAA5500}},
        {5, 2, 1, 0, {0x00, 0, 0, 0x60}, {0x1B}, {0x000000, 0x55FFFF, 0xFF55FF, 0xFFFFFF}},
        {5, 2, 1, 0, {0x00, 0, 0, 0x80}, {0x1B}, {0x000000, 0x00AAAA, 0xAA0000, 0xAAAAAA}},
        {5, 2, 1, 1, {0x00, 0, 0, 0, 255, 0}, {0x1B}, {0x000000, 0x55FF55, 0xFF5555, 0xFFFF55}},
        {5, 2, 1, 1, header_colors, {0x1B}, {0x000102, 0x100102, 0x200102, 0x300102}},
        // Two colours count only with nothing behind them; a lighter first one is put last.
        {5, 1, 1, 1, {}, {0x80}, {0xFFFFFF, 0}},
        {5, 1, 1, 1, {0, 0, 0, 0, 0, 0xAA, 0, 0xAA}, {0x80}, {0xFFFFFF, 0}},
        {5, 1, 1, 1, {255, 255, 255}, {0x80}, {0, 0xFFFFFF}},
        {5, 1, 1, 1, {1, 2, 3, 4, 5, 6}, {0x80}, {0x040506, 0x010203}},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(&r - rows);
        pcx_builder f = one_row(r.data, int(r.expected.size()));
        f.version = r.version, f.bits = r.bits, f.planes = r.planes;
        f.palette_info = r.palette_info, f.palette = r.palette;
        EXPECT_EQ(colors_in(f), r.expected);
    }
}

TEST(pcx_reader, keeps_a_resolution_only_when_it_is_one)
{
    constexpr int rows[][3] = {{300, 200, 300}, {0, 0, 0},      {640, 480, 0},
                               {40, 30, 0},     {9000, 300, 0}, {300, 9, 0}};
    for (const auto& [x, y, expected] : rows) {
        pcx_builder f = one_row(byte_vector(40 * 30, 1), 40);
        f.height = 30, f.x_dpi = x, f.y_dpi = y;
        EXPECT_EQ(picture_of(f).resolution().first, expected);
    }
}

TEST(pcx_writer, writes_exact_bytes)
{
    picture dib(5, 2, 8);
    for (int x = 0; x < 5; ++x)
        dib.set_pixel(x, 0, x < 3 ? 5 : x == 3 ? 0xC8 : 1);
    dib.set_resolution(300, 200);
    // Rows are padded to an even number of bytes; the second row is five zeros and a pad.
    pcx_builder expected;
    expected.width = 5, expected.height = 2, expected.plane_bytes = 6;
    expected.x_dpi = 300, expected.y_dpi = 200, expected.palette_info = 2;
    for (int i = 0; i < 16; ++i)
        add_bytes(expected.palette, byte_vector(3, uint8_t(i)));
    expected.data = {0xC3, 5, 0xC1, 0xC8, 1, 0, 0xC6, 0, 12};
    for (int i = 0; i < 256; ++i)
        add_bytes(expected.tail, byte_vector(3, uint8_t(i)));
    EXPECT_EQ(save_bytes(image_guard(dib.create()), pcx), byte_vector(expected));
    // Readers take one plane of bits for black and white: other colours get four.
    picture two(9, 1, 1);
    EXPECT_EQ(save_bytes(image_guard(two.create()), pcx)[65], 1);
    two.set_color(0, rgb(200, 10, 20));
    EXPECT_EQ(save_bytes(image_guard(two.create()), pcx)[65], 4);
}

TEST(dcx, reads_pages_by_number)
{
    const std::vector<byte_vector> pages = {coloured_page(10, 0), coloured_page(11, 1),
                                            coloured_page(12, 2)};
    for (size_t entries : {size_t{4}, size_t{1024}}) {
        byte_vector file = build_dcx(pages, entries);
        // The first two swapped: pages need not lie in table order.
        std::swap_ranges(file.begin() + 4, file.begin() + 8, file.begin() + 8);
        EXPECT_EQ(IMGX_get_pages_mem(file.data(), uint32_t(file.size())), 3);
        EXPECT_EQ(picture_of(file, 0).color(0, 0), 0x0BF401u);
        EXPECT_EQ(picture_of(file, 1).color(0, 0), 0x0AF500u);
        EXPECT_EQ(picture_of(file, 2).color(0, 0), 0x0CF302u);
        for (int32_t page : {3, 256})
            EXPECT_EQ(load_code(file, page), -11);
        // An offset that leads nowhere fails its own page only.
        for (uint32_t offset : {1u, 7u, 8u, 4096u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
            for (int i = 0; i < 4; ++i)
                file[4 + size_t(i)] = uint8_t(offset >> 8 * i);
            EXPECT_EQ(load_code(file, 0), -3) << offset;
            EXPECT_EQ(load_code(file, 1), 0);
        }
    }
    // One that leads into another page does not end that.
    byte_vector inside = build_dcx({one_row(byte_vector(4000, 7), 4000), {}}, 3);
    inside[8] = 216, inside[9] = 0;
    EXPECT_EQ(picture_of(inside).pixel(3999, 0), 7u);
    byte_vector endless(4 + 4 * 1100, 1); // no 0 ends the table
    std::copy_n("\xB1\x68\xDE\x3A", 4, endless.begin());
    EXPECT_EQ(IMGX_get_pages_mem(endless.data(), uint32_t(endless.size())), 1023);
}

TEST(dcx, appends_pages_up_to_the_last_one)
{
    const temp_file file(".dcx");
    picture dib(3, 1, 8);
    for (int i = 0; i <= 1023; ++i) {
        dib.set_pixel(0, 0, uint32_t(i % 251));
        ASSERT_EQ(IMG_save_bitmap(image_guard(dib.create()), file.name(), dcx), i < 1023 ? 0 : -11);
    }
    EXPECT_EQ(IMGLOW_get_pages(file.name()), 1023);
    const byte_vector bytes = file.bytes();
    EXPECT_EQ(bytes[4] | bytes[5] << 8, 4100);
    for (int page : {0, 255, 256, 700, 1022})
        EXPECT_EQ(picture_of(bytes, page).pixel(0, 0), uint32_t(page % 251));
}

TEST(dcx, appends_behind_a_short_table_and_leaves_other_files_alone)
{
    const temp_file file(".dcx");
    const byte_vector before = build_dcx({coloured_page(1, 5), coloured_page(2, 6)}, 3);
    write_file(file.name(), before);
    picture dib(3, 1, 24);
    dib.set_pixel(0, 0, 0x123456);
    const image_guard image(dib.create());
    ASSERT_EQ(IMG_save_bitmap(image, file.name(), dcx), 0);
    const byte_vector after = file.bytes();
    ASSERT_EQ(IMGX_get_pages_mem(after.data(), uint32_t(after.size())), 3);
    for (int32_t page : {0, 1})
        expect_same_colors(picture_of(after, page), picture_of(before, page));
    EXPECT_EQ(picture_of(after, 2).color(0, 0), 0x123456u);

    const byte_vector other(300, 7);
    write_file(file.name(), other);
    EXPECT_EQ(IMG_save_bitmap(image, file.name(), dcx), -3);
    EXPECT_EQ(file.bytes(), other);
}
