// round_trip_test.cpp - every file type that the library says it writes and reads: saved and
// loaded again at every depth, at sizes that have tripped codecs before, in both modes. A new
// type takes part by itself; one that does not give back what it got needs a row below.

#include "tests/support/codec.h"

#include <cstdlib>

namespace {

// What does not come back exactly.
struct peculiarity {
    bool lossy, last_may_differ, fax_lines, not_read;
};

peculiarity of_type(int32_t code, int interchange)
{
    return {
        .lossy = code == 13,
        .last_may_differ = code == 4 && !interchange, // a short last string is left out
        .fax_lines = code == 8 && !interchange,       // 1728 pixels, filled up with white or cut
        .not_read = code == 14,                       // PostScript
    };
}

struct picture_size {
    int32_t width, height;
};

// The last one has rows of more than 10000 bytes.
std::vector<picture_size> sizes_for(int32_t bits)
{
    return {{1, 1}, {2, 3}, {7, 5}, {33, 9}, {101, 64}, {(10100 * 8 + bits - 1) / bits, 3}};
}

// Noise in short runs, under a table of colours; smooth shades where the type is lossy.
picture make_picture(const picture_size& size, int32_t bits, bool smooth)
{
    if (!smooth) return random_picture(size.width, size.height, bits, size.width % 2 ? 3 : 20);
    return each_pixel(size.width, size.height, bits, {}, [&](int32_t x, int32_t y) {
        return 0x010101u * uint8_t(255 * (x + y) / (size.width + size.height));
    });
}

int distance(uint32_t a, uint32_t b)
{
    int sum = 0;
    for (int k : {0, 1, 2})
        sum += std::abs(channel(a, k) - channel(b, k));
    return sum;
}

void expect_alike(const picture& in, const picture& out, const peculiarity& kind)
{
    ASSERT_EQ(out.width, kind.fax_lines ? 1728 : in.width);
    ASSERT_EQ(out.height, in.height);
    int64_t error = 0;
    for (int32_t y = 0; y < in.height; ++y)
        for (int32_t x = 0; x < out.width; ++x) {
            const bool last = y == in.height - 1 && x == in.width - 1;
            if (kind.last_may_differ && last) continue;
            const uint32_t expected = x < in.width ? in.color(x, y) : 0xFFFFFF;
            const int step = distance(expected, out.color(x, y));
            error += step;
            ASSERT_TRUE(step == 0 || kind.lossy) << "at " << x << ", " << y;
        }
    // Quality 50, black beside narrow pictures.
    EXPECT_LE(error, int64_t{16} * 3 * in.width * in.height);
}

void round_trip(const IMGX_TYPE_INFO& type, int32_t bits, const picture_size& size,
                const peculiarity& kind)
{
    const image_guard image(make_picture(size, bits, kind.lossy).create());
    const temp_file file(".img");
    const int32_t saved = IMG_save_bitmap(image, file.name(), type.code);
    // Formats with 16-bit sizes may refuse very wide pictures, and say so.
    if (saved == -7 && size.width > 32767) return;
    ASSERT_GE(saved, 0);
    if (kind.not_read) return;
    EXPECT_EQ(IMGLOW_get_filetype(file.name()), type.code);
    const image_guard loaded(IMG_decompress_bitmap(file.name()));
    // Classic JPEG refuses pictures wider than its component buffers.
    if (loaded == -1 && type.code == 13 && size.width > 8128) return;
    ASSERT_GE(loaded, 0);
    expect_alike(copy_image(image), copy_image(loaded), kind);
}

} // namespace

TEST(round_trip, every_type_gives_back_what_it_got)
{
    for_everything_written([](const IMGX_TYPE_INFO& type, int32_t bits, int interchange) {
        for (const picture_size& size : sizes_for(bits)) {
            SCOPED_TRACE(testing::Message() << size.width << " x " << size.height);
            round_trip(type, bits, size, of_type(type.code, interchange));
        }
    });
}

TEST(round_trip, refuses_every_other_depth)
{
    for (const IMGX_TYPE_INFO& type : written_types(0))
        for (const int32_t bits : {1, 4, 8, 24}) {
            const std::vector<int32_t> depths = depths_of(type);
            if (std::find(depths.begin(), depths.end(), bits) != depths.end()) continue;
            SCOPED_TRACE(testing::Message() << type.name << ", " << bits << " bits");
            const image_guard image(picture(5, 5, bits).create());
            byte_vector out(100, 0xAA);
            EXPECT_EQ(IMGX_save_bitmap_mem(image, out.data(), 100, type.code), -7);
            EXPECT_EQ(out, byte_vector(100, 0xAA));
        }
}
