// tiff_ccitt_faults_test.cpp - TIFF pages of fax codes with every allocation, lock, read and
// write failing in turn.

#include "tests/support/fault_sweep.h"
#include "tests/support/images.h"

namespace {

constexpr int32_t fax_types[] = {7, 8, 10};

test_dib noisy_page()
{
    test_dib dib(1728, 300, 1); // more than one buffer of output
    dib.fill_random(7, 2);
    return dib;
}

} // namespace

TEST(tiff_ccitt_faults, saving_and_appending)
{
    const image_guard image(noisy_page().create());
    for (int32_t type : fax_types) {
        SCOPED_TRACE(type);
        const temp_file file(".tif");
        sweep_faults(
            write_faults,
            [&] {
                std::remove(file.name());
                const int32_t first = IMG_save_bitmap(image, file.name(), type);
                return first < 0 ? first : IMG_save_bitmap(image, file.name(), type);
            },
            [](fault_kind kind, int32_t result) {
                const bool memory = kind == fault_kind::allocation || kind == fault_kind::lock;
                EXPECT_EQ(result, memory ? -1 : -9);
            });
    }
}

TEST(tiff_ccitt_faults, loading)
{
    for (int interchange : {0, 1})
        for (int32_t type : fax_types) {
            SCOPED_TRACE(testing::Message() << "type " << type << ", mode " << interchange);
            const temp_file file(".tif");
            {
                const image_guard image(noisy_page().create());
                ASSERT_EQ(IMG_save_bitmap(image, file.name(), type), 0);
            }
            IMGX_set_interchange(interchange);
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
                        EXPECT_TRUE(result == 0 || result == -3 || result == -7 || result == -12)
                            << result;
                });
            IMGX_set_interchange(0);
        }
}
