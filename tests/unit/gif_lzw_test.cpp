// gif_lzw_test.cpp - the fast LZW decoder against one that keeps whole strings, on sound and
// on random code streams, for every code size and both sets of stream rules.

#include "formats/gif/gif_lzw_decoder.h"
#include "formats/gif/gif_rows.h"
#include "tests/builders/gif_builder.h"

#include <gtest/gtest.h>
#include <optional>
#include <random>

namespace {

using status = gif_lzw_decoder::status;

struct decoded {
    byte_vector pixels;
    status ended;
    bool operator==(const decoded&) const = default;
};

// Bit by bit and string by string. at_most: pixels after which it stops.
decoded plain_decode(const byte_vector& data, uint32_t code_size, gif_stream_rules rules,
                     size_t at_most)
{
    const uint32_t clear = 1u << code_size;
    const bool published = rules == gif_stream_rules::published;
    size_t bit = 0;
    uint32_t width = code_size + 1;
    const auto next_code = [&]() -> std::optional<uint32_t> {
        if (bit + width > data.size() * 8) return std::nullopt;
        uint32_t code = 0;
        for (uint32_t i = 0; i < width; ++i, ++bit)
            code |= (data[bit / 8] >> bit % 8 & 1u) << i;
        return code;
    };
    std::vector<byte_vector> strings;
    const auto reset = [&] {
        strings.resize(4096);
        for (int i = 0; i < 256; ++i)
            strings[static_cast<size_t>(i)] = {static_cast<uint8_t>(i)};
        width = code_size + 1;
        return clear + 2;
    };
    uint32_t next = reset();
    decoded out{{}, status::more};
    byte_vector previous = {0};
    bool first = published;
    while (out.pixels.size() < at_most) {
        // Before a code, not behind one: with code size 1 the second code is already wider.
        if (!first && next == 1u << width && width < 12) ++width;
        const auto code = next_code();
        if (!code) return out.ended = status::damaged, out;
        if (*code == clear && (!first || published)) {
            next = reset();
            first = true;
        } else if (*code == clear + 1 && (!first || published)) {
            return out.ended = status::ended, out;
        } else if (first) {
            if (published && *code > clear) return out.ended = status::damaged, out;
            previous = {static_cast<uint8_t>(*code)};
            out.pixels.push_back(previous[0]);
            first = false;
        } else {
            if (*code > next) return out.ended = status::damaged, out;
            byte_vector added = previous;
            added.push_back(*code == next ? previous[0] : strings[*code][0]);
            if (next < 4096) strings[next] = added;
            previous = strings[*code];
            out.pixels.insert(out.pixels.end(), previous.begin(), previous.end());
            if (next < 4096) ++next;
        }
    }
    out.pixels.resize(at_most);
    return out;
}

decoded fast_decode(const byte_vector& data, uint32_t code_size, gif_stream_rules rules,
                    size_t at_most, size_t portion, size_t block)
{
    const byte_vector blocks = gif_sub_blocks(data, block);
    reset_mem_io_bounded(blocks.data(), static_cast<uint32_t>(blocks.size()));
    byte_source source(memory_file);
    gif_code_reader codes(source);
    gif_lzw_decoder decoder(codes, code_size, rules);
    EXPECT_TRUE(codes.ok() && decoder.ok());
    byte_vector room(portion + gif_lzw_decoder::longest_string + gif_lzw_decoder::overshoot);
    decoded out{{}, status::more};
    while (out.ended == status::more && out.pixels.size() < at_most) {
        uint8_t* end = room.data();
        out.ended = decoder.decode(end, room.data() + portion);
        out.pixels.insert(out.pixels.end(), room.data(), end);
    }
    if (out.pixels.size() >= at_most) out = {out.pixels, status::more};
    out.pixels.resize(std::min(at_most, out.pixels.size()));
    return out;
}

// Codes that a decoder would accept, chosen at random; wild: now and then one that it would
// not. Runs make long strings, clear codes are rare.
byte_vector random_stream(std::mt19937& random, uint32_t code_size, size_t count, bool wild)
{
    const uint32_t clear = 1u << code_size;
    gif_code_bits bits;
    uint32_t width = code_size + 1, next = clear + 2;
    bits.put(clear, width);
    bool first = true;
    for (size_t i = 0; i < count; ++i) {
        if (!first && next == 1u << width && width < 12) ++width;
        const uint32_t top = std::min(next, 4095u);
        uint32_t code = random() % 3 ? random() % clear : top - random() % std::min(top, 40u);
        if (!first && random() % 4 == 0) code = top;
        if (code == clear || code == clear + 1) code = 0;
        if (first) code %= clear;
        if (random() % 2000 == 0) code = clear;
        if (wild && random() % 300 == 0) code = random() % (1u << width);
        bits.put(code, width);
        if (code == clear) {
            width = code_size + 1, next = clear + 2;
            first = true;
        } else if (first) {
            first = false;
        } else if (next < 4096) {
            ++next;
        }
    }
    return bits.put(clear + 1, width).bytes();
}

} // namespace

