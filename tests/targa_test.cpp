// targa_test.cpp - Targa files in and out through the exports: exact bytes, every depth, row
// order and packet layout, both modes, damaged files.

#include "tests/builders/targa_builder.h"
#include "tests/support/images.h"

#include <random>

namespace {

class interchange_scope {
public:
    explicit interchange_scope(int mode = 1) { IMGX_set_interchange(mode); }
    ~interchange_scope() { IMGX_set_interchange(0); }
};

int32_t load(const byte_vector& file)
{
    return IMGX_decompress_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0);
}

int32_t load_code(const byte_vector& file)
{
    return std::min<int32_t>(image_guard(load(file)), 0);
}

// Colours 0xRRGGBB, top row first; empty when the load fails.
std::vector<uint32_t> loaded_colors(const byte_vector& file)
{
    const image_guard image(load(file));
    std::vector<uint32_t> colors;
    if (image < 0) return colors;
    const image_copy copy = copy_image(image);
    for (int32_t y = 0; y < copy.height; ++y)
        for (int32_t x = 0; x < copy.width; ++x)
            colors.push_back(copy.color(x, y));
    return colors;
}

byte_vector save(int32_t handle)
{
    byte_vector file(1 << 21);
    const int32_t size =
        IMGX_save_bitmap_mem(handle, file.data(), static_cast<uint32_t>(file.size()), 3);
    EXPECT_GE(size, 0);
    file.resize(static_cast<size_t>(std::max(size, 0)));
    return file;
}

uint32_t widen_555(uint32_t v)
{
    return (v >> 10 & 31) * 8 << 16 | (v >> 5 & 31) * 8 << 8 | (v & 31) * 8;
}

// What a pixel of the file shows; grey files only.
uint32_t color_of(const uint8_t* pixel, int depth)
{
    switch (depth) {
    case 8: return pixel[0] * 0x010101u;
    case 15:
    case 16: return widen_555(pixel[0] | uint32_t{pixel[1]} << 8);
    default: return pixel[0] | uint32_t{pixel[1]} << 8 | uint32_t{pixel[2]} << 16;
    }
}

byte_vector random_pixels(std::mt19937& random, size_t count, size_t bytes_per_pixel, int run)
{
    byte_vector pixels(count * bytes_per_pixel);
    for (size_t i = 0; i < pixels.size(); ++i) {
        const bool repeat = i >= bytes_per_pixel && random() % unsigned(run);
        pixels[i] = repeat ? pixels[i - bytes_per_pixel] : static_cast<uint8_t>(random());
    }
    return pixels;
}

enum class order { bottom_first, top_first };

// The rows of the picture without padding.
byte_vector file_rows(test_dib& dib, int32_t width, int32_t height, int32_t bytes_per_pixel,
                      order rows_from)
{
    byte_vector rows;
    for (int32_t i = 0; i < height; ++i) {
        const uint8_t* row = dib.row(rows_from == order::top_first ? i : height - 1 - i);
        rows.insert(rows.end(), row, row + ptrdiff_t{width} * bytes_per_pixel);
    }
    return rows;
}

} // namespace

TEST(targa_writer, classic_files_are_exact)
{
    const struct {
        const char* what;
        int32_t bits;
        bool color;
        byte_vector head;
    } rows[] = {
        {"grey", 8, false, {0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 0, 3, 0, 8, 0}},
        {"colour map", 8, true, {0, 1, 1, 0, 0, 0, 1, 24, 0, 0, 0, 0, 5, 0, 3, 0, 8, 0}},
        {"true colour", 24, true, {0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 0, 3, 0, 24, 0}},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.what);
        test_dib dib(5, 3, r.bits);
        dib.fill_random(9);
        if (r.bits == 8 && r.color) dib.set_color(200, 1, 2, 3);
        byte_vector expected = r.head;
        for (int i = 0; r.bits == 8 && r.color && i < 256; ++i) {
            const auto level = static_cast<uint8_t>(i);
            if (i == 200)
                expected.insert(expected.end(), {3, 2, 1});
            else
                expected.insert(expected.end(), 3, level);
        }
        const byte_vector pixels = file_rows(dib, 5, 3, r.bits / 8, order::bottom_first);
        expected.insert(expected.end(), pixels.begin(), pixels.end());
        EXPECT_EQ(save(image_guard(dib.create())), expected);
    }
}

