// jpeg_test.cpp - JPEG files through the exports: pixels against the plain decoder, classic
// files byte for byte against the plain encoder, what the two modes do differently, damage.

#include "tests/builders/plain_jpeg.h"
#include "tests/support/open_file.h"

namespace {

using jpeg_builder::joined, jpeg_builder::coded_picture, jpeg_builder::stream;

void expect_plain_result(const coded_picture& p)
{
    EXPECT_TRUE(colors_of(picture_of(stream(p))) == plain_jpeg::colors(p));
}

byte_vector cut(const byte_vector& file, size_t size)
{
    return byte_vector(file.begin(), file.begin() + size);
}

// A copy with some bytes put over others.
byte_vector with(byte_vector file, size_t at, const byte_vector& bytes)
{
    std::copy(bytes.begin(), bytes.end(), file.begin() + at);
    return file;
}

size_t find(const byte_vector& file, const byte_vector& bytes)
{
    const auto at = std::search(file.begin(), file.end(), bytes.begin(), bytes.end());
    EXPECT_TRUE(at != file.end());
    return at - file.begin();
}

// How many rows a low-level load delivers, and its code.
struct rows_of {
    int32_t result, rows = 0;

    explicit rows_of(const byte_vector& file)
    {
        result = IMGX_stream_bitmap_mem(
            file.data(), uint32_t(file.size()), 0,
            [](const void*, IMG_PRIVATE p, int32_t index, int32_t) -> int32_t {
                EXPECT_EQ(index, (*reinterpret_cast<int32_t*>(p))++);
                return 0;
            },
            reinterpret_cast<IMG_PRIVATE>(&rows),
            [](const BITMAPINFOHEADER*, IMG_PRIVATE) -> int32_t { return 1; });
    }
};

} // namespace

TEST(jpeg_reader, equals_the_plain_decoder)
{
    for (int h = 1; h <= 4; ++h)
        for (int v = 1; v <= 4; ++v)
            for (int size : {1, 16, 33, 70}) {
                SCOPED_TRACE(testing::Message() << h << "x" << v << " size " << size);
                expect_plain_result(coded_picture(size, 71 - size, h, v));
            }
    const struct {
        int nonzero, amplitude, factor;
    } kinds[] = {{0, 100, 3}, {2, 20, 2}, {30, 3, 1}, {60, 200, 4}, {20, 1023, 8}, {60, 1023, 99}};
    for (const auto& kind : kinds)
        for (size_t components : {1, 3, 4}) {
            SCOPED_TRACE(testing::Message() << kind.nonzero << ", " << components << " components");
            coded_picture p(90, 50, 2, 1);
            p.components.resize(components, {2, 1, 1, 1});
            p.nonzero = kind.nonzero;
            p.amplitude = kind.amplitude;
            for (auto& table : p.quant)
                for (uint8_t& q : table)
                    q = std::min(255, q * kind.factor);
            expect_plain_result(p);
        }
    // Several classic buffers of data, ends falling at all places of blocks.
    coded_picture large(300, 100, 2, 2);
    large.nonzero = 50;
    large.amplitude = 500;
    for (large.seed = 0; large.seed < 8; ++large.seed, ++large.height)
        expect_plain_result(large);
}

TEST(jpeg_reader, restarts_at_every_phase)
{
    for (int interval = 1; interval <= 13; ++interval)
        for (const bool standard : {false, true}) {
            const mode_scope mode(standard);
            expect_plain_result(
                coded_picture(40, 40, 1 + interval % 2, 1 + interval % 3, interval));
        }
    // The last MCU ends an interval: no marker need follow, not even EOI.
    const byte_vector file = stream(coded_picture(32, 16, 1, 1, 4));
    EXPECT_TRUE(colors_of(picture_of(cut(file, file.size() - 2))) == colors_of(picture_of(file)));

    // Numbers are not compared; where a marker is missing, the rows above are there.
    const byte_vector eight = stream(coded_picture(64, 64, 1, 1, 8));
    const size_t fourth = find(eight, {0xFF, 0xD3});
    for (const bool standard : {false, true}) {
        const mode_scope mode(standard);
        EXPECT_EQ(rows_of(with(eight, fourth, {0xFF, 0xD1})).rows, 64);
        const rows_of end(with(eight, fourth, {0xFF, 0xD9})); // to classic mode as good
        EXPECT_EQ(end.rows == 64, !standard);
        const rows_of missing(with(eight, fourth, {0x55, 0x55}));
        EXPECT_TRUE(missing.result == -3 || missing.result == -12) << missing.result;
        EXPECT_GE(missing.rows, 24);
        EXPECT_LT(missing.rows, 64);
    }
}

