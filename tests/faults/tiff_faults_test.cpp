// tiff_faults_test.cpp - every allocation, lock, read and write failing in turn, where the test
// of all file types does not reach: data of several buffers, separate planes, pages added to a
// file, raw fax data.

#include "tests/builders/plain_ccitt.h"
#include "tests/builders/tiff_builder.h"
#include "tests/support/fault_sweep.h"
#include "tests/support/open_file.h"

namespace {

byte_vector planes(uint32_t compression)
{
    tiff_builder t;
    t.shape(4, 2, 8, 3, compression, 2).set(278, 3, {1}).set(284, 3, {2});
    t.add({315, 2, 8, {'s', 'o', 'm', 'e', 'o', 'n', 'e', 0}});
    for (int strip = 0; strip < 6; ++strip) // in LZW: Clear, 1, 2, 3, 4, end
        t.strip(compression == 1 ? byte_vector{1, 2, 3, 4}
                                 : byte_vector{0x80, 0, 0x20, 0x20, 0x18, 0x10, 0x0A, 2, 2});
    return t.build();
}

picture picture_for(int32_t type)
{
    return type == 0 || type == 9 ? random_picture(2001, 11, 8, 2, 5)
                                  : random_picture(1728, 100, 1, 2, 5);
}

} // namespace

TEST(tiff_faults, loading)
{
    const temp_file file(".tif");
    for (int on : {0, 1}) {
        IMGX_set_interchange(on);
        for (int32_t type : {0, 9, 16, 7, 8, 10}) {
            if (type == 16 && !on) continue;
            SCOPED_TRACE(testing::Message() << "interchange " << on << " type " << type);
            std::remove(file.name());
            ASSERT_EQ(IMG_save_bitmap(image_guard(picture_for(type).create()), file.name(), type),
                      0);
            sweep_load(file.name());
        }
        for (uint32_t compression : {1u, 5u}) {
            write_file(file.name(), planes(compression));
            sweep_load(file.name());
            sweep_faults(
                {fault_kind::allocation, fault_kind::failed_read, fault_kind::failed_write},
                [&] {
                    const int32_t handle = IMG_decompress_bitmap(file.name());
                    return handle < 0 ? handle : release_image(handle);
                },
                [](fault_kind kind, int32_t result) {
                    EXPECT_TRUE(read_file("plane.tmp").empty());
                    EXPECT_TRUE(kind != fault_kind::failed_write || result == -9) << result;
                });
        }
    }
    ASSERT_EQ(std::system("mkdir plane.tmp"), 0);
    IMGX_set_interchange(0);
    EXPECT_EQ(load_code(planes(1)), -6);
    ASSERT_EQ(std::system("rmdir plane.tmp"), 0);
}

// The pages that were there stay, and the new one comes into the chain with the last write, here
// cut in half.
TEST(tiff_faults, appending)
{
    const temp_file file(".tif");
    ASSERT_EQ(IMG_save_bitmap(image_guard(picture_for(0).create()), file.name(), 0), 0);
    const byte_vector first = file.bytes();
    for (int on : {0, 1})
        for (int32_t type : {0, 9, 16, 7, 8, 10}) {
            if ((type == 16 || type == 9) && !on) continue; // not written, or never appended
            SCOPED_TRACE(testing::Message() << "interchange " << on << " type " << type);
            IMGX_set_interchange(on);
            const image_guard image(picture_for(type).create());
            sweep_faults(
                write_faults,
                [&] {
                    write_file(file.name(), first);
                    return IMG_save_bitmap(image, file.name(), type);
                },
                [&](fault_kind kind, int32_t result) {
                    EXPECT_EQ(result, is_memory_fault(kind) ? -1 : -9);
                    const int32_t pages = IMGLOW_get_pages(file.name());
                    EXPECT_TRUE(pages == 1 || (pages == 2 && kind == fault_kind::short_write));
                });
        }
}

TEST(fax_faults, decompressing)
{
    // Rows of many elements, so that the lists grow.
    plain::pixels row(12000);
    for (size_t i = 0; i < row.size(); i += 2)
        row[i] = true;
    const temp_file file(".fax");
    for (int32_t type : {1, 2, 4}) {
        SCOPED_TRACE(type);
        const uint32_t code = type == 4 ? tiff_group4 : type == 2 ? tiff_group3_2d : tiff_group3;
        write_file(file.name(), plain::bytes_of(plain::encode({row, row}, code)));
        sweep_faults(
            read_faults,
            [&] {
                const open_file source(file.name());
                const int32_t handle = IMG_decompress_fax(source.handle(), 12000, 4, type, 1);
                return handle < 0 ? handle : release_image(handle);
            },
            [](fault_kind kind, int32_t result) {
                EXPECT_EQ(result, is_memory_fault(kind) ? -1 : 0);
            });
    }
}
