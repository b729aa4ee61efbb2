// pcx_test.cpp - PCX and DCX through the exports: every organisation, palettes, runs, damaged
// files, exact output, pages.

#include "tests/builders/pcx_builder.h"

namespace {

constexpr int32_t pcx = 2, dcx = 11;

// Stored bytes of random pixels, and what each pixel's value is.
struct random_planes {
    random_planes(pcx_builder& f, uint32_t seed)
    {
        std::mt19937 random(seed);
        const int row = f.planes * f.plane();
        for (int y = 0; y < f.height; ++y) {
            byte_vector bytes(static_cast<size_t>(row));
            for (uint8_t& b : bytes)
                b = uint8_t(random());
            for (int x = 0; x < f.width; ++x) {
                uint32_t value = 0;
                for (int p = 0; p < f.planes; ++p) {
                    const int bit = x * f.bits;
                    const uint8_t byte = bytes[size_t(p * f.plane() + bit / 8)];
                    const uint32_t part =
                        uint32_t{byte} >> (8 - f.bits - bit % 8) & ((1u << f.bits) - 1);
                    // Planes of bytes are red, green, blue; planes of bits count upwards.
                    value |= f.bits == 8 && f.planes > 1 ? (p < 3 ? part << 8 * (2 - p) : 0)
                                                         : part << p * f.bits;
                }
                values.push_back(value);
            }
            add_bytes(plain, bytes);
        }
        for (uint8_t b : plain) {
            if (b >= 0xC0) coded.push_back(0xC1);
            coded.push_back(b);
        }
    }
    byte_vector plain, coded;
    std::vector<uint32_t> values;
};

std::vector<uint32_t> values_of(const image_copy& picture)
{
    std::vector<uint32_t> values;
    for (int32_t y = 0; y < picture.height; ++y)
        for (int32_t x = 0; x < picture.width; ++x)
            values.push_back(picture.pixel(x, y));
    return values;
}

pcx_builder one_row(byte_vector data, int width, byte_vector tail = {})
{
    pcx_builder f;
    f.width = width;
    f.data = std::move(data);
    f.tail = std::move(tail);
    return f;
}

// Entry i of the colour table that a file of 16 colours gets.
uint32_t color_entry(const pcx_builder& f, int i)
{
    const image_copy picture = picture_of(f.build());
    const uint8_t* entry = picture.head.data() + 40 + 4 * i;
    return entry[0] | uint32_t{entry[1]} << 8 | uint32_t{entry[2]} << 16;
}

byte_vector coloured_page(int value, int salt)
{
    return one_row({0xC4, uint8_t(value)}, 4, vga_palette(salt)).build();
}

} // namespace

TEST(pcx_reader, reads_every_organisation_with_and_without_padding)
{
    const struct {
        int bits, planes, dib_bits;
    } kinds[] = {{1, 1, 1}, {1, 2, 4}, {2, 1, 4},  {1, 3, 4}, {1, 4, 4},
                 {4, 1, 4}, {8, 1, 8}, {8, 3, 24}, {8, 4, 24}};
    for (const auto& kind : kinds)
        for (int width : {1, 7, 8, 37, 64, 301})
            for (int extra : {0, 1, 80})
                for (int encoding : {0, 1}) {
                    SCOPED_TRACE(testing::Message() << kind.bits << " x " << kind.planes << ", "
                                                    << width << " + " << extra);
                    pcx_builder f;
                    f.bits = kind.bits;
                    f.planes = kind.planes;
                    f.width = width;
                    f.height = 5;
                    f.encoding = encoding;
                    f.x = 100, f.y = 50;
                    f.plane_bytes = f.plane() + extra;
                    const random_planes pixels(f, uint32_t(width + extra));
                    f.data = encoding ? pixels.coded : pixels.plain;
                    const image_copy picture = picture_of(f.build());
                    ASSERT_EQ(picture.bits, kind.dib_bits);
                    ASSERT_EQ(picture.width, width);
                    ASSERT_EQ(values_of(picture), pixels.values);
                }
}

