// tiff_test.cpp - TIFF pages in and out through the exports: the readings that are this
// library's own, exact bytes, appended pages, damaged files.

#include "platform/win32.h"
#include "tests/builders/plain_ccitt.h"
#include "tests/builders/tiff_builder.h"

namespace {

using colors = std::vector<uint32_t>;

int32_t count_pages(const byte_vector& file)
{
    return IMGX_get_pages_mem(file.data(), static_cast<uint32_t>(file.size()));
}

tiff_builder grey_page(bool big = false, uint32_t compression = 1)
{
    tiff_builder t;
    t.big = big;
    return t.shape(4, 1, 8, 1, compression, 1).strip({10, 20, 30, 40});
}

const colors grey_colors = {0x0A0A0A, 0x141414, 0x1E1E1E, 0x282828};

// Saves behind what the block holds.
int32_t save_into(byte_vector& block, int32_t handle, int32_t type)
{
    block.resize(block.size() + (1 << 20));
    const int32_t size =
        IMGX_save_bitmap_mem(handle, block.data(), static_cast<uint32_t>(block.size()), type);
    block.resize(static_cast<size_t>(std::max(size, 0)));
    return std::min(size, 0);
}

} // namespace

TEST(tiff_reader, follows_the_chain_to_a_page)
{
    for (bool big : {false, true}) {
        tiff_builder t = grey_page(big);
        for (uint32_t i = 1; i < 300; ++i)
            t.next_page().shape(2, 1, 8, 1, 1, 1).strip({uint8_t(i), uint8_t(i >> 8)});
        // A later directory may be larger than the first, which has at most 550 entries.
        for (int tag = 40000; tag < 40700; ++tag)
            t.set(tag, 4, {7});
        const byte_vector file = t.build();
        EXPECT_EQ(count_pages(file), 300);
        EXPECT_EQ(colors_of(picture_of(file, 1)), (colors{0x010101, 0}));
        EXPECT_EQ(colors_of(picture_of(file, 299)), (colors{0x2B2B2B, 0x010101}));
        EXPECT_EQ(load_code(file, 300), -11);
    }
    for (int entries : {550, 551}) {
        tiff_builder t = grey_page();
        for (int i = 7; i < entries; ++i)
            t.set(41000 + i, 3, {1});
        EXPECT_EQ(load_code(t.build()), entries == 550 ? 0 : -3);
    }
}

TEST(tiff_reader, ends_chains_that_have_no_end)
{
    tiff_builder t = grey_page();
    t.next_page().shape(2, 1, 8, 1, 1, 1).strip({1, 2});
    const byte_vector straight = t.build();
    t.last_next_offset = straight[4] | uint32_t{straight[5]} << 8;
    const byte_vector circle = t.build();
    EXPECT_EQ(load_code(circle, 1), 0);
    EXPECT_EQ(load_code(circle, 1000), -3);
    EXPECT_EQ(count_pages(circle), -3);
    EXPECT_EQ(count_pages({'I', 'I', 42, 0, 8, 0, 0, 0, 0, 0, 8, 0, 0, 0}), -3);

    // Directories of 60000 entries every 6 bytes, and small ones that share an array of 100000
    // strips. To read all of them would take minutes.
    const image_guard image(test_dib(1, 1, 1).create());
    for (bool overlap : {true, false}) {
        byte_vector file = {'I', 'I', 42, 0, 8, 0, 0, 0};
        const size_t step = overlap ? 6 : 30, entries = overlap ? 60000 : 2;
        const auto put = [&](size_t at, uint32_t value, int bytes) {
            for (int i = 0; i < bytes; ++i)
                file[at + size_t(i)] = static_cast<uint8_t>(value >> 8 * i);
        };
        file.resize(8 + step * 30000 + 12 * entries + 10);
        for (size_t i = 0; i < 30000; ++i) {
            const size_t at = 8 + step * i;
            put(at, uint32_t(entries), 2);
            for (size_t k = 0; !overlap && k < 2; ++k) { // StripOffsets and StripByteCounts
                put(at + 2 + 12 * k, uint32_t(273 + 6 * k) | 4 << 16, 4);
                put(at + 6 + 12 * k, 100000, 4);
                put(at + 10 + 12 * k, 8, 4);
            }
            put(at + 2 + 12 * entries, i < 29999 ? uint32_t(at + step) : 0, 4);
        }
        EXPECT_EQ(load_code(file, 29999), -3);
        EXPECT_EQ(count_pages(file), overlap ? -3 : 30000);
        EXPECT_EQ(save_into(file, image, 0), -3);
    }
}

