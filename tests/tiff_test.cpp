// tiff_test.cpp - TIFF pages in and out through the exports: the readings that are this
// library's own, exact bytes, appended pages, damaged files.

#include "tests/builders/plain_ccitt.h"
#include "tests/builders/plain_lzw.h"
#include "tests/builders/tiff_builder.h"
#include "tests/support/open_file.h"

namespace {

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

const values grey_colors = {0x0A0A0A, 0x141414, 0x1E1E1E, 0x282828};

uint32_t number_at(const byte_vector& file, size_t at)
{
    return file[at] | file[at + 1] << 8 | file[at + 2] << 16 | uint32_t{file[at + 3]} << 24;
}

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
        EXPECT_EQ(colors_of(picture_of(file, 1)), (values{0x010101, 0}));
        EXPECT_EQ(colors_of(picture_of(file, 299)), (values{0x2B2B2B, 0x010101}));
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

    // Directories of 60000 entries every 6 bytes, all of which nobody waits for; and small ones
    // that share arrays of 100000 strips, the counts from the first one on or from others. The
    // last strip ends 99993 bytes behind the arrays, the longest one has 1000.
    const image_guard image(picture(1, 1, 1).create());
    const struct {
        uint32_t step, entries, shifts;
        int32_t code;
        uint32_t end;
    } cases[] = {{6, 60000, 1, -3, 0}, {30, 2, 1, 0, 99993}, {30, 2, 60, 0, 100992}};
    for (const auto& c : cases) {
        const uint32_t arrays = 8 + c.step * 30000 + 12 * c.entries + 10, size = arrays + 800400;
        byte_vector file = {'I', 'I', 42, 0, 8, 0, 0, 0};
        file.resize(size);
        const auto put = [&](uint32_t at, std::initializer_list<uint32_t> numbers) {
            for (uint32_t v : numbers)
                for (int shift : {0, 8, 16, 24})
                    file[at++] = static_cast<uint8_t>(v >> shift);
        };
        uint32_t link = 0;
        for (uint32_t i = 0, at = 8; i < 30000; ++i, at += c.step) {
            put(at, {c.entries});
            if (c.entries == 2) put(at + 2, {273 | 4 << 16, 100000, arrays});
            const uint32_t counts = arrays + 4 * (100000 + i % c.shifts);
            if (c.entries == 2) put(at + 14, {279 | 4 << 16, 100000, counts});
            link = at + 2 + 12 * c.entries;
            put(link, {i < 29999 ? at + c.step : 0});
        }
        for (uint32_t i = 0; i < 100000; ++i) {
            put(arrays + 4 * i, {size - 700000 + 8 * i});
            put(arrays + 400000 + 4 * i, {1000 - i % 1000});
        }
        EXPECT_EQ(load_code(file, 29999), -3);
        EXPECT_EQ(count_pages(file), c.code < 0 ? -3 : 30000);
        ASSERT_EQ(save_into(file, image, 0), c.code);
        if (c.code < 0) continue;
        EXPECT_EQ(number_at(file, link), size + c.end);
        EXPECT_EQ(count_pages(file), 30001);
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
    const tiff_builder white_curve = tiff_builder(curve).set(262, 3, {0});
    const struct {
        tiff_builder file;
        values classic, standard;
    } cases[] = {
        // 16-bit grey, little-endian; RGB of 4 bits and of 1; planes of 1 bit, of colours and inks
        {page(2, 16, 1, 1, {1, 2, 3, 4}), {0x010101, 0x030303}, {0x020202, 0x040404}},
        {page(2, 4, 3, 2, {0x12, 0x34, 0x5F}), {0x102030, 0x4050F0}, {0x112233, 0x4455FF}},
        {page(2, 1, 3, 2, {0b10001100}), {0x000080, 0x808000}, {0xFF0000, 0x00FFFF}},
        {planes(3, 2), {0xFF0000, 0x0000FF}, {0xFF0000, 0x0000FF}},
        {planes(4, 5), {0x0000C8, 0}, {0x00FFFF, 0}},
        // predictor (the standard has it with LZW only) and WhiteIsZero; ramp; fill order
        {page(2, 8, 1, 0, {10, 20}).set(317, 3, {2}), {0xF5F5F5, 0xE0E0E0}, {0xF5F5F5, 0xEBEBEB}},
        {page(2, 8, 3, 2, {1, 2, 3, 4, 5, 6}).set(317, 3, {2}),
         {0x010203, 0x050709},
         {0x010203, 0x040506}},
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
        {white_curve, {0x7F7F7F, 0x191919}, {0x191919, 0x7F7F7F}},
        {page(2, 1, 1, 1, {0x40}).set(291, 3, {0, 9000}), values(2, 0xFFFFFF), {0, 0xFFFFFF}},
        // which is not for samples of 16 bits, nor for pages with a colour map
        {page(2, 16, 1, 1, {1, 2, 3, 4}).set(291, 3, {9, 9, 9}), {}, {0x020202, 0x040404}},
        {page(2, 2, 1, 3, {0x10})
             .set(320, 3, {0, 0x1000, 0, 0, 0, 0x2000, 0, 0, 0, 0x3000, 0, 0})
             .set(291, 3, {9, 9, 9, 9}),
         {},
         {0, 0x102030}},
        // The low byte of a big-endian BYTE is the second one: one bit, and 10 is 00001010.
        {grey_page(true).add({258, 1, 1, {8, 1}}), values(4, 0), grey_colors},
        {two_shorts, {0x010101, 0x010101}, {0x010101, 0x030303}},
        // two SHORTs as one number, here of an unknown compression; tiles as if they were strips
        {page(2, 8, 1, 1, {10, 20}).set(259, 3, {1, 1}), {0, 0}, {0x0A0A0A, 0x141414}},
        {page(2, 8, 1, 1, {10, 20, 30}).set(324, 4, {9}), {0x141414, 0x1E1E1E}, {}},
        // PackBits 128: 129 bytes, or nothing
        {page(129, 8, 1, 1, {0x80, 9, 0, 1}, 32773), values(129, 0x090909), {}},
        {page(3, 8, 1, 1, {0x80, 2, 1, 2, 3}, 32773), {}, {0x010101, 0x020202, 0x030303}},
        {fax, {0, 0, 0xFFFFFF, 0xFFFFFF}, values(4, 0)},
        // an unknown compression: a header alone
        {grey_page(false, 32771), values(4, 0), {}},
    };
    for (const auto& c : cases)
        for (int on : {0, 1}) {
            SCOPED_TRACE(testing::Message() << "row " << &c - cases << ", interchange " << on);
            IMGX_set_interchange(on);
            const values& expected = on ? c.standard : c.classic;
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
        return copy_image(image).resolution();
    };
    char got_name[200], got_date[40];
    EXPECT_EQ(resolution(), std::pair(302, 256)); // INTENDED: 2.567
    IMGLOW_get_bitmap_name(got_name, got_date);
    EXPECT_STREQ(got_name, "A scanner");
    EXPECT_STREQ(got_date, "2024:02:29 12:34:56 and more"); // 40 bytes, whatever the count
    IMGX_set_interchange(1);
    t.add({315, 2, 4, {'B', 'o', 'b', 0}});
    EXPECT_EQ(resolution(), std::pair(300, 254));
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
            const open_file opened(file.name());
            IMGX_PAGE_INFO info;
            EXPECT_EQ(IMGX_get_page_info(opened.handle(), 0, 0, &info), 0);
            EXPECT_EQ(info.type, r.type);
            EXPECT_EQ(IMGX_get_page_info(opened.handle(), 0, 1, &info), 0);
            EXPECT_EQ(info.type, 9);
            EXPECT_EQ(IMGX_get_page_info(opened.handle(), 0, 2, &info), -11);
        }
}