TEST(pcx_reader, follows_runs_across_planes_and_rows)
{
    pcx_builder f;
    f.planes = 3;
    f.width = 37;
    f.height = 20;
    const int total = 3 * 37 * 20;
    for (int done = 0; done < total; done += 63) // the last run goes on behind the picture
        add_bytes(f.data, {0xFF, 0xD7});
    EXPECT_EQ(colors_of(picture_of(f.build())), std::vector<uint32_t>(37 * 20, 0xD7D7D7));

    // Single bytes above 0xC0, a run of none, and runs that end with the row and one later.
    const image_copy row =
        picture_of(one_row({0xC1, 0xC0, 0xC1, 0xFF, 0xC0, 0x55, 0x05, 0xC3, 0xC1}, 6).build());
    EXPECT_EQ(values_of(row), (std::vector<uint32_t>{0xC0, 0xFF, 0x05, 0xC1, 0xC1, 0xC1}));
}

TEST(pcx_reader, finds_the_256_colours)
{
    const byte_vector pixels = {0xC3, 0x05};
    const byte_vector junk(128, 0x0C);
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
    for (const auto& file : files) {
        SCOPED_TRACE(file.where);
        for (int version : {2, 3, 5}) {
            pcx_builder f = one_row(pixels, 3, file.tail);
            f.version = version;
            EXPECT_EQ(picture_of(f.build()).color(0, 0), file.color);
        }
    }
    // A marker byte among the pixels, 769 bytes from the end, starts no palette.
    EXPECT_EQ(picture_of(one_row(byte_vector(900, 0x0C), 900).build()).color(0, 0), 0x0C0C0Cu);
}

TEST(pcx_reader, chooses_the_colours_of_small_depths)
{
    byte_vector header_colors;
    for (int i = 0; i < 16; ++i)
        add_bytes(header_colors, {uint8_t(16 * i), 1, 2});
    pcx_builder f = one_row({0, 0, 0, 0}, 8);
    f.bits = 1;
    f.planes = 4;
    for (int version : {0, 2, 3, 5}) { // 0 and 3 state no colours
        f.version = version;
        f.palette = header_colors;
        EXPECT_EQ(color_entry(f, 6), version == 0 || version == 3 ? 0xAA5500u : 0x600102u);
        f.palette = {};
        EXPECT_EQ(color_entry(f, 6), 0xAA5500u);
    }

    f = one_row({0x1B}, 4); // pixels 0, 1, 2, 3
    f.bits = 2;
    const auto cga = [&](int info, byte_vector palette) {
        f.palette_info = info;
        f.palette = std::move(palette);
        return colors_of(picture_of(f.build()));
    };
    using colors = std::vector<uint32_t>;
    EXPECT_EQ(cga(0, {0x10, 0, 0, 0x00}), (colors{0x0000AA, 0x00AA00, 0xAA0000, 0xAA5500}));
    EXPECT_EQ(cga(0, {0x00, 0, 0, 0x60}), (colors{0x000000, 0x55FFFF, 0xFF55FF, 0xFFFFFF}));
    EXPECT_EQ(cga(0, {0x00, 0, 0, 0x80}), (colors{0x000000, 0x00AAAA, 0xAA0000, 0xAAAAAA}));
    EXPECT_EQ(cga(1, {0x00, 0, 0, 0, 255, 0}), (colors{0x000000, 0x55FF55, 0xFF5555, 0xFFFF55}));
    EXPECT_EQ(cga(1, header_colors), (colors{0x000102, 0x100102, 0x200102, 0x300102}));

    f = one_row({0x80}, 2); // a white and a black pixel
    f.bits = 1;
    const auto mono = [&](byte_vector palette) {
        f.palette = std::move(palette);
        return colors_of(picture_of(f.build()));
    };
    byte_vector ega(48, 0xAA);
    EXPECT_EQ(mono({}), (colors{0xFFFFFF, 0}));
    EXPECT_EQ(mono(ega), (colors{0xFFFFFF, 0}));
    EXPECT_EQ(mono({0, 0, 0, 255, 255, 255}), (colors{0xFFFFFF, 0}));
    EXPECT_EQ(mono({255, 255, 255}), (colors{0, 0xFFFFFF}));
    EXPECT_EQ(mono({1, 2, 3, 4, 5, 6}), (colors{0x040506, 0x010203}));
}