TEST(tiff_reader, classic_and_standard_rows)
{
    const auto page = [](uint32_t width, uint32_t bits, uint32_t samples, uint32_t photometric,
                         const byte_vector& data, uint32_t compression = 1) {
        return tiff_builder().shape(width, 1, bits, samples, compression, photometric).strip(data);
    };
    const auto planes = [&](uint32_t samples, uint32_t photometric) {
        tiff_builder t = page(2, 1, samples, photometric, {0x80}).set(284, 3, {2});
        for (uint32_t i = 1; i < samples; ++i)
            t.strip({uint8_t(i + 1 < samples ? 0 : 0x40)});
        return t;
    };
    tiff_builder two_shorts = page(1, 8, 1, 1, {1}).set(257, 3, {2}).set(278, 3, {1}).strip({3});
    two_shorts.offset_type = 3;
    // One-dimensional Group 3 is one strip, whatever RowsPerStrip says.
    const auto fax_rows = std::vector{plain::pixels(2, true), plain::pixels(2)};
    tiff_builder fax =
        page(2, 1, 1, 0, plain::bytes_of(plain::encode(fax_rows, 3) + plain::eol), 3);
    fax.set(257, 3, {2}).set(278, 3, {1});
    tiff_builder curve = page(2, 4, 1, 1, {0x0F}).set(290, 3, {2});
    curve.set(291, 3, {200, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 60});
    const struct {
        tiff_builder file;
        colors classic, standard;
    } cases[] = {
        // 16-bit grey, little-endian; RGB of 4 bits and of 1; planes of 1 bit, of colours and inks
        {page(2, 16, 1, 1, {1, 2, 3, 4}), {0x010101, 0x030303}, {0x020202, 0x040404}},
        {page(2, 4, 3, 2, {0x12, 0x34, 0x5F}), {0x102030, 0x4050F0}, {0x112233, 0x4455FF}},
        {page(2, 1, 3, 2, {0b10001100}), {0x000080, 0x808000}, {0xFF0000, 0x00FFFF}},
        {planes(3, 2), {0xFF0000, 0x0000FF}, {0xFF0000, 0x0000FF}},
        {planes(4, 5), {0x0000C8, 0}, {0x00FFFF, 0}},
        // predictor (the standard has it with LZW only) and WhiteIsZero; ramp; fill order
        {page(2, 8, 1, 0, {10, 20}).set(317, 3, {2}), {0xF5F5F5, 0xE0E0E0}, {0xF5F5F5, 0xEBEBEB}},
        {page(2, 4, 1, 1, {0x8F}), {0x808080, 0xF0F0F0}, {0x888888, 0xFFFFFF}},
        {page(2, 1, 1, 1, {0x02}).set(266, 3, {2}), {0, 0}, {0, 0xFFFFFF}},
        // colour maps of bytes, and with a small value; grey response curve
        {page(2, 1, 1, 3, {0x40}).set(320, 3, {10, 20, 30, 40, 50, 60}),
         {0x0A1E32, 0x14283C},
         {0x0A1E32, 0x14283C}},
        {page(2, 1, 1, 3, {0x40}).set(320, 3, {10, 0x1400, 0, 0, 0, 0}),
         {0x0A0000, 0x140000},
         {0, 0x140000}},
        {curve, {0x191919, 0x7F7F7F}, {0x191919, 0x7F7F7F}},
        // The low byte of a big-endian BYTE is the second one: one bit, and 10 is 00001010.
        {grey_page(true).add({258, 1, 1, {8, 1}}), colors(4, 0), grey_colors},
        {two_shorts, {0x010101, 0x010101}, {0x010101, 0x030303}},
        // two SHORTs as one number, here of an unknown compression; tiles as if they were strips
        {page(2, 8, 1, 1, {10, 20}).set(259, 3, {1, 1}), {0, 0}, {0x0A0A0A, 0x141414}},
        {page(2, 8, 1, 1, {10, 20, 30}).set(324, 4, {9}), {0x141414, 0x1E1E1E}, {}},
        // PackBits 128: 129 bytes, or nothing
        {page(129, 8, 1, 1, {0x80, 9, 0, 1}, 32773), colors(129, 0x090909), {}},
        {page(3, 8, 1, 1, {0x80, 2, 1, 2, 3}, 32773), {}, {0x010101, 0x020202, 0x030303}},
        {fax, {0, 0, 0xFFFFFF, 0xFFFFFF}, colors(4, 0)},
        // an unknown compression: a header alone
        {grey_page(false, 32771), colors(4, 0), {}},
    };
    for (const auto& c : cases)
        for (int on : {0, 1}) {
            SCOPED_TRACE(testing::Message() << "row " << &c - cases << ", interchange " << on);
            IMGX_set_interchange(on);
            const colors& expected = on ? c.standard : c.classic;
            if (expected.empty()) continue;
            EXPECT_EQ(colors_of(picture_of(c.file.build())), expected);
        }
}

