// bmp_faults_test.cpp - bitmap files, and the pipelines around them, with every allocation,
// lock, read and write failing in turn.

#include "tests/builders/bmp_builder.h"
#include "tests/support/fault_sweep.h"
#include "tests/support/images.h"

namespace {

byte_vector sample(uint32_t compression)
{
    bmp_builder bmp;
    bmp.width = 40;
    bmp.height = 9;
    bmp.bits = compression == 2 ? 4 : 8;
    bmp.compression = compression;
    if (compression == 0) bmp.data.assign(360, 7);
    for (int y = 0; compression != 0 && y < 9; ++y)
        bmp.data.insert(bmp.data.end(), {40, 0x33, 0, 0});
    return bmp.build();
}

} // namespace

TEST(bmp_faults, loading_by_name)
{
    for (uint32_t compression : {0u, 1u, 2u}) {
        const temp_file file(".bmp");
        write_file(file.name(), sample(compression));
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
                    EXPECT_TRUE(result == 0 || result == -3 || result == -7) << result;
            });
    }
}

TEST(bmp_faults, saving_by_name)
{
    for (int32_t type : {1, 12}) {
        test_dib dib(40, 30, 8);
        dib.fill_random(5, 3);
        const image_guard image(dib.create());
        const image_copy before = copy_image(image);
        const temp_file file(".bmp");
        sweep_faults(
            write_faults, [&] { return IMG_save_bitmap(image, file.name(), type); },
            [&](fault_kind kind, int32_t result) {
                const bool memory = kind == fault_kind::allocation || kind == fault_kind::lock;
                EXPECT_EQ(result, memory ? -1 : -9);
                expect_same_colors(copy_image(image), before);
            });
    }
}

TEST(bmp_faults, creating_from_a_packed_dib)
{
    test_dib dib(17, 5, 4);
    sweep_faults(
        memory_faults,
        [&] {
            const int32_t handle = dib.create();
            return handle < 0 ? handle : release_image(handle);
        },
        [](fault_kind, int32_t result) { EXPECT_EQ(result, -1); });
}
