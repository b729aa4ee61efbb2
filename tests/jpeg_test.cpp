// jpeg_test.cpp - JPEG files in and out through the exports: pixels against the plain decoder,
// what classic and interchange mode read differently, damaged files, exact bytes on writing.

#include "platform/win32.h"
#include "tests/builders/jpeg_builder.h"
#include "tests/builders/plain_jpeg.h"
#include "tests/support/images.h"

namespace {

using jpeg_builder::picture;

struct interchange {
    interchange() { IMGX_set_interchange(1); }
    ~interchange() { IMGX_set_interchange(0); }
};

int32_t load(const byte_vector& file)
{
    return IMGX_decompress_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0);
}

plain_jpeg::image pixels_of(int32_t handle)
{
    const image_copy copy = copy_image(handle);
    plain_jpeg::image out{copy.width, copy.height, copy.bits / 8, {}};
    for (int32_t y = 0; y < copy.height; ++y)
        for (int32_t x = 0; x < copy.width; ++x)
            for (int32_t b = 0; b < out.bytes_per_pixel; ++b)
                out.pixels.push_back(static_cast<uint8_t>(copy.pixel(x, y) >> 8 * b));
    return out;
}

void expect_equal(const plain_jpeg::image& got, const plain_jpeg::image& wanted)
{
    ASSERT_EQ(got.width, wanted.width);
    ASSERT_EQ(got.height, wanted.height);
    ASSERT_EQ(got.bytes_per_pixel, wanted.bytes_per_pixel);
    const auto different =
        std::mismatch(got.pixels.begin(), got.pixels.end(), wanted.pixels.begin());
    const auto at = different.first - got.pixels.begin();
    EXPECT_TRUE(different.first == got.pixels.end())
        << "byte " << at % (got.width * got.bytes_per_pixel) << " of row "
        << at / (got.width * got.bytes_per_pixel);
}

void expect_plain_result(const picture& p)
{
    const byte_vector file = jpeg_builder::stream(p);
    const image_guard image(load(file));
    ASSERT_GE(image, 0);
    expect_equal(pixels_of(image), plain_jpeg::decoder(file).decode());
}

// The rows that a low-level load delivers.
struct collected_rows {
    int32_t headers = 0, rows = 0, last_bytes = 0, stop_at = -1;
    byte_vector first_row;
};
int32_t IMG_C take_header(const BITMAPINFOHEADER*, IMG_PRIVATE p)
{
    ++reinterpret_cast<collected_rows*>(p)->headers;
    return 1;
}
int32_t IMG_C take_row(const void* row, IMG_PRIVATE p, int32_t index, int32_t count)
{
    auto& rows = *reinterpret_cast<collected_rows*>(p);
    EXPECT_EQ(index, rows.rows);
    const auto* bytes = static_cast<const uint8_t*>(row);
    if (rows.rows == 0) rows.first_row.assign(bytes, bytes + count);
    ++rows.rows;
    rows.last_bytes = count;
    return rows.rows == rows.stop_at ? -77 : 0;
}
int32_t load_rows(const byte_vector& data, collected_rows& rows)
{
    const temp_file file(".jpg");
    write_file(file.name(), data);
    OFSTRUCT opened;
    const HFILE handle = OpenFile(file.name(), &opened, OF_READ);
    const int32_t result = IMGLOW_decompress_bitmap(
        handle, 0, 0, take_row, reinterpret_cast<IMG_PRIVATE>(&rows), take_header);
    _lclose(handle);
    return result;
}

byte_vector without_eoi(byte_vector file, size_t more = 0)
{
    file.resize(file.size() - 2 - more);
    return file;
}

} // namespace

TEST(jpeg_reader, equals_the_plain_decoder_for_every_sampling)
{
    for (int h = 1; h <= 4; ++h)
        for (int v = 1; v <= 4; ++v)
            for (int size : {1, 7, 16, 33, 70}) {
                SCOPED_TRACE(testing::Message() << h << "x" << v << " size " << size);
                picture p = jpeg_builder::color_picture(size, 71 - size, h, v);
                p.seed = static_cast<uint32_t>(100 * h + 10 * v + size);
                expect_plain_result(p);
            }
}

