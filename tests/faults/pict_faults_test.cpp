// pict_faults_test.cpp - Macintosh pictures with every allocation, lock, read and write
// failing in turn.

#include "tests/builders/pict_builder.h"
#include "tests/support/fault_sweep.h"

TEST(pict_faults, loading_and_saving)
{
    const temp_file file(".pct");
    pict_bits bits;
    bits.width = 30, bits.height = 2, bits.bits = 8, bits.row_bytes = 30;
    bits.colors = {{0, 1, 2, 3}};
    bits.rows = {2, 0xE3, 0, 2, 0xE3, 1};
    pict_bits beside = bits;
    beside.left = 30;
    for (const byte_vector& bytes :
         {pict_builder().op(0x98, bits.build()).op(0xFF).bytes,
          pict_builder().op(0x98, bits.build()).op(0x98, beside.build()).op(0xFF).bytes}) {
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
                else // detection, whose first read proves nothing for a picture, goes on without it
                    EXPECT_TRUE(result == 0 || result == -3 || result == -7 || result == -12)
                        << result;
            });
    }
    for (int depth : {4, 24}) {
        test_dib dib(40, 30, depth);
        dib.fill_random(5, 3);
        const image_guard image(dib.create());
        sweep_faults(
            write_faults, [&] { return IMG_save_bitmap(image, file.name(), 15); },
            [&](fault_kind kind, int32_t result) {
                const bool memory = kind == fault_kind::allocation || kind == fault_kind::lock;
                EXPECT_EQ(result, memory ? -1 : -9);
            });
    }
}
