// row_convert_test.cpp - the wide row conversions and run scans against plain ones.

#include "core/byte_runs.h"
#include "core/packbits.h"
#include "core/row_convert.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace {

using bytes = std::vector<uint8_t>;

bytes with_slack(bytes data)
{
    data.resize(data.size() + run_slack_bytes, 0xEE);
    return data;
}

bytes random_bytes(size_t count, uint32_t seed, uint32_t run = 1)
{
    std::mt19937 random(seed);
    bytes made(count);
    uint8_t value = 0;
    for (uint8_t& b : made)
        b = random() % run == 0 ? value = random() : value;
    return with_slack(made);
}

// Pixels of a row, 0xRRGGBB at 24 bits.
std::vector<int> pixels_of(const bytes& row, size_t width, size_t bits)
{
    std::vector<int> pixels;
    for (size_t bit = 0; bit < width * bits; bit += bits) {
        const uint8_t* p = &row[bit / 8];
        pixels.push_back(bits == 24 ? p[0] | p[1] << 8 | p[2] << 16
                                    : *p >> (8 - bits - bit % 8) & ((1 << bits) - 1));
    }
    return pixels;
}

} // namespace

TEST(row_convert, planes_match_pixels_at_every_width)
{
    for (size_t width = 1; width <= 70; ++width) {
        const bytes bgr = random_bytes(3 * width, width);
        bytes red = with_slack(bytes(width)), green = red, blue = red;
        split_planes(bgr.data(), red.data(), green.data(), blue.data(), width);
        bytes rgb = bgr;
        swap_red_blue(rgb.data(), rgb.data(), width);
        for (size_t i = 0; i < 3 * width; ++i)
            ASSERT_EQ(rgb[i], bgr[i + 2 - 2 * (i % 3)]);
        ASSERT_EQ(rgb[3 * width], 0xEE);
        bytes back = with_slack(bytes(3 * width));
        interleave_planes(red.data(), green.data(), blue.data(), back.data(), width);
        const std::vector<int> pixels = pixels_of(bgr, width, 24);
        for (size_t x = 0; x < width; ++x)
            ASSERT_EQ(blue[x] | green[x] << 8 | red[x] << 16, pixels[x]);
        ASSERT_EQ(pixels_of(back, width, 24), pixels);
    }
}

TEST(row_convert, bit_planes_and_pairs_match_pixels_at_every_width)
{
    for (size_t width = 1; width <= 40; ++width) {
        const size_t plane_bytes = (width + 7) / 8 + 1;
        const bytes nibbles = random_bytes((width + 1) / 2, width);
        bytes planes = with_slack(bytes(4 * plane_bytes));
        split_bit_planes(nibbles.data(), width, planes.data(), plane_bytes);
        bytes back = with_slack(bytes((width + 1) / 2));
        merge_bit_planes(planes.data(), plane_bytes, 4, back.data(), width);
        const std::vector<int> pixels = pixels_of(nibbles, width, 4);
        for (size_t x = 0; x < width; ++x)
            for (size_t plane = 0; plane < 4; ++plane)
                ASSERT_EQ(planes[plane * plane_bytes + x / 8] >> (7 - x % 8) & 1,
                          pixels[x] >> plane & 1);
        ASSERT_EQ(pixels_of(back, width, 4), pixels);

        const bytes pairs = random_bytes((width + 3) / 4, width);
        bytes wide = with_slack(bytes((width + 1) / 2));
        widen_2_to_4(pairs.data(), wide.data(), width);
        ASSERT_EQ(pixels_of(wide, width, 4), pixels_of(pairs, width, 2));
    }
}

TEST(row_convert, mirroring_and_padding_at_every_width)
{
    for (const int bits : {1, 4, 8, 24})
        for (int32_t width = 1; width <= 35; ++width) {
            const int32_t stride = size_for_long(width, bits);
            const bytes row = random_bytes(stride, width);
            const std::vector<int> pixels = pixels_of(row, width, bits);
            bytes changed = row;
            mirror_row(changed.data(), width, bits);
            const std::vector<int> mirrored = pixels_of(changed, width, bits);
            ASSERT_TRUE(std::equal(pixels.begin(), pixels.end(), mirrored.rbegin()));

            changed = row;
            clear_row_padding(changed.data(), width, bits);
            ASSERT_EQ(pixels_of(changed, width, bits), pixels);
            const std::vector<int> all = pixels_of(changed, stride * 8, 1);
            ASSERT_EQ(std::count(all.begin() + width * bits, all.end(), 1), 0);
            ASSERT_EQ(changed[stride], 0xEE);
        }
}

