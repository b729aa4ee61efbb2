// tiff_faults_test.cpp - TIFF pages, raw fax data and EPS files with every allocation, lock,
// read and write failing in turn.

#include "platform/win32.h"
#include "tests/builders/plain_ccitt.h"
#include "tests/builders/tiff_builder.h"
#include "tests/support/fault_sweep.h"

namespace {

bool is_memory(fault_kind kind)
{
    return kind == fault_kind::allocation || kind == fault_kind::lock;
}

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

test_dib picture_for(int32_t type)
{
    const bool is_1_bit = type != 0 && type != 9 && type != 14;
    test_dib dib(is_1_bit ? 1728 : 2001, is_1_bit ? 100 : 11, is_1_bit ? 1 : 8);
    dib.fill_random(5, 2);
    return dib;
}

} // namespace

TEST(tiff_faults, loading)
{
    for (int on : {0, 1})
        for (int32_t type : {0, 9, 16, 7, 8, 10, -1, -5}) { // negative: planes
            if (type == 16 && !on) continue;
            SCOPED_TRACE(testing::Message() << "interchange " << on << " type " << type);
            const temp_file file(".tif");
            IMGX_set_interchange(on);
            if (type < 0) {
                write_file(file.name(), planes(static_cast<uint32_t>(-type)));
            } else {
                const image_guard image(picture_for(type).create());
                ASSERT_EQ(IMG_save_bitmap(image, file.name(), type), 0);
            }
            sweep_faults(
                {fault_kind::allocation, fault_kind::lock, fault_kind::failed_read,
                 fault_kind::short_read, fault_kind::failed_write},
                [&] {
                    const int32_t handle = IMG_decompress_bitmap(file.name());
                    return handle < 0 ? handle : release_image(handle);
                },
                [](fault_kind kind, int32_t result) {
                    EXPECT_TRUE(read_file("plane.tmp").empty());
                    if (is_memory(kind))
                        EXPECT_EQ(result, -1);
                    else if (kind == fault_kind::failed_write)
                        EXPECT_EQ(result, -9);
                    else
                        EXPECT_TRUE(result == 0 || result == -3 || result == -7 || result == -12)
                            << result;
                });
        }
}

TEST(tiff_faults, plane_file_that_cannot_be_made)
{
    ASSERT_EQ(std::system("mkdir plane.tmp"), 0);
    EXPECT_EQ(load_code(planes(1)), -6);
    ASSERT_EQ(std::system("rmdir plane.tmp"), 0);
}

TEST(tiff_faults, saving_and_appending)
{
    for (int on : {0, 1})
        for (int32_t type : {0, 9, 14, 16, 7, 8, 10})
            for (int pages : {0, 1}) {
                SCOPED_TRACE(testing::Message() << "interchange " << on << " type " << type
                                                << " pages there " << pages);
                if (type == 16 && !on) continue;
                IMGX_set_interchange(on);
                const image_guard image(picture_for(type).create());
                const temp_file file(".tif");
                if (pages) {
                    EXPECT_GE(IMG_save_bitmap(image, file.name(), 0), 0);
                }
                const byte_vector first = file.bytes();
                sweep_faults(
                    write_faults,
                    [&] {
                        write_file(file.name(), first);
                        return IMG_save_bitmap(image, file.name(), type);
                    },
                    [&](fault_kind kind, int32_t result) {
                        EXPECT_EQ(result, is_memory(kind) ? -1 : -9);
                        // Where pages are added, those that were there stay, and the new one
                        // comes into the chain with the last write, here cut in half.
                        const bool adds = pages && type != 14 && (type != 9 || on);
                        const int32_t most = kind == fault_kind::short_write ? 2 : 1;
                        const int32_t now = adds ? IMGLOW_get_pages(file.name()) : 1;
                        EXPECT_TRUE(now >= 1 && now <= most) << now;
                    });
            }
}

TEST(fax_faults, decompressing)
{
    // Rows of many elements, so that the lists grow.
    plain::pixels row(12000);
    for (size_t i = 0; i < row.size(); i += 2)
        row[i] = true;
    for (int32_t type : {1, 2, 4}) {
        SCOPED_TRACE(type);
        const temp_file file(".fax");
        const uint32_t code = type == 4 ? tiff_group4 : type == 2 ? tiff_group3_2d : tiff_group3;
        write_file(file.name(), plain::bytes_of(plain::encode({row, row}, code)));
        sweep_faults(
            read_faults,
            [&] {
                OFSTRUCT opened;
                const HFILE source = OpenFile(file.name(), &opened, OF_READ);
                const int32_t handle = IMG_decompress_fax(source, 12000, 4, type, 1);
                _lclose(source);
                return handle < 0 ? handle : release_image(handle);
            },
            [](fault_kind kind, int32_t result) { EXPECT_EQ(result, is_memory(kind) ? -1 : 0); });
    }
}

// A page costs its DIB and at most 1 MB more, however its strips are laid out.
TEST(tiff_memory, reading_takes_little_more_than_the_picture)
{
    IMGX_set_interchange(1);
    for (int32_t type : {0, 9, 16, 10})
        for (int32_t row_bytes : {12, 5000, 60000}) {
            const int bits = type == 16 || type == 10 ? 1 : 8;
            test_dib dib(row_bytes * 8 / bits, 60, bits);
            dib.fill_random(3, 50);
            const image_guard image(dib.create());
            const temp_file file(".tif");
            ASSERT_GE(IMG_save_bitmap(image, file.name(), type), 0);
            platform_set_faults({});
            const uint64_t before = platform_get_counts().live_bytes;
            EXPECT_EQ(IMG_delete_bitmap(IMG_decompress_bitmap(file.name())), 0);
            EXPECT_LE(platform_get_counts().peak_bytes - before,
                      uint64_t(row_bytes) * 60 + (1 << 20))
                << "type " << type << ", " << row_bytes << " bytes in a row";
        }
}
