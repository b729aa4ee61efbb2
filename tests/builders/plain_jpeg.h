// plain_jpeg.h - the pixels of JPEG streams and the classic encoder as plainly as they can be
// written: one sample, one formula at a time. What the library computes quickly must equal them.
#pragma once

#include "tests/builders/jpeg_builder.h"

#include <cmath>

namespace plain_jpeg {

using jpeg_builder::block, jpeg_builder::huffman, jpeg_builder::coded_picture;
using line = std::array<int, 8>;

inline int as16(int v)
{
    return static_cast<int16_t>(v);
}

/// The 8-point inverse transform with its truncating products.
inline line inverse_8(const line& x)
{
    const auto mul = [](int a, int f, int s) { return (a * f) >> s; };
    const int a = mul(x[0], 181, 8), b = mul(x[4], 181, 8);
    const int p = a + b, q = a - b;
    const int t = mul(x[2] + x[6], 181, 8);
    const int u = mul(x[2] + t, 553, 10), w = mul(x[2] - t, 1338, 10);
    const int even[4] = {p + u, q + w, q - w, p - u};
    const int m = mul(x[3] + x[5], 181, 8), g = x[1] + x[3];
    const int h = mul(x[5] + x[7] + g, 181, 8), j = mul(g + h, 553, 10), n = x[1] + m;
    const int l = mul(g - h, 1338, 10), z = x[1] - m;
    const int odd[4] = {mul(n + j, 261, 9), mul(z + l, 77, 7), mul(z - l, 461, 9),
                        mul(n - j, 2624, 10)};
    line y{};
    for (size_t i = 0; i < 4; ++i) {
        y[i] = even[i] + odd[i];
        y[7 - i] = even[i] - odd[i];
    }
    return y;
}

/// The forward one, all results in 16 bits; the last pass divides by 4 besides.
template <bool last> line forward_8(const line& x)
{
    const auto mul = [](int a, int f, int s) { return as16((a * f) >> s); };
    const auto sum = [](int a, int b) { return as16(a + b); };
    const int s07 = sum(x[0], x[7]), s34 = sum(x[3], x[4]);
    const int s16 = sum(x[1], x[6]), s25 = sum(x[2], x[5]);
    const int d07 = sum(x[0], -x[7]), d34 = sum(x[3], -x[4]);
    const int d16 = sum(x[1], -x[6]), d25 = sum(x[2], -x[5]);
    const int a = sum(s07, s34), b = sum(s16, s25);
    const int p = mul(sum(s07, -s34), 553, 10), q = mul(sum(s16, -s25), 1338, 10);
    const int pq = mul(sum(p, -q), 724, 10);
    const int oa = mul(d07, 261, 9), ob = mul(d34, 41, 4);
    const int oc = mul(d16, 77, 7), od = mul(d25, 461, 9);
    const int s = sum(oa, ob), t = sum(oc, od);
    const int u = mul(sum(oa, -ob), 553, 10), v = mul(sum(oc, -od), 1338, 10);
    const int w = mul(sum(u, -v), 724, 10), z = u + w + v, st = mul(sum(s, -t), 724, 10);
    line y = {mul(sum(a, b), 181, 8),  s + t + z, p + q + pq, st + z,
              mul(sum(a, -b), 181, 8), st + w,    pq,         w};
    if (last) {
        for (int& value : y)
            value = as16(sum(as16(value), 2) >> 2);
        y[0] = (sum(a, b) * 362 + 2048) >> 11;
        y[4] = (sum(a, -b) * 724 + 4096) >> 12;
    }
    return y;
}

/// Rows through a transform into columns.
template <class Transform> block pass(const block& in, Transform transform)
{
    block out{};
    for (size_t i = 0; i < 8; ++i) {
        line x{};
        for (size_t k = 0; k < 8; ++k)
            x[k] = as16(in[i * 8 + k]);
        const line y = transform(x);
        for (size_t k = 0; k < 8; ++k)
            out[k * 8 + i] = y[k];
    }
    return out;
}

inline block inverse_dct(const block& coefficients)
{
    block samples = pass(pass(coefficients, inverse_8), inverse_8);
    for (int& s : samples)
        s = std::clamp(s >> 2, -128, 127);
    return samples;
}

/// 0xRRGGBB of a pixel by the samples of its one, three or four components, not level-shifted.
inline uint32_t color_of(std::vector<int> samples)
{
    const bool inks = samples.size() == 4;
    samples.resize(4);
    const auto [y, cb, cr, black] = std::array{samples[0], samples[1], samples[2], samples[3]};
    const auto part = [](int s, double f) { return static_cast<int>(std::trunc(s * f)); };
    uint32_t color = 0;
    for (int add : {part(cr, 1.402), -(part(cb, 0.34414) + part(cr, 0.71414)), part(cb, 1.772)}) {
        const int value = inks ? black - y - add : y + 128 + add;
        color = color << 8 | static_cast<uint32_t>(std::clamp(value, 0, 255));
    }
    return color;
}

/// What the stream of a picture shows, 0xRRGGBB row by row. Luminance and black have the factors
/// of the first component, chroma has 1x1.
inline std::vector<uint32_t> colors(const coded_picture& p)
{
    const auto order = jpeg_builder::zigzag();
    const int count = p.blocks_before(p.components.size());
    std::vector<block> blocks = jpeg_builder::blocks_of(p);
    for (size_t n = 0; n < blocks.size(); ++n) {
        size_t i = 0;
        while (p.blocks_before(i + 1) <= static_cast<int>(n) % count)
            ++i;
        block scaled{};
        for (size_t k = 0; k < 64; ++k)
            scaled[order[k]] = as16(blocks[n][k] * p.quant[p.components[i].quant][k]);
        blocks[n] = inverse_dct(scaled);
    }
    const auto [h, v, quant, table] = p.components[0];
    const auto sample = [&](size_t i, int x, int y) {
        const bool chroma = i == 1 || i == 2;
        const int mcu = y / (8 * v) * p.mcus_across() + x / (8 * h);
        const int column = chroma ? x / h : x, row = chroma ? y / v : y;
        const int n = chroma ? 0 : row / 8 % v * h + column / 8 % h;
        return blocks[mcu * count + p.blocks_before(i) + n][row % 8 * 8 + column % 8];
    };
    std::vector<uint32_t> out;
    for (int n = 0; n < p.width * p.height; ++n) {
        std::vector<int> samples;
        for (size_t i = 0; i < p.components.size(); ++i)
            samples.push_back(sample(i, n % p.width, n / p.width));
        out.push_back(color_of(samples));
    }
    return out;
}

/// A sample that the classic encoder codes; beyond the row's end all bytes are 0, below the
/// picture the last row goes on. INTENDED: of a grey palette the index itself is the level.
inline int sample_of(const picture& image, int component, int x, int y, bool grey)
{
    y = std::min(y, image.height - 1);
    const uint32_t pixel = x >= image.width ? 0 : grey ? image.pixel(x, y) : image.color(x, y);
    const int b = pixel & 255, g = pixel >> 8 & 255, r = pixel >> 16 & 255;
    if (grey) return b - 128;
    if (component == 0) return (b * 114 >> 10) + (r * 306 >> 10) + (g * 601 >> 10) - 128;
    if (component == 1) return (b >> 1) - (r * 178 >> 10) - (g * 339 >> 10);
    return (r >> 1) - (g * 429 >> 10) - (b * 83 >> 10);
}

/// The classic file of an image from its scan header's end on, with the tables that stand in
/// file.
inline byte_vector classic_data(const picture& image, bool grey, const byte_vector& file)
{
    const auto piece = [&](ptrdiff_t at, ptrdiff_t size) {
        return byte_vector(file.begin() + at, file.begin() + at + size);
    };
    const byte_vector quant[] = {piece(25, 64), piece(90, 64)};
    const huffman dc[] = {huffman(piece(178, 28)), huffman(piece(grey ? 178 : 394, 28))};
    const huffman ac[] = {huffman(piece(211, 178)), huffman(piece(grey ? 211 : 427, 178))};
    jpeg_builder::coder out;
    const auto order = jpeg_builder::zigzag();
    int predictors[3] = {};
    const auto put_block = [&](int c, int x, int y, int step) {
        block samples{}, quantised{};
        for (int i = 0; i < 64; ++i)
            samples[i] = sample_of(image, c, x + i % 8 * step, y + i / 8, grey);
        const block coefficients = pass(pass(samples, forward_8<false>), forward_8<true>);
        for (size_t k = 0; k < 64; ++k)
            quantised[k] = as16(coefficients[order[k]]) / quant[c > 0][k];
        out.put_block(quantised, predictors[c], dc[c > 0], ac[c > 0]);
    };
    for (int y = 0; y < image.height; y += 8)
        for (int x = 0; x < image.width; x += grey ? 8 : 16) {
            put_block(0, x, y, 1);
            if (grey) continue;
            put_block(0, x + 8, y, 1);
            put_block(1, x, y, 2);
            put_block(2, x, y, 2);
        }
    out.pad('0', 16);
    return jpeg_builder::joined({out.bytes, {0xFF, 0xD9}});
}

} // namespace plain_jpeg