TEST(targa_writer, interchange_packets_hold_the_picture)
{
    const interchange_scope interchange;
    for (int32_t bits : {8, 24})
        for (int32_t width : {1, 2, 3, 127, 128, 129, 130, 257, 700})
            for (int run : {1, 2, 6, 300}) {
                SCOPED_TRACE(testing::Message()
                             << bits << " bits, width " << width << ", run " << run);
                test_dib dib(width, 4, bits);
                dib.fill_random(static_cast<uint32_t>(width + run), run);
                const byte_vector file = save(image_guard(dib.create()));
                EXPECT_EQ(file[2], bits == 8 ? 11 : 10);
                const auto bytes_per_pixel = static_cast<size_t>(bits / 8);
                bool stops_at_rows = false;
                EXPECT_EQ(targa_unpack(file, 18, bytes_per_pixel, size_t(width), stops_at_rows),
                          file_rows(dib, width, 4, bits / 8, order::top_first));
                EXPECT_EQ(file[17], 0x20);
                EXPECT_TRUE(stops_at_rows);
                // One byte in 128 pixels is the most that packets may cost.
                const size_t packets = 4 * ((size_t(width) + 127) / 128 + 1);
                EXPECT_LE(file.size(), 18 + 4 * size_t(width) * bytes_per_pixel + packets);
                EXPECT_TRUE(run < 300 || width < 700 || file.size() < 300) << file.size();
            }
}

TEST(targa_writer, greys_in_another_order_keep_their_colours_in_interchange_mode)
{
    test_dib dib(16, 1, 8);
    for (int i = 0; i < 256; ++i)
        dib.set_color(i, 255 - i, 255 - i, 255 - i);
    for (int x = 0; x < 16; ++x)
        dib.set_pixel(x, 0, static_cast<uint32_t>(17 * x));
    const image_guard image(dib.create());
    for (int mode : {0, 1}) {
        const interchange_scope scope(mode);
        const byte_vector file = save(image);
        EXPECT_EQ(file[2], mode ? 9 : 3);
        EXPECT_EQ(loaded_colors(file)[3], mode ? 0xCCCCCCu : 0x333333u);
    }
}

TEST(targa_writer, refuses_what_the_format_cannot_hold)
{
    const temp_file file(".tga");
    for (int mode : {0, 1}) {
        const interchange_scope scope(mode);
        for (int32_t bits : {1, 4})
            EXPECT_EQ(IMG_save_bitmap(image_guard(test_dib(4, 4, bits).create()), file.name(), 3),
                      -7);
        EXPECT_EQ(IMG_save_bitmap(image_guard(test_dib(65536, 1, 8).create()), file.name(), 3), -7);
    }
}

TEST(targa_writer, a_full_disk_and_a_refusing_source)
{
    test_dib dib(64, 64, 24);
    dib.fill_random(1);
    const image_guard image(dib.create());
    const byte_vector whole = save(image);
    byte_vector out(whole.size());
    for (size_t capacity : {size_t{0}, size_t{17}, size_t{5000}, whole.size() - 1})
        EXPECT_EQ(IMGX_save_bitmap_mem(image, out.data(), static_cast<uint32_t>(capacity), 3), -9);
    const IMG_GET_RASTER refuse = [](IMG_PRIVATE, void*, int32_t row, int32_t) -> int32_t {
        return row == 60 ? -77 : 0;
    };
    EXPECT_EQ(IMGLOW_save_bitmap_mem(out.data(), dib.header(), 3, refuse, 0), -77);
}