TEST(tiff_reader, takes_texts_of_all_directories_passed_and_resolutions_of_one)
{
    tiff_builder t = grey_page();
    byte_vector date(40), name(200);
    std::memcpy(date.data(), "2024:02:29 12:34:56 and more", 28);
    std::memcpy(name.data(), "A scanner", 9);
    t.add({306, 2, 20, date}).add({315, 2, 9, name}).next_page().shape(1, 1, 8, 1, 1, 1).strip({1});
    t.set(282, 5, {11811, 100}).set(283, 5, {100, 1}).set(296, 3, {3}); // per centimetre
    const auto resolution = [&] {
        const image_guard image(load_bytes(t.build(), 1));
        BITMAPINFOHEADER header[30];
        EXPECT_GE(IMGLOW_get_bitmap_header(image, header), 0);
        return std::pair(header[0].biXPelsPerMeter, header[0].biYPelsPerMeter);
    };
    char got_name[200], got_date[40];
    EXPECT_EQ(resolution(), (std::pair<LONG, LONG>(302, 256))); // INTENDED: 2.567
    IMGLOW_get_bitmap_name(got_name, got_date);
    EXPECT_STREQ(got_name, "A scanner");
    EXPECT_STREQ(got_date, "2024:02:29 12:34:56 and more"); // 40 bytes, whatever the count
    IMGX_set_interchange(1);
    t.add({315, 2, 4, {'B', 'o', 'b', 0}});
    EXPECT_EQ(resolution(), (std::pair<LONG, LONG>(300, 254)));
    IMGLOW_get_bitmap_name(got_name, got_date);
    EXPECT_STREQ(got_name, "Bob");
}

