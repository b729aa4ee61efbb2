// jpeg_builder.h - JPEG streams out of random coefficients, coded bit by bit: any sampling,
// tables and restart interval.
#pragma once

#include "tests/support/codec.h"

#include <array>
#include <bitset>
#include <random>

namespace jpeg_builder {

using block = std::array<int, 64>;

inline byte_vector joined(std::initializer_list<byte_vector> parts)
{
    byte_vector out;
    for (const byte_vector& part : parts)
        add_bytes(out, part);
    return out;
}

inline byte_vector word(size_t value)
{
    return {uint8_t(value >> 8), uint8_t(value)};
}

inline byte_vector segment(uint8_t marker, const byte_vector& body)
{
    return joined({{0xFF, marker}, word(body.size() + 2), body});
}

/// Figure A.6/T.81 by walking the diagonals.
inline std::array<size_t, 64> zigzag()
{
    std::array<size_t, 64> order{};
    size_t k = 0;
    for (size_t sum = 0; sum < 15; ++sum)
        for (size_t i = 0; i <= sum; ++i) {
            const size_t row = sum % 2 ? i : sum - i;
            if (row < 8 && sum - row < 8) order[k++] = row * 8 + sum - row;
        }
    return order;
}

/// A Huffman table: its bytes as files have them, and the code of each symbol as text.
struct huffman {
    byte_vector bytes;
    std::array<std::string, 256> codes;

    explicit huffman(byte_vector counts_and_symbols) : bytes(std::move(counts_and_symbols))
    {
        uint32_t code = 0;
        size_t next = 16;
        for (size_t length = 1; length <= 16; ++length, code *= 2)
            for (int i = 0; i < bytes[length - 1]; ++i, ++code)
                codes[bytes[next++]] = std::bitset<16>(code).to_string().substr(16 - length);
    }
};

/// Codes of 2 to 16 bits, dealt out at random.
inline huffman all_symbols(uint32_t seed, uint8_t count)
{
    byte_vector bytes = {0, 1, 1, 2, 2, 3, 3, 5, 7, 10, 12, 14, 16, 20, 30, 125};
    uint8_t left = count;
    for (uint8_t& n : bytes)
        left -= n = std::min(n, left);
    for (uint8_t symbol = 0; symbol < count; ++symbol)
        bytes.push_back(symbol);
    std::shuffle(bytes.begin() + 16, bytes.end(), std::mt19937(seed));
    return huffman(bytes);
}

/// Entropy-coded data (F.1.2/T.81).
struct coder {
    byte_vector bytes;
    size_t total = 0; // bits

    void put(const std::string& bits)
    {
        for (char bit : bits) {
            byte_ = byte_ * 2 + (bit == '1');
            if (++total % 8) continue;
            bytes.push_back(byte_);
            if (bytes.back() == 0xFF) bytes.push_back(0);
        }
    }
    void put_value(const huffman& table, int run, int value)
    {
        size_t size = 0;
        while (std::abs(value) >> size)
            ++size;
        put(table.codes[run * 16 + size]);
        const std::bitset<16> bits(value < 0 ? value - 1 : value);
        put(bits.to_string().substr(16 - size));
    }
    /// A block in zig-zag order.
    void put_block(const block& b, int& predictor, const huffman& dc, const huffman& ac)
    {
        put_value(dc, 0, b[0] - predictor);
        predictor = b[0];
        size_t last = 63;
        while (last > 0 && b[last] == 0)
            --last;
        int run = 0;
        for (size_t k = 1; k <= last; ++k, ++run) {
            if (b[k] == 0) continue;
            for (; run > 15; run -= 16)
                put(ac.codes[0xF0]);
            put_value(ac, run, b[k]);
            run = -1;
        }
        if (last < 63) put(ac.codes[0]);
    }
    void pad(char bit, size_t unit = 8)
    {
        while (total % unit)
            put({bit});
    }

private:
    uint32_t byte_ = 0;
};

struct component {
    int h = 1, v = 1;
    uint8_t quant = 0, table = 0; // table: of DC and AC
};

/// What a stream holds. By default three components, chroma at 1x1.
struct coded_picture {
    int width, height;
    std::vector<component> components;
    int restart_interval = 0;
    int nonzero = 6, amplitude = 60; // coefficients of a block, about, and how large they are
    uint32_t seed = 1;
    std::vector<byte_vector> quant; // zig-zag order
    std::vector<huffman> dc{all_symbols(11, 12), all_symbols(12, 12)};
    std::vector<huffman> ac{all_symbols(13, 251), all_symbols(14, 251)};

