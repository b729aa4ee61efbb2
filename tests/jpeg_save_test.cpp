// jpeg_save_test.cpp - JPEG files written through the exports: classic files byte for byte
// against the plain encoder, the headers of both modes, quality, codes.

#include "tests/builders/plain_jpeg_encoder.h"
#include "tests/support/images.h"

namespace {

struct interchange {
    interchange() { IMGX_set_interchange(1); }
    ~interchange() { IMGX_set_interchange(0); }
};
struct quality {
    explicit quality(int q) { IMGLOW_set_comp_quality(q); }
    ~quality() { IMGLOW_set_comp_quality(50); }
};

byte_vector save(int32_t handle, int32_t expected_sign = 1)
{
    byte_vector file(1 << 20);
    const int32_t size =
        IMGX_save_bitmap_mem(handle, file.data(), static_cast<uint32_t>(file.size()), 13);
    EXPECT_EQ(size > 0, expected_sign > 0) << size;
    file.resize(static_cast<size_t>(std::max(size, 0)));
    return file;
}

struct segment {
    int marker;
    size_t begin, end; // of the body
};

std::vector<segment> segments_of(const byte_vector& file)
{
    std::vector<segment> out;
    for (size_t at = 2; at + 4 <= file.size();) {
        const int marker = file[at + 1];
        const auto length = static_cast<size_t>(file[at + 2] * 256 + file[at + 3]);
        out.push_back({marker, at + 4, at + 2 + length});
        at += 2 + length;
        if (marker == 0xDA) break;
    }
    return out;
}

byte_vector body(const byte_vector& file, const segment& s)
{
    return byte_vector(file.begin() + static_cast<ptrdiff_t>(s.begin),
                       file.begin() + static_cast<ptrdiff_t>(s.end));
}

// A classic file must have the plain encoder's tables and data.
void expect_plain_file(const byte_vector& file, const plain_jpeg::source& from, int q)
{
    plain_jpeg::encoder plain(q);
    size_t data_at = 0;
    for (const segment& s : segments_of(file)) {
        data_at = s.end;
        if (s.marker == 0xDB) {
            EXPECT_EQ(body(file, s), plain.quantisation_segment());
        }
        if (s.marker != 0xC4) continue;
        jpeg_builder::huffman table;
        for (size_t i = 0; i < 16; ++i)
            table.counts[i] = file[s.begin + 1 + i];
        table.symbols.assign(file.begin() + static_cast<ptrdiff_t>(s.begin + 17),
                             file.begin() + static_cast<ptrdiff_t>(s.end));
        plain.set_table(file[s.begin], table);
    }
    byte_vector wanted = plain.encode(from);
    wanted.insert(wanted.end(), {0xFF, 0xD9});
    const byte_vector data(file.begin() + static_cast<ptrdiff_t>(data_at), file.end());
    ASSERT_EQ(data.size(), wanted.size());
    EXPECT_EQ(data, wanted);
}

// Pixels like a photograph's: slopes, edges and some noise.
uint32_t scene(int32_t x, int32_t y, std::mt19937& random)
{
    const auto noise = [&] { return static_cast<int>(random() % 17) - 8; };
    const int edge = (x / 9 + y / 13) % 3 * 70;
    const auto clip = [](int v) { return static_cast<uint32_t>(std::clamp(v, 0, 255)); };
    return clip(edge + x + noise()) << 16 | clip(255 - y * 2 + noise()) << 8 | clip(x * 3 - edge);
}

enum class content { scene, noise, extremes };

uint32_t color_of(content kind, int32_t x, int32_t y, std::mt19937& random)
{
    if (kind == content::scene) return scene(x, y, random);
    if (kind == content::noise) return random() & 0xFFFFFF;
    // Checks and stripes of the extreme colours, the largest coefficients there are.
    const uint32_t both[] = {0x000000, 0xFFFFFF, 0xFF0000, 0x00FFFF, 0x0000FF, 0xFFFF00};
    const int32_t pattern = x / 16 % 3 * 2;
    return both[pattern + (y < 8 ? x & 1 : y < 16 ? (x ^ y) & 1 : y >> 2 & 1)];
}

plain_jpeg::source fill(test_dib& dib, int32_t width, int32_t height, content kind)
{
    std::mt19937 random(static_cast<uint32_t>(width * 1000 + height));
    plain_jpeg::source from{width, height, 3, (width + 15) / 16 * 16, {}};
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < from.padded_width; ++x) {
            const uint32_t value = x < width ? color_of(kind, x, y, random) : 0;
            if (x < width) dib.set_pixel(x, y, value);
            for (int shift : {0, 8, 16})
                from.pixels.push_back(static_cast<uint8_t>(value >> shift));
        }
    return from;
}

} // namespace