TEST(jpeg_reader, equals_the_plain_decoder_for_sparse_dense_and_extreme_blocks)
{
    const struct {
        int nonzero, amplitude, factor;
    } kinds[] = {{0, 100, 3}, {2, 20, 2}, {30, 3, 1}, {60, 200, 4}, {20, 1023, 8}, {60, 1023, 255}};
    for (const auto& kind : kinds)
        for (int components : {1, 3, 4}) {
            SCOPED_TRACE(testing::Message() << kind.nonzero << " of " << kind.amplitude << ", "
                                            << components << " components");
            picture p = jpeg_builder::color_picture(90, 50, 2, 1);
            p.components.resize(3);
            if (components == 1) p.components.resize(1);
            if (components == 4) p.components.push_back({2, 1, 1, 1, 1});
            p.nonzero = kind.nonzero;
            p.amplitude = kind.amplitude;
            for (auto& table : p.quant)
                for (int& q : table)
                    q = std::min(255, q * kind.factor);
            expect_plain_result(p);
        }
}

TEST(jpeg_reader, equals_the_plain_decoder_for_every_phase_of_restarts)
{
    for (int interval = 1; interval <= 13; ++interval)
        for (const bool standard : {false, true}) {
            SCOPED_TRACE(interval);
            picture p = jpeg_builder::color_picture(40, 40, 1 + interval % 2, 1 + interval % 3);
            p.restart_interval = interval;
            p.seed = static_cast<uint32_t>(interval);
            IMGX_set_interchange(standard);
            expect_plain_result(p);
            IMGX_set_interchange(0);
        }
}

TEST(jpeg_reader, needs_no_end_marker_after_a_last_restart)
{
    picture p = jpeg_builder::color_picture(32, 16, 1, 1);
    p.restart_interval = 4; // two rows of four: the last MCU ends an interval
    const byte_vector file = jpeg_builder::stream(p);
    const image_guard whole(load(file));
    const image_guard cut(load(without_eoi(file)));
    ASSERT_GE(cut, 0);
    expect_same_colors(copy_image(cut), copy_image(whole));
}

TEST(jpeg_reader, keeps_the_pace_over_buffer_ends)
{
    // Several classic buffers of data, ends falling at all places of blocks.
    for (uint32_t seed = 0; seed < 8; ++seed) {
        picture p = jpeg_builder::color_picture(300, 100 + static_cast<int>(seed), 2, 2);
        p.seed = seed;
        p.nonzero = 50;
        p.amplitude = 500;
        expect_plain_result(p);
    }
}

TEST(jpeg_reader, classic_table_rules)
{
    // Any selector but 0 is table 1; the third component's AC selector is its DC selector.
    picture p = jpeg_builder::color_picture(24, 24, 1, 1);
    p.components[1].quant = 3;
    p.components[2].quant = 2;
    p.components[2].dc = 1; // coded with DC 1 and AC 1, announced as 0x01
    byte_vector file = jpeg_builder::stream(p);
    p.components[1].quant = p.components[2].quant = 1;
    p.quant[2] = p.quant[3] = p.quant[1];
    const byte_vector same = jpeg_builder::stream(p);
    const size_t scan_header = jpeg_builder::headers(p).size() - 10;
    ASSERT_EQ(file[scan_header + 6], 0x11);
    file[scan_header + 6] = 0x01;
    const image_guard a(load(file)), b(load(same));
    ASSERT_GE(a, 0);
    ASSERT_GE(b, 0);
    expect_same_colors(copy_image(a), copy_image(b));

    // The standard's reading uses table 3 and 2 as they are.
    const interchange on;
    const image_guard c(load(jpeg_builder::stream(p)));
    file[scan_header + 6] = 0x11;
    const image_guard d(load(file));
    ASSERT_GE(d, 0);
    EXPECT_NE(copy_image(c).bmp, copy_image(d).bmp);
}

TEST(jpeg_reader, reads_scan_headers_with_spare_bytes)
{
    picture p = jpeg_builder::color_picture(20, 20, 2, 1);
    p.sos_pad = true;
    expect_plain_result(p);
    const interchange on;
    expect_plain_result(p);
}