TEST(jpeg_reader, takes_headers_by_the_rules_of_the_mode)
{
    // Classic: any selector but 0 is table 1, the AC selector of the third component chooses
    // both tables; spare bytes in the scan header.
    coded_picture p(24, 24, 1, 1);
    const auto plain = plain_jpeg::colors(p);
    p.components[1].quant = 3;
    p.components[2].quant = 2;
    byte_vector file = stream(p);
    const size_t scan = find(file, {0xFF, 0xDA});
    ASSERT_EQ(file[scan + 10], 0x11);
    file[scan + 10] = 0x01;
    file[scan + 3] += 2;
    file.insert(file.begin() + (scan + 11), {0x55, 0x55});
    EXPECT_TRUE(colors_of(picture_of(file)) == plain);
    // Numbers of no table leave the first one chosen; the fourth component has the third one's.
    const byte_vector other = with(with(file, 6, {0x04}), find(file, {0xFF, 0xC4}) + 4, {0x02});
    EXPECT_TRUE(colors_of(picture_of(other)) == plain);
    coded_picture inks(24, 24, 2, 1);
    inks.components.push_back({2, 1, 1, 1});
    const auto four = plain_jpeg::colors(inks);
    inks.components[3].quant = 0;
    EXPECT_TRUE(colors_of(picture_of(stream(inks))) == four);
    {
        const mode_scope on;
        expect_plain_result(p);
        for (uint8_t unit : {1, 2}) { // fill bytes and a marker without a length besides
            byte_vector with_jfif = stream(p);
            const auto jfif = jpeg_builder::segment(
                0xE0, {'J', 'F', 'I', 'F', 0, 1, 2, unit, 0, 100, 0, 50, 0, 0});
            const byte_vector more = joined({jfif, {0xFF, 0x01, 0xFF}});
            with_jfif.insert(with_jfif.begin() + 2, more.begin(), more.end());
            EXPECT_EQ(picture_of(with_jfif).resolution(),
                      unit == 1 ? std::pair(100, 50) : std::pair(254, 127));
        }
        // The number of lines stands behind the data.
        const size_t end = file.size() - 2;
        const byte_vector unknown = with(stream(p), find(file, {0xFF, 0xC0}) + 5, {0, 0});
        const byte_vector dnl =
            joined({cut(unknown, end - 2), {0xFF, 0xFF, 0xDC, 0, 4, 0, 24, 0xFF, 0xD9}});
        EXPECT_TRUE(colors_of(picture_of(dnl)) == plain_jpeg::colors(p));
    }
    const temp_file name(".jpg");
    write_file(name.name(), stream(coded_picture(16, 16, 2, 1)));
    IMGX_PAGE_INFO info;
    EXPECT_EQ(IMGX_get_page_info(open_file(name.name()).handle(), 0, 0, &info), 0);
    EXPECT_EQ(info.components, 3);
    EXPECT_EQ(info.sampling[0] * 256 + info.sampling[2], 0x2111);
}

TEST(jpeg_reader, refuses_with_the_documented_code)
{
    const auto sized = [](int width, int factor, size_t components) {
        coded_picture p(width, 8, factor, factor);
        p.components.resize(components);
        p.nonzero = 0;
        return stream(p);
    };
    const byte_vector whole = sized(16, 1, 3);
    const size_t frame = find(whole, {0xFF, 0xC0}), scan = find(whole, {0xFF, 0xDA});
    const struct {
        const char* fault;
        byte_vector file;
        int32_t classic, standard;
    } cases[] = {
        {"as wide as classic buffers allow", sized(8128, 1, 3), 0, 0},
        {"wider", sized(8129, 1, 3), -1, 0},
        {"as wide as they allow at 2x2", sized(4064, 2, 3), 0, 0},
        {"wider", sized(4065, 2, 3), -1, 0},
        {"two components", sized(16, 1, 2), -7, -7},
        {"five components", sized(16, 1, 5), -7, -7},
        {"no width", with(whole, frame + 7, {0, 0}), -3, -3},
        {"no height", with(whole, frame + 5, {0, 0}), -3, -3},
        {"sampling factor 0", with(whole, frame + 11, {0x01}), -3, -3},
        {"sampling factor 5", with(whole, frame + 14, {0x51}), -3, -3},
        {"12 bits a sample", with(whole, frame + 4, {12}), 0, -7},
        {"table precision 2", with(whole, 6, {0x20}), -3, -3},
        {"a quantisation table that never came", with(whole, 75, {0x00}), 0, -3},
        {"progressive", with(whole, frame, {0xFF, 0xC2}), -3, -7},
        {"arithmetic coding", with(whole, frame, {0xFF, 0xC9}), -3, -7},
        {"ends before the scan", cut(whole, 200), -3, -3},
        {"nothing but SOI", {0xFF, 0xD8, 0, 0, 0, 0, 0, 0, 0, 0}, -3, -3},
        {"no data behind the scan header", cut(whole, scan + 14), -12, -12},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        EXPECT_EQ(load_code(c.file), c.classic);
        const mode_scope on;
        EXPECT_EQ(load_code(c.file), c.standard);
    }
    for (size_t at = 2; at < whole.size(); ++at)
        for (uint8_t value : {0x00, 0x01, 0x7F, 0xFF, 0xD9}) {
            const int32_t code = load_code(with(whole, at, {value}));
            ASSERT_TRUE(code == 0 || code == -1 || code == -3 || code == -7 || code == -12) << at;
        }
    // Three runs of 16 lead to position 49; one of 15 from there exactly to 64.
    const coded_picture p(8, 8, 1, 1);
    for (const std::string one : {"", "1"}) {
        jpeg_builder::coder data;
        data.put(p.dc[0].codes[0] + p.ac[0].codes[0xF0] + p.ac[0].codes[0xF0] +
                 p.ac[0].codes[0xF0]);
        if (!one.empty()) data.put(p.ac[0].codes[0x01] + one);
        data.put(p.ac[0].codes[0xF1] + "1");
        for (int i = 0; i < 2; ++i)
            data.put(p.dc[1].codes[0] + p.ac[1].codes[0]);
        data.pad('1');
        EXPECT_EQ(load_code(joined({jpeg_builder::headers(p), data.bytes})), one.empty() ? 0 : -3);
    }
}