TEST(pcx_reader, keeps_a_resolution_only_when_it_is_one)
{
    const struct {
        int x, y, expected;
    } rows[] = {{300, 300, 300}, {0, 0, 0}, {640, 480, 0}, {8, 8, 0}, {40, 1, 0}, {9000, 300, 0}};
    for (const auto& r : rows) {
        pcx_builder f = one_row({0xE8, 1}, 40);
        f.x_dpi = r.x, f.y_dpi = r.y;
        BITMAPINFOHEADER header;
        std::memcpy(&header, picture_of(f.build()).head.data(), sizeof header);
        EXPECT_EQ(header.biXPelsPerMeter, r.expected);
    }
}

TEST(pcx_reader, refuses_impossible_headers)
{
    const struct {
        const char* fault;
        size_t at;
        uint8_t value;
        int32_t code;
    } rows[] = {{"version", 1, 1, -3},          {"encoding", 2, 2, -3},
                {"bits 0", 3, 0, -3},           {"bits 3", 3, 3, -3},
                {"no planes", 65, 0, -3},       {"five planes", 65, 5, -3},
                {"two planes of 8", 65, 2, -7}, {"window upside down", 6, 200, -3},
                {"plane bytes", 66, 3, -3},     {"huge height", 11, 0xFF, -3}};
    for (const auto& r : rows) {
        SCOPED_TRACE(r.fault);
        byte_vector file = one_row({1, 2, 3, 4}, 4).build();
        ASSERT_EQ(load_code(file), 0);
        file[r.at] = r.value;
        EXPECT_EQ(load_code(file), r.code);
    }
}

TEST(pcx_reader, survives_every_cut)
{
    pcx_builder f = one_row({}, 9, vga_palette(4));
    f.height = 3;
    f.data = {0xC9, 7, 1, 2, 3, 0xC6, 0xCC, 0xC9, 8};
    expect_cuts_are_survived(f.build());
    f.tail = {};
    f.planes = 3;
    f.data = random_planes(f, 3).coded;
    expect_cuts_are_survived(f.build());

    // The rows so far, then black.
    f.data.resize(f.data.size() / 2);
    const image_copy part = picture_of(f.build());
    EXPECT_EQ(part.color(3, 2), 0u);
}

TEST(pcx_writer, writes_exact_bytes)
{
    test_dib dib(5, 2, 8);
    for (int x = 0; x < 5; ++x)
        dib.set_pixel(x, 0, x < 3 ? 5 : x == 3 ? 0xC8 : 1);
    dib.header()->biXPelsPerMeter = 300;
    dib.header()->biYPelsPerMeter = 200;
    const image_guard image(dib.create());
    const byte_vector file = save_bytes(image, pcx);
    // Rows are padded to an even number of bytes; the second row is five zeros and a pad.
    const byte_vector head = {10, 5,    1, 8,    0, 0, 0, 0, 4, 0, 1,
                              0,  0x2C, 1, 0xC8, 0, 0, 0, 0, 1, 1, 1};
    EXPECT_EQ(byte_vector(file.begin(), file.begin() + 22), head);
    EXPECT_EQ(byte_vector(file.begin() + 64, file.begin() + 74),
              (byte_vector{0, 1, 6, 0, 2, 0, 0, 0, 0, 0}));
    const byte_vector rows = {0xC3, 5, 0xC1, 0xC8, 1, 0, 0xC6, 0, 12, 0, 0, 0, 1, 1, 1};
    EXPECT_EQ(byte_vector(file.begin() + 128, file.begin() + 143), rows);
    EXPECT_EQ(file.size(), 128u + 8 + 769);
}

TEST(pcx_writer, keeps_colours_of_every_depth_and_palette)
{
    for (int bits : {1, 4, 8, 24})
        for (int width : {1, 2, 15, 16, 17, 130})
            for (int run : {1, 3, 100}) {
                test_dib dib(width, 9, bits);
                dib.fill_random(uint32_t(width), run);
                for (int swapped = 0; swapped < 3; ++swapped) {
                    SCOPED_TRACE(testing::Message() << bits << " " << width << " " << swapped);
                    if (swapped == 1 && bits == 1)
                        dib.set_color(0, 255, 255, 255), dib.set_color(1, 0, 0, 0);
                    if (swapped == 2 && bits < 24)
                        dib.set_color(0, 200, 10, 20), dib.set_color(1, 1, 2, 3);
                    const image_guard image(dib.create());
                    for (int32_t type : {pcx, dcx})
                        expect_same_colors(picture_of(save_bytes(image, type)), copy_image(image));
                }
            }
}

