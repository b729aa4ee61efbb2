// format_faults_test.cpp - what the test of all file types does not reach: GIF's own codes,
// bitmaps and JPEG data in several pieces, pages added to a file, files that claim a huge picture;
// and the memory that loading takes.

#include "tests/builders/gif_builder.h"
#include "tests/builders/jpeg_builder.h"
#include "tests/builders/pcx_builder.h"
#include "tests/builders/pict_builder.h"
#include "tests/builders/targa_builder.h"
#include "tests/builders/wmf_builder.h"
#include "tests/builders/wpg_builder.h"
#include "tests/support/fault_sweep.h"

#include <sys/resource.h>

TEST(format_faults, gif)
{
    const temp_file file(".gif");
    for (int mode : {0, 1}) {
        const mode_scope scope(mode);
        const image_guard image(random_picture(300, 300, 8).create());
        const auto save = [&] { return IMG_save_bitmap(image, file.name(), 4); };
        sweep_faults(
            write_faults, save,
            [](fault_kind kind, int32_t result) {
                EXPECT_TRUE(result == -9 || (is_memory_fault(kind) && result == -1)) << result;
            },
            40);
        ASSERT_EQ(save(), 0);
        int accepted = 0;
        const auto load = [&] {
            const int32_t handle = IMG_decompress_bitmap(file.name());
            return handle < 0 ? handle : release_image(handle);
        };
        sweep_faults(read_faults, load, [&](fault_kind kind, int32_t result) {
            accepted += result == 0;
            EXPECT_TRUE(result == 0 || (is_memory_fault(kind) ? result == -1 : result < -2));
        });
        // In classic mode the buffer for the data may be missing: its allocation and its lock.
        EXPECT_EQ(accepted, mode ? 0 : 2);
    }
}

TEST(format_faults, jpeg_of_several_buffers)
{
    jpeg_builder::coded_picture p(200, 150, 2, 2, 9); // with restarts
    p.nonzero = 40;
    p.amplitude = 400;
    const temp_file file(".jpg");
    for (const int standard : {0, 1}) {
        IMGX_set_interchange(standard);
        write_file(file.name(), jpeg_builder::stream(p));
        sweep_load(file.name());
        const image_guard image(random_picture(300, 200, 24).create());
        const picture before = copy_image(image);
        sweep_save(image, file.name(), 13);
        expect_same_colors(copy_image(image), before);
    }
}

TEST(format_faults, loading_what_we_do_not_write)
{
    pict_bits tile;
    tile.width = 30, tile.bits = 8, tile.row_bytes = 30;
    tile.colors = {{0, 1, 2, 3}};
    tile.rows = {2, 0xE3, 0};
    pict_bits beside = tile;
    beside.left = 30;
    const temp_file file(".img");
    for (const byte_vector& bytes : std::initializer_list<byte_vector>{
             pict_builder().op(0x98, tile).op(0x98, beside).op(0xFF),
             wmf_builder().draw(0x0F43, wmf_runs_of_nine()).finish(),
             wpg_builder(2).bitmap_2(3, 2, 4, 1, {0x82, 1, 0x82, 2})}) {
        write_file(file.name(), bytes);
        sweep_load(file.name());
    }
}

TEST(format_faults, a_failed_append_keeps_the_pages_that_were_there)
{
    const temp_file file(".dcx");
    pcx_builder page;
    page.width = 40, page.data = {0xE8, 7}, page.tail = vga_palette(1);
    const image_guard image(random_picture(20, 5, 8, 4).create());
    for (size_t entries : {size_t{2}, size_t{1024}}) {
        const byte_vector before = build_dcx({page}, entries);
        const picture first = picture_of(before);
        sweep_faults(
            {fault_kind::allocation, fault_kind::lock, fault_kind::failed_read,
             fault_kind::failed_write},
            [&] {
                write_file(file.name(), before);
                return IMG_save_bitmap(image, file.name(), 11);
            },
            [&](fault_kind, int32_t result) {
                EXPECT_LT(result, 0);
                expect_same_colors(picture_of(file.bytes()), first);
            });
    }
}

// Loading takes the DIB and at most a megabyte, whatever the format keeps beside it.
TEST(format_faults, loading_stays_near_the_size_of_the_image)
{
    constexpr std::pair<int, int> kinds[] = {{0, 24}, {2, 8},  {2, 24}, {3, 8},  {3, 24}, {4, 4},
                                             {4, 8},  {5, 8},  {6, 8},  {6, 24}, {7, 1},  {9, 1},
                                             {9, 24}, {10, 1}, {11, 8}, {15, 8}, {15, 24}};
    for (auto [type, bits] : kinds) {
        SCOPED_TRACE(testing::Message() << type << " " << bits);
        const int32_t width = 5000, height = 600; // two tiles of a picture
        const temp_file file(".img");
        ASSERT_GE(IMG_save_bitmap(image_guard(random_picture(width, height, bits, 50).create()),
                                  file.name(), type),
                  0);
        const uint64_t before = platform_get_counts().live_bytes;
        platform_set_faults({});
        const image_guard image(IMG_decompress_bitmap(file.name()));
        ASSERT_GE(image, 0);
        EXPECT_LE(platform_get_counts().peak_bytes - before,
                  uint64_t(test_stride(width, bits)) * height + (1 << 20));
    }
}

// A header justifies an allocation of its size, but not that its pages are touched.
TEST(format_faults, a_huge_picture_without_data_costs_nothing)
{
    rusage before, after;
    getrusage(RUSAGE_SELF, &before);
    targa_builder targa;
    targa.width = 65535, targa.height = 10000, targa.data = {0, 1, 2};
    EXPECT_EQ(load_code(targa), -12);
    targa.type = 10;
    EXPECT_EQ(load_code(targa), -12);
    const gif_builder gif =
        gif_builder("89a", values(256)).picture(65535, 30000, 8, {3, 0, 1, 2, 0});
    EXPECT_EQ(load_code(gif), -3);
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LE(after.ru_maxrss - before.ru_maxrss, 100 * 1024);
}