TEST(targa_reader, every_depth_order_and_packet_layout)
{
    std::mt19937 random(4);
    for (int depth : {8, 15, 16, 24, 32})
        for (bool runs : {false, true})
            for (int descriptor : {0x00, 0x20, 0x10, 0x30})
                for (auto [width, height] : {std::pair(1, 1), {5, 4}, {67, 9}, {4000, 5}})
                    for (int mode : {0, 1}) {
                        SCOPED_TRACE(testing::Message()
                                     << depth << " bits, runs " << runs << ", descriptor "
                                     << descriptor << ", width " << width << ", mode " << mode);
                        const size_t step = size_t(depth + 7) / 8;
                        const size_t count = size_t(width) * size_t(height);
                        const byte_vector pixels = random_pixels(random, count, step, 3);
                        targa_builder tga;
                        tga.type = (depth == 8 ? 3 : 2) + (runs ? 8 : 0);
                        tga.width = width, tga.height = height;
                        tga.depth = depth, tga.descriptor = descriptor;
                        tga.id.assign(size_t(width) % 200, 'i');
                        tga.data = runs ? targa_packets(pixels, step, random) : pixels;
                        const interchange_scope scope(mode);
                        const std::vector<uint32_t> got = loaded_colors(tga.build());
                        ASSERT_EQ(got.size(), count);
                        for (int y = 0; y < height; ++y)
                            for (int x = 0; x < width; ++x) {
                                const int row = descriptor & 0x20 ? y : height - 1 - y;
                                const bool mirrored = descriptor & 0x10 && mode == 1;
                                const int column = mirrored ? width - 1 - x : x;
                                const size_t at = (size_t(row) * size_t(width) + size_t(column));
                                ASSERT_EQ(got[size_t(y) * size_t(width) + size_t(x)],
                                          color_of(&pixels[at * step], depth));
                            }
                    }
}

TEST(targa_reader, colour_maps)
{
    const byte_vector map16 = {0x1F, 0x00, 0xE0, 0x03, 0x00, 0xFC}; // blue, green, red
    const byte_vector map24 = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    const byte_vector map32 = {1, 2, 3, 99, 4, 5, 6, 99, 7, 8, 9, 99};
    const struct {
        const char* what;
        int bits, first;
        byte_vector map;
        uint32_t classic[3], interchange[3];
    } rows[] = {
        {"16 bits", 16, 0, map16, {0xF8, 0xF800, 0xF80000}, {0xF8, 0xF800, 0xF80000}},
        // Classic mode takes 15-bit entries for three bytes each.
        {"15 bits", 15, 0, map16, {0xE0001F, 0xFC0003, 0}, {0xF8, 0xF800, 0xF80000}},
        {"24 bits", 24, 0, map24, {0x030201, 0x060504, 0x090807}, {0x030201, 0x060504, 0x090807}},
        {"32 bits", 32, 0, map32, {0x030201, 0x060504, 0x090807}, {0x030201, 0x060504, 0x090807}},
        {"first 1", 24, 1, map24, {0x030201, 0x060504, 0x090807}, {0, 0x030201, 0x060504}},
        {"first 65535", 24, 65535, map24, {0x030201, 0x060504, 0x090807}, {0, 0, 0}},
    };
    for (const auto& r : rows)
        for (int mode : {0, 1}) {
            SCOPED_TRACE(testing::Message() << r.what << ", interchange " << mode);
            targa_builder tga;
            tga.type = 1, tga.depth = 8, tga.width = 3;
            tga.map_type = 1, tga.map_bits = r.bits, tga.map_first = r.first, tga.map_length = 3;
            tga.map = r.map;
            tga.id = {'i', 'd'};
            tga.data = {0, 1, 2};
            const interchange_scope scope(mode);
            const uint32_t* expected = mode ? r.interchange : r.classic;
            EXPECT_EQ(loaded_colors(tga.build()), std::vector<uint32_t>(expected, expected + 3));
        }
}