TEST(tiff_reader, tells_the_type_of_each_page)
{
    const struct {
        uint32_t compression, t4;
        int32_t type;
    } rows[] = {{1, 0, 0}, {2, 0, 7},  {3, 0, 8},      {3, 1, 17},  {4, 0, 10},
                {5, 0, 9}, {6, 0, -7}, {32773, 0, 16}, {45, 0, 17}, {7, 0, -7}};
    for (bool big : {false, true})
        for (const auto& r : rows) {
            tiff_builder t = grey_page(big, r.compression).set(292, 4, {r.t4});
            const temp_file file(".tif");
            write_file(file.name(), t.next_page().shape(2, 1, 8, 1, 5, 1).strip({1, 2}).build());
            EXPECT_EQ(IMGLOW_get_filetype(file.name()), r.type);
            OFSTRUCT opened;
            const HFILE open = OpenFile(file.name(), &opened, OF_READ);
            IMGX_PAGE_INFO info;
            EXPECT_EQ(IMGX_get_page_info(open, 0, 0, &info), 0);
            EXPECT_EQ(info.type, r.type);
            EXPECT_EQ(IMGX_get_page_info(open, 0, 1, &info), 0);
            EXPECT_EQ(info.type, 9);
            EXPECT_EQ(IMGX_get_page_info(open, 0, 2, &info), -11);
            _lclose(open);
        }
}

TEST(tiff_reader, refuses_what_it_cannot_lay_out)
{
    // Two planes, by a second SamplesPerPixel behind the planar entry.
    tiff_builder two_planes = tiff_builder().shape(8, 1, 1, 3, 1, 1).set(284, 3, {2}).strip({1});
    two_planes.pages[0].fields.push_back({285, 3, 1, {2, 0}});
    byte_vector planes = two_planes.build();
    const byte_vector from = {285 - 256, 1, 3, 0};
    *std::search(planes.begin(), planes.end(), from.begin(), from.end()) = 277 - 256;
    tiff_builder no_strip = grey_page().set(257, 3, {2}).set(273, 4, {1u << 30});
    no_strip.pages[0].strips.clear();
    const struct {
        const char* what;
        byte_vector file;
        int32_t classic, standard;
    } cases[] = {
        {"no size", grey_page().set(256, 3, {0}).build(), -3, -3},
        {"no samples", grey_page().set(277, 3, {0}).build(), -7, -7},
        {"five samples", grey_page().set(277, 3, {5}).build(), -7, 0},
        {"huge depth", grey_page().set(258, 4, {0x10000001}).build(), -7, -7},
        {"huge size", grey_page().set(256, 4, {~0u / 2}).set(257, 4, {~0u / 2}).build(), -1, -1},
        {"tiles", grey_page().set(322, 3, {16}).build(), 0, -7},
        {"deflate", grey_page(false, 8).build(), 0, -7},
        {"strip behind the end", no_strip.build(), -12, -12},
        {"data cut short", grey_page().set(256, 3, {4000}).set(257, 3, {3000}).build(), -12, -12},
        {"two planes", planes, -7, 0},
        {"byte order", {'I', 'M', 42, 0, 8, 0, 0, 0, 0, 0}, -7, -7},
        {"half a header", {'I', 'I', 42}, -3, -3},
    };
    for (const auto& c : cases)
        for (int on : {0, 1}) {
            SCOPED_TRACE(testing::Message() << c.what << ", interchange " << on);
            IMGX_set_interchange(on);
            EXPECT_EQ(load_code(c.file), on ? c.standard : c.classic);
        }
}

