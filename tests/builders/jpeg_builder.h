// jpeg_builder.h - makes JPEG streams out of coefficients, bit by bit: any sampling, any
// tables, any restart interval, and every kind of damage a test wants.
#pragma once

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace jpeg_builder {

using bytes = std::vector<uint8_t>;

/// Zig-zag order by walking the diagonals.
inline std::array<int, 64> zigzag()
{
    std::array<int, 64> order{};
    int row = 0, column = 0;
    for (int k = 0; k < 64; ++k) {
        order[static_cast<size_t>(k)] = row * 8 + column;
        if ((row + column) % 2 == 0) {
            if (column == 7)
                ++row;
            else if (row == 0)
                ++column;
            else
                --row, ++column;
        } else {
            if (row == 7)
                ++column;
            else if (column == 0)
                ++row;
            else
                ++row, --column;
        }
    }
    return order;
}

/// A Huffman table: 16 counts and the symbols.
struct huffman {
    std::array<int, 16> counts{};
    std::vector<int> symbols;

    /// Bits of a symbol's code as text, "" when it has none.
    std::string code(int symbol) const
    {
        int value = 0;
        size_t index = 0;
        for (size_t length = 1; length <= 16; ++length, value *= 2)
            for (int i = 0; i < counts[length - 1]; ++i, ++index, ++value)
                if (symbols[index] == symbol) {
                    std::string text;
                    for (size_t b = length; b-- > 0;)
                        text += value >> b & 1 ? '1' : '0';
                    return text;
                }
        return "";
    }
};

/// All symbols, with codes of 2 to 16 bits so that every length class is used.
inline huffman all_symbols(uint32_t seed, int symbol_count)
{
    huffman h;
    h.counts = {0, 1, 1, 2, 2, 3, 3, 5, 7, 10, 12, 14, 16, 20, 30, 0};
    int given = 0;
    for (int& n : h.counts) {
        n = std::min(n, symbol_count - given);
        given += n;
    }
    h.counts[15] += symbol_count - given;
    for (int s = 0; s < symbol_count; ++s)
        h.symbols.push_back(s);
    std::mt19937 random(seed);
    for (size_t i = h.symbols.size(); i-- > 1;)
        std::swap(h.symbols[i], h.symbols[random() % (i + 1)]);
    return h;
}

/// Bits with stuffed zero bytes.
class bit_writer {
public:
    explicit bit_writer(bytes& out) : out_(&out) {}
    void put(const std::string& bits)
    {
        for (char b : bits) {
            byte_ = byte_ * 2 + (b == '1');
            if (++count_ == 8) flush_byte();
        }
    }
    /// size bits of a signed number as F.1.2.1/T.81 has them.
    void put_value(int value, int size)
    {
        const int bits = value < 0 ? value + (1 << size) - 1 : value;
        for (int b = size; b-- > 0;)
            put(bits >> b & 1 ? "1" : "0");
    }
    void pad(char bit)
    {
        while (count_ > 0)
            put(std::string(1, bit));
    }

private:
    void flush_byte()
    {
        out_->push_back(static_cast<uint8_t>(byte_));
        if (byte_ == 0xFF) out_->push_back(0);
        byte_ = count_ = 0;
    }
    bytes* out_;
    int byte_ = 0, count_ = 0;
};

struct component {
    int h = 1, v = 1;
    int quant = 0, dc = 0, ac = 0;
    int id = 0;
};

struct picture {
    int width = 16, height = 16;
    std::vector<component> components{{}};
    int restart_interval = 0;
    uint32_t seed = 1;
    int nonzero = 6;                            // coefficients of a block, about
    int amplitude = 60;                         // of a coefficient before dequantisation
    std::array<std::array<int, 64>, 4> quant{}; // zig-zag order; filled by the constructor
    std::array<huffman, 2> dc{all_symbols(11, 12), all_symbols(12, 12)};
    std::array<huffman, 2> ac{all_symbols(13, 251), all_symbols(14, 251)};
    bytes extra_segments; // put behind SOI
    int frame_marker = 0xC0;
    bool sos_pad = false; // two spare bytes in the scan header

    picture()
    {
        for (size_t t = 0; t < 4; ++t)
            for (size_t k = 0; k < 64; ++k)
                quant[t][k] = static_cast<int>(2 + (t + 1) * k / 6);
    }
};

inline int size_of(int value)
{
    int size = 0;
    for (int magnitude = value < 0 ? -value : value; magnitude > 0; magnitude /= 2)
        ++size;
    return size;
}

inline void put16(bytes& out, int value)
{
    out.push_back(static_cast<uint8_t>(value >> 8));
    out.push_back(static_cast<uint8_t>(value));
}

inline void put_segment(bytes& out, int marker, const bytes& body)
{
    put16(out, 0xFF00 + marker);
    put16(out, static_cast<int>(body.size()) + 2);
    out.insert(out.end(), body.begin(), body.end());
}

inline bytes huffman_bytes(const huffman& h)
{
    bytes out;
    for (int n : h.counts)
        out.push_back(static_cast<uint8_t>(n));
    for (int s : h.symbols)
        out.push_back(static_cast<uint8_t>(s));
    return out;
}

/// One random block, coded.
inline void put_block(bit_writer& out, const picture& p, const component& c, int& predictor,
                      std::mt19937& random)
{
    const auto below = [&](int n) { return static_cast<int>(random() % static_cast<uint32_t>(n)); };
    const int dc = below(2 * p.amplitude + 1) - p.amplitude;
    const int size = size_of(dc - predictor);
    out.put(p.dc[static_cast<size_t>(c.dc)].code(size));
    out.put_value(dc - predictor, size);
    predictor = dc;

    const huffman& table = p.ac[static_cast<size_t>(c.ac)];
    const int wanted = p.nonzero ? below(2 * p.nonzero) : 0;
    int k = 1;
    for (int i = 0; i < wanted && k < 64; ++i) {
        int run = below(i < 4 ? 3 : 24);
        if (k + run > 63) break;
        k += run;
        for (; run > 15; run -= 16)
            out.put(table.code(0xF0));
        int value = below(2 * p.amplitude + 1) - p.amplitude;
        if (below(3) > 0) value %= 4;
        if (value == 0) value = 1;
        out.put(table.code(run * 16 + size_of(value)));
        out.put_value(value, size_of(value));
        ++k;
    }
    if (k < 64) out.put(table.code(0));
}

/// The entropy-coded data alone.
inline bytes entropy_data(const picture& p)
{
    bytes out;
    bit_writer writer(out);
    std::mt19937 random(p.seed);
    const int mcu_width = 8 * p.components[0].h, mcu_height = 8 * p.components[0].v;
    const int mcus =
        ((p.width + mcu_width - 1) / mcu_width) * ((p.height + mcu_height - 1) / mcu_height);
    std::vector<int> predictors(p.components.size());
    for (int mcu = 0; mcu < mcus; ++mcu) {
        if (p.restart_interval && mcu && mcu % p.restart_interval == 0) {
            writer.pad('1');
            put16(out, 0xFFD0 + (mcu / p.restart_interval - 1) % 8);
            predictors.assign(predictors.size(), 0);
        }
        for (size_t i = 0; i < p.components.size(); ++i)
            for (int b = 0; b < p.components[i].h * p.components[i].v; ++b)
                put_block(writer, p, p.components[i], predictors[i], random);
    }
    writer.pad('1');
    return out;
}

/// Everything up to the entropy-coded data.
inline bytes headers(const picture& p)
{
    bytes out;
    put16(out, 0xFFD8);
    out.insert(out.end(), p.extra_segments.begin(), p.extra_segments.end());
    for (size_t t = 0; t < 4; ++t) {
        bytes body{static_cast<uint8_t>(t)};
        for (int q : p.quant[t])
            body.push_back(static_cast<uint8_t>(q));
        put_segment(out, 0xDB, body);
    }
    bytes frame{8};
    put16(frame, p.height);
    put16(frame, p.width);
    frame.push_back(static_cast<uint8_t>(p.components.size()));
    bytes scan{static_cast<uint8_t>(p.components.size())};
    for (size_t i = 0; i < p.components.size(); ++i) {
        const component& c = p.components[i];
        const auto id = static_cast<uint8_t>(c.id ? c.id : static_cast<int>(i) + 1);
        const bytes spec{id, static_cast<uint8_t>(c.h * 16 + c.v), static_cast<uint8_t>(c.quant)};
        frame.insert(frame.end(), spec.begin(), spec.end());
        scan.push_back(id);
        scan.push_back(static_cast<uint8_t>(c.dc * 16 + c.ac));
    }
    put_segment(out, p.frame_marker, frame);
    for (size_t t = 0; t < 2; ++t) {
        bytes body{static_cast<uint8_t>(t)};
        const bytes dc = huffman_bytes(p.dc[t]), ac = huffman_bytes(p.ac[t]);
        body.insert(body.end(), dc.begin(), dc.end());
        body.push_back(static_cast<uint8_t>(0x10 + t)); // two tables in one segment
        body.insert(body.end(), ac.begin(), ac.end());
        put_segment(out, 0xC4, body);
    }
    if (p.restart_interval) {
        bytes interval;
        put16(interval, p.restart_interval);
        put_segment(out, 0xDD, interval);
    }
    if (p.sos_pad) scan.insert(scan.end(), 2, 0x55);
    scan.insert(scan.end(), {0, 63, 0});
    put_segment(out, 0xDA, scan);
    return out;
}

inline bytes stream(const picture& p)
{
    bytes out = headers(p);
    const bytes data = entropy_data(p);
    out.insert(out.end(), data.begin(), data.end());
    put16(out, 0xFFD9);
    return out;
}

/// Three components with chroma at 1x1 (tables 0, 1, 1).
inline picture color_picture(int width, int height, int h, int v)
{
    picture p;
    p.width = width;
    p.height = height;
    p.components = {{h, v, 0, 0, 0}, {1, 1, 1, 1, 1}, {1, 1, 1, 1, 1}};
    return p;
}

} // namespace jpeg_builder
