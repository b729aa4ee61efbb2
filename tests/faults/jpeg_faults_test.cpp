// jpeg_faults_test.cpp - JPEG files with every allocation, lock, read and write failing in
// turn.

#include "tests/builders/jpeg_tiff_builder.h"
#include "tests/support/fault_sweep.h"
#include "tests/support/images.h"

namespace {

void expect_load_code(fault_kind kind, int32_t result)
{
    if (kind == fault_kind::allocation || kind == fault_kind::lock)
        EXPECT_EQ(result, -1);
    else
        EXPECT_TRUE(result == 0 || result == -3 || result == -7 || result == -12) << result;
}

void sweep_load(const byte_vector& data)
{
    const temp_file file(".jpg");
    write_file(file.name(), data);
    sweep_faults(
        read_faults,
        [&] {
            const int32_t handle = IMG_decompress_bitmap(file.name());
            return handle < 0 ? handle : release_image(handle);
        },
        expect_load_code);
}

} // namespace

TEST(jpeg_faults, loading)
{
    // Several buffers of data with restarts.
    jpeg_builder::picture p = jpeg_builder::color_picture(200, 150, 2, 2);
    p.nonzero = 40;
    p.amplitude = 400;
    p.restart_interval = 9;
    sweep_load(jpeg_builder::stream(p));
    IMGX_set_interchange(1);
    sweep_load(jpeg_builder::stream(p));
    IMGX_set_interchange(0);
}

TEST(jpeg_faults, loading_strips_of_a_tiff_page)
{
    std::vector<jpeg_builder::picture> strips(3, jpeg_builder::color_picture(40, 16, 1, 1));
    sweep_load(jpeg_builder::tiff_writer({}).build(strips));
}

TEST(jpeg_faults, saving)
{
    for (int32_t bits : {8, 24}) {
        test_dib dib(300, 200, bits);
        dib.fill_random(5);
        const image_guard image(dib.create());
        const image_copy before = copy_image(image);
        const temp_file file(".jpg");
        sweep_faults(
            write_faults, [&] { return IMG_save_bitmap(image, file.name(), 13); },
            [&](fault_kind kind, int32_t result) {
                const bool memory = kind == fault_kind::allocation || kind == fault_kind::lock;
                EXPECT_EQ(result, memory ? -1 : -9);
                expect_same_colors(copy_image(image), before);
            });
    }
}

TEST(jpeg_faults, memory_stays_within_a_megabyte_of_the_picture)
{
    jpeg_builder::picture p = jpeg_builder::color_picture(8000, 64, 2, 2);
    p.nonzero = 0;
    const byte_vector file = jpeg_builder::stream(p);
    IMGX_set_interchange(1);
    platform_set_faults({});
    const uint64_t before = platform_get_counts().live_bytes;
    {
        const image_guard image(
            IMGX_decompress_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0));
        ASSERT_GE(image, 0);
        const uint64_t picture_bytes = platform_get_counts().live_bytes - before;
        EXPECT_GE(picture_bytes, 8000u * 3 * 64);
        EXPECT_LE(platform_get_counts().peak_bytes - before, picture_bytes + (1 << 20));
        platform_set_faults({});
        byte_vector out(1 << 20);
        EXPECT_GT(IMGX_save_bitmap_mem(image, out.data(), 1 << 20, 13), 0);
        EXPECT_LE(platform_get_counts().peak_bytes - before, picture_bytes + (1 << 20));
    }
    IMGX_set_interchange(0);
}
