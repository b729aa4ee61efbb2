// lzw_test.cpp - the LZW coders against plain ones, and codes that break the rules.

#include "formats/tiff/tiff_lzw_decoder.h"
#include "formats/tiff/tiff_lzw_encoder.h"
#include "tests/builders/plain_lzw.h"
#include "tests/support/temp_file.h"

#include <random>

namespace {

struct decoded {
    int32_t result = 0;
    byte_vector bytes;
    uint32_t row_bytes = 0;
};

int32_t take_row(void* context, uint8_t* row, int32_t, int32_t)
{
    auto& to = *static_cast<decoded*>(context);
    to.bytes.insert(to.bytes.end(), row, row + to.row_bytes);
    std::memset(row, 0xEE, to.row_bytes); // a reader may change its rows
    return 0;
}

decoded decode(const byte_vector& codes, uint32_t row_bytes, size_t rows)
{
    reset_mem_io_bounded(codes.data(), static_cast<uint32_t>(codes.size()));
    decoded to{0, {}, row_bytes};
    tiff_lzw_decoder decoder;
    byte_source source(memory_file, 512);
    EXPECT_EQ(decoder.initlzw(), 0);
    to.result = decoder.decode_lzw_strip(source, 0, row_bytes, int32_t(rows), {take_row, &to});
    return to;
}

byte_vector random_bytes(size_t count, uint32_t values, uint32_t run)
{
    std::mt19937 random(static_cast<uint32_t>(count) + run);
    byte_vector data(count);
    uint8_t v = 0;
    for (uint8_t& b : data) {
        if (random() % run == 0) v = static_cast<uint8_t>(random() % values);
        b = v;
    }
    return data;
}

void expect_rows_back(const byte_vector& codes, const byte_vector& data)
{
    const size_t row_bytes = data.size() % 100 == 0 ? 100 : data.size();
    const decoded back = decode(codes, uint32_t(row_bytes), data.size() / row_bytes);
    ASSERT_EQ(back.result, 1);
    ASSERT_TRUE(back.bytes == data);
}

} // namespace

TEST(lzw, coders_agree_with_plain_ones)
{
    tiff_lzw_encoder encoder;
    ASSERT_EQ(encoder.init_tif_lzw_save(), 0);
    for (uint32_t values : {1u, 2u, 7u, 256u})
        for (uint32_t run : {1u, 5u, 200u})
            for (size_t count : {1u, 2u, 253u, 254u, 255u, 256u, 8000u, 60000u, 700000u}) {
                SCOPED_TRACE(testing::Message()
                             << values << " values, runs of " << run << ", " << count << " bytes");
                // Two strips are coded at a time.
                const byte_vector data[] = {random_bytes(count, values, run),
                                            random_bytes(count % 8001, values, 2)};
                byte_vector codes[2];
                lzw_strip strips[2];
                for (int i = 0; i < 2; ++i) {
                    codes[i].resize(lzw_bound(data[i].size()));
                    strips[i] = {data[i].data(), data[i].size(), codes[i].data(), 0};
                }
                encoder.encode_tif_lzw(strips[0], strips[1]);
                for (int i = 0; i < 2; ++i) {
                    codes[i].resize(strips[i].code_bytes);
                    ASSERT_EQ(codes[i], plain_lzw::encode(data[i]));
                }
                expect_rows_back(codes[0], data[0]);
            }
}

// Decoders must hold the strings of 4096 codes however long they are, and go on with a full
// table until the encoder clears it.
TEST(lzw, long_strings_and_full_tables)
{
    const byte_vector zeros(9 << 20, 0); // strings of up to 3838 bytes, 7.4 MB in a table
    expect_rows_back(plain_lzw::encode(zeros), zeros);
    const byte_vector data = random_bytes(600000, 256, 1);
    expect_rows_back(plain_lzw::encode(data, true), data);
}

TEST(lzw, breaches_end_in_a_code)
{
    const struct {
        const char* what;
        std::vector<uint32_t> codes; // 9 bits each
        int32_t result;
        size_t rows;
        byte_vector bytes;
    } cases[] = {
        {"code of its own string", {256, 5, 258, 257}, 1, 1, {5, 5, 5}},
        {"no Clear at the start", {1, 2, 3, 257}, 1, 1, {1, 2, 3}},
        {"two Clears", {256, 256, 1, 2, 3, 257}, 1, 1, {1, 2, 3}},
        {"end before the rows", {256, 9, 257}, 1, 2, {9, 0, 0, 0, 0, 0}},
        {"end at once", {256, 257}, 1, 1, {0, 0, 0}},
        {"code beyond the table", {256, 1, 2, 3, 300}, -3, 2, {1, 2, 3}},
        {"string right after a Clear", {256, 258}, -3, 1, {}},
        {"data end", {256, 1, 2, 3, 4}, -3, 2, {1, 2, 3}},
        {"data end without a code", {}, -3, 1, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        plain_lzw::code_writer out;
        for (uint32_t code : c.codes)
            out.put(code, 9);
        const decoded got = decode(out.bytes, 3, c.rows);
        EXPECT_EQ(got.result, c.result);
        EXPECT_EQ(got.bytes, c.bytes);
    }
}
