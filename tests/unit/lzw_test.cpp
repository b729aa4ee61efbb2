// lzw_test.cpp - the LZW coders against plain ones, and codes that break the rules.

#include "formats/tiff/tiff_lzw_decoder.h"
#include "formats/tiff/tiff_lzw_encoder.h"
#include "tests/support/temp_file.h"

#include <map>
#include <random>

namespace {

// Codes as TIFF 6.0 section 13 packs them, at the widths that the caller gives.
class code_writer {
public:
    void put(uint32_t code, int width)
    {
        for (int i = width - 1; i >= 0; --i) {
            if (bits_ % 8 == 0) bytes.push_back(0);
            bytes.back() = static_cast<uint8_t>(bytes.back() | (code >> i & 1) << (7 - bits_ % 8));
            ++bits_;
        }
    }
    byte_vector bytes;

private:
    size_t bits_ = 0;
};

// The described encoder over strings, with the table cleared when its next code is clear_at.
byte_vector plain_encode(const byte_vector& data, uint32_t clear_at = 4080)
{
    code_writer out;
    std::map<std::pair<uint32_t, uint8_t>, uint32_t> table;
    uint32_t next = 258;
    int width = 9;
    out.put(256, 9);
    uint32_t prefix = data[0];
    for (size_t i = 1; i < data.size(); ++i) {
        const auto found = table.find({prefix, data[i]});
        if (found != table.end()) {
            prefix = found->second;
            continue;
        }
        out.put(prefix, width);
        table[{prefix, data[i]}] = next++;
        prefix = data[i];
        if (width < 12 && next == 1u << width) ++width;
        if (next != clear_at) continue;
        out.put(256, width);
        table.clear();
        next = 258;
        width = 9;
    }
    out.put(prefix, width);
    if (++next == 1u << width && width < 12) ++width;
    out.put(257, width);
    return out.bytes;
}

// Both as strips of a pair.
byte_vector our_encode(const byte_vector& data, const byte_vector& other, byte_vector& other_codes)
{
    byte_vector codes(lzw_bound(data.size()));
    other_codes.resize(lzw_bound(other.size()));
    tiff_lzw_encoder encoder;
    EXPECT_EQ(encoder.init_tif_lzw_save(), 0);
    lzw_strip first{data.data(), data.size(), codes.data(), 0};
    lzw_strip second{other.data(), other.size(), other_codes.data(), 0};
    encoder.encode_tif_lzw(first, second);
    codes.resize(first.code_bytes);
    other_codes.resize(second.code_bytes);
    return codes;
}

byte_vector our_encode(const byte_vector& data)
{
    byte_vector none;
    return our_encode(data, {}, none);
}

struct decoded {
    int32_t result = 0;
    int32_t rows = 0;
    byte_vector bytes;
    uint32_t row_bytes = 0;
};

int32_t take_row(void* context, uint8_t* row, int32_t index, int32_t)
{
    auto& to = *static_cast<decoded*>(context);
    EXPECT_EQ(index, to.rows);
    to.bytes.insert(to.bytes.end(), row, row + to.row_bytes);
    std::memset(row, 0xEE, to.row_bytes); // a reader may change its rows
    ++to.rows;
    return 0;
}

decoded decode(const byte_vector& codes, uint32_t row_bytes, int32_t rows,
               uint32_t source_bytes = 512)
{
    reset_mem_io_bounded(codes.data(), static_cast<uint32_t>(codes.size()));
    decoded to;
    to.row_bytes = row_bytes;
    tiff_lzw_decoder decoder;
    byte_source source(memory_file, source_bytes);
    EXPECT_EQ(decoder.initlzw(), 0);
    to.result = decoder.decode_lzw_strip(source, 0, row_bytes, rows, {take_row, &to});
    return to;
}

byte_vector random_bytes(size_t count, uint32_t seed, uint32_t values, uint32_t run)
{
    std::mt19937 random(seed);
    byte_vector data(count);
    uint8_t v = 0;
    for (uint8_t& b : data) {
        if (random() % run == 0) v = static_cast<uint8_t>(random() % values);
        b = v;
    }
    return data;
}

} // namespace

