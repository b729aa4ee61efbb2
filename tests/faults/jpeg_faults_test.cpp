// jpeg_faults_test.cpp - JPEG files with every allocation, lock, read and write failing in
// turn, and the memory they take.

#include "tests/builders/jpeg_builder.h"
#include "tests/support/fault_sweep.h"
#include "tests/support/settings.h"

TEST(jpeg_faults, loading)
{
    // Several buffers of data with restarts, and a page with strips of it.
    jpeg_builder::picture p(200, 150, 2, 2, 9);
    p.nonzero = 40;
    p.amplitude = 400;
    const temp_file file(".jpg");
    write_file(file.name(), jpeg_builder::stream(p));
    for (const bool standard : {false, true}) {
        const interchange mode(standard);
        sweep_faults(
            read_faults,
            [&] {
                const int32_t handle = IMG_decompress_bitmap(file.name());
                return handle < 0 ? handle : release_image(handle);
            },
            [](fault_kind kind, int32_t result) {
                if (kind == fault_kind::allocation || kind == fault_kind::lock)
                    EXPECT_EQ(result, -1);
                else
                    EXPECT_TRUE(result == 0 || result == -3 || result == -7 || result == -12);
            });
    }
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
    jpeg_builder::picture p(8000, 64, 2, 2);
    p.nonzero = 0;
    const byte_vector file = jpeg_builder::stream(p);
    byte_vector out(1 << 20);
    const interchange on;
    platform_set_faults({});
    const uint64_t before = platform_get_counts().live_bytes;
    const image_guard image(load_bytes(file));
    const uint64_t picture_bytes = platform_get_counts().live_bytes - before;
    EXPECT_GE(picture_bytes, 8000u * 3 * 64);
    EXPECT_LE(platform_get_counts().peak_bytes - before, picture_bytes + (1 << 20));
    platform_set_faults({});
    EXPECT_GT(IMGX_save_bitmap_mem(image, out.data(), 1 << 20, 13), 0);
    EXPECT_LE(platform_get_counts().peak_bytes - before, picture_bytes + (1 << 20));
}
