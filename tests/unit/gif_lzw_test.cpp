// gif_lzw_test.cpp - the fast LZW decoder on random code streams, for every code size and both
// sets of stream rules, against the strings that a plain list of strings gives.

#include "formats/gif/gif_lzw_decoder.h"
#include "tests/builders/gif_builder.h"

namespace {

using status = gif_lzw_decoder::status;

// Codes, and what a decoder makes of them.
struct code_stream {
    gif_code_bits bits;
    byte_vector pixels;
    status ended = status::more;

    // Runs make long strings, clear codes are rare; wild: now and then a code that cannot be.
    void fill(std::mt19937& random, uint32_t code_size, size_t count, gif_stream_rules rules,
              bool wild)
    {
        const uint32_t clear = 1u << code_size;
        std::vector<byte_vector> strings(4097);
        uint32_t width = code_size + 1, next = clear + 2;
        byte_vector previous;
        bool first = true;
        // Classic rules begin as if pixel 0 had just been decoded: with code size 1 the next
        // code is a wider one.
        bits.put({clear}, width + (rules == gif_stream_rules::classic && next == 1u << width));
        for (size_t i = 0; i < 256; ++i)
            strings[i] = {uint8_t(i)};
        for (size_t i = 0; i < count; ++i) {
            // Before a code, not behind one: with code size 1 the second code is already wider.
            if (!first && next == 1u << width && width < 12) ++width;
            const uint32_t top = std::min(next, 4095u);
            uint32_t code = random() % 3 ? random() % clear : top - random() % std::min(top, 40u);
            if (!first && random() % 4 == 0) code = top;
            if (code == clear || code == clear + 1 || first) code %= clear;
            if (random() % 2000 == 0) code = clear;
            if (wild && random() % 300 == 0) code = random() % (1u << width);
            bits.put({code}, width);
            const bool is_pixel = first && rules == gif_stream_rules::classic;
            if (code == clear && !is_pixel) {
                width = code_size + 1, next = clear + 2, first = true;
                for (size_t k = 0; k < 256; ++k)
                    strings[k] = {uint8_t(k)};
                continue;
            }
            if (code == clear + 1 && !is_pixel) return void(ended = status::ended);
            if (first ? code > clear && !is_pixel : code > next)
                return void(ended = status::damaged);
            if (first) {
                previous = {uint8_t(code)};
            } else {
                previous.push_back(code == next ? previous[0] : strings[code][0]);
                strings[next] = previous;
                if (next < 4096) ++next;
                previous = strings[code];
            }
            first = false;
            add_bytes(pixels, previous);
        }
        if (!first && next == 1u << width && width < 12) ++width;
        bits.put({clear + 1}, width);
        // Behind a clear code classic rules take the end code for a pixel, and nothing follows.
        if (first && rules == gif_stream_rules::classic) pixels.push_back(uint8_t(clear + 1));
        ended = first && rules == gif_stream_rules::classic ? status::damaged : status::ended;
    }
};

// portion: pixels asked for at a time; block: bytes in a sub-block.
void expect_decoded(const code_stream& stream, uint32_t code_size, gif_stream_rules rules,
                    size_t portion, size_t block)
{
    const byte_vector blocks = gif_sub_blocks(stream.bits.bytes(), block);
    reset_mem_io_bounded(blocks.data(), static_cast<uint32_t>(blocks.size()));
    byte_source source(memory_file);
    gif_code_reader codes(source);
    gif_lzw_decoder decoder(codes, code_size, rules);
    ASSERT_TRUE(codes.ok() && decoder.ok());
    byte_vector room(portion + gif_lzw_decoder::longest_string + gif_lzw_decoder::overshoot);
    byte_vector pixels;
    status ended = status::more;
    while (ended == status::more) {
        uint8_t* end = room.data();
        ended = decoder.decode(end, room.data() + portion);
        pixels.insert(pixels.end(), room.data(), end);
    }
    ASSERT_EQ(pixels.size(), stream.pixels.size());
    EXPECT_TRUE(pixels == stream.pixels);
    EXPECT_EQ(ended, stream.ended);
}

} // namespace

TEST(gif_lzw_decoder, makes_the_strings_of_every_code)
{
    std::mt19937 random(2);
    for (uint32_t code_size = 1; code_size <= 8; ++code_size)
        for (int round = 0; round < 30; ++round)
            for (auto rules : {gif_stream_rules::classic, gif_stream_rules::published}) {
                SCOPED_TRACE(testing::Message()
                             << code_size << ", round " << round << ", rules " << int(rules));
                code_stream stream;
                stream.fill(random, code_size, round % 5 == 0 ? 9000 : 300, rules, round % 3 == 2);
                expect_decoded(stream, code_size, rules, 1 + random() % 5000, 1 + random() % 255);
            }
}
