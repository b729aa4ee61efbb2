// pcx_faults_test.cpp - PCX and DCX files with every allocation, lock, read and write failing
// in turn.

#include "tests/builders/pcx_builder.h"
#include "tests/support/fault_sweep.h"

namespace {

byte_vector sample(int planes)
{
    pcx_builder f;
    f.planes = planes;
    f.width = 40;
    f.height = 4;
    for (int i = 0; i < 4 * planes; ++i)
        add_bytes(f.data, {0xE8, uint8_t(i)});
    if (planes == 1) f.tail = vga_palette(1);
    return f.build();
}

void expect_code(fault_kind kind, int32_t result)
{
    if (kind == fault_kind::allocation || kind == fault_kind::lock)
        EXPECT_EQ(result, -1);
    else // an end of data among the pages of a table is a page that is not there
        EXPECT_TRUE(result == 0 || result == -3 || result == -7 || result == -12) << result;
}

} // namespace

TEST(pcx_faults, loading)
{
    const temp_file file(".pcx");
    for (const byte_vector& bytes :
         {sample(1), sample(3), build_dcx({sample(3), sample(1)}, 1024)}) {
        write_file(file.name(), bytes);
        sweep_faults(
            read_faults,
            [&] {
                const int32_t handle = IMG_decompress_bitmap(file.name());
                return handle < 0 ? handle : release_image(handle);
            },
            expect_code);
    }
}

TEST(pcx_faults, saving)
{
    for (int bits : {1, 8, 24}) {
        test_dib dib(40, 30, bits);
        dib.fill_random(5, 3);
        const image_guard image(dib.create());
        for (int32_t type : {2, 11}) {
            const temp_file file(".pcx");
            sweep_faults(
                write_faults,
                [&] {
                    std::remove(file.name());
                    return IMG_save_bitmap(image, file.name(), type);
                },
                [&](fault_kind kind, int32_t result) {
                    const bool memory = kind == fault_kind::allocation || kind == fault_kind::lock;
                    EXPECT_EQ(result, memory ? -1 : -9);
                });
        }
    }
}

TEST(pcx_faults, a_failed_append_keeps_the_pages_that_were_there)
{
    const temp_file file(".dcx");
    test_dib dib(20, 5, 8);
    dib.fill_random(1, 4);
    const image_guard image(dib.create());
    for (size_t entries : {size_t{2}, size_t{1024}}) {
        const byte_vector before = build_dcx({sample(1)}, entries);
        const image_copy page = picture_of(before);
        sweep_faults(
            {fault_kind::allocation, fault_kind::lock, fault_kind::failed_read,
             fault_kind::failed_write},
            [&] {
                write_file(file.name(), before);
                return IMG_save_bitmap(image, file.name(), 11);
            },
            [&](fault_kind, int32_t result) {
                EXPECT_LT(result, 0);
                expect_same_colors(picture_of(file.bytes()), page);
            });
    }
}

// Loading takes the DIB and at most a megabyte, whatever the format keeps beside it.
TEST(pcx_faults, loading_stays_near_the_size_of_the_image)
{
    for (int32_t type : {2, 5, 6, 11, 15})
        for (int bits : {8, 24}) {
            if (type == 5 && bits == 24) continue;
            SCOPED_TRACE(testing::Message() << type << " " << bits);
            const int32_t width = 5000, height = 600; // two tiles of a picture
            test_dib dib(width, height, bits);
            dib.fill_random(1, 50);
            const temp_file file(".img");
            {
                const image_guard image(dib.create());
                ASSERT_GE(IMG_save_bitmap(image, file.name(), type), 0);
            }
            const uint64_t before = platform_get_counts().live_bytes;
            platform_set_faults({});
            const int32_t handle = IMG_decompress_bitmap(file.name());
            ASSERT_GE(handle, 0);
            const uint64_t peak = platform_get_counts().peak_bytes;
            IMG_delete_bitmap(handle);
            EXPECT_LE(peak - before, uint64_t(test_stride(width, bits)) * height + (1 << 20));
        }
}
