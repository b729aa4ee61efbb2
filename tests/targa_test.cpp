// targa_test.cpp - Targa files in and out through the exports: exact bytes, every depth, row
// order and packet layout, both modes.

#include "tests/builders/targa_builder.h"

namespace {

constexpr int32_t targa = 3;

// What a pixel shows. Five bits a colour: classic mode leaves the low bits 0.
uint32_t color_of(const uint8_t* pixel, int depth, int mode)
{
    if (depth == 8) return pixel[0] * 0x010101u;
    if (depth >= 24) return pixel[0] | uint32_t{pixel[1]} << 8 | uint32_t{pixel[2]} << 16;
    uint32_t color = 0;
    for (int shift : {10, 5, 0}) {
        const uint32_t five = (pixel[0] | uint32_t{pixel[1]} << 8) >> shift & 31;
        color = color << 8 | (mode ? five * 8 | five / 4 : five * 8);
    }
    return color;
}

byte_vector random_pixels(std::mt19937& random, size_t count, size_t bytes_per_pixel)
{
    byte_vector pixels(count * bytes_per_pixel);
    for (size_t i = 0; i < pixels.size(); ++i) {
        const bool repeat = i >= bytes_per_pixel && random() % 3;
        pixels[i] = repeat ? pixels[i - bytes_per_pixel] : uint8_t(random());
    }
    return pixels;
}

} // namespace

TEST(targa_writer, classic_files_are_exact)
{
    const struct {
        int32_t bits;
        bool color;
        byte_vector head;
    } rows[] = {
        {8, false, {0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 0, 3, 0, 8, 0}},
        {8, true, {0, 1, 1, 0, 0, 0, 1, 24, 0, 0, 0, 0, 5, 0, 3, 0, 8, 0}},
        {24, true, {0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 0, 3, 0, 24, 0}},
    };
    for (const auto& r : rows) {
        picture dib = random_picture(5, 3, r.bits);
        dib.set_colors(picture(1, 1, r.bits).colors());
        if (r.bits == 8 && r.color) dib.set_color(200, rgb(1, 2, 3));
        byte_vector expected = r.head;
        for (int i = 0; r.bits == 8 && r.color && i < 256; ++i)
            add_le(expected, i == 200 ? 0x010203 : uint64_t(i) * 0x010101, 3);
        for (int32_t y = 3; y-- > 0;)
            expected.insert(expected.end(), dib.row(y), dib.row(y) + 5 * r.bits / 8);
        EXPECT_EQ(save_bytes(image_guard(dib.create()), targa), expected) << r.bits << r.color;
    }
}

TEST(targa_writer, interchange_packets_are_exact)
{
    // Runs of three pixels and more, packets of 128 at most, none beyond its row.
    const mode_scope interchange;
    picture dib(133, 2, 24);
    for (int x = 0; x < 133; ++x) {
        dib.set_pixel(x, 0, x < 130 ? 0x010203 : 0x040506u + uint32_t(x / 132));
        dib.set_pixel(x, 1, x < 129 ? uint32_t(x) : 0x040506);
    }
    byte_vector expected = {0xFF, 3, 2, 1, 0x81, 3, 2, 1, 2, 6, 5, 4, 6, 5, 4, 7, 5, 4, 127};
    for (int x = 0; x < 128; ++x)
        add_le(expected, uint64_t(x), 3);
    add_bytes(expected, {0, 128, 0, 0, 0x83, 6, 5, 4});
    const byte_vector file = save_bytes(image_guard(dib.create()), targa);
    EXPECT_EQ(file[2], 10);
    EXPECT_EQ(file[17], 0x20);
    EXPECT_EQ(byte_vector(file.begin() + 18, file.end()), expected);
}

TEST(targa_writer, greys_in_another_order_keep_their_colours_in_interchange_mode)
{
    picture dib(16, 1, 8);
    for (int i = 0; i < 256; ++i)
        dib.set_color(i, rgb(255 - i, 255 - i, 255 - i));
    dib.set_pixel(3, 0, 51);
    const image_guard image(dib.create());
    for (int mode : {0, 1}) {
        const mode_scope scope(mode);
        const byte_vector file = save_bytes(image, targa);
        EXPECT_EQ(file[2], mode ? 9 : 3);
        EXPECT_EQ(picture_of(file).color(3, 0), mode ? 0xCCCCCCu : 0x333333u);
    }
}

