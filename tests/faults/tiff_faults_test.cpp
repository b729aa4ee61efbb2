// tiff_faults_test.cpp - TIFF pages and EPS files with every allocation, lock, read and write
// failing in turn.

#include "tests/builders/tiff_builder.h"
#include "tests/support/fault_sweep.h"
#include "tests/support/images.h"

namespace {

struct interchange_if {
    explicit interchange_if(int on) { IMGX_set_interchange(on); }
    ~interchange_if() { IMGX_set_interchange(0); }
};

tiff_builder sample(uint32_t compression, bool planes)
{
    tiff_builder t;
    t.shape(4, 2, 8, planes ? 3 : 1, compression, planes ? 2 : 1);
    t.set(278, 3, {1}).set(315, 2, {'s', 'o', 'm', 'e', 'o', 'n', 'e', 0});
    if (planes) t.set(284, 3, {2});
    for (int strip = 0; strip < (planes ? 6 : 2); ++strip) {
        if (compression == 1) t.strip({1, 2, 3, 4});
        if (compression == 32773) t.strip({3, 1, 2, 3, 4});
        // Clear, 1, 2, 3, 4, end
        if (compression == 5) t.strip({0x80, 0x00, 0x20, 0x20, 0x18, 0x10, 0x0A, 0x02, 0x02});
    }
    return t;
}

bool has_plane_file()
{
    std::FILE* file = std::fopen("plane.tmp", "rb");
    if (file) std::fclose(file);
    return file != nullptr;
}

} // namespace

TEST(tiff_faults, loading_by_name)
{
    for (int on : {0, 1})
        for (uint32_t compression : {1u, 5u, 32773u})
            for (bool planes : {false, true}) {
                SCOPED_TRACE(testing::Message() << "interchange " << on << " compression "
                                                << compression << " planes " << planes);
                const interchange_if mode(on);
                const temp_file file(".tif");
                write_file(file.name(), sample(compression, planes).build());
                auto kinds = {fault_kind::allocation, fault_kind::lock, fault_kind::failed_read,
                              fault_kind::short_read, fault_kind::failed_write};
                sweep_faults(
                    kinds,
                    [&] {
                        const int32_t handle = IMG_decompress_bitmap(file.name());
                        return handle < 0 ? handle : release_image(handle);
                    },
                    [](fault_kind kind, int32_t result) {
                        EXPECT_FALSE(has_plane_file());
                        if (kind == fault_kind::allocation || kind == fault_kind::lock)
                            EXPECT_EQ(result, -1);
                        else if (kind == fault_kind::failed_write)
                            EXPECT_EQ(result, -9);
                        else
                            EXPECT_TRUE(result == 0 || result == -3 || result == -7 ||
                                        result == -12)
                                << result;
                    });
            }
}

TEST(tiff_faults, plane_file_that_cannot_be_made)
{
    const byte_vector file = sample(1, true).build();
    ASSERT_EQ(std::system("mkdir plane.tmp"), 0);
    EXPECT_EQ(IMGX_decompress_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0), -6);
    ASSERT_EQ(std::system("rmdir plane.tmp"), 0);
}

TEST(tiff_faults, saving_and_appending)
{
    for (int on : {0, 1})
        for (int32_t type : {0, 9, 14, 16})
            for (int pages : {0, 1}) {
                SCOPED_TRACE(testing::Message() << "interchange " << on << " type " << type
                                                << " pages there " << pages);
                if (type == 16 && !on) continue;
                const interchange_if mode(on);
                test_dib dib(type == 16 ? 9000 : 2001, 11, type == 16 ? 1 : 8);
                dib.fill_random(5, 3);
                const image_guard image(dib.create());
                const temp_file file(".tif");
                byte_vector first;
                if (pages) {
                    EXPECT_GE(IMG_save_bitmap(image, file.name(), 0), 0);
                    first = file.bytes();
                }
                sweep_faults(
                    write_faults,
                    [&] {
                        write_file(file.name(), first);
                        return IMG_save_bitmap(image, file.name(), type);
                    },
                    [&](fault_kind kind, int32_t result) {
                        const bool memory =
                            kind == fault_kind::allocation || kind == fault_kind::lock;
                        EXPECT_EQ(result, memory ? -1 : -9);
                        // Where pages are added, those that were there stay, and the new one
                        // comes into the chain with the last write, here cut in half.
                        const bool adds = pages && type != 14 && (type != 9 || on);
                        const int32_t most = kind == fault_kind::short_write ? 2 : 1;
                        const int32_t now = adds ? IMGLOW_get_pages(file.name()) : 1;
                        EXPECT_TRUE(now >= 1 && now <= most) << now;
                    });
            }
}

// A page costs its DIB and at most 1 MB more, however its strips are laid out.
TEST(tiff_memory, reading_takes_little_more_than_the_picture)
{
    IMGX_set_interchange(1);
    for (int32_t type : {0, 9, 16})
        for (int32_t width : {100, 8 * 5000, 8 * 60000}) {
            const int bits = type == 16 ? 1 : 8;
            test_dib dib(width / (bits == 8 ? 8 : 1), 60, bits);
            dib.fill_random(3, 50);
            const image_guard image(dib.create());
            const temp_file file(".tif");
            ASSERT_GE(IMG_save_bitmap(image, file.name(), type), 0);
            const auto dib_bytes =
                static_cast<uint64_t>(test_stride(width / (bits == 8 ? 8 : 1), bits)) * 60;
            platform_set_faults({});
            const uint64_t before = platform_get_counts().live_bytes;
            const int32_t handle = IMG_decompress_bitmap(file.name());
            EXPECT_LE(platform_get_counts().peak_bytes - before, dib_bytes + (1 << 20))
                << "type " << type << ", width " << width;
            ASSERT_GE(handle, 0);
            IMG_delete_bitmap(handle);
        }
    IMGX_set_interchange(0);
}