TEST(lzw, coders_agree_with_plain_ones)
{
    for (uint32_t values : {1u, 2u, 7u, 256u})
        for (uint32_t run : {1u, 5u, 200u})
            for (size_t count : {1u, 2u, 299u, 8000u, 60000u, 700000u}) {
                SCOPED_TRACE(testing::Message()
                             << values << " values, runs of " << run << ", " << count << " bytes");
                const byte_vector data = random_bytes(count, uint32_t(count) + run, values, run);
                const byte_vector other = random_bytes(8000, run, values, 2);
                byte_vector other_codes;
                const byte_vector codes = our_encode(data, other, other_codes);
                ASSERT_EQ(codes, plain_encode(data));
                ASSERT_EQ(other_codes, plain_encode(other));
                const auto row_bytes = static_cast<uint32_t>(count % 100 == 0 ? 100 : count);
                const auto rows = static_cast<int32_t>(count / row_bytes);
                const decoded back = decode(codes, row_bytes, rows);
                ASSERT_EQ(back.result, 1);
                ASSERT_EQ(back.bytes, data);
            }
}

// Decoders must hold the strings of 4096 codes however long they are, and go on with a full
// table until the encoder clears it.
TEST(lzw, long_strings_and_full_tables)
{
    const byte_vector zeros(9 << 20, 0); // strings of up to 3838 bytes, 7.4 MB in a table
    const decoded flat = decode(our_encode(zeros), 1 << 10, 9 << 10);
    EXPECT_EQ(flat.result, 1);
    EXPECT_TRUE(flat.bytes == zeros);

    // Codes of one byte each after the table is full: nothing is added to it any more.
    byte_vector data = random_bytes(600000, 3, 256, 1);
    code_writer out;
    uint32_t next = 258;
    int width = 9;
    out.put(256, 9);
    for (size_t i = 0; i < data.size(); ++i) {
        out.put(data[i], width);
        if (i > 0 && next < 4096) ++next;
        if (width < 12 && next == (1u << width) - 1) ++width;
    }
    out.put(257, 12);
    const decoded full = decode(out.bytes, 100, 6000);
    EXPECT_EQ(full.result, 1);
    EXPECT_TRUE(full.bytes == data);
}

TEST(lzw, tiff_width_changes_one_code_early)
{
    code_writer out;
    byte_vector data;
    out.put(256, 9);
    for (int i = 0; i < 254; ++i) {
        out.put(uint32_t(i), 9);
        data.push_back(uint8_t(i));
    }
    out.put(7, 10); // 511 would be the next free code
    data.push_back(7);
    const decoded got = decode(out.bytes, 255, 1);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.bytes, data);
}

TEST(lzw, breaches_end_in_a_code)
{
    const struct {
        const char* what;
        std::vector<uint32_t> codes; // 9 bits each
        int32_t result, rows;
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
        code_writer out;
        for (uint32_t code : c.codes)
            out.put(code, 9);
        const decoded got = decode(out.bytes, 3, c.rows);
        EXPECT_EQ(got.result, c.result);
        EXPECT_EQ(got.bytes, c.bytes);
    }
}

TEST(lzw, noise_never_leaves_the_buffers)
{
    for (uint32_t seed = 0; seed < 300; ++seed) {
        byte_vector codes = seed % 2 ? our_encode(random_bytes(20000, seed, 3, 9))
                                     : random_bytes(3000, seed, 256, 1);
        std::mt19937 random(seed);
        for (int i = 0; i < 4; ++i)
            codes[random() % codes.size()] = static_cast<uint8_t>(random());
        const decoded got = decode(codes, 1 + random() % 5000, 1 + int32_t(random() % 50));
        EXPECT_TRUE(got.result == 1 || got.result == -3);
    }
}
