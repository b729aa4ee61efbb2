// byte_runs_test.cpp - the wide run scans against plain ones, and what PackBits makes of them.

#include "core/byte_runs.h"
#include "core/packbits.h"

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

bytes unpack(const bytes& code, size_t room, packbits_128 rule = packbits_128::no_op)
{
    const bytes padded = with_slack(code);
    bytes to = with_slack(bytes(room));
    const uint8_t* next = padded.data();
    to.resize(packbits_unpack(next, padded.data() + code.size(), to.data(), room, rule));
    return to;
}

} // namespace

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

TEST(packbits, writes_the_known_form)
{
    // The example of Macintosh technical note 1023.
    const bytes plain = {0xAA, 0xAA, 0xAA, 0x80, 0x00, 0x2A, 0xAA, 0xAA, 0xAA, 0xAA, 0x80, 0x00,
                         0x2A, 0x22, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA};
    const bytes packed = {0xFE, 0xAA, 0x02, 0x80, 0x00, 0x2A, 0xFD, 0xAA,
                          0x03, 0x80, 0x00, 0x2A, 0x22, 0xF7, 0xAA};
    bytes code(packbits_bound(plain.size()));
    code.resize(packbits_pack(with_slack(plain).data(), plain.size(), code.data()));
    EXPECT_EQ(code, packed);
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