TEST(byte_runs, match_plain_scans)
{
    for (uint32_t run = 1; run <= 40; ++run) {
        const bytes data = random_bytes(300, run, run);
        const auto same = [&](size_t a, size_t b) { return data[a] == data[b]; };
        for (size_t at = 0; at < 300; ++at) {
            const size_t limit = 300 - at;
            size_t length = 1, to_run = 0, to_pair = 0;
            while (length < limit && same(at, at + length))
                ++length;
            ASSERT_EQ(run_length(&data[at], limit), length);
            while (to_run + 3 <= limit &&
                   !(same(at + to_run, at + to_run + 1) && same(at + to_run, at + to_run + 2)))
                ++to_run;
            ASSERT_EQ(distance_to_run(&data[at], limit), to_run + 3 > limit ? limit : to_run) << at;
            while (to_pair < limit && !same(at + to_pair, at + to_pair + 1))
                ++to_pair;
            ASSERT_EQ(distance_to_pair(&data[at], limit), to_pair) << at;
        }
    }
}

namespace {

// Of a row with slack behind count bytes.
bytes pack(const bytes& row, size_t count)
{
    bytes code(packbits_bound(count));
    code.resize(packbits_pack(row.data(), count, code.data()));
    return code;
}

bytes unpack(const bytes& code, size_t room, packbits_128 rule = packbits_128::no_op)
{
    const bytes padded = with_slack(code);
    bytes to = with_slack(bytes(room));
    const uint8_t* next = padded.data();
    to.resize(packbits_unpack(next, padded.data() + code.size(), to.data(), room, rule));
    return to;
}

} // namespace

TEST(packbits, writes_the_known_form_and_reads_it_back)
{
    // The example of Macintosh technical note 1023.
    const bytes plain = {0xAA, 0xAA, 0xAA, 0x80, 0x00, 0x2A, 0xAA, 0xAA, 0xAA, 0xAA, 0x80, 0x00,
                         0x2A, 0x22, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA};
    const bytes packed = {0xFE, 0xAA, 0x02, 0x80, 0x00, 0x2A, 0xFD, 0xAA,
                          0x03, 0x80, 0x00, 0x2A, 0x22, 0xF7, 0xAA};
    EXPECT_EQ(pack(with_slack(plain), plain.size()), packed);
    for (const uint32_t run : {1u, 2u, 3u, 50u, 1000u})
        for (const size_t count : {1u, 2u, 3u, 127u, 128u, 129u, 130u, 1000u}) {
            const bytes row = random_bytes(count, run, run), code = pack(row, count);
            EXPECT_LE(code.size(), count + (count + 127) / 128);
            EXPECT_EQ(with_slack(unpack(code, count)), row);
        }
}

TEST(packbits, takes_128_by_rule_and_stops_at_damage)
{
    const struct {
        const char* what;
        bytes code;
        size_t room;
        bytes made;
        packbits_128 rule = packbits_128::no_op;
    } rows[] = {
        {"128 does nothing", {0x80, 0x00, 7}, 200, {7}},
        {"128 repeats 129 times", {0x80, 9}, 200, bytes(129, 9), packbits_128::run_of_129},
        {"a run is cut at the room", {0x81, 5}, 10, bytes(10, 5)},
        {"a literal is cut at the room", {3, 1, 2, 3, 4}, 2, {1, 2}},
        {"a literal without all its bytes is left", {0, 6, 3, 1, 2}, 9, {6}},
        {"a run without its byte is left", {0, 6, 0xFE}, 9, {6}},
    };
    for (const auto& r : rows)
        EXPECT_EQ(unpack(r.code, r.room, r.rule), r.made) << r.what;
    const bytes pairs = with_slack({1, 1, 2, 3, 4, 0xFE, 5, 6, 0x80, 0xFF, 7});
    bytes to = with_slack(bytes(40));
    const uint8_t* next = pairs.data();
    to.resize(packbits_unpack_pairs(next, pairs.data() + 11, to.data(), 40));
    EXPECT_EQ(to, (bytes{1, 2, 3, 4, 5, 6, 5, 6, 5, 6}));
}