namespace {

// A page of one LZW strip; WhiteIsZero, so that the rows change where they were decoded.
byte_vector lzw_page(uint32_t width, uint32_t height, const byte_vector& codes)
{
    return tiff_builder().shape(width, height, 8, 1, 5, 0).strip(codes).build();
}

} // namespace

// Decoders must hold the strings of 4096 codes however long they are, and go on with a full
// table until the encoder clears it.
TEST(tiff_lzw, long_strings_and_full_tables)
{
    // Strings of up to 3838 bytes, 7.4 MB in a table.
    const byte_vector zeros = plain_lzw::encode(byte_vector(60000 * 150));
    EXPECT_TRUE(values_in(lzw_page(60000, 150, zeros)) == values(60000 * 150, 255));
    const picture noise = random_picture(20000, 30, 8);
    const byte_vector bytes(noise.rows().begin(), noise.rows().end());
    values inverted = values_in(lzw_page(20000, 30, plain_lzw::encode(bytes, true)));
    EXPECT_TRUE(std::ranges::equal(inverted, bytes, {}, [](uint32_t v) { return 255 - v; }));
}

TEST(tiff_lzw, breaches_end_in_a_code)
{
    const struct {
        const char* what;
        std::vector<uint32_t> codes; // 9 bits each
        uint32_t rows;
        values shown; // empty: refused with -3
    } cases[] = {
        {"code of its own string", {256, 5, 258, 257}, 1, {5, 5, 5}},
        {"no Clear at the start", {1, 2, 3, 257}, 1, {1, 2, 3}},
        {"two Clears", {256, 256, 1, 2, 3, 257}, 1, {1, 2, 3}},
        {"end before the rows", {256, 9, 257}, 2, {9, 0, 0, 0, 0, 0}},
        {"end at once", {256, 257}, 1, {0, 0, 0}},
        {"code beyond the table", {256, 1, 2, 3, 300}, 2, {}},
        {"string right after a Clear", {256, 258}, 1, {}},
        {"data end", {256, 1, 2, 3, 4}, 2, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        plain_lzw::code_writer out;
        for (uint32_t code : c.codes)
            out.put(code, 9);
        const byte_vector file = lzw_page(3, c.rows, out.bytes);
        ASSERT_EQ(load_code(file), c.shown.empty() ? -3 : 0);
        if (c.shown.empty()) continue;
        EXPECT_TRUE(
            std::ranges::equal(values_in(file), c.shown, {}, [](uint32_t v) { return 255 - v; }));
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
        {"LZW data without a code", no_strip.set(259, 3, {5}).build(), -3, -3},
        {"data cut short", grey_page().set(256, 3, {4000}).set(257, 3, {3000}).build(), -12, -12},
        {"two planes", planes, -7, 0},
        {"byte order", {'I', 'M', 42, 0, 8, 0, 0, 0, 0, 0}, -7, -7},
    };
    for (const auto& c : cases)
        for (int on : {0, 1}) {
            SCOPED_TRACE(testing::Message() << c.what << ", interchange " << on);
            IMGX_set_interchange(on);
            EXPECT_EQ(load_code(c.file), on ? c.standard : c.classic);
        }
}

namespace {

// LZW pages have strips of about 8000 bytes of DIB rows.
int32_t classic_strip_rows(const picture& image, int32_t type)
{
    const int32_t rows = 8000 / test_stride(image.width, image.bits);
    return type == 9 ? std::clamp(rows, 1, image.height) : image.height;
}

// A classic page from its layout as documented for users of the files. The first one of a file
// has base 8.
byte_vector classic_page(const picture& image, int32_t type, uint32_t base,
                         const std::vector<byte_vector>& strips, const values& resolution)
{
    const bool rgb = image.bits == 24, map = image.bits == 4 || image.bits == 8;
    const bool fax = type == 7 || type == 8 || type == 10;
    const uint32_t compression[] = {1, 0, 0, 0, 0, 0, 0, 2, 3, 5, 4};
    const uint32_t map_entries = map ? 1u << image.bits : 0;
    const uint32_t map_bytes = rgb ? 6 : 6 * map_entries;
    const uint32_t n = 18u + map + (type == 8), extra = base + 12 * n + 6;
    const uint32_t data = extra + 16 + map_bytes + 240, count = uint32_t(strips.size());
    byte_vector out;
    add_le(out, n, 2);
    const auto entry = [&](uint32_t tag, uint32_t kind, uint32_t length, uint32_t value) {
        for (auto [v, bytes] : {std::pair(tag, 2), {kind, 2}, {length, 4}, {value, 4}})
            add_le(out, v, bytes);
    };
    entry(254, 4, 1, 0);
    entry(256, 3, 1, type == 8 ? 1728 : uint32_t(image.width));
    entry(257, 3, 1, uint32_t(image.height));
    entry(258, 3, rgb ? 3 : 1, rgb ? extra + 16 : uint32_t(image.bits));
    entry(259, 3, 1, compression[type]);
    entry(262, 3, 1, rgb ? 2 : map ? 3 : !fax);
    entry(266, 3, 1, type == 8 || type == 10 ? 2 : 1);
    entry(273, 4, count, data);
    entry(274, 3, 1, 1);
    entry(277, 3, 1, rgb ? 3 : 1);
    entry(278, 4, 1, uint32_t(classic_strip_rows(image, type)));
    entry(279, 4, count, count > 1 ? data + 4 * count : uint32_t(strips[0].size()));
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
            add_bytes(out, {0, image.bytes[sizeof(BITMAPINFOHEADER) + 4 * i + channel]});
    if (rgb) add_bytes(out, {8, 0, 8, 0, 8, 0});
    const char date[40] = "11-24-1992", name[200] = "Trevolan imaging library 4.0";
    out.insert(out.end(), date, date + 40);
    out.insert(out.end(), name, name + 200);
    // Several strips: where they lie and how many bytes they have, then they themselves.
    size_t at = data + 8 * strips.size();
    for (size_t i = 0; count > 1 && i < count; at += strips[i++].size())
        add_le(out, at, 4);
    for (size_t i = 0; count > 1 && i < count; ++i)
        add_le(out, strips[i].size(), 4);
    for (const byte_vector& strip : strips)
        add_bytes(out, strip);
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

// The image data of a page, strip by strip.
std::vector<byte_vector> coded_rows(const picture& dib, const picture& image, int32_t type)
{
    std::vector<byte_vector> strips;
    std::vector<plain::pixels> rows;
    for (int32_t y = 0; y < image.height; ++y) {
        const uint8_t* r = dib.row(y);
        byte_vector bytes(r, r + (image.width * image.bits + 7) / 8);
        for (size_t i = 0; image.bits == 24 && i < bytes.size(); i += 3)
            std::swap(bytes[i], bytes[i + 2]);
        if (y % classic_strip_rows(image, type) == 0) strips.emplace_back();
        add_bytes(strips.back(), bytes);
        rows.emplace_back();
        for (int32_t x = 0; x < image.width; ++x)
            rows.back().push_back(image.pixel(x, y) == 0);
    }
    for (size_t i = 0; type == 9 && i < strips.size(); ++i)
        strips[i] = plain_lzw::encode(strips[i]);
    if (type == 0 || type == 9) return strips;
    const uint32_t compression = type == 7 ? tiff_huffman : type == 8 ? tiff_group3 : tiff_group4;
    const size_t width = type == 8 ? 1728 : rows[0].size();
    return {plain::bytes_of(plain::written(rows, compression, width, 4), type != 7)};
}

} // namespace

TEST(tiff_writer, classic_bytes_of_one_page_and_two)
{
    for (int32_t type : {0, 7, 8, 9, 10})
        for (int bits : {1, 4, 8, 24})
            for (int width : {1, 13, 300, 2731}) {
                if (type != 0 && type != 9 && bits != 1) continue;
                SCOPED_TRACE(testing::Message()
                             << "type " << type << ", " << bits << " bits, width " << width);
                picture dib =
                    random_picture(width, 31, bits, width > 300 ? 200 : 3, uint32_t(width));
                const bool has_both = width == 13, has_one = width == 300;
                dib.set_resolution(has_both || has_one ? 300 : 0, has_both ? 200 : 0);
                const values resolution = has_both                ? values{300, 1, 200, 1}
                                          : type == 8 && !has_one ? values{200, 1, 200, 1}
                                                                  : values{640, 9, 480, 7};
                const image_guard image(dib.create());
                const picture copy = copy_image(image);
                const auto strips = coded_rows(dib, copy, type);
                byte_vector expected = {'I', 'I', 42, 0, 8, 0, 0, 0};
                add_bytes(expected, classic_page(copy, type, 8, strips, resolution));
                byte_vector block;
                ASSERT_EQ(save_into(block, image, type), 0);
                ASSERT_EQ(block, expected);
                // A second page goes to the end of the first, which is linked to it. An LZW page
                // takes the first one's place.
                const auto base = uint32_t(expected.size());
                if (type != 9) {
                    byte_vector link;
                    add_le(link, base, 4);
                    std::copy(link.begin(), link.end(), expected.begin() + 10 + 12 * expected[8]);
                    add_bytes(expected, classic_page(copy, type, base, strips, resolution));
                }
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

TEST(tiff_writer, lzw_strips_are_exact)
{
    const auto compare = [](uint32_t levels, int run, int width) {
        SCOPED_TRACE(testing::Message() << levels << " levels, run " << run << ", " << width);
        const picture noise = random_picture(width, 2, 8, run);
        const picture p =
            each_pixel(width, 2, 8, {}, [&](int x, int y) { return noise.pixel(x, y) % levels; });
        const byte_vector file = save_bytes(image_guard(p.create()), 9);
        byte_vector strips;
        for (const byte_vector& strip : coded_rows(p, p, 9))
            add_bytes(strips, strip);
        ASSERT_TRUE(std::equal(strips.rbegin(), strips.rend(), file.rbegin()));
        ASSERT_TRUE(values_in(file) == values_of(p));
    };
    for (uint32_t levels : {1, 2, 7, 256})
        for (int run : {1, 5, 200})
            for (int width : {1, 2, 253, 254, 255, 256, 8000, 60000})
                compare(levels, run, width);
    for (uint32_t levels : {253, 254, 255}) // ends of data where the table is full
        for (int width = 1940; width < 2000; ++width)
            compare(levels, 1, width);
}

TEST(tiff_writer, fax_pages_have_the_lighter_colour_for_white)
{
    IMGX_set_interchange(1);
    picture dib(8, 1, 1);
    dib.set_color(0, rgb(250, 250, 200));
    dib.set_color(1, rgb(200, 0, 0));
    for (int32_t type : {7, 8, 10}) {
        byte_vector file;
        ASSERT_EQ(save_into(file, image_guard(dib.create()), type), 0);
        EXPECT_EQ(picture_of(file).color(0, 0), 0xFFFFFFu) << type;
        // Horizontal, white 0, black 8, then two EOLs, all from the lowest bit on.
        const byte_vector codes = {0x64, 0x45, 1, 16, 0, 1};
        EXPECT_EQ(std::equal(codes.rbegin(), codes.rend(), file.rbegin()), type == 10);
    }
}

TEST(tiff_writer, packbits_rows_follow_their_rules)
{
    IMGX_set_interchange(1); // the type is written in this mode only
    for (int run : {1, 3, 20, 400}) {
        const picture dib = random_picture(8 * 517, 40, 1, run);
        const image_guard image(dib.create());
        byte_vector file = save_bytes(image, 16), packed;
        for (int y = 0; y < 40; ++y)
            add_bytes(packed, plain_packbits(byte_vector(dib.row(y), dib.row(y) + 517)));
        EXPECT_TRUE(std::equal(packed.rbegin(), packed.rend(), file.rbegin()));
    }
}

TEST(tiff_writer, appends_only_to_sound_little_endian_chains)
{
    const image_guard image(random_picture(9, 5, 1).create()), deep(picture(8, 8, 8).create());
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

TEST(tiff_damage, every_cut_ends_in_a_code)
{
    tiff_builder planes; // which no writer makes
    planes.shape(3, 2, 8, 3, 5, 2).set(284, 3, {2}).set(317, 3, {2});
    for (int i = 0; i < 3; ++i)
        planes.strip({0x80, 0x0B, 0x60, 0x50, 0x22, 0x0C, 0x0D, 0x05});
    for (int on : {0, 1}) {
        IMGX_set_interchange(on);
        expect_cuts_are_survived(planes.build());
        for (int32_t type : {0, 7, 8, 9, 10, 16}) {
            const image_guard image(random_picture(29, 9, type == 9 ? 24 : 1, 3).create());
            if (type != 16 || on) expect_cuts_are_survived(save_bytes(image, type));
        }
    }
}