TEST(pcx_writer, ends_runs_with_the_row_and_refuses_sides_beyond_16_bits)
{
    for (int length : {62, 63, 64, 126, 127}) {
        test_dib dib(length, 1, 8);
        const image_guard image(dib.create());
        const byte_vector file = save_bytes(image, pcx);
        const int even = length + (length & 1);
        byte_vector runs;
        for (int left = even; left > 0; left -= 63)
            add_bytes(runs, left == 1 ? byte_vector{0}
                                      : byte_vector{uint8_t(0xC0 | std::min(left, 63)), 0});
        EXPECT_EQ(byte_vector(file.begin() + 128, file.begin() + 128 + ptrdiff_t(runs.size())),
                  runs)
            << length;
    }
    const image_guard wide(test_dib(65537, 1, 1).create());
    byte_vector room(1000);
    EXPECT_EQ(IMGX_save_bitmap_mem(wide, room.data(), 1000, pcx), -7);
}

TEST(dcx, reads_pages_by_number)
{
    std::vector<byte_vector> pages;
    for (int i = 0; i < 3; ++i)
        pages.push_back(coloured_page(10 + i, i));
    for (size_t entries : {size_t{4}, size_t{1024}}) {
        byte_vector file = build_dcx(pages, entries);
        // The first two swapped: pages need not lie in table order.
        std::swap_ranges(file.begin() + 4, file.begin() + 8, file.begin() + 8);
        EXPECT_EQ(IMGX_get_pages_mem(file.data(), uint32_t(file.size())), 3);
        for (uint32_t i = 0; i < 3; ++i) {
            const uint32_t stored = i == 2 ? 2 : 1 - i;
            EXPECT_EQ(picture_of(file, int32_t(i)).color(0, 0),
                      (10 + stored) << 16 | (245 - stored) << 8 | stored);
        }
        EXPECT_EQ(load_code(file, 3), -11);
        EXPECT_EQ(load_code(file, 256), -11);
    }
}

TEST(dcx, fails_only_the_page_that_leads_nowhere)
{
    const byte_vector good = build_dcx({coloured_page(1, 0), coloured_page(2, 0)}, 1024);
    for (uint32_t offset :
         {1u, 7u, 8u, 4096u, 0x7FFFFFFFu, 0xFFFFFFFFu, uint32_t(good.size()) - 100}) {
        SCOPED_TRACE(offset);
        byte_vector file = good;
        for (int i = 0; i < 4; ++i)
            file[4 + size_t(i)] = uint8_t(offset >> 8 * i);
        EXPECT_EQ(load_code(file, 0), -3);
        EXPECT_EQ(load_code(file, 1), 0);
    }
    byte_vector endless(4 + 4 * 1100, 1); // no 0 ends the table
    std::copy_n(good.begin(), 4, endless.begin());
    EXPECT_EQ(IMGX_get_pages_mem(endless.data(), uint32_t(endless.size())), 1023);
    for (size_t cut = 0; cut <= 16; ++cut)
        EXPECT_NE(load_code(byte_vector(good.begin(), good.begin() + ptrdiff_t(cut))), 0);
}

TEST(dcx, appends_pages_up_to_the_last_one)
{
    const temp_file file(".dcx");
    for (int i = 0; i < 1023; ++i) {
        test_dib dib(3, 1, 8);
        dib.set_pixel(0, 0, uint32_t(i % 251));
        const image_guard image(dib.create());
        ASSERT_EQ(IMG_save_bitmap(image, file.name(), dcx), 0) << i;
    }
    test_dib dib(3, 1, 8);
    const image_guard image(dib.create());
    EXPECT_EQ(IMG_save_bitmap(image, file.name(), dcx), -11);
    EXPECT_EQ(IMGLOW_get_pages(file.name()), 1023);
    const byte_vector bytes = file.bytes();
    EXPECT_EQ(bytes[4] | bytes[5] << 8, 4100);
    for (int page : {0, 255, 256, 700, 1022})
        EXPECT_EQ(picture_of(bytes, page).pixel(0, 0), uint32_t(page % 251));
}

TEST(dcx, appends_behind_a_short_table_and_leaves_other_files_alone)
{
    const temp_file file(".dcx");
    byte_vector before = build_dcx({coloured_page(1, 5), coloured_page(2, 6)}, 3);
    write_file(file.name(), before);
    test_dib dib(3, 1, 24);
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
