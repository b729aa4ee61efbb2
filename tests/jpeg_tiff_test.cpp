// jpeg_tiff_test.cpp - JPEG inside TIFF pages: tables in tags, strips, and whole streams.

#include "tests/builders/jpeg_tiff_builder.h"
#include "tests/builders/plain_jpeg.h"
#include "tests/builders/tiff_builder.h"
#include "tests/support/images.h"

namespace {

using jpeg_builder::picture;
using jpeg_builder::tiff_page;

struct interchange {
    interchange() { IMGX_set_interchange(1); }
    ~interchange() { IMGX_set_interchange(0); }
};

int32_t load(const byte_vector& file)
{
    return IMGX_decompress_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0);
}

std::vector<picture> strips_of(int components, int width, int rows, int count, int h, int v)
{
    std::vector<picture> strips;
    for (int i = 0; i < count; ++i) {
        picture p = jpeg_builder::color_picture(width, rows, h, v);
        p.components.resize(static_cast<size_t>(components));
        p.seed = static_cast<uint32_t>(i + 1);
        strips.push_back(p);
    }
    strips.back().height = rows / 2 + 1; // the last strip is shorter
    if (count == 1) strips.back().height = rows;
    return strips;
}

// Strip after strip by the plain decoder, then the image.
void expect_strips(const byte_vector& file, const std::vector<picture>& strips)
{
    const image_guard image(load(file));
    ASSERT_GE(image, 0);
    const image_copy copy = copy_image(image);
    ASSERT_EQ(copy.width, strips.front().width);
    int32_t y = 0;
    for (const picture& p : strips) {
        const auto plain = plain_jpeg::decoder(jpeg_builder::stream(p)).decode();
        size_t at = 0;
        for (int32_t row = 0; row < p.height; ++row, ++y)
            for (int32_t x = 0; x < p.width; ++x) {
                uint32_t wanted = 0;
                for (int b = 0; b < plain.bytes_per_pixel; ++b)
                    wanted |= static_cast<uint32_t>(plain.pixels[at++]) << 8 * b;
                ASSERT_EQ(copy.pixel(x, y), wanted) << x << ", " << y;
            }
    }
    EXPECT_EQ(y, copy.height);
}

} // namespace

TEST(jpeg_tiff, places_the_rows_of_every_strip)
{
    for (int components : {1, 3})
        for (int count : {1, 2, 5})
            for (const bool big : {false, true}) {
                SCOPED_TRACE(testing::Message()
                             << components << " components, " << count << " strips, big " << big);
                tiff_page page;
                page.big = big; // the table offsets stay little-endian
                const auto strips = strips_of(components, 50, 24, count, 1, 1);
                expect_strips(jpeg_builder::tiff_writer(page).build(strips), strips);
            }
}

TEST(jpeg_tiff, takes_the_horizontal_factor_from_the_high_half)
{
    tiff_page page;
    page.subsampling_first = 1; // low half: vertical
    page.subsampling_second = 2;
    const auto strips = strips_of(3, 45, 16, 3, 2, 1);
    expect_strips(jpeg_builder::tiff_writer(page).build(strips), strips);
    page.subsampling_first = 0; // no tag: 1x1
    const auto plain = strips_of(3, 45, 16, 2, 1, 1);
    expect_strips(jpeg_builder::tiff_writer(page).build(plain), plain);
}

TEST(jpeg_tiff, reads_pages_by_the_standard_in_interchange_mode)
{
    const interchange on;
    tiff_page page;
    page.prefix.clear();
    page.subsampling_first = 2;
    page.subsampling_second = 1;
    const auto wide = strips_of(3, 45, 16, 3, 2, 1);
    expect_strips(jpeg_builder::tiff_writer(page).build(wide), wide);

    page.big = page.big_tables = true;
    page.subsampling_first = 0; // no tag: 2x2
    auto both = strips_of(3, 45, 16, 2, 2, 2);
    expect_strips(jpeg_builder::tiff_writer(page).build(both), both);

    page.restart_interval = 2;
    for (picture& p : both)
        p.restart_interval = 2;
    expect_strips(jpeg_builder::tiff_writer(page).build(both), both);

    // A scan header before the data, and one table of each kind for grey.
    tiff_page grey;
    grey.inline_tables = true;
    grey.prefix = {0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 63, 0};
    const auto one = strips_of(1, 30, 16, 2, 1, 1);
    expect_strips(jpeg_builder::tiff_writer(grey).build(one), one);
}