TEST(gif_lzw_decoder, matches_the_plain_one)
{
    std::mt19937 random(2);
    for (uint32_t code_size = 1; code_size <= 8; ++code_size)
        for (int round = 0; round < 30; ++round) {
            const bool wild = round % 3 == 2;
            const byte_vector data =
                random_stream(random, code_size, round % 5 == 0 ? 9000 : 300, wild);
            for (auto rules : {gif_stream_rules::classic, gif_stream_rules::published}) {
                SCOPED_TRACE(testing::Message()
                             << "code size " << code_size << ", round " << round);
                const size_t at_most = 400000;
                const size_t portion = 1 + random() % 5000, block = 1 + random() % 255;
                const decoded plain = plain_decode(data, code_size, rules, at_most);
                const decoded fast = fast_decode(data, code_size, rules, at_most, portion, block);
                ASSERT_EQ(fast.pixels.size(), plain.pixels.size());
                ASSERT_EQ(fast.ended, plain.ended);
                ASSERT_TRUE(fast == plain);
            }
        }
}

TEST(gif_lzw_decoder, the_longest_strings_fit)
{
    // One colour: every code is the string that has just been added, up to a full table.
    gif_code_bits bits;
    uint32_t width = 3, next = 6;
    bits.put(4, width).put(3, width);
    for (int i = 0; i < 6000; ++i) {
        bits.put(std::min(next, 4095u), width);
        if (next < 4096 && ++next == 1u << width && width < 12) ++width;
    }
    const byte_vector data = bits.put(5, 12).bytes();
    const size_t everything = SIZE_MAX;
    const decoded plain = plain_decode(data, 2, gif_stream_rules::published, everything);
    EXPECT_EQ(plain.ended, status::ended);
    EXPECT_GT(plain.pixels.size(), 10000000u);
    EXPECT_TRUE(fast_decode(data, 2, gif_stream_rules::published, everything, 1, 255) == plain);
}

TEST(gif_rows, packed_pixels_match_one_by_one)
{
    std::mt19937 random(8);
    for (int32_t width = 1; width < 70; ++width) {
        byte_vector line(static_cast<size_t>(width) + 16);
        for (uint8_t& p : line)
            p = static_cast<uint8_t>(random());
        byte_vector bits(static_cast<size_t>(width) / 8 + 8), nibbles(line.size());
        gif_pack_bytes(line.data(), bits.data(), width, 1);
        gif_pack_bytes(line.data(), nibbles.data(), width, 4);
        for (int32_t x = 0; x < (width + 7) / 8 * 8; ++x)
            ASSERT_EQ(bits[size_t(x) / 8] >> (7 - x % 8) & 1, x < width ? line[size_t(x)] & 1 : 0)
                << width << ", " << x;
        // With an odd width the last nibble is the next pixel's.
        for (int32_t x = 0; x < (width + 1) / 2 * 2; ++x)
            ASSERT_EQ(x & 1 ? nibbles[size_t(x) / 2] & 15 : nibbles[size_t(x) / 2] >> 4,
                      line[size_t(x)] & 15)
                << width << ", " << x;
    }
}