TEST(jpeg_reader, limits_the_width_in_classic_mode_only)
{
    const struct {
        int width, h, v;
        int classic;
    } cases[] = {{8128, 1, 1, 0}, {8129, 1, 1, -1}, {4064, 2, 2, 0}, {4065, 2, 2, -1}};
    for (const auto& c : cases) {
        picture p = jpeg_builder::color_picture(c.width, 8, c.h, c.v);
        p.nonzero = 0;
        const byte_vector file = jpeg_builder::stream(p);
        const image_guard classic(load(file));
        EXPECT_EQ(std::min<int32_t>(classic, 0), c.classic) << c.width;
        const interchange on;
        const image_guard standard(load(file));
        EXPECT_GE(standard, 0) << c.width;
        expect_equal(pixels_of(standard), plain_jpeg::decoder(file).decode());
    }
}

TEST(jpeg_reader, refuses_with_the_documented_code)
{
    const auto sized = [](int width, int height) {
        picture p;
        p.width = width;
        p.height = height;
        return p;
    };
    picture two = jpeg_builder::color_picture(16, 16, 1, 1);
    two.components.resize(2);
    picture five = jpeg_builder::color_picture(16, 16, 1, 1);
    five.components.resize(5);
    picture zero_factor = jpeg_builder::color_picture(16, 16, 1, 1);
    byte_vector zero = jpeg_builder::stream(zero_factor);
    const byte_vector component{1, 0x11, 0, 2, 0x11, 1};
    *(std::search(zero.begin(), zero.end(), component.begin(), component.end()) + 1) = 0x01;
    byte_vector bad_precision = jpeg_builder::stream(picture());
    bad_precision[6] = 0x20;
    const byte_vector whole = jpeg_builder::stream(picture());
    const struct {
        const char* fault;
        byte_vector file;
        int32_t expected;
    } cases[] = {
        {"two components", jpeg_builder::stream(two), -7},
        {"five components", jpeg_builder::stream(five), -7},
        {"no width", jpeg_builder::stream(sized(0, 8)), -3},
        {"no height", jpeg_builder::stream(sized(8, 0)), -3},
        {"sampling factor 0", zero, -3},
        {"table precision 2", bad_precision, -3},
        {"ends before the scan", byte_vector(whole.begin(), whole.begin() + 200), -3},
        {"nothing but SOI", {0xFF, 0xD8, 0, 0, 0, 0, 0, 0, 0, 0}, -3},
        {"no data behind the scan header", jpeg_builder::headers(picture()), -12},
    };
    for (const auto& c : cases) {
        const image_guard image(load(c.file));
        EXPECT_EQ(image, c.expected) << c.fault;
    }
}

TEST(jpeg_reader, tells_a_run_past_the_block)
{
    picture p;
    p.width = p.height = 8;
    byte_vector file = jpeg_builder::headers(p);
    const auto add = [&](const std::vector<int>& symbols, byte_vector out) {
        jpeg_builder::bit_writer bits(out);
        bits.put(p.dc[0].code(0));
        for (int s : symbols) {
            bits.put(p.ac[0].code(s));
            bits.put(std::string(static_cast<size_t>(s & 15), '1'));
        }
        bits.pad('1');
        return out;
    };
    const image_guard past(load(add({0xF0, 0xF0, 0xF0, 0x01, 0xF1}, file)));
    EXPECT_EQ(past, -3);
    // Three runs of 16 lead to position 49, a run of 15 from there exactly to 64.
    const image_guard exact(load(add({0xF0, 0xF0, 0xF0, 0xF1}, file)));
    EXPECT_GE(exact, 0);
}

TEST(jpeg_reader, gives_the_rows_so_far_of_cut_data)
{
    picture p = jpeg_builder::color_picture(64, 64, 1, 1);
    const byte_vector file = jpeg_builder::stream(p);
    const size_t data_at = jpeg_builder::headers(p).size();
    for (size_t end = data_at; end < file.size() - 2; end += 11) {
        SCOPED_TRACE(end);
        const byte_vector cut(file.begin(), file.begin() + static_cast<ptrdiff_t>(end));
        collected_rows classic;
        const int32_t result = load_rows(cut, classic);
        EXPECT_TRUE(result >= 0 || result == -3 || result == -12) << result;
        EXPECT_EQ(result >= 0, classic.rows == 64);

        const interchange on;
        collected_rows standard;
        EXPECT_EQ(load_rows(cut, standard), -12);
        EXPECT_EQ(standard.rows % 8, 0);
        EXPECT_LT(standard.rows, 64);
        EXPECT_GE(standard.rows + 16,
                  static_cast<int32_t>(64 * (end - data_at) / (file.size() - data_at)) / 8 * 8 - 8);
    }
}