TEST(jpeg_tiff, tells_missing_tables_and_impossible_factors)
{
    const auto strips = strips_of(3, 20, 16, 1, 1, 1);
    tiff_page page;
    page.lost_table = 521;
    const image_guard no_ac(load(jpeg_builder::tiff_writer(page).build(strips)));
    EXPECT_EQ(no_ac, -3);
    page.lost_table = 520;
    const image_guard no_dc(load(jpeg_builder::tiff_writer(page).build(strips)));
    EXPECT_EQ(no_dc, -3);
    page.lost_table = 519; // tables of zeros: a grey picture
    const image_guard no_q(load(jpeg_builder::tiff_writer(page).build(strips)));
    EXPECT_GE(no_q, 0);
    page.lost_table = 0;
    page.subsampling_second = 9;
    const image_guard factor(load(jpeg_builder::tiff_writer(page).build(strips)));
    EXPECT_EQ(factor, -3);
    // Strips of one component each, which no decoder here puts together.
    const interchange on;
    tiff_builder tiff;
    tiff.shape(8, 8, 8, 3, 6, 6).set(284, 3, {2}).strip(byte_vector(600, 0));
    const image_guard separate(load(tiff.build()));
    EXPECT_EQ(separate, -7);
}

TEST(jpeg_tiff, refuses_widths_beyond_any_jpeg)
{
    auto strips = strips_of(1, 20, 8, 1, 1, 1);
    byte_vector file = jpeg_builder::tiff_writer({}).build(strips);
    const size_t directory = file[4] + 256u * file[5];
    file[directory + 2 + 8 + 3] = 0x20; // ImageWidth, its highest byte: half a milliard
    const interchange on;
    const image_guard image(load(file));
    EXPECT_EQ(image, -1);
}

TEST(jpeg_tiff, survives_a_cut_at_every_byte)
{
    const auto strips = strips_of(3, 20, 16, 2, 1, 1);
    // The directory stands at the end, so the cut is made by overwriting with nothing new:
    // bytes from the cut up to the directory become zeros.
    const byte_vector whole = jpeg_builder::tiff_writer({}).build(strips);
    const size_t directory = whole[4] + 256u * whole[5];
    for (size_t cut = 8; cut < directory; cut += 7) {
        byte_vector file = whole;
        std::fill(file.begin() + static_cast<ptrdiff_t>(cut),
                  file.begin() + static_cast<ptrdiff_t>(directory), uint8_t{0});
        const image_guard image(load(file));
        EXPECT_TRUE(image >= 0 || image == -3 || image == -12 || image == -1) << image;
    }
}

TEST(jpeg_tiff, reads_a_page_that_is_one_stream)
{
    // The page says 1-bit, 5 x 5; the stream says what it is, the page its resolution.
    const picture p = jpeg_builder::color_picture(33, 21, 2, 2);
    const byte_vector stream = jpeg_builder::stream(p);
    tiff_builder tiff;
    tiff.shape(5, 5, 8, 3, 6, 6).set(282, 5, {200, 1}).set(283, 5, {100, 1});
    tiff.strip(stream).set(513, 4, {0});
    byte_vector file = tiff.build();
    const auto at = std::search(file.begin(), file.end(), stream.begin(), stream.end());
    tiff.set(513, 4, {static_cast<uint32_t>(at - file.begin())});
    file = tiff.build();
    const image_guard image(load(file));
    ASSERT_GE(image, 0);
    const image_copy copy = copy_image(image);
    BITMAPINFOHEADER header;
    std::memcpy(&header, copy.head.data(), sizeof header);
    EXPECT_EQ(header.biXPelsPerMeter, 200);
    EXPECT_EQ(header.biYPelsPerMeter, 100);
    const image_guard alone(load(stream));
    expect_same_colors(copy, copy_image(alone));
}