TEST(jpeg_writer, equals_the_plain_encoder_for_24_bits)
{
    for (int q : {1, 25, 50, 75, 93, 100})
        for (content kind : {content::scene, content::noise, content::extremes})
            for (int32_t size : {1, 8, 17, 48, 100}) {
                SCOPED_TRACE(testing::Message() << "quality " << q << " size " << size
                                                << " content " << static_cast<int>(kind));
                const quality set(q);
                test_dib dib(size, size / 2 + 3, 24);
                const auto from = fill(dib, size, size / 2 + 3, kind);
                const image_guard image(dib.create());
                expect_plain_file(save(image), from, q);
            }
}

TEST(jpeg_writer, equals_the_plain_encoder_for_palettes)
{
    const quality set(80);
    for (const bool grey : {true, false})
        for (int32_t width : {5, 24, 61}) {
            test_dib dib(width, 19, 8);
            // A grey palette that is not the ramp: the indices are the levels all the same.
            for (int i = 0; i < 256; ++i)
                dib.set_color(i, 255 - i, grey ? 255 - i : i / 2, 255 - i);
            std::mt19937 random(5);
            const int mcu = grey ? 8 : 16;
            plain_jpeg::source from{width, 19, grey ? 1 : 3, (width + mcu - 1) / mcu * mcu, {}};
            for (int32_t y = 0; y < 19; ++y)
                for (int32_t x = 0; x < from.padded_width; ++x) {
                    const int value = x < width ? static_cast<int>(random() % 256) : -1;
                    if (x < width) dib.set_pixel(x, y, static_cast<uint32_t>(value));
                    const auto level = static_cast<uint8_t>(255 - value);
                    if (grey)
                        from.pixels.push_back(static_cast<uint8_t>(std::max(value, 0)));
                    else
                        for (uint8_t v : {level, static_cast<uint8_t>(value / 2), level})
                            from.pixels.push_back(value < 0 ? uint8_t{0} : v);
                }
            const image_guard image(dib.create());
            expect_plain_file(save(image), from, 80);
        }
}

