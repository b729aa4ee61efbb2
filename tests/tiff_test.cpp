// tiff_test.cpp - TIFF pages in and out through the exports: the readings that are this
// library's own, exact bytes, appended pages, damaged files.

#include "platform/win32.h"
#include "tests/builders/tiff_builder.h"
#include "tests/support/images.h"

namespace {

struct interchange {
    interchange() { IMGX_set_interchange(1); }
    ~interchange() { IMGX_set_interchange(0); }
};

int32_t load(const byte_vector& file, int32_t page = 0)
{
    return IMGX_decompress_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), page);
}

int32_t load_code(const byte_vector& file, int32_t page = 0)
{
    const int32_t handle = load(file, page);
    if (handle >= 0) IMG_delete_bitmap(handle);
    return handle < 0 ? handle : 0;
}

int32_t count_pages(const byte_vector& file)
{
    return IMGX_get_pages_mem(file.data(), static_cast<uint32_t>(file.size()));
}

// The colours of row y, 0xRRGGBB each.
std::vector<uint32_t> colors(const byte_vector& file, int32_t y = 0, int32_t page = 0)
{
    const image_guard image(load(file, page));
    std::vector<uint32_t> row;
    if (image < 0) return row;
    const image_copy copy = copy_image(image);
    for (int32_t x = 0; x < copy.width; ++x)
        row.push_back(copy.color(x, y));
    return row;
}

using row = std::vector<uint32_t>;

tiff_builder grey_page(bool big = false)
{
    tiff_builder t;
    t.big = big;
    t.shape(4, 1, 8, 1, 1, 1).strip({10, 20, 30, 40});
    return t;
}

} // namespace

TEST(tiff_reader, follows_the_chain_to_a_page)
{
    for (bool big : {false, true}) {
        tiff_builder t = grey_page(big);
        for (size_t i = 1; i < 300; ++i) {
            t.pages.emplace_back();
            const auto v = static_cast<uint8_t>(i);
            t.shape(2, 1, 8, 1, 1, 1, i).strip({v, uint8_t(i >> 8)}, i);
        }
        // A later directory may be larger than the first.
        for (int tag = 40000; tag < 40700; ++tag)
            t.set(tag, 4, {7}, 299);
        const byte_vector file = t.build();
        EXPECT_EQ(count_pages(file), 300);
        EXPECT_EQ(colors(file, 0, 1), (row{0x010101, 0}));
        EXPECT_EQ(colors(file, 0, 299), (row{0x2B2B2B, 0x010101}));
        EXPECT_EQ(load_code(file, 300), -11);
    }
}

TEST(tiff_reader, limits_the_first_directory)
{
    for (int entries : {550, 551}) {
        tiff_builder t = grey_page();
        for (int i = static_cast<int>(t.pages[0].fields.size()) + 1; i < entries; ++i)
            t.set(41000 + i, 3, {1});
        EXPECT_EQ(load_code(t.build()), entries == 550 ? 0 : -3);
    }
}

TEST(tiff_reader, ends_chains_that_turn_in_circles)
{
    tiff_builder t = grey_page();
    for (size_t i = 1; i < 3; ++i) {
        t.pages.emplace_back();
        t.shape(2, 1, 8, 1, 1, 1, i).strip({1, 2}, i);
    }
    byte_vector file = t.build();
    const uint32_t first = file[4] | uint32_t{file[5]} << 8;
    t.last_next_offset = first;
    file = t.build();
    EXPECT_EQ(load_code(file, 0), 0);
    EXPECT_EQ(load_code(file, 2), 0);
    EXPECT_EQ(load_code(file, 1000), -3);
    EXPECT_EQ(count_pages(file), -3);
    byte_vector itself = {'I', 'I', 42, 0, 8, 0, 0, 0, 0, 0, 8, 0, 0, 0};
    EXPECT_EQ(count_pages(itself), -3);
}

