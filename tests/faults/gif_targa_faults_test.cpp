// gif_targa_faults_test.cpp - GIF and Targa files with every allocation, lock, read and write
// failing in turn.

#include "tests/builders/gif_builder.h"
#include "tests/builders/targa_builder.h"
#include "tests/support/fault_sweep.h"
#include "tests/support/images.h"

namespace {

bool is_memory(fault_kind kind)
{
    return kind == fault_kind::allocation || kind == fault_kind::lock;
}

// More than one buffer of data, so that reads can fail in the middle of the pixels.
byte_vector noise(size_t count, unsigned levels)
{
    std::mt19937 random(1);
    byte_vector bytes(count);
    for (uint8_t& b : bytes)
        b = static_cast<uint8_t>(random() % levels);
    return bytes;
}

byte_vector gif_sample()
{
    return gif_builder("89a", gif_builder::colors(256, 0x123456))
        .extension(0xFE, "comment")
        .pixels(300, 300, 8, noise(90000, 256))
        .end();
}

byte_vector targa_sample(int type)
{
    targa_builder tga;
    tga.width = 200, tga.height = 150, tga.type = type;
    tga.data = noise(90000, 3);
    std::mt19937 random(2);
    if (type > 8) tga.data = targa_packets(noise(90000, 3), 3, random);
    return tga.build();
}

template <class Check> void sweep_load(const byte_vector& file, const char* extension, Check check)
{
    const temp_file on_disk(extension);
    write_file(on_disk.name(), file);
    sweep_faults(
        read_faults,
        [&] {
            const int32_t handle = IMG_decompress_bitmap(on_disk.name());
            return handle < 0 ? handle : release_image(handle);
        },
        check);
}

template <class Check> void sweep_save(int32_t bits, int32_t type, Check check)
{
    test_dib dib(300, 300, bits);
    dib.fill_random(5, 2);
    const image_guard image(dib.create());
    const image_copy before = copy_image(image);
    const temp_file file(".img");
    sweep_faults(
        write_faults, [&] { return IMG_save_bitmap(image, file.name(), type); },
        [&](fault_kind kind, int32_t result) {
            check(kind, result);
            expect_same_colors(copy_image(image), before);
        },
        40);
}

} // namespace

TEST(gif_faults, loading)
{
    for (int mode : {0, 1}) {
        IMGX_set_interchange(mode);
        int accepted = 0;
        sweep_load(gif_sample(), ".gif", [&](fault_kind kind, int32_t result) {
            if (!is_memory(kind))
                EXPECT_TRUE(result == -3 || result == -7 || result == -12) << result;
            else if (result == 0)
                ++accepted;
            else
                EXPECT_EQ(result, -1);
        });
        // In classic mode the buffer for the data may be missing: its allocation and its lock.
        EXPECT_EQ(accepted, mode ? 0 : 2);
    }
    IMGX_set_interchange(0);
}

TEST(gif_faults, saving)
{
    for (int mode : {0, 1}) {
        IMGX_set_interchange(mode);
        sweep_save(8, 4, [](fault_kind kind, int32_t result) {
            EXPECT_TRUE(result == -9 || (is_memory(kind) && result == -1)) << result;
        });
    }
    IMGX_set_interchange(0);
}

TEST(targa_faults, loading)
{
    for (int type : {2, 10})
        sweep_load(targa_sample(type), ".tga", [&](fault_kind kind, int32_t result) {
            // An uncompressed file may end inside a chunk of rows; the last read of packets
            // only looks whether there are more.
            const bool harmless = type == 2 ? kind == fault_kind::short_read : !is_memory(kind);
            if (is_memory(kind))
                EXPECT_EQ(result, -1);
            else
                EXPECT_TRUE(result == -7 || result == -12 || (harmless && result == 0)) << result;
        });
}

TEST(targa_faults, saving)
{
    for (int mode : {0, 1}) {
        IMGX_set_interchange(mode);
        sweep_save(24, 3, [](fault_kind kind, int32_t result) {
            EXPECT_EQ(result, is_memory(kind) ? -1 : -9);
        });
    }
    IMGX_set_interchange(0);
}
