// wpg_faults_test.cpp - WordPerfect graphics with every allocation, lock, read and write
// failing in turn.

#include "tests/builders/wpg_builder.h"
#include "tests/support/fault_sweep.h"

TEST(wpg_faults, loading_and_saving)
{
    const temp_file file(".wpg");
    const byte_vector two_rows = {0x83, 1, 0x83, 2};
    for (const byte_vector& bytes :
         {wpg_builder().bitmap(3, 2, 8, two_rows).bytes,
          wpg_builder(2).bitmap_2(3, 2, 4, 1, {0x82, 1, 0x82, 2}).bytes}) {
        write_file(file.name(), bytes);
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
                    EXPECT_TRUE(result == -3 || result == -7 || result == -12) << result;
            });
    }
    test_dib dib(40, 30, 4);
    dib.fill_random(5, 3);
    const image_guard image(dib.create());
    sweep_faults(
        write_faults, [&] { return IMG_save_bitmap(image, file.name(), 5); },
        [&](fault_kind kind, int32_t result) {
            const bool memory = kind == fault_kind::allocation || kind == fault_kind::lock;
            EXPECT_EQ(result, memory ? -1 : -9);
        });
}