TEST(jpeg_reader, gives_the_rows_so_far_of_cut_data)
{
    const byte_vector file = stream(coded_picture(64, 64, 1, 1));
    const size_t data_at = find(file, {0xFF, 0xDA}) + 14, data = file.size() - data_at;
    for (size_t end = data_at; end < file.size() - 2; end += 11) {
        SCOPED_TRACE(end);
        const rows_of classic(cut(file, end));
        EXPECT_EQ(classic.result, classic.rows == 64 ? 0 : end == data_at ? -12 : -3);
        const mode_scope on;
        const rows_of standard(cut(file, end));
        EXPECT_EQ(standard.result, -12);
        EXPECT_LT(standard.rows, 64);
        EXPECT_GE(standard.rows + 24, int32_t(64 * (end - data_at) / data));
    }
    // Classic: the buffer holds 10000 bytes and is topped up behind the block that leaves 200
    // or fewer. Where the data end, it has its old bytes still.
    coded_picture p(160, 60, 1, 1);
    p.nonzero = 30;
    for (int decoded = 0; decoded < 4; ++p.seed) {
        ASSERT_LT(p.seed, 500u);
        std::vector<size_t> ends;
        const byte_vector headers = jpeg_builder::headers(p);
        const byte_vector all = jpeg_builder::entropy_data(p, &ends);
        const size_t top_up = *std::lower_bound(ends.begin(), ends.end(), 9800);
        const size_t size = all.size() - 8 - 2 * (p.seed % 100);
        ASSERT_TRUE(size > 10000 && size < top_up + 9500);
        const byte_vector part = cut(all, size);
        byte_vector longer = part;
        longer.insert(longer.end(), &all[size - top_up], &all[10000]);
        const int32_t code = load_code(joined({headers, part}));
        ASSERT_EQ(load_code(joined({headers, longer})), code);
        if (code < 0) continue;
        EXPECT_TRUE(colors_of(picture_of(joined({headers, part}))) ==
                    colors_of(picture_of(joined({headers, longer}))));
        ++decoded;
    }
}

TEST(jpeg_reader, reads_several_scans_that_fit)
{
    const coded_picture p(16, 16, 1, 1);
    const byte_vector file = stream(p);
    const auto scans = [&](const byte_vector& ids, const byte_vector& between = {}) {
        byte_vector out = cut(file, find(file, {0xFF, 0xDA}));
        for (uint8_t id : ids) {
            coded_picture one = p;
            one.components = {p.components[id == 1 ? 0 : 1]};
            const uint8_t tables = id == 1 ? 0x00 : 0x11;
            add_bytes(out, jpeg_builder::segment(0xDA, {1, id, tables, 0, 63, 0}));
            add_bytes(out, joined({jpeg_builder::entropy_data(one), between}));
        }
        return load_code(joined({out, {0xFF, 0xD9}}));
    };
    const mode_scope on;
    EXPECT_EQ(scans({3, 1, 2}), 0);
    EXPECT_EQ(scans({1, 2}), -12) << "one is missing";
    EXPECT_EQ(scans({1, 2, 1}), -3) << "a component again";
    EXPECT_EQ(scans({1, 2, 9}), -3) << "a component of no frame";
    EXPECT_EQ(scans({1, 2, 3}, {0xFF, 0xC0, 0, 11, 8, 0, 16, 0, 16, 200, 2, 0x11, 0}), -7);
}

