// jpeg_stream_test.cpp - what the exports cannot reach of reading a stream: its search, its
// tables, and the sink's failures.

#include "core/byte_io.h"
#include "formats/jpeg/jpeg_huffman.h"
#include "formats/jpeg/jpeg_reader.h"
#include "tests/builders/jpeg_builder.h"

#include <gtest/gtest.h>

namespace {

struct seen {
    BITMAPINFOHEADER header{};
    int32_t rows = 0;
};
int32_t IMG_C see_header(const BITMAPINFOHEADER* header, IMG_PRIVATE p)
{
    reinterpret_cast<seen*>(p)->header = *header;
    return 1;
}
int32_t IMG_C see_row(const void*, IMG_PRIVATE p, int32_t, int32_t)
{
    ++reinterpret_cast<seen*>(p)->rows;
    return 0;
}

int32_t open_at(const jpeg_builder::bytes& data, uint32_t offset, seen& got,
                const jpeg_page_resolution* resolution = nullptr)
{
    io_scope scope;
    reset_mem_io_bounded(data.data(), static_cast<uint32_t>(data.size()));
    const row_sink sink{see_row, see_header, reinterpret_cast<IMG_PRIVATE>(&got)};
    return open_jpg_at(offset, sink, memory_file, resolution);
}

} // namespace

TEST(jpeg_stream, is_found_within_1001_positions)
{
    const jpeg_builder::bytes file = jpeg_builder::stream(jpeg_builder::picture());
    const struct {
        size_t leading;
        int32_t expected;
    } cases[] = {{0, 0}, {1, 0}, {1000, 0}, {1001, -3}};
    for (const auto& c : cases) {
        jpeg_builder::bytes data(c.leading, 0xFF);
        data.insert(data.end(), file.begin(), file.end());
        seen got;
        EXPECT_EQ(open_at(data, 0, got), c.expected) << c.leading;
    }
    seen got;
    EXPECT_EQ(open_at({0xFF}, 0, got), -3);
    EXPECT_EQ(open_at({}, 0, got), -12);
    EXPECT_EQ(open_at(file, static_cast<uint32_t>(file.size()), got), -12);
    EXPECT_EQ(open_at(file, 0x80000000u, got), -12);
}

TEST(jpeg_stream, takes_the_pages_resolution)
{
    const jpeg_builder::bytes file = jpeg_builder::stream(jpeg_builder::picture());
    jpeg_builder::bytes data(70000, 7); // farther than the buffers reach
    data.insert(data.end(), file.begin(), file.end());
    const jpeg_page_resolution resolution{300, 600};
    seen got;
    EXPECT_EQ(open_at(data, 70000, got, &resolution), 0);
    EXPECT_EQ(got.header.biXPelsPerMeter, 300);
    EXPECT_EQ(got.header.biYPelsPerMeter, 600);
    EXPECT_EQ(got.rows, 16);
    EXPECT_EQ(open_at(data, 70000, got), 0);
    EXPECT_EQ(got.header.biXPelsPerMeter, 0);
}

TEST(jpeg_stream, survives_any_bytes_in_its_headers)
{
    // Every byte of the headers set to each of a few values in turn.
    jpeg_builder::picture p = jpeg_builder::color_picture(17, 9, 2, 2);
    p.restart_interval = 1;
    const jpeg_builder::bytes file = jpeg_builder::stream(p);
    for (size_t at = 2; at < file.size(); ++at)
        for (uint8_t value : {0x00, 0x01, 0x7F, 0xFF, 0xD9}) {
            jpeg_builder::bytes data = file;
            data[at] = value;
            // Huge sizes would only take time.
            if (at >= jpeg_builder::headers(p).size() || file[at] != 0) {
                seen got;
                const int32_t result = open_at(data, 0, got);
                ASSERT_TRUE(result == 0 || result == -1 || result == -3 || result == -7 ||
                            result == -12)
                    << at << ": " << result;
            }
        }
}

TEST(jpeg_huffman, finds_every_code_and_no_other)
{
    const jpeg_builder::huffman table = jpeg_builder::all_symbols(3, 250);
    jpeg_huffman_spec spec{};
    for (size_t i = 0; i < 16; ++i)
        spec.counts[i] = static_cast<uint8_t>(table.counts[i]);
    spec.total = 250;
    for (size_t i = 0; i < 250; ++i)
        spec.symbols[i] = static_cast<uint8_t>(table.symbols[i]);
    static jpeg_decode_table lookup;
    lookup.build(spec, coefficient_kind::ac);
    std::vector<int> symbol_of(65536, -1), length_of(65536, 0);
    for (int symbol = 0; symbol < 250; ++symbol) {
        const std::string code = table.code(symbol);
        const auto first = std::stoul(code, nullptr, 2) << (16 - code.size());
        for (size_t i = 0; i < size_t{1} << (16 - code.size()); ++i) {
            symbol_of[first + i] = symbol;
            length_of[first + i] = static_cast<int>(code.size());
        }
    }
    for (uint32_t bits = 0; bits < 65536; ++bits) {
        uint32_t entry = lookup.lookup[bits >> (16 - jpeg_decode_table::lookup_bits)];
        if ((entry & jpeg_decode_table::length_mask) == 0) entry = lookup.find(bits);
        const int symbol = symbol_of[bits];
        if (symbol < 0) {
            ASSERT_EQ(entry, 0u) << bits;
            continue;
        }
        const int length = static_cast<int>(entry & jpeg_decode_table::length_mask);
        if (entry & jpeg_decode_table::complete) {
            ASSERT_EQ(static_cast<int>(entry >> 8 & 0xFF), symbol >> 4);
            ASSERT_EQ(length, length_of[bits] + (symbol & 15));
        } else {
            ASSERT_EQ(static_cast<int>(entry >> 8 & 0xFF), symbol);
            ASSERT_EQ(length, length_of[bits]);
        }
    }
}

TEST(jpeg_huffman, counts_beyond_what_fits_stay_inside_the_table)
{
    static jpeg_decode_table lookup;
    std::mt19937 random(9);
    for (int n = 0; n < 2000; ++n) {
        jpeg_huffman_spec spec{};
        for (uint8_t& count : spec.counts)
            count = static_cast<uint8_t>(random() >> (random() % 24));
        spec.total = static_cast<int32_t>(random() % (jpeg_huffman_spec::max_symbols + 1));
        lookup.build(spec, n & 1 ? coefficient_kind::ac : coefficient_kind::dc);
        for (uint32_t bits = 0; bits < 65536; bits += 37)
            lookup.find(bits);
    }
}