namespace {

// A classic page from its layout as documented for users of the files. The first one of a file
// has base 8.
byte_vector classic_page(const image_copy& image, int32_t type, uint32_t base,
                         const byte_vector& data, uint32_t width, const colors& resolution)
{
    const bool rgb = image.bits == 24, map = image.bits == 4 || image.bits == 8;
    const bool fax = type == 7 || type == 8 || type == 10;
    const uint32_t compression = type == 7    ? 2
                                 : type == 8  ? 3
                                 : type == 10 ? 4
                                 : type == 16 ? 32773
                                              : 1;
    const uint32_t map_entries = map ? 1u << image.bits : 0;
    const uint32_t map_bytes = rgb ? 6 : 6 * map_entries;
    const uint32_t n = 18u + map + (type == 8), extra = base + 12 * n + 6;
    byte_vector out;
    add_le(out, n, 2);
    const auto entry = [&](uint32_t tag, uint32_t kind, uint32_t count, uint32_t value) {
        for (auto [v, bytes] : {std::pair(tag, 2), {kind, 2}, {count, 4}, {value, 4}})
            add_le(out, v, bytes);
    };
    entry(254, 4, 1, 0);
    entry(256, 3, 1, width);
    entry(257, 3, 1, uint32_t(image.height));
    entry(258, 3, rgb ? 3 : 1, rgb ? extra + 16 : uint32_t(image.bits));
    entry(259, 3, 1, compression);
    entry(262, 3, 1, rgb ? 2 : map ? 3 : !fax);
    entry(266, 3, 1, type == 8 || type == 10 ? 2 : 1);
    entry(273, 4, 1, extra + 16 + map_bytes + 240);
    entry(274, 3, 1, 1);
    entry(277, 3, 1, rgb ? 3 : 1);
    entry(278, 4, 1, uint32_t(image.height));
    entry(279, 4, 1, uint32_t(data.size()));
    entry(282, 5, 1, extra);
    entry(283, 5, 1, extra + 8);
    entry(284, 3, 1, 1);
    if (type == 8) entry(292, 4, 1, 4);
    entry(296, 3, 1, 2);
    entry(306, 2, 20, extra + 16 + map_bytes);
    entry(315, 2, 28, extra + 16 + map_bytes + 40);
    if (map) entry(320, 3, 3 * map_entries, extra + 16);
    add_le(out, 0, 4);
    for (uint32_t v : resolution)
        add_le(out, v, 4);
    for (size_t channel : {2, 1, 0})
        for (size_t i = 0; i < map_entries; ++i)
            add_bytes(out, {0, image.head[sizeof(BITMAPINFOHEADER) + 4 * i + channel]});
    if (rgb) add_bytes(out, {8, 0, 8, 0, 8, 0});
    const char date[40] = "11-24-1992", name[200] = "Trevolan imaging library 4.0";
    out.insert(out.end(), date, date + 40);
    out.insert(out.end(), name, name + 200);
    add_bytes(out, data);
    return out;
}

// PackBits as classic pages have it, from its rules. The byte behind a row is looked at.
byte_vector plain_packbits(byte_vector r)
{
    const size_t n = r.size();
    r.resize(n + 2);
    byte_vector out;
    for (size_t i = 0; i < n;) {
        byte_vector piece = {r[i]};
        if (r[i] == r[i + 1] && r[i] == r[i + 2] && i + 3 < n) {
            while (i + piece.size() < n && piece.size() < 127 && r[i + piece.size()] == r[i])
                piece.push_back(r[i]);
            add_bytes(out, {static_cast<uint8_t>(257 - piece.size()), r[i]});
        } else {
            if (r[i] != r[i + 1]) piece.clear();
            while (i + piece.size() < n && piece.size() < 127 &&
                   r[i + piece.size()] != r[i + piece.size() + 1])
                piece.push_back(r[i + piece.size()]);
            out.push_back(static_cast<uint8_t>(piece.size() - 1));
            add_bytes(out, piece);
        }
        i += piece.size();
    }
    return out;
}

// The image data of a page.
byte_vector coded_rows(test_dib& dib, const image_copy& image, int32_t type)
{
    byte_vector out;
    std::vector<plain::pixels> rows;
    for (int32_t y = 0; y < image.height; ++y) {
        const uint8_t* r = dib.row(y);
        byte_vector bytes(r, r + (image.width * image.bits + 7) / 8);
        for (size_t i = 0; image.bits == 24 && i < bytes.size(); i += 3)
            std::swap(bytes[i], bytes[i + 2]);
        add_bytes(out, bytes);
        rows.emplace_back();
        for (int32_t x = 0; x < image.width; ++x)
            rows.back().push_back(image.pixel(x, y) == 0);
    }
    if (type == 0) return out;
    const uint32_t compression = type == 7 ? tiff_huffman : type == 8 ? tiff_group3 : tiff_group4;
    const size_t width = type == 8 ? 1728 : rows[0].size();
    return plain::bytes_of(plain::written(rows, compression, width, 4), type != 7);
}

} // namespace