    coded_picture(int w, int height_, int h, int v, int interval = 0)
        : width(w), height(height_), components{{h, v}, {1, 1, 1, 1}, {1, 1, 1, 1}},
          restart_interval(interval)
    {
        for (size_t t = 1; t <= 4; ++t)
            for (size_t k = quant.emplace_back().size(); k < 64; ++k)
                quant.back().push_back(2 + t * k / 6);
    }
    int mcus_across() const { return (width + 8 * components[0].h - 1) / (8 * components[0].h); }
    int mcus() const
    {
        return mcus_across() * ((height + 8 * components[0].v - 1) / (8 * components[0].v));
    }
    /// Blocks of an MCU that come before those of a component.
    int blocks_before(size_t component) const
    {
        int blocks = 0;
        for (size_t i = 0; i < component; ++i)
            blocks += components[i].h * components[i].v;
        return blocks;
    }
};

/// The blocks of a picture in the order of the stream, their coefficients in zig-zag order.
inline std::vector<block> blocks_of(const coded_picture& p)
{
    std::vector<block> blocks;
    std::mt19937 random(p.seed);
    const auto below = [&](int n) { return int(random() % uint32_t(n)); };
    for (int n = p.mcus() * p.blocks_before(p.components.size()); n > 0; --n) {
        size_t k = 0;
        block& b = blocks.emplace_back();
        for (int left = below(2 * p.nonzero + 1); left >= 0; --left) {
            const int range = k == 0 || below(3) == 0 ? p.amplitude : 3;
            b[k] = below(2 * range + 1) - range;
            k = 1 + below(below(2) ? 7 : 63);
        }
    }
    return blocks;
}

/// block_ends: gets the number of whole bytes up to each block's end.
inline byte_vector entropy_data(const coded_picture& p, std::vector<size_t>* block_ends = nullptr)
{
    coder out;
    const std::vector<block> blocks = blocks_of(p);
    std::vector<int> predictors(p.components.size());
    auto next = blocks.begin();
    for (int mcu = 0; mcu < p.mcus(); ++mcu) {
        if (p.restart_interval && mcu && mcu % p.restart_interval == 0) {
            out.pad('1');
            add_bytes(out.bytes, {0xFF, uint8_t(0xD0 + (mcu / p.restart_interval - 1) % 8)});
            predictors.assign(predictors.size(), 0);
        }
        for (size_t i = 0; i < p.components.size(); ++i)
            for (int n = p.components[i].h * p.components[i].v; n > 0; --n) {
                const uint8_t table = p.components[i].table;
                out.put_block(*next++, predictors[i], p.dc[table], p.ac[table]);
                if (block_ends) block_ends->push_back(out.bytes.size());
            }
    }
    out.pad('1');
    return out.bytes;
}

/// Everything up to the entropy-coded data; the scan header comes last.
inline byte_vector headers(const coded_picture& p)
{
    const auto count = uint8_t(p.components.size());
    byte_vector out = {0xFF, 0xD8}, frame, scan{count};
    for (uint8_t t = 0; t < 4; ++t)
        add_bytes(out, segment(0xDB, joined({{t}, p.quant[t]})));
    for (uint8_t i = 0; i < count; ++i) {
        const component& c = p.components[i];
        const auto id = uint8_t(i + 1);
        add_bytes(frame, {id, uint8_t(c.h * 16 + c.v), c.quant});
        add_bytes(scan, {id, uint8_t(c.table * 0x11)});
    }
    add_bytes(out, segment(0xC0, joined({{8}, word(p.height), word(p.width), {count}, frame})));
    for (uint8_t t = 0; t < 2; ++t) // two tables in one segment
        add_bytes(out,
                  segment(0xC4, joined({{t}, p.dc[t].bytes, {uint8_t(0x10 + t)}, p.ac[t].bytes})));
    if (p.restart_interval) add_bytes(out, segment(0xDD, word(p.restart_interval)));
    add_bytes(out, segment(0xDA, joined({scan, {0, 63, 0}})));
    return out;
}

inline byte_vector stream(const coded_picture& p)
{
    return joined({headers(p), entropy_data(p), {0xFF, 0xD9}});
}

} // namespace jpeg_builder
