// wmf_faults_test.cpp - Windows metafiles with every allocation, lock, read and write failing
// in turn.

#include "tests/builders/wmf_builder.h"
#include "tests/support/fault_sweep.h"

TEST(wmf_faults, loading_and_saving)
{
    const temp_file file(".wmf");
    wmf_test_dib plain;
    plain.width = 3, plain.bits = 24, plain.data = byte_vector(12, 7);
    wmf_test_dib coded;
    coded.width = 3, coded.compression = 1, coded.table = byte_vector(1024),
    coded.data = {3, 9, 0, 1};
    for (const wmf_test_dib& d : {plain, coded}) {
        write_file(file.name(), wmf_builder().draw(0x0F43, d.build()).end().bytes);
        sweep_faults(
            read_faults,
            [&] {
                const int32_t handle = IMG_decompress_bitmap(file.name());
                return handle < 0 ? handle : release_image(handle);
            },
            [&](fault_kind kind, int32_t result) {
                if (kind == fault_kind::allocation || kind == fault_kind::lock)
                    EXPECT_EQ(result, -1);
                else // a run-length bitmap that ends early is what it is so far
                    EXPECT_TRUE(result == -3 || result == -7 || result == -12 ||
                                (d.compression && result == 0))
                        << result;
            });
    }
    test_dib dib(40, 30, 4);
    dib.fill_random(5, 3);
    const image_guard image(dib.create());
    sweep_faults(
        write_faults, [&] { return IMG_save_bitmap(image, file.name(), 6); },
        [&](fault_kind kind, int32_t result) {
            const bool memory = kind == fault_kind::allocation || kind == fault_kind::lock;
            EXPECT_EQ(result, memory ? -1 : -9);
        });
}