TEST(targa_reader, every_depth_order_and_packet_layout)
{
    std::mt19937 random(4);
    for (int depth : {8, 15, 16, 24, 32})
        for (bool runs : {false, true})
            for (int descriptor : {0x00, 0x20, 0x10, 0x30})
                for (auto [width, height] : {std::pair(1, 1), {5, 4}, {67, 9}, {4000, 5}})
                    for (int mode : {0, 1}) {
                        SCOPED_TRACE(testing::Message() << depth << " " << runs << " " << descriptor
                                                        << " " << width << " " << mode);
                        const size_t step = size_t(depth + 7) / 8;
                        const byte_vector pixels =
                            random_pixels(random, size_t(width) * size_t(height), step);
                        targa_builder tga;
                        tga.type = (depth == 8 ? 3 : 2) + (runs ? 8 : 0);
                        tga.width = width, tga.height = height;
                        tga.depth = depth, tga.descriptor = descriptor;
                        tga.id.assign(size_t(width) % 200, 'i');
                        tga.data = runs ? targa_packets(pixels, step, random) : pixels;
                        const mode_scope scope(mode);
                        values expected;
                        for (int y = 0; y < height; ++y)
                            for (int x = 0; x < width; ++x) {
                                const int row = descriptor & 0x20 ? y : height - 1 - y;
                                const bool mirrored = descriptor & 0x10 && mode == 1;
                                const int at = row * width + (mirrored ? width - 1 - x : x);
                                expected.push_back(
                                    color_of(&pixels[size_t(at) * step], depth, mode));
                            }
                        ASSERT_EQ(colors_in(tga), expected);
                    }
}

TEST(targa_reader, interchange_mode_knows_bits_and_greys_with_attributes)
{
    targa_builder tga;
    tga.descriptor = 0x20, tga.width = 3, tga.height = 2;
    tga.type = 3, tga.depth = 1, tga.data = {0xBF, 0x40};
    EXPECT_EQ(load_code(tga), -7);
    const values bits = {0xFFFFFF, 0, 0xFFFFFF, 0, 0xFFFFFF, 0}, greys(6, 0x212121);
    {
        const mode_scope interchange;
        EXPECT_EQ(colors_in(tga), bits);
        EXPECT_EQ(picture_of(tga).bits, 1);
        tga.type = 11, tga.depth = 16, tga.data = {0x85, 33, 99};
        tga.id.assign(10, 'i'); // as PCX begins
        EXPECT_EQ(colors_in(tga), greys);
        tga.type = 9; // indices of 16 bits
        EXPECT_EQ(load_code(tga), -7);
    }
    EXPECT_EQ(load_code(tga), -3);
    tga.id.clear();
    EXPECT_EQ(colors_in(tga), values(6, 0xC0C808)); // 0x6321
}

TEST(targa_reader, colour_maps)
{
    const byte_vector map16 = {0x1F, 0x00, 0xE0, 0x03, 0x00, 0xFC}; // blue, green, red
    const byte_vector map24 = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    const byte_vector map32 = {1, 2, 3, 99, 4, 5, 6, 99, 7, 8, 9, 99};
    const struct {
        int bits, first;
        byte_vector map;
        values classic, interchange;
    } rows[] = {
        {16, 0, map16, {0xF8, 0xF800, 0xF80000}, {0xFF, 0xFF00, 0xFF0000}},
        // Classic mode takes 15-bit entries for three bytes each.
        {15, 0, map16, {0xE0001F, 0xFC0003, 0}, {0xFF, 0xFF00, 0xFF0000}},
        {24, 0, map24, {0x030201, 0x060504, 0x090807}, {0x030201, 0x060504, 0x090807}},
        {32, 0, map32, {0x030201, 0x060504, 0x090807}, {0x030201, 0x060504, 0x090807}},
        {24, 1, map24, {0x030201, 0x060504, 0x090807}, {0, 0x030201, 0x060504}},
        {24, 65535, map24, {0x030201, 0x060504, 0x090807}, {0, 0, 0}},
        {24, 0, byte_vector(65535 * 3, 5), values(3, 0x050505), values(3, 0x050505)},
    };
    for (const auto& r : rows)
        for (int mode : {0, 1}) {
            SCOPED_TRACE(testing::Message() << r.bits << ", " << r.first << ", mode " << mode);
            targa_builder tga;
            tga.type = 1, tga.depth = 8, tga.width = 3;
            tga.map_bits = r.bits, tga.map_first = r.first, tga.map = r.map;
            tga.map_length = int(r.map.size() / (r.bits == 32 ? 4 : r.bits == 24 ? 3 : 2));
            tga.id = {'i', 'd'};
            tga.data = {0, 1, 2};
            const mode_scope scope(mode);
            EXPECT_EQ(colors_in(tga), mode ? r.interchange : r.classic);
            EXPECT_EQ(picture_of(tga).bytes[43], r.bits == 32 ? 99 : 0);
            // A map in front of true colour is passed over.
            tga.type = 2, tga.depth = 24, tga.width = 1, tga.data = {1, 2, 3};
            EXPECT_EQ(colors_in(tga), values{0x030201});
        }
}

TEST(targa_reader, a_chunk_that_is_missing_is_damage)
{
    // Rows of 3000 bytes: three in a chunk of 10000.
    targa_builder tga;
    tga.width = 1000, tga.height = 6;
    tga.data.assign(6 * 3000, 200);
    for (auto [bytes, code] :
         {std::pair(0, -12), {1, -12}, {8999, -12}, {9000, -12}, {9001, 0}, {17999, 0}}) {
        byte_vector file = tga;
        file.resize(18 + size_t(bytes));
        EXPECT_EQ(load_code(file), code) << bytes;
    }
}