TEST(jpeg_reader, goes_on_with_the_bytes_before_in_classic_mode)
{
    // The data end in the second buffer or later; what is left of the one before is decoded.
    int decoded = 0;
    for (uint32_t seed = 0; seed < 150; ++seed) {
        SCOPED_TRACE(seed);
        picture p = jpeg_builder::color_picture(160, 120, 1, 1);
        p.seed = seed;
        p.nonzero = 30;
        byte_vector file = jpeg_builder::stream(p);
        file.resize(file.size() - 10 - 3 * seed);
        const plain_jpeg::image wanted = plain_jpeg::decoder(file).decode();
        const image_guard image(load(file));
        ASSERT_EQ(image < 0, wanted.pixels.empty());
        if (image < 0) continue;
        expect_equal(pixels_of(image), wanted);
        ++decoded;
    }
    EXPECT_GT(decoded, 3);
}

TEST(jpeg_reader, stops_where_a_marker_is_missing_or_misplaced)
{
    picture p = jpeg_builder::color_picture(64, 64, 1, 1);
    p.restart_interval = 8;
    const byte_vector file = jpeg_builder::stream(p);
    byte_vector missing = file, wrong = file;
    for (size_t i = jpeg_builder::headers(p).size(); i + 3 < file.size(); ++i)
        if (file[i] == 0xFF && file[i + 1] == 0xD3)
            missing[i] = missing[i + 1] = 0x55;
        else if (file[i] == 0xFF && file[i + 1] == 0xD4)
            wrong[i + 1] = 0xD1;
    for (const bool standard : {false, true}) {
        IMGX_set_interchange(standard);
        collected_rows rows;
        EXPECT_GE(load_rows(wrong, rows), 0) << "numbers are not compared";
        EXPECT_EQ(rows.rows, 64);
        collected_rows fewer;
        const int32_t result = load_rows(missing, fewer);
        EXPECT_TRUE(result == -3 || result == -12) << result;
        EXPECT_LT(fewer.rows, 64);
        EXPECT_GE(fewer.rows, 24);
    }
    IMGX_set_interchange(0);
}

TEST(jpeg_reader, other_frames_are_refused_in_interchange_mode)
{
    for (int marker : {0xC2, 0xC3, 0xC5, 0xC9, 0xCA}) {
        picture p = jpeg_builder::color_picture(16, 16, 1, 1);
        p.frame_marker = marker;
        const byte_vector file = jpeg_builder::stream(p);
        const image_guard classic(load(file));
        EXPECT_EQ(classic, -3) << "no frame is left for the scan";
        const interchange on;
        collected_rows rows;
        EXPECT_EQ(load_rows(file, rows), -7);
        EXPECT_EQ(rows.headers, 0);
    }
}

TEST(jpeg_reader, refuses_several_scans_that_do_not_fit)
{
    const picture p = jpeg_builder::color_picture(16, 16, 1, 1);
    byte_vector before = jpeg_builder::headers(p);
    before.resize(before.size() - 14); // the scan header
    // Scans of one component each, with its data.
    const auto scans = [&](std::initializer_list<uint8_t> ids, const byte_vector& between = {}) {
        byte_vector file = before;
        for (uint8_t id : ids) {
            picture one = p;
            one.components = {p.components[id == 1 ? 0 : 1]};
            const auto selectors = static_cast<uint8_t>(id == 1 ? 0x00 : 0x11);
            jpeg_builder::put_segment(file, 0xDA, {1, id, selectors, 0, 63, 0});
            const byte_vector data = jpeg_builder::entropy_data(one);
            file.insert(file.end(), data.begin(), data.end());
            file.insert(file.end(), between.begin(), between.end());
        }
        jpeg_builder::put16(file, 0xFFD9);
        return file;
    };
    byte_vector frame;
    jpeg_builder::put_segment(frame, 0xC0, {8, 0, 16, 0, 16, 200, 2, 0x11, 0});
    const struct {
        const char* fault;
        byte_vector file;
        int32_t expected;
    } cases[] = {
        {"none", scans({1, 2, 3}), 0},
        {"another order", scans({3, 1, 2}), 0},
        {"a scan is missing", scans({1, 2}), -12},
        {"a component again", scans({1, 2, 1}), -3},
        {"a component of no frame", scans({1, 2, 9}), -3},
        {"a second frame", scans({1, 2, 3}, frame), -7},
    };
    const interchange on;
    for (const auto& c : cases) {
        const image_guard image(load(c.file));
        EXPECT_EQ(std::min<int32_t>(image, 0), c.expected) << c.fault;
    }
}