TEST(jpeg_writer, headers_of_both_modes)
{
    test_dib dib(40, 30, 24);
    dib.header()->biXPelsPerMeter = 300;
    dib.header()->biYPelsPerMeter = 200;
    test_dib grey(40, 30, 8);
    const image_guard color_image(dib.create()), grey_image(grey.create());

    byte_vector file = save(color_image);
    auto parts = segments_of(file);
    ASSERT_EQ(parts.size(), 8u);
    EXPECT_EQ(body(file, parts[0]),
              (byte_vector{'J', 'F', 'I', 'F', 0, 1, 0, 1, 0, 96, 0, 96, 0, 0}));
    EXPECT_EQ(body(file, parts[2]),
              (byte_vector{8, 0, 30, 0, 40, 3, 1, 0x21, 0, 2, 0x11, 1, 3, 0x11, 1}));
    const int ids[] = {0x00, 0x10, 0x01, 0x11};
    for (size_t i = 0; i < 4; ++i)
        EXPECT_EQ(file[parts[3 + i].begin], ids[i]);
    EXPECT_EQ(body(file, parts[7]), (byte_vector{3, 1, 0, 2, 0x11, 3, 0x11, 0, 0, 0, 63, 0}));

    file = save(grey_image);
    parts = segments_of(file);
    ASSERT_EQ(parts.size(), 6u);
    EXPECT_EQ(body(file, parts[2]),
              (byte_vector{8, 0, 30, 0, 40, 1, 1, 0x11, 0, 2, 0x11, 1, 3, 0x11, 1}));
    EXPECT_EQ(body(file, parts[5]), (byte_vector{1, 1, 0, 2, 0x11, 3, 0x11, 0, 0, 0, 63, 0}));

    const interchange on;
    file = save(color_image);
    parts = segments_of(file);
    EXPECT_EQ(body(file, parts[0]),
              (byte_vector{'J', 'F', 'I', 'F', 0, 1, 0, 1, 1, 44, 0, 200, 0, 0}));
    EXPECT_EQ(body(file, parts[7]), (byte_vector{3, 1, 0, 2, 0x11, 3, 0x11, 0, 63, 0}));
    file = save(grey_image);
    parts = segments_of(file);
    EXPECT_EQ(body(file, parts[2]), (byte_vector{8, 0, 30, 0, 40, 1, 1, 0x11, 0}));
    EXPECT_EQ(body(file, parts[5]), (byte_vector{1, 1, 0, 0, 63, 0}));
}

TEST(jpeg_writer, reads_back_what_it_wrote)
{
    for (const bool standard : {false, true})
        for (int32_t bits : {8, 24}) {
            IMGX_set_interchange(standard);
            const quality set(90);
            test_dib dib(83, 45, bits);
            for (int32_t y = 0; y < 45; ++y)
                for (int32_t x = 0; x < 83; ++x) {
                    const auto level = static_cast<uint32_t>(x + 2 * y);
                    dib.set_pixel(x, y, bits == 8 ? level : level * 0x10101);
                }
            const image_guard image(dib.create());
            const byte_vector file = save(image);
            const image_guard back(
                IMGX_decompress_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0));
            const image_copy a = copy_image(image), b = copy_image(back);
            ASSERT_EQ(b.bits, bits);
            for (int32_t y = 0; y < 45; ++y)
                for (int32_t x = 0; x < 83; ++x)
                    ASSERT_NEAR(a.color(x, y) & 0xFF, b.color(x, y) & 0xFF, 14) << x << ',' << y;
        }
    IMGX_set_interchange(0);
}

TEST(jpeg_writer, grey_goes_through_the_palette_in_interchange_mode)
{
    test_dib dib(16, 8, 8);
    for (int i = 0; i < 256; ++i)
        dib.set_color(i, 255 - i, 255 - i, 255 - i);
    const image_guard image(dib.create()); // index 0 everywhere: white
    const auto level = [](const byte_vector& file) {
        const image_guard back(
            IMGX_decompress_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0));
        return static_cast<int>(copy_image(back).color(3, 3) & 0xFF);
    };
    EXPECT_LT(level(save(image)), 5) << "the index itself";
    const interchange on;
    EXPECT_GT(level(save(image)), 250);
}

TEST(jpeg_writer, refuses_with_the_documented_code)
{
    for (int32_t bits : {1, 4}) {
        test_dib dib(16, 16, bits);
        const image_guard image(dib.create());
        byte_vector file(10000);
        EXPECT_EQ(IMGX_save_bitmap_mem(image, file.data(), 10000, 13), -7);
    }
    test_dib dib(64, 64, 24);
    dib.fill_random(3);
    const image_guard image(dib.create());
    const byte_vector whole = save(image);
    for (size_t room : {size_t{0}, size_t{100}, size_t{700}, whole.size() - 1}) {
        byte_vector file(room + 1);
        EXPECT_EQ(IMGX_save_bitmap_mem(image, file.data(), static_cast<uint32_t>(room), 13), -9);
    }
}