TEST(tiff_reader, classic_readings_of_odd_entries)
{
    // The low byte of a BYTE in a big-endian file is the field's second one.
    tiff_builder bytes = grey_page(true);
    bytes.set_raw(258, 1, 1, {8, 1, 0, 0});
    EXPECT_EQ(colors(bytes.build()), (row{0, 0, 0, 0})); // one bit: 10 is 00001010

    tiff_builder shorts; // both strips start at the first offset
    shorts.shape(2, 2, 8, 1, 1, 1).set(278, 3, {1}).strip({1, 2}).strip({3, 4});
    shorts.pages[0].offset_type = 3;
    EXPECT_EQ(colors(shorts.build(), 1), (row{0x010101, 0x020202}));

    tiff_builder unknown = grey_page();
    unknown.set(259, 3, {32771});
    EXPECT_EQ(colors(unknown.build()), (row{0, 0, 0, 0}));

    const interchange mode;
    EXPECT_EQ(colors(bytes.build()), (row{0x0A0A0A, 0x141414, 0x1E1E1E, 0x282828}));
    EXPECT_EQ(colors(shorts.build(), 1), (row{0x030303, 0x040404}));
    EXPECT_EQ(load_code(unknown.build()), -7);
}

TEST(tiff_reader, classic_and_standard_rows)
{
    const struct {
        const char* what;
        tiff_builder file;
        row classic, standard;
    } cases[] = {
        {"CMYK",
         tiff_builder().shape(2, 1, 8, 4, 1, 5).strip({0, 100, 200, 10, 250, 1, 2, 6}),
         {0xF5912D, 0x00F8F7},
         {0xF5912D, 0x00F8F7}},
        {"16-bit grey, little-endian",
         tiff_builder().shape(2, 1, 16, 1, 1, 1).strip({1, 2, 3, 4}),
         {0x010101, 0x030303},
         {0x020202, 0x040404}},
        {"4-bit RGB",
         tiff_builder().shape(2, 1, 4, 3, 1, 2).strip({0x12, 0x34, 0x5F}),
         {0x102030, 0x4050F0},
         {0x112233, 0x4455FF}},
        {"1-bit RGB",
         tiff_builder().shape(2, 1, 1, 3, 1, 2).strip({0b10001100}),
         {0x000080, 0x808000},
         {0xFF0000, 0x00FFFF}},
        {"1-bit RGB in planes",
         tiff_builder()
             .shape(2, 1, 1, 3, 1, 2)
             .set(284, 3, {2})
             .strip({0x80})
             .strip({0})
             .strip({0x40}),
         {0xFF0000, 0x0000FF},
         {0xFF0000, 0x0000FF}},
        {"predictor and WhiteIsZero",
         tiff_builder().shape(2, 1, 8, 1, 1, 0).set(317, 3, {2}).strip({10, 20}),
         {0xF5F5F5, 0xE0E0E0},
         {0xF5F5F5, 0xEBEBEB}}, // the standard has it with LZW only
        {"4-bit grey ramp",
         tiff_builder().shape(2, 1, 4, 1, 1, 1).strip({0x8F}),
         {0x808080, 0xF0F0F0},
         {0x888888, 0xFFFFFF}},
        {"fill order 2",
         tiff_builder().shape(2, 1, 1, 1, 1, 1).set(266, 3, {2}).strip({0x02}),
         {0, 0},
         {0, 0xFFFFFF}},
        {"colour map of bytes",
         tiff_builder().shape(2, 1, 1, 1, 1, 3).set(320, 3, {10, 20, 30, 40, 50, 60}).strip({0x40}),
         {0x0A1E32, 0x14283C},
         {0x0A1E32, 0x14283C}},
        {"colour map with a small value",
         tiff_builder().shape(2, 1, 1, 1, 1, 3).set(320, 3, {10, 0x1400, 0, 0, 0, 0}).strip({0x40}),
         {0x0A0000, 0x140000},
         {0, 0x140000}},
        {"grey response curve",
         tiff_builder()
             .shape(2, 1, 4, 1, 1, 1)
             .set(290, 3, {2})
             .set(291, 3, {200, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 60})
             .strip({0x0F}),
         {0x191919, 0x7F7F7F},
         {0x191919, 0x7F7F7F}},
        {"1-bit CMYK in planes",
         tiff_builder()
             .shape(2, 1, 1, 4, 1, 5)
             .set(284, 3, {2})
             .strip({0x80})
             .strip({0})
             .strip({0})
             .strip({0x40}),
         {0x0000C8, 0x000000},
         {0x00FFFF, 0x000000}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(colors(c.file.build()), c.classic);
        const interchange mode;
        EXPECT_EQ(colors(c.file.build()), c.standard);
    }
}

TEST(tiff_reader, packbits_128_is_a_run_of_129_or_nothing)
{
    tiff_builder t;
    t.shape(129, 1, 8, 1, 32773, 1).strip({0x80, 9, 0, 1});
    EXPECT_EQ(colors(t.build()), row(129, 0x090909));
    tiff_builder none;
    none.shape(3, 1, 8, 1, 32773, 1).strip({0x80, 2, 1, 2, 3});
    const interchange mode;
    EXPECT_EQ(colors(none.build()), (row{0x010101, 0x020202, 0x030303}));
}

TEST(tiff_reader, takes_name_and_date_of_all_directories_passed)
{
    tiff_builder t = grey_page();
    t.pages.emplace_back();
    t.shape(1, 1, 8, 1, 1, 1, 1).strip({1}, 1);
    byte_vector date(40, 0), name(200, 0);
    std::memcpy(date.data(), "2024:02:29 12:34:56 and more", 28);
    std::memcpy(name.data(), "A scanner", 9);
    t.add({306, 2, 20, date}, 0).add({315, 2, 9, name}, 0);
    char got_name[200], got_date[40];
    EXPECT_EQ(load_code(t.build(), 1), 0);
    IMGLOW_get_bitmap_name(got_name, got_date);
    EXPECT_STREQ(got_name, "A scanner");
    EXPECT_STREQ(got_date, "2024:02:29 12:34:56 and more"); // 40 bytes, whatever the count
    const interchange mode;
    t.set_raw(315, 2, 4, {'B', 'o', 'b', 0});
    EXPECT_EQ(load_code(t.build()), 0);
    IMGLOW_get_bitmap_name(got_name, got_date);
    EXPECT_STREQ(got_name, "Bob");
}

TEST(tiff_reader, tells_the_type_of_the_first_page)
{
    const struct {
        uint32_t compression, t4;
        int32_t type;
    } rows[] = {{1, 0, 0}, {2, 0, 7},  {3, 0, 8},      {3, 1, 17},  {4, 0, 10},
                {5, 0, 9}, {6, 0, -7}, {32773, 0, 16}, {45, 0, 17}, {7, 0, -7}};
    for (bool big : {false, true})
        for (const auto& r : rows) {
            tiff_builder t = grey_page(big);
            t.set(259, 3, {r.compression}).set(292, 4, {r.t4});
            const byte_vector file = t.build();
            EXPECT_EQ(IMGX_get_filetype_mem(file.data(), static_cast<uint32_t>(file.size())),
                      r.type);
        }
}

TEST(tiff_reader, describes_each_page)
{
    tiff_builder t = grey_page();
    for (size_t i = 1; i < 3; ++i) {
        t.pages.emplace_back();
        t.shape(2, 1, 8, 1, i == 1 ? 5 : 7, 1, i).strip({1, 2}, i);
    }
    const temp_file file(".tif");
    write_file(file.name(), t.build());
    OFSTRUCT opened;
    const HFILE open = OpenFile(file.name(), &opened, OF_READ);
    IMGX_PAGE_INFO info;
    EXPECT_EQ(IMGX_get_page_info(open, 0, 0, &info), 0);
    EXPECT_EQ(info.type, 0);
    EXPECT_EQ(IMGX_get_page_info(open, 0, 1, &info), 0);
    EXPECT_EQ(info.type, 9);
    EXPECT_EQ(IMGX_get_page_info(open, 0, 2, &info), 0);
    EXPECT_EQ(info.type, -7); // no type has this compression
    EXPECT_EQ(IMGX_get_page_info(open, 0, 3, &info), -11);
    _lclose(open);
}

TEST(tiff_reader, refuses_what_it_cannot_lay_out)
{
    const struct {
        const char* what;
        tiff_builder file;
        int32_t classic, standard;
    } cases[] = {
        {"no size", grey_page().set(256, 3, {0}), -3, -3},
        {"no samples", grey_page().set(277, 3, {0}), -7, -7},
        {"five samples", grey_page().set(277, 3, {5}), -7, 0},
        {"huge depth", grey_page().set(258, 4, {0x10000001}), -7, -7},
        {"huge size", grey_page().set(256, 4, {0x7FFFFFFF}).set(257, 4, {0x7FFFFFFF}), -1, -1},
        {"tiles", grey_page().set(322, 3, {16}), 0, -7},
        {"deflate", grey_page().set(259, 3, {8}), 0, -7},
        {"strip behind the end", grey_page().set(257, 3, {2}).set(273, 4, {1u << 30}), -12, -12},
        {"data cut short", grey_page().set(256, 3, {4000}).set(257, 3, {3000}), -12, -12},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        tiff_builder file = c.file;
        if (std::string(c.what) == "strip behind the end") file.pages[0].strips.clear();
        EXPECT_EQ(load_code(file.build()), c.classic);
        const interchange mode;
        const int32_t got = load_code(file.build());
        if (c.standard == 0)
            EXPECT_TRUE(got == 0 || got == -12) << got;
        else
            EXPECT_EQ(got, c.standard);
    }
    const byte_vector order = {'I', 'M', 42, 0, 8, 0, 0, 0, 0, 0};
    EXPECT_EQ(load_code(order), -7);
    EXPECT_EQ(load_code({'I', 'I', 42}), -3);
    // Two planes, by a second SamplesPerPixel behind the planar entry.
    tiff_builder t;
    t.shape(8, 1, 1, 3, 1, 1).set(284, 3, {2}).set(300, 3, {2}).strip({1});
    byte_vector two_planes = t.build();
    const byte_vector from = {300 - 256, 1, 3, 0}, to = {277 - 256, 1, 3, 0};
    const auto at = std::search(two_planes.begin(), two_planes.end(), from.begin(), from.end());
    ASSERT_NE(at, two_planes.end());
    std::copy(to.begin(), to.end(), at);
    EXPECT_EQ(load_code(two_planes), -7);
}

TEST(tiff_reader, leaves_no_plane_file)
{
    for (size_t strips : {1u, 2u, 3u}) {
        tiff_builder t;
        t.shape(2, 1, 8, 3, 1, 2).set(284, 3, {2});
        for (size_t i = 0; i < strips; ++i)
            t.strip({uint8_t(i), 7});
        EXPECT_EQ(load_code(t.build()), strips == 2 ? -12 : 0); // one offset is that of all strips
        EXPECT_EQ(std::fopen("plane.tmp", "rb"), nullptr);
    }
}

namespace {

struct expected_page {
    int32_t width, height, bits;
    int compression = 1;
    uint32_t base = 8;
    uint32_t x = 0, y = 0; // resolution; 0: defaults
};

void put(byte_vector& to, uint32_t value, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        to.push_back(static_cast<uint8_t>(value >> 8 * i));
}

// Directory and data of a classic page of one strip, from its layout as documented for users of
// the files. colors: 0xRRGGBB.
byte_vector classic_head(const expected_page& p, const row& map, uint32_t data_bytes)
{
    const bool rgb = p.bits == 24;
    const auto n = static_cast<uint32_t>(18 + (map.empty() ? 0 : 1) + (p.compression == 3 ? 1 : 0));
    const uint32_t extra = p.base + 12 * n + 6;
    const uint32_t map_bytes = rgb ? 6 : 6 * uint32_t(map.size());
    byte_vector out;
    put(out, n, 2);
    const auto entry = [&](uint32_t tag, uint32_t type, uint32_t count, uint32_t value) {
        put(out, tag, 2);
        put(out, type, 2);
        put(out, count, 4);
        put(out, value, 4);
    };
    entry(254, 4, 1, 0);
    entry(256, 3, 1, uint32_t(p.width));
    entry(257, 3, 1, uint32_t(p.height));
    entry(258, 3, rgb ? 3 : 1, rgb ? extra + 16 : uint32_t(p.bits));
    entry(259, 3, 1, uint32_t(p.compression));
    entry(262, 3, 1, rgb ? 2 : map.empty() ? 1 : 3);
    entry(266, 3, 1, 1);
    entry(273, 4, 1, extra + 16 + map_bytes + 240);
    entry(274, 3, 1, 1);
    entry(277, 3, 1, rgb ? 3 : 1);
    entry(278, 4, 1, uint32_t(p.height));
    entry(279, 4, 1, data_bytes);
    entry(282, 5, 1, extra);
    entry(283, 5, 1, extra + 8);
    entry(284, 3, 1, 1);
    entry(296, 3, 1, 2);
    entry(306, 2, 20, extra + 16 + map_bytes);
    entry(315, 2, 28, extra + 16 + map_bytes + 40);
    if (!map.empty()) entry(320, 3, 3 * uint32_t(map.size()), extra + 16);
    put(out, 0, 4);
    for (uint32_t v : p.x ? row{p.x, 1, p.y, 1} : row{640, 9, 480, 7})
        put(out, v, 4);
    for (int shift : {16, 8, 0})
        for (uint32_t c : map)
            put(out, (c >> shift & 255) << 8, 2);
    if (rgb) out.insert(out.end(), {8, 0, 8, 0, 8, 0});
    const char date[40] = "11-24-1992", name[200] = "Trevolan imaging library 4.0";
    out.insert(out.end(), date, date + 40);
    out.insert(out.end(), name, name + 200);
    return out;
}

byte_vector tiff_header()
{
    return {'I', 'I', 42, 0, 8, 0, 0, 0};
}

void append(byte_vector& to, const byte_vector& more)
{
    to.insert(to.end(), more.begin(), more.end());
}

// The rows of a DIB as the file has them.
byte_vector stored_rows(test_dib& dib, const expected_page& p)
{
    byte_vector out;
    for (int32_t y = 0; y < p.height; ++y) {
        const uint8_t* r = dib.row(y);
        const int bytes = (p.width * p.bits + 7) / 8;
        for (int i = 0; i < bytes; ++i)
            out.push_back(p.bits == 24 ? r[i / 3 * 3 + 2 - i % 3] : r[i]);
    }
    return out;
}

row map_of(const image_copy& image)
{
    row map;
    if (image.bits == 1 || image.bits == 24) return map;
    for (int i = 0; i < 1 << image.bits; ++i) {
        const uint8_t* entry = image.head.data() + sizeof(BITMAPINFOHEADER) + 4 * i;
        map.push_back(entry[0] | uint32_t{entry[1]} << 8 | uint32_t{entry[2]} << 16);
    }
    return map;
}

// PackBits as classic pages have it, from its rules. The byte behind a row is looked at.
byte_vector plain_packbits(byte_vector r)
{
    const size_t n = r.size();
    r.insert(r.end(), {0, 0});
    byte_vector out;
    for (size_t i = 0; i < n;) {
        if (r[i] == r[i + 1] && r[i] == r[i + 2] && i + 3 < n) {
            size_t count = 0;
            while (i + count < n && count < 127 && r[i + count] == r[i])
                ++count;
            out.push_back(static_cast<uint8_t>(1 - int(count)));
            out.push_back(r[i]);
            i += count;
            continue;
        }
        byte_vector literal;
        if (r[i] == r[i + 1]) literal.push_back(r[i++]);
        while (i < n && literal.size() < 127 && r[i] != r[i + 1])
            literal.push_back(r[i++]);
        out.push_back(static_cast<uint8_t>(literal.size() - 1));
        append(out, literal);
    }
    return out;
}

byte_vector save(int32_t handle, int32_t type, byte_vector into = {})
{
    into.resize(into.size() + (1 << 20));
    const int32_t size =
        IMGX_save_bitmap_mem(handle, into.data(), static_cast<uint32_t>(into.size()), type);
    EXPECT_GE(size, 0);
    into.resize(static_cast<size_t>(std::max(size, 0)));
    return into;
}

} // namespace

TEST(tiff_writer, classic_bytes_of_uncompressed_pages)
{
    for (int bits : {1, 4, 8, 24})
        for (int width : {1, 13, 300}) {
            SCOPED_TRACE(std::to_string(bits) + " bits, width " + std::to_string(width));
            expected_page p{width, 7, bits};
            test_dib dib(width, 7, bits);
            dib.fill_random(uint32_t(width));
            if (width == 13) dib.header()->biXPelsPerMeter = p.x = 300;
            dib.header()->biYPelsPerMeter = p.y = width == 13 ? 200 : 0;
            const image_guard image(dib.create());
            const byte_vector rows = stored_rows(dib, p);
            byte_vector expected = tiff_header();
            append(expected, classic_head(p, map_of(copy_image(image)), uint32_t(rows.size())));
            append(expected, rows);
            EXPECT_EQ(save(image, 0), expected);

            // A second page goes to the end of the first, which is linked to it.
            const auto link = 8 + 2 + 12 * size_t(expected[8]);
            p.base = uint32_t(expected.size());
            byte_vector second = classic_head(p, map_of(copy_image(image)), uint32_t(rows.size()));
            byte_vector both = expected;
            for (int i = 0; i < 4; ++i)
                both[link + size_t(i)] = static_cast<uint8_t>(p.base >> 8 * i);
            append(both, second);
            append(both, rows);
            EXPECT_EQ(save(image, 0, expected), both) << "in memory";
            const temp_file file(".tif");
            EXPECT_GE(IMG_save_bitmap(image, file.name(), 0), 0);
            EXPECT_GE(IMG_save_bitmap(image, file.name(), 0), 0);
            EXPECT_EQ(file.bytes(), both) << "in a file";
        }
}

TEST(tiff_writer, classic_bytes_of_packbits_rows)
{
    EXPECT_EQ(plain_packbits(byte_vector(200, 5)), (byte_vector{130, 5, 184, 5}));
    const image_guard deep(test_dib(8, 8, 8).create());
    byte_vector room(100000);
    const interchange mode; // the type is written in interchange mode only
    EXPECT_EQ(IMGX_save_bitmap_mem(deep, room.data(), 100000, 16), -7);
    for (int run : {1, 3, 20, 400}) {
        test_dib dib(8 * 517, 40, 1);
        dib.fill_random(uint32_t(run), run);
        const image_guard image(dib.create());
        const byte_vector file = save(image, 16);
        byte_vector packed;
        for (int y = 0; y < 40; ++y)
            append(packed, plain_packbits(byte_vector(dib.row(y), dib.row(y) + 517)));
        const byte_vector data(file.end() - static_cast<std::ptrdiff_t>(packed.size()), file.end());
        EXPECT_EQ(data, packed);
        const image_guard back(load(file));
        expect_same_colors(copy_image(back), copy_image(image));
    }
}

int32_t IMG_STD stop_at_once(IMG_PRIVATE, int32_t)
{
    return -99;
}

TEST(tiff_writer, appends_only_to_sound_little_endian_chains)
{
    test_dib dib(9, 5, 1);
    dib.fill_random(4);
    const image_guard image(dib.create());
    const temp_file file(".tif");
    const auto save_over = [&](const byte_vector& content) {
        write_file(file.name(), content);
        return IMG_save_bitmap(image, file.name(), 0);
    };
    EXPECT_EQ(save_over({'I', 'I', 42, 0, 8, 0, 0, 0}), -3);
    EXPECT_EQ(save_over({'I', 'I', 42, 0, 8, 0, 0, 0, 0, 0, 8, 0, 0, 0}), -3); // a circle
    EXPECT_GE(save_over({'I', 'I'}), 0);
    EXPECT_EQ(count_pages(file.bytes()), 1);
    tiff_builder big = grey_page(true);
    EXPECT_GE(save_over(big.build()), 0); // written over
    EXPECT_EQ(count_pages(file.bytes()), 1);
    // A page of another program gets a second one behind it, and keeps its own.
    EXPECT_GE(save_over(grey_page().build()), 0);
    EXPECT_EQ(count_pages(file.bytes()), 2);
    EXPECT_EQ(colors(file.bytes()), (row{0x0A0A0A, 0x141414, 0x1E1E1E, 0x282828}));
    const image_guard second(load(file.bytes(), 1));
    expect_same_colors(copy_image(second), copy_image(image));
    // In memory the end is that of the last strip, here behind the directory.
    byte_vector block = save(image, 0, grey_page().build());
    EXPECT_EQ(count_pages(block), 2);
    // A save that the client stops leaves the pages of a file as they were.
    IMG_set_statusbar(0, stop_at_once, 1);
    EXPECT_EQ(IMG_save_bitmap(image, file.name(), 0), -99);
    IMG_set_statusbar(0, nullptr, 0);
    EXPECT_EQ(count_pages(file.bytes()), 2);
}

TEST(tiff_writer, every_depth_and_size_comes_back)
{
    for (int on : {0, 1}) {
        IMGX_set_interchange(on);
        for (int bits : {1, 4, 8, 24})
            for (int width : {1, 3, 8, 100, 2700})
                for (int32_t type : {0, 9}) {
                    SCOPED_TRACE(std::to_string(bits) + " bits, width " + std::to_string(width) +
                                 ", type " + std::to_string(type));
                    test_dib dib(width, 31, bits);
                    dib.fill_random(uint32_t(width + bits), 5);
                    const image_guard image(dib.create());
                    const image_guard back(load(save(image, type)));
                    ASSERT_GE(back, 0);
                    expect_same_colors(copy_image(back), copy_image(image));
                    if (testing::Test::HasFatalFailure()) return;
                }
    }
    IMGX_set_interchange(0);
}

TEST(tiff_writer, lzw_pages_start_a_file_in_classic_mode_only)
{
    test_dib dib(20, 20, 8);
    const image_guard image(dib.create());
    const temp_file file(".tif");
    for (int on : {0, 1})
        for (int32_t pages : {1, 2}) {
            IMGX_set_interchange(on);
            EXPECT_GE(IMG_save_bitmap(image, file.name(), 9), 0);
            IMGX_set_interchange(0);
            EXPECT_EQ(IMGLOW_get_pages(file.name()), on ? pages + 1 : 1);
        }
}

TEST(tiff_damage, every_truncation_and_changed_byte_ends_in_a_code)
{
    std::vector<byte_vector> files;
    test_dib dib(70, 40, 8);
    dib.fill_random(3, 4);
    const image_guard image(dib.create());
    files.push_back(save(image, 9));
    tiff_builder planes;
    planes.shape(3, 2, 8, 3, 5, 2).set(284, 3, {2}).set(317, 3, {2});
    for (int i = 0; i < 3; ++i)
        planes.strip({0x80, 0x0B, 0x60, 0x50, 0x22, 0x0C, 0x0D, 0x05});
    files.push_back(planes.build());
    tiff_builder packed;
    packed.shape(30, 3, 1, 1, 32773, 0)
        .strip({3, 1, 2, 3, 4, 0xFE, 9, 9, 3, 5, 6, 7, 8, 3, 1, 1, 1, 1});
    files.push_back(packed.build());
    const std::vector<int32_t> codes = {0, -1, -3, -7, -11, -12};
    uint32_t random = 1;
    for (const byte_vector& file : files)
        for (int on : {0, 1}) {
            IMGX_set_interchange(on);
            for (size_t size = 0; size < file.size(); ++size) {
                const byte_vector cut(file.begin(),
                                      file.begin() + static_cast<std::ptrdiff_t>(size));
                const int32_t code = load_code(cut);
                ASSERT_NE(std::find(codes.begin(), codes.end(), code), codes.end()) << code;
            }
            for (int i = 0; i < 600; ++i) {
                byte_vector changed = file;
                for (int k = 0; k < 3; ++k) {
                    random = random * 1664525 + 1013904223;
                    changed[random / 256 % changed.size()] = static_cast<uint8_t>(random >> 24);
                }
                const int32_t code = load_code(changed, i % 2);
                ASSERT_NE(std::find(codes.begin(), codes.end(), code), codes.end()) << code;
            }
        }
    IMGX_set_interchange(0);
}