TEST(jpeg_reader, adobe_marked_colors_in_interchange_mode)
{
    const auto adobe = [](uint8_t transform) {
        jpeg_builder::bytes out;
        jpeg_builder::put_segment(out, 0xEE,
                                  {'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, transform});
        return out;
    };
    // Flat colours: DC only, so that each component is one value.
    picture p = jpeg_builder::color_picture(8, 8, 1, 1);
    p.nonzero = 0;
    p.amplitude = 50;
    const auto load_first = [&] {
        collected_rows rows;
        EXPECT_GE(load_rows(jpeg_builder::stream(p), rows), 0);
        rows.first_row.resize(3);
        return rows.first_row;
    };
    // What a component's first coefficient decodes to, in the order they are coded.
    const auto sample = [&](int component) {
        std::mt19937 random(p.seed);
        int dc = 0;
        for (int i = 0; i <= component; ++i)
            dc = static_cast<int>(random() % 101) - 50;
        plain_jpeg::block b{};
        b[0] = dc * p.quant[0][0];
        return plain_jpeg::inverse_dct(b)[0] + 128;
    };
    for (auto& c : p.components)
        c.quant = 0;
    const interchange on;
    p.extra_segments = adobe(0);
    for (size_t i = 0; i < 3; ++i)
        EXPECT_EQ(load_first()[2 - i], sample(static_cast<int>(i)));

    p.components.push_back({1, 1, 0, 0, 0});
    const byte_vector cmyk = load_first();
    for (size_t i = 0; i < 3; ++i)
        EXPECT_NEAR(cmyk[2 - i], sample(static_cast<int>(i)) * sample(3) / 255.0, 0.5);

    // YCCK: the colours of Y, Cb, Cr are the complements of the inks.
    p.extra_segments = adobe(2);
    const byte_vector ycck = load_first();
    const double y = sample(0), cb = sample(1) - 128, cr = sample(2) - 128, k = sample(3) / 255.0;
    EXPECT_NEAR(ycck[2], (255 - (y + 1.402 * cr)) * k, 1.5);
    EXPECT_NEAR(ycck[1], (255 - (y - 0.34414 * cb - 0.71414 * cr)) * k, 1.5);
    EXPECT_NEAR(ycck[0], (255 - (y + 1.772 * cb)) * k, 1.5);
}

TEST(jpeg_reader, passes_on_what_the_client_answers)
{
    collected_rows rows;
    rows.stop_at = 5;
    EXPECT_EQ(load_rows(jpeg_builder::stream(picture()), rows), -77);
    EXPECT_EQ(rows.rows, 5);
}

TEST(jpeg_reader, describes_components_and_sampling)
{
    picture p = jpeg_builder::color_picture(16, 16, 2, 1);
    const temp_file file(".jpg");
    write_file(file.name(), jpeg_builder::stream(p));
    OFSTRUCT opened;
    const HFILE handle = OpenFile(file.name(), &opened, OF_READ);
    IMGX_PAGE_INFO info;
    EXPECT_EQ(IMGX_get_page_info(handle, 0, 0, &info), 0);
    _lclose(handle);
    EXPECT_EQ(info.type, 13);
    EXPECT_EQ(info.components, 3);
    const int32_t sampling[] = {0x21, 0x11, 0x11, 0};
    EXPECT_TRUE(std::equal(sampling, sampling + 4, info.sampling));
}
