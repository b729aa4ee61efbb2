// file_types_faults_test.cpp - every file type at every depth, saved and loaded by name with
// every allocation, lock, read and write failing in turn. A new type takes part by itself.
// How much memory loads and saves take.

#include "tests/support/fault_sweep.h"
#include "tests/support/images.h"

#include <unistd.h>

namespace {

void sweep_type(const IMGX_TYPE_INFO& type, int32_t bits)
{
    const image_guard image(random_picture(40, 30, bits, 3).create());
    const picture before = copy_image(image);
    const temp_file file(".img");
    sweep_save(image, file.name(), type.code);
    EXPECT_TRUE(copy_image(image) == before);
    std::remove(file.name()); // what appended pages are in it
    ASSERT_GE(IMG_save_bitmap(image, file.name(), type.code), 0);
    if (type.code != 14) sweep_load(file.name()); // PostScript is not read back
}

} // namespace

TEST(file_types_faults, every_type_and_depth_in_both_modes)
{
    for_everything_written([](const IMGX_TYPE_INFO& type, int32_t bits, int) {
        if (type.code != 4) sweep_type(type, bits); // GIF has codes of its own, and a test for them
    });
}

TEST(file_types_faults, a_pipe_gets_the_bytes_of_a_file_or_a_code)
{
    for_everything_written([](const IMGX_TYPE_INFO& type, int32_t bits, int) {
        const image_guard image(random_picture(40, 30, bits, 3).create());
        const temp_file file(".img");
        ASSERT_GE(IMG_save_bitmap(image, file.name(), type.code), 0);
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const int32_t result = IMG_save_bitmap_fd(image, ends[1], type.code);
        close(ends[1]);
        byte_vector got(60000);
        const ssize_t count = read(ends[0], got.data(), got.size());
        close(ends[0]);
        got.resize(static_cast<size_t>(std::max<ssize_t>(count, 0)));
        if (result >= 0)
            EXPECT_EQ(got, file.bytes());
        else
            EXPECT_EQ(result, -9);
    });
}

TEST(file_types_faults, bmp_and_jpeg_take_little_more_than_the_picture)
{
    constexpr uint64_t size = 3000 * 1000 * 3, allowance = 1 << 20;
    for (const int32_t type : {1, 13}) {
        const temp_file file(".img");
        {
            const image_guard image(picture(3000, 1000, 24).create());
            platform_set_faults({}); // counts from here on
            ASSERT_EQ(IMG_save_bitmap(image, file.name(), type), 0);
            EXPECT_LT(platform_get_counts().peak_bytes, size + allowance);
        }
        platform_set_faults({});
        const image_guard image(IMG_decompress_bitmap(file.name()));
        EXPECT_GE(platform_get_counts().peak_bytes, size);
        EXPECT_LT(platform_get_counts().peak_bytes, size + allowance);
    }
}

TEST(file_types_faults, creating_from_a_packed_dib)
{
    const picture dib(17, 5, 4);
    sweep_faults(
        memory_faults,
        [&] {
            const int32_t handle = dib.create();
            return handle < 0 ? handle : release_image(handle);
        },
        [](fault_kind, int32_t result) { EXPECT_EQ(result, -1); });
}
