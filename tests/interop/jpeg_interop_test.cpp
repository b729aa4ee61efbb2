// jpeg_interop_test.cpp - JPEG files to and from libjpeg.

#include "tests/interop/jpeg_peer.h"
#include "tests/support/images.h"

#include <algorithm>

namespace {

struct interchange {
    interchange() { IMGX_set_interchange(1); }
    ~interchange() { IMGX_set_interchange(0); }
};

// Shades, edges, texture and some noise, coloured.
jpeg_peer::picture scene(int width, int height, int components)
{
    jpeg_peer::picture p{width, height, components, {}, 0};
    std::mt19937 random(static_cast<uint32_t>(width * 31 + height));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < components; ++c) {
                const double shade = 90 + 60 * std::sin((x + 40 * c) / 37.0) * std::cos(y / 29.0);
                const double texture = 14 * std::sin(x * 0.9 + c) * std::sin(y * 0.7);
                const int edge = (x / 23 + y / 31) % 2 * 60;
                const int noise = static_cast<int>(random() % 13) - 6;
                p.pixels.push_back(static_cast<uint8_t>(
                    std::clamp(static_cast<int>(shade + texture) + edge + noise, 0, 255)));
            }
    return p;
}

// An image of the library as the peer's pixels.
jpeg_peer::picture pixels_of(int32_t handle)
{
    const image_copy copy = copy_image(handle);
    jpeg_peer::picture p{copy.width, copy.height, copy.bits == 8 ? 1 : 3, {}, 0};
    for (int32_t y = 0; y < copy.height; ++y)
        for (int32_t x = 0; x < copy.width; ++x)
            for (int shift = 8 * (p.components - 1); shift >= 0; shift -= 8)
                p.pixels.push_back(static_cast<uint8_t>(copy.color(x, y) >> shift));
    return p;
}

jpeg_peer::picture decode(const byte_vector& file)
{
    const image_guard image(
        IMGX_decompress_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0));
    EXPECT_GE(image, 0);
    return image < 0 ? jpeg_peer::picture{} : pixels_of(image);
}

byte_vector encode(const jpeg_peer::picture& from)
{
    test_dib dib(from.width, from.height, from.components * 8);
    for (int y = 0; y < from.height; ++y)
        for (int x = 0; x < from.width; ++x) {
            const uint8_t* p =
                from.pixels.data() + static_cast<size_t>((y * from.width + x) * from.components);
            dib.set_pixel(x, y,
                          from.components == 1 ? uint32_t{p[0]}
                                               : uint32_t{p[0]} << 16 | uint32_t{p[1]} << 8 | p[2]);
        }
    const image_guard image(dib.create());
    byte_vector file(4 << 20);
    const int32_t size =
        IMGX_save_bitmap_mem(image, file.data(), static_cast<uint32_t>(file.size()), 13);
    EXPECT_GT(size, 0);
    file.resize(static_cast<size_t>(std::max(size, 0)));
    return file;
}

// The transforms differ in their last bits: largest_difference and mean_difference say how
// far two decoders of the same file may be apart.
constexpr int largest_difference = 10;
constexpr double mean_difference = 2;

void expect_close(const jpeg_peer::picture& a, const jpeg_peer::picture& b)
{
    ASSERT_EQ(a.width, b.width);
    ASSERT_EQ(a.height, b.height);
    ASSERT_EQ(a.pixels.size(), b.pixels.size());
    int largest = 0;
    double sum = 0;
    for (size_t i = 0; i < a.pixels.size(); ++i) {
        const int difference = std::abs(a.pixels[i] - b.pixels[i]);
        largest = std::max(largest, difference);
        sum += difference;
    }
    EXPECT_LE(largest, largest_difference);
    EXPECT_LE(sum / static_cast<double>(a.pixels.size()), mean_difference);
}

} // namespace

TEST(jpeg_interop, decodes_every_sampling_like_libjpeg)
{
    for (const bool standard : {false, true})
        for (int h = 1; h <= 4; ++h)
            for (int v = 1; v <= 4 && h * v <= 8; ++v)
                for (int size : {5, 32, 77}) {
                    SCOPED_TRACE(testing::Message() << h << "x" << v << " size " << size);
                    IMGX_set_interchange(standard);
                    const auto from = scene(size, 90 - size, 3);
                    const byte_vector file = jpeg_peer::compress(from, {80, h, v, 0, JCS_YCbCr});
                    expect_close(decode(file), jpeg_peer::decompress(file));
                }
    IMGX_set_interchange(0);
}