TEST(tiff_writer, classic_bytes_of_one_page_and_two)
{
    for (int32_t type : {0, 7, 8, 10})
        for (int bits : {1, 4, 8, 24})
            for (int width : {1, 13, 300, 2049}) {
                if (type != 0 && bits != 1) continue;
                SCOPED_TRACE(testing::Message()
                             << "type " << type << ", " << bits << " bits, width " << width);
                test_dib dib(width, 7, bits);
                dib.fill_random(uint32_t(width), width > 300 ? 200 : 5);
                const bool has_resolution = width == 13;
                dib.header()->biXPelsPerMeter = has_resolution ? 300 : 0;
                dib.header()->biYPelsPerMeter = has_resolution ? 200 : 0;
                const colors resolution = has_resolution ? colors{300, 1, 200, 1}
                                          : type == 8    ? colors{200, 1, 200, 1}
                                                         : colors{640, 9, 480, 7};
                const image_guard image(dib.create());
                const image_copy copy = copy_image(image);
                const byte_vector data = coded_rows(dib, copy, type);
                byte_vector expected = {'I', 'I', 42, 0, 8, 0, 0, 0};
                const uint32_t stored = type == 8 ? 1728 : uint32_t(width);
                add_bytes(expected, classic_page(copy, type, 8, data, stored, resolution));
                byte_vector block;
                ASSERT_EQ(save_into(block, image, type), 0);
                ASSERT_EQ(block, expected);
                // A second page goes to the end of the first, which is linked to it.
                byte_vector base;
                add_le(base, expected.size(), 4);
                std::copy(base.begin(), base.end(), expected.begin() + 10 + 12 * expected[8]);
                add_bytes(expected, classic_page(copy, type, uint32_t(expected.size()), data,
                                                 stored, resolution));
                ASSERT_EQ(save_into(block, image, type), 0);
                ASSERT_EQ(block, expected) << "in memory";
                const temp_file file(".tif");
                ASSERT_GE(IMG_save_bitmap(image, file.name(), type), 0);
                ASSERT_GE(IMG_save_bitmap(image, file.name(), type), 0);
                ASSERT_EQ(file.bytes(), expected) << "in a file";
            }
}

int32_t IMG_STD stop_at_once(IMG_PRIVATE, int32_t)
{
    return -99;
}

TEST(tiff_writer, fax_pages_have_the_lighter_colour_for_white)
{
    IMGX_set_interchange(1);
    test_dib dib(8, 1, 1);
    dib.set_color(0, 250, 250, 200);
    dib.set_color(1, 200, 0, 0);
    for (int32_t type : {7, 8, 10}) {
        byte_vector file;
        ASSERT_EQ(save_into(file, image_guard(dib.create()), type), 0);
        EXPECT_EQ(picture_of(file).color(0, 0), 0xFFFFFFu) << type;
    }
}

TEST(tiff_writer, packbits_rows_follow_their_rules)
{
    IMGX_set_interchange(1); // the type is written in this mode only
    for (int run : {1, 3, 20, 400}) {
        test_dib dib(8 * 517, 40, 1);
        dib.fill_random(uint32_t(run), run);
        const image_guard image(dib.create());
        byte_vector file = save_bytes(image, 16), packed;
        for (int y = 0; y < 40; ++y)
            add_bytes(packed, plain_packbits(byte_vector(dib.row(y), dib.row(y) + 517)));
        EXPECT_TRUE(std::equal(packed.rbegin(), packed.rend(), file.rbegin()));
    }
}