TEST(targa_reader, maps_that_are_longer_than_they_can_be_used)
{
    targa_builder tga;
    tga.map_type = 1, tga.map_bits = 24, tga.map_length = 65535;
    tga.map.assign(65535 * 3, 5);
    tga.type = 1, tga.depth = 8, tga.width = 2, tga.data = {255, 0};
    EXPECT_EQ(loaded_colors(tga.build()), (std::vector<uint32_t>{0x050505, 0x050505}));
    // A map in front of true colour is passed over.
    tga.type = 2, tga.depth = 24, tga.width = 1, tga.data = {1, 2, 3};
    EXPECT_EQ(loaded_colors(tga.build()), (std::vector<uint32_t>{0x030201}));
    tga.map.resize(100);
    tga.data.clear();
    EXPECT_EQ(load_code(tga.build()), -12);
}

TEST(targa_reader, one_run_can_cover_many_rows)
{
    targa_builder tga;
    tga.type = 10, tga.width = 3, tga.height = 6, tga.descriptor = 0x20;
    tga.data = {0x80 | 15, 1, 2, 3, 127, 4, 5, 6, 7, 8, 9}; // the second goes on past the end
    std::vector<uint32_t> expected(16, 0x030201);
    expected.insert(expected.end(), {0x060504, 0x090807});
    // A raw packet that is cut short ends the data only where a pixel is missing.
    EXPECT_EQ(loaded_colors(tga.build()), expected);
    tga.data.pop_back();
    EXPECT_EQ(load_code(tga.build()), -12);
}

TEST(targa_reader, damaged_files)
{
    targa_builder tga;
    tga.width = 0;
    EXPECT_EQ(load_code(tga.build()), -3);
    tga.width = 5, tga.height = 0;
    EXPECT_EQ(load_code(tga.build()), -3);
    tga.width = tga.height = 65535;
    EXPECT_EQ(load_code(tga.build()), -1);
    tga.width = tga.height = 2;
    EXPECT_EQ(load_code(tga.build()), -12); // no pixels at all
    for (int depth : {0, 1, 4, 12, 48, 255}) {
        tga.depth = depth;
        EXPECT_EQ(load_code(tga.build()), -7) << depth;
    }
}

TEST(targa_reader, every_cut_gives_a_code_or_rows)
{
    std::mt19937 random(6);
    for (int type : {1, 2, 9, 10}) {
        targa_builder tga;
        tga.type = type, tga.width = 20, tga.height = 12;
        tga.depth = type & 1 ? 8 : 24;
        tga.map_type = type & 1, tga.map_bits = 24, tga.map_length = type & 1 ? 100 : 0;
        tga.map.assign(size_t(tga.map_length) * 3, 77);
        const size_t step = size_t(tga.depth) / 8;
        const byte_vector pixels = random_pixels(random, 240, step, 3);
        tga.data = type > 8 ? targa_packets(pixels, step, random) : pixels;
        const byte_vector file = tga.build();
        const size_t data_at = file.size() - tga.data.size();
        for (size_t size = 3; size < file.size(); ++size) {
            SCOPED_TRACE(testing::Message() << "type " << type << " cut at " << size);
            const byte_vector cut(file.begin(), file.begin() + static_cast<ptrdiff_t>(size));
            const int32_t code = load_code(cut);
            // The rows of an uncompressed file come in chunks; a chunk that has begun counts.
            const bool begun = type < 8 && size > data_at;
            EXPECT_EQ(code, begun ? 0 : -12);
        }
    }
}

TEST(targa_reader, a_chunk_that_is_missing_is_damage)
{
    // Rows of 3000 bytes: three in a chunk of 10000.
    targa_builder tga;
    tga.width = 1000, tga.height = 7;
    tga.data.assign(7 * 3000, 200);
    const struct {
        size_t rows_bytes;
        int32_t code;
    } cuts[] = {{9000, -12}, {9001, -12}, {18000, -12}, {18001, 0}, {20999, 0}};
    for (const auto& cut : cuts) {
        byte_vector file = tga.build();
        file.resize(18 + cut.rows_bytes);
        EXPECT_EQ(load_code(file), cut.code) << cut.rows_bytes;
    }
}