TEST(jpeg_interop, decodes_every_size_and_restart_phase_like_libjpeg)
{
    const interchange on;
    for (int size = 1; size <= 33; ++size)
        for (int components : {1, 3}) {
            SCOPED_TRACE(testing::Message() << size << ", " << components << " components");
            const auto from = scene(size, 34 - size, components);
            jpeg_peer::settings s{90, 1 + size % 2, 1 + size / 2 % 2, size % 7, JCS_YCbCr};
            const byte_vector file = jpeg_peer::compress(from, s);
            expect_close(decode(file), jpeg_peer::decompress(file));
        }
}

TEST(jpeg_interop, decodes_several_scans_like_one)
{
    const interchange on;
    const auto count_rows = [](const void*, IMG_PRIVATE rows, int32_t, int32_t) -> int32_t {
        ++*reinterpret_cast<int32_t*>(rows);
        return 0;
    };
    for (int scans : {2, 3})
        for (int h = 1; h <= 4; ++h)
            for (int v = 1; v <= 2; ++v)
                for (int size : {5, 32, 77, 400}) { // the largest takes several buffers
                    SCOPED_TRACE(testing::Message()
                                 << scans << " scans " << h << "x" << v << " size " << size);
                    const auto from = scene(size, 404 - size, 3);
                    jpeg_peer::settings s{95, h, v, size % 4, JCS_YCbCr, 1};
                    const auto whole = decode(jpeg_peer::compress(from, s));
                    s.scans = scans;
                    const byte_vector file = jpeg_peer::compress(from, s);
                    EXPECT_EQ(decode(file).pixels, whole.pixels);
                    // Cut in the last scan: the rows above are there.
                    int32_t rows = 0;
                    const int32_t result = IMGX_stream_bitmap_mem(
                        file.data(), static_cast<uint32_t>(file.size() - file.size() / 100 - 9), 0,
                        count_rows, reinterpret_cast<IMG_PRIVATE>(&rows),
                        [](const BITMAPINFOHEADER*, IMG_PRIVATE) -> int32_t { return 1; });
                    EXPECT_EQ(result, -12);
                    EXPECT_LT(rows, 404 - size);
                    EXPECT_GE(rows, (404 - size) / 2 - 16);
                }
}

TEST(jpeg_interop, decodes_marked_rgb_and_inks_in_their_colors)
{
    const interchange on;
    const auto from = scene(50, 40, 3);
    byte_vector file = jpeg_peer::compress(from, {90, 1, 1, 0, JCS_RGB});
    expect_close(decode(file), jpeg_peer::decompress(file));
    for (J_COLOR_SPACE space : {JCS_CMYK, JCS_YCCK})
        for (int factor : {1, 2}) {
            file = jpeg_peer::compress(scene(50, 40, 4),
                                       {90, space == JCS_YCCK ? factor : 1, 1, 0, space});
            const auto inks = jpeg_peer::decompress(file); // inverted: 255 is no ink
            jpeg_peer::picture wanted{50, 40, 3, {}, 0};
            for (size_t i = 0; i < inks.pixels.size(); i += 4)
                for (size_t c = 0; c < 3; ++c)
                    wanted.pixels.push_back(
                        static_cast<uint8_t>(inks.pixels[i + c] * inks.pixels[i + 3] / 255));
            expect_close(decode(file), wanted);
        }
}

TEST(jpeg_interop, writes_files_that_libjpeg_reads_without_a_warning)
{
    const interchange on;
    for (int size = 1; size <= 33; ++size)
        for (int components : {1, 3}) {
            SCOPED_TRACE(testing::Message() << size << ", " << components << " components");
            const auto file = encode(scene(size, 34 - size, components));
            const auto theirs = jpeg_peer::decompress(file);
            EXPECT_EQ(theirs.components, components);
            EXPECT_EQ(theirs.warnings, 0);
            expect_close(decode(file), theirs);
        }
}

TEST(jpeg_interop, comes_as_close_to_the_picture_as_libjpeg_at_equal_quality)
{
    const interchange on;
    for (int quality : {10, 25, 50, 75, 85, 95})
        for (int components : {1, 3}) {
            SCOPED_TRACE(testing::Message() << quality << ", " << components << " components");
            const auto from = scene(333, 251, components);
            IMGLOW_set_comp_quality(quality);
            const auto ours = encode(from);
            const auto theirs = jpeg_peer::compress(from, {quality, 2, 1, 0, JCS_YCbCr});
            const double our_psnr =
                jpeg_peer::psnr(jpeg_peer::decompress(ours).pixels, from.pixels);
            const double their_psnr =
                jpeg_peer::psnr(jpeg_peer::decompress(theirs).pixels, from.pixels);
            EXPECT_GE(our_psnr, their_psnr - 0.5);
            EXPECT_LE(ours.size(), theirs.size() * 105 / 100);
        }
    IMGLOW_set_comp_quality(50);
}