TEST(tiff_writer, appends_only_to_sound_little_endian_chains)
{
    test_dib dib(9, 5, 1);
    dib.fill_random(4);
    const image_guard image(dib.create()), deep(test_dib(8, 8, 8).create());
    byte_vector page = grey_page().build();
    page.resize(page.size() | 1); // the standard wants the next directory on an even offset
    const auto second_page = [](const byte_vector& file) { // low byte of its offset
        return file[file[4] + 2 + 12u * file[file[4]]];
    };
    const struct {
        byte_vector there;
        int32_t type, code, pages, pages_interchange;
    } cases[] = {
        {{'I', 'I', 42, 0, 8, 0, 0, 0}, 0, -3, 0, 0},
        {{'I', 'I', 42, 0, 8, 0, 0, 0, 0, 0, 8, 0, 0, 0}, 0, -3, 0, 0}, // a circle
        {{'I', 'I'}, 0, 0, 1, 1},
        {grey_page(true).build(), 0, 0, 1, 1}, // big-endian: written over
        {page, 10, 0, 2, 2},
        {page, 9, 0, 1, 2}, // LZW pages start a file in classic mode only
    };
    const temp_file file(".tif");
    for (const auto& c : cases)
        for (int on : {0, 1}) {
            IMGX_set_interchange(on);
            write_file(file.name(), c.there);
            EXPECT_EQ(std::min(IMG_save_bitmap(image, file.name(), c.type), 0), c.code);
            if (c.code < 0) continue;
            const int32_t pages = on ? c.pages_interchange : c.pages;
            EXPECT_EQ(count_pages(file.bytes()), pages);
            expect_same_colors(picture_of(file.bytes(), pages - 1), copy_image(image));
            if (pages == 1) continue;
            EXPECT_EQ(second_page(file.bytes()) % 2, !on);
            expect_same_colors(picture_of(file.bytes()), picture_of(page));
        }
    // In memory the end is the largest one of directories, values and strips.
    IMGX_set_interchange(0);
    const tiff_builder grey = grey_page(), value = grey_page().add({282, 5, 1, {200, 0, 0, 0}});
    const tiff_builder strip = tiff_builder(value).set(279, 4, {211}).strip({1});
    for (auto [t, end] : {std::pair(&grey, grey.build().size()), {&value, 208}, {&strip, 219}}) {
        byte_vector block = t->build();
        EXPECT_EQ(save_into(block, image, 0), 0);
        EXPECT_EQ(second_page(block), end);
        EXPECT_EQ(save_into(block = page, image, 9), 0);
        EXPECT_EQ(count_pages(block), 1);
    }
    // A save that the client stops, or that cannot be, leaves the pages as they were.
    IMGX_set_interchange(1);
    for (int32_t type : {0, 7, 8, 10, 16}) {
        EXPECT_EQ(std::min(IMG_save_bitmap(deep, file.name(), type), 0), type == 0 ? 0 : -7);
        write_file(file.name(), page);
        IMG_set_statusbar(0, stop_at_once, 1);
        EXPECT_EQ(IMG_save_bitmap(image, file.name(), type), -99);
        IMG_set_statusbar(0, nullptr, 0);
        EXPECT_EQ(IMGLOW_get_pages(file.name()), 1);
    }
}

// Cuts of all files that are written: round_trip_test.cpp. No writer makes separate planes.
TEST(tiff_damage, every_cut_of_separate_planes_ends_in_a_code)
{
    tiff_builder planes;
    planes.shape(3, 2, 8, 3, 5, 2).set(284, 3, {2}).set(317, 3, {2});
    for (int i = 0; i < 3; ++i)
        planes.strip({0x80, 0x0B, 0x60, 0x50, 0x22, 0x0C, 0x0D, 0x05});
    for (int on : {0, 1}) {
        IMGX_set_interchange(on);
        expect_cuts_are_survived(planes.build());
    }
}