TEST(jpeg_writer, equals_the_plain_encoder)
{
    // Slopes and edges, noise, and the largest coefficients there are: checks and stripes of
    // the extreme colours.
    std::mt19937 random(1);
    const auto color_of = [&](int kind, int x, int y) -> uint32_t {
        if (kind == 0) return (x / 9 + y / 13) % 3 * 0x464600 + x * 3 % 256;
        if (kind == 1) return random() & 0xFFFFFF;
        const uint32_t both[] = {0x000000, 0xFFFFFF, 0xFF0000, 0x00FFFF, 0x0000FF, 0xFFFF00};
        return both[x / 16 % 3 * 2 + (y < 8 ? x & 1 : y < 16 ? (x ^ y) & 1 : y >> 2 & 1)];
    };
    enum format { colors, palette, grey };
    for (int n = 0; n < 4 * 4 * 3 * 3; ++n) {
        SCOPED_TRACE(n);
        IMGLOW_set_comp_quality(std::array{1, 50, 75, 100}[n % 4]);
        const int width = std::array{1, 8, 17, 100}[n / 4 % 4], height = width / 2 + 3;
        const auto what = static_cast<format>(n / 16 % 3);
        picture dib(width, height, what == colors ? 24 : 8);
        for (int i = 0; what != colors && i < 256; ++i) // the grey ones are not the ramp
            dib.set_color(i, rgb(255 - i, what == grey ? 255 - i : i / 2, 255 - i));
        for (int i = 0; i < width * height; ++i)
            dib.set_pixel(i % width, i / width, color_of(n / 48, i % width, i / width));
        const image_guard image(dib.create());
        const byte_vector file = save_bytes(image, 13);
        const size_t data_at = what == grey ? 405 : 621;
        ASSERT_GT(file.size(), data_at);
        EXPECT_TRUE(byte_vector(file.begin() + data_at, file.end()) ==
                    plain_jpeg::classic_data(copy_image(image), what == grey, file));
        const uint8_t count = what == grey ? 1 : 3, factors = what == grey ? 0x11 : 0x21;
        const byte_vector sides = {0, uint8_t(height), 0, uint8_t(width)};
        const byte_vector three = {count, 1, factors, 0, 2, 0x11, 1, 3, 0x11, 1, 0xFF, 0xC4};
        find(file, joined({{0xFF, 0xC0, 0, 17, 8}, sides, three}));
        EXPECT_EQ(find(file, {0xFF, 0xDA, 0, 14, count, 1, 0, 2, 0x11, 3, 0x11, 0, 0, 0, 63, 0}),
                  data_at - 16);
    }
}

TEST(jpeg_writer, leaves_the_peculiarities_out_in_interchange_mode)
{
    picture dib(40, 30, 24), grey(40, 30, 8);
    dib.set_resolution(300, 200);
    for (int i = 0; i < 256; ++i)
        grey.set_color(i, rgb(255 - i, 255 - i, 255 - i)); // index 0 everywhere: white
    const image_guard color_image(dib.create()), grey_image(grey.create());
    const byte_vector jfif = {0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F', 0, 1, 0, 1};
    find(save_bytes(color_image, 13), joined({jfif, {0, 96, 0, 96, 0, 0, 0xFF, 0xDB, 0, 132, 0}}));
    const mode_scope on;
    const byte_vector file = save_bytes(color_image, 13), grey_file = save_bytes(grey_image, 13);
    find(file, joined({jfif, {1, 44, 0, 200, 0, 0, 0xFF, 0xDB}}));
    find(file, {0xFF, 0xDA, 0, 12, 3, 1, 0, 2, 0x11, 3, 0x11, 0, 63, 0});
    find(grey_file, {0xFF, 0xC0, 0, 11, 8, 0, 30, 0, 40, 1, 1, 0x11, 0, 0xFF, 0xC4});
    find(grey_file, {0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 63, 0});
    EXPECT_EQ(picture_of(grey_file).color(3, 3), 0xFFFFFFu);
    picture flat(8, 8, 8);
    std::fill(flat.row(7), flat.row(0) + 8, uint8_t{128}); // the codes are 00 and 1010
    find(save_bytes(image_guard(flat.create()), 13), {63, 0, 0x2B, 0xFF, 0xD9});
}
