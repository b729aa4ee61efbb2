// byte_io_test.cpp - the memory stream, the scratch list, buffered streams, row arithmetic.

#include "core/byte_stream.h"
#include "core/codec.h"

#include <gtest/gtest.h>
#include <numeric>
#include <vector>

namespace {

std::vector<uint8_t> counting(size_t count)
{
    std::vector<uint8_t> bytes(count);
    for (size_t i = 0; i < count; ++i)
        bytes[i] = i * 7 + i / 256;
    return bytes;
}

} // namespace

TEST(dib_geometry, rows_tables_and_limits)
{
    BITMAPINFOHEADER header{};
    header.biBitCount = 8;
    header.biClrUsed = 16;
    EXPECT_EQ(Palette_Size(&header), 1024);

    EXPECT_TRUE(dib_fits(26000, 26000, 24));
    EXPECT_FALSE(dib_fits(27000, 27000, 24));
    EXPECT_FALSE(dib_fits(int64_t{1} << 40, int64_t{1} << 40, 8));
    EXPECT_FALSE(dib_fits(1, 0, 8));
    EXPECT_FALSE(dib_fits(1, 1, 16));
}

TEST(memory_stream, seeks_and_lengths_as_they_always_were)
{
    auto bytes = counting(100);
    reset_mem_io_bounded(bytes.data(), 100);
    uint8_t got[200];
    EXPECT_EQ(img_read_mem(memory_file, got, 10), 10);
    EXPECT_EQ(img_filelength(memory_file), 10);
    EXPECT_EQ(img_seek_mem(memory_file, 5, seek_from_here), 0);
    EXPECT_EQ(img_read_mem(memory_file, got, 1), 1);
    EXPECT_EQ(got[0], bytes[15]);
    EXPECT_EQ(img_seek_mem(memory_file, 50, seek_from_end), 0);
    EXPECT_EQ(img_tell(memory_file), 0);
    EXPECT_EQ(img_seek_mem(memory_file, 95, seek_from_start), 0);
    EXPECT_EQ(img_read_mem(memory_file, got, 200), 5);
    EXPECT_EQ(img_read_mem(memory_file, got, 1), 0);
    for (int32_t position : {-1, 101, INT32_MAX, INT32_MIN}) {
        img_seek_mem(memory_file, position, seek_from_start);
        EXPECT_EQ(img_read_mem(memory_file, got, 1), 0) << position;
        EXPECT_EQ(img_write_mem(memory_file, got, 1), 0) << position;
        img_seek_mem(memory_file, INT32_MAX, seek_from_here);
        EXPECT_EQ(img_read_mem(memory_file, got, 1), 0) << position;
    }
    EXPECT_EQ(img_read_mem(memory_file, got, -5), 0);
}

TEST(scratch_list, holds_twenty_blocks_and_ignores_strangers)
{
    const void* const none = reinterpret_cast<void*>(UINTPTR_MAX);
    void* blocks[20];
    for (void*& block : blocks) {
        block = img_fmalloc(10);
        ASSERT_NE(block, none);
    }
    EXPECT_EQ(img_fmalloc(10), none);
    int stranger;
    img_ffree(&stranger);
    img_ffree(nullptr);
    EXPECT_EQ(img_fmalloc(10), none);
    img_ffree(blocks[7]);
    EXPECT_NE(img_fmalloc(0), none);
    img_ffree_all();
    const scratch_block after(5);
    EXPECT_TRUE(after);
}

TEST(byte_order, swaps_in_place)
{
    uint8_t bytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    mm_byteswap(bytes, 2);
    EXPECT_EQ(load_u32be(bytes), 0x02010403u);
    mm_wordswap(bytes + 4, 1);
    EXPECT_EQ(load_u32be(bytes + 4), 0x08070605u);
    EXPECT_EQ(img_byteswap(bytes, 2), 2);
    EXPECT_EQ(load_u32be(bytes), 0x01020304u);
}

TEST(byte_source, gives_the_same_bytes_with_every_buffer_size)
{
    auto bytes = counting(1000);
    for (uint32_t capacity : {1u, 2u, 7u, 64u, 999u, 1000u, 5000u}) {
        reset_mem_io_bounded(bytes.data(), 1000);
        byte_source in(memory_file, capacity);
        ASSERT_TRUE(in.ok());
        for (size_t i = 0; i < 100; ++i)
            ASSERT_EQ(in.get(), bytes[i]);
        in.skip(50);
        EXPECT_EQ(in.tell(), 150);
        uint8_t piece[300];
        EXPECT_EQ(in.read(piece, 300), 300u);
        EXPECT_TRUE(std::equal(piece, piece + 300, bytes.data() + 150));
        in.seek(10);
        EXPECT_EQ(in.get(), bytes[10]);
        in.sync();
        EXPECT_EQ(img_tell(memory_file), 11);
        in.seek(990);
        EXPECT_FALSE(in.ensure(std::min<size_t>(capacity, 1000) + (capacity > 10 ? 0 : 1)));
        EXPECT_EQ(in.read(piece, 300), 10u);
        EXPECT_EQ(in.get(), -1);
        in.skip(UINT32_MAX);
        EXPECT_EQ(in.get(), -1);
    }
    EXPECT_TRUE(bytes == counting(1000)) << "the slack is not made in the client's memory";
}

TEST(byte_sink, remembers_a_short_write)
{
    std::vector<uint8_t> block(100, 0xEE);
    for (uint32_t capacity : {1u, 8u, 33u, 200u}) {
        reset_mem_io_bounded(block.data(), 50);
        byte_sink out(memory_file, std::max(capacity, 8u));
        for (int i = 0; i < 10; ++i)
            out.put_u32be(0x01020304);
        EXPECT_EQ(out.flush(), 0);
        EXPECT_EQ(out.written(), 40u);
        out.put_zeros(11);
        EXPECT_EQ(out.flush(), err_write);
        out.put(uint8_t{1});
        EXPECT_EQ(out.flush(), err_write) << "a later write does not hide it";
        EXPECT_EQ(block[39], 4);
        EXPECT_EQ(block[50], 0xEE);
    }
}

TEST(byte_reader, stays_failed_behind_the_end)
{
    const uint8_t bytes[] = {1, 2, 3, 4, 5};
    byte_reader in(bytes, sizeof bytes, byte_order::big);
    EXPECT_EQ(in.u16(), 0x0102);
    EXPECT_EQ(in.u32(), 0u);
    EXPECT_FALSE(in.ok());
    EXPECT_EQ(in.u8(), 0);
    EXPECT_EQ(in.take(SIZE_MAX), nullptr);
}
