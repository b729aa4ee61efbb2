// plain_jpeg_encoder.h - the classic JPEG encoder as plainly as it can be written. The
// library's files must equal its result byte for byte.
#pragma once

#include <cstddef>
#include <string>

#include "tests/builders/plain_jpeg.h"

namespace plain_jpeg {

/// Rows of blue, green, red (or of grey levels), each padded_width pixels long.
struct source {
    int width = 0, height = 0, components = 3, padded_width = 0;
    std::vector<uint8_t> pixels;
};

class encoder {
public:
    explicit encoder(int quality)
    {
        quality = std::clamp(quality, 1, 100);
        const int scale = quality < 50 ? 5000 / quality : 200 - 2 * quality;
        // Tables K.1 and K.2, the latter with its two departures.
        static constexpr int luminance[64] = {
            16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
            14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
            18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
            49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99};
        static constexpr int corner[4][5] = {
            {17, 18, 24, 46, 66}, {18, 21, 26, 66, 99}, {24, 26, 56, 99, 99}, {47, 66, 99, 99, 99}};
        for (int i = 0; i < 64; ++i) {
            const int r = i / 8, c = i % 8;
            const int chroma = r < 4 && c < 5 ? corner[r][c] : 99;
            quant_[0][i] = std::clamp((luminance[i] * scale + 50) / 100, 1, 255);
            quant_[1][i] = std::clamp((chroma * scale + 50) / 100, 1, 255);
        }
    }

    /// The Huffman tables are taken from the file under test, whose own are checked elsewhere.
    void set_table(int id, const jpeg_builder::huffman& table) { tables_[id >> 4][id & 1] = table; }

    std::vector<uint8_t> quantisation_segment() const
    {
        std::vector<uint8_t> out;
        for (int t = 0; t < 2; ++t) {
            out.push_back(static_cast<uint8_t>(t));
            for (int position : jpeg_builder::zigzag())
                out.push_back(static_cast<uint8_t>(quant_[t][position]));
        }
        return out;
    }

    /// Entropy-coded data with the final bits, but without EOI.
    std::vector<uint8_t> encode(const source& from)
    {
        out_.clear();
        bit_count_ = 0;
        writer_ = jpeg_builder::bit_writer(out_);
        int predictors[3] = {};
        const int mcu = from.components == 3 ? 16 : 8;
        for (int y = 0; y < from.height; y += 8)
            for (int x = 0; x < from.padded_width; x += mcu) {
                put_block(from, 0, x, y, 1, predictors[0]);
                if (from.components == 1) continue;
                put_block(from, 0, x + 8, y, 1, predictors[0]);
                put_block(from, 1, x, y, 2, predictors[1]);
                put_block(from, 2, x, y, 2, predictors[2]);
            }
        while (bit_count_ % 16)
            put("0");
        return out_;
    }

private:
    static int sample(const source& from, int component, int x, int y)
    {
        y = std::min(y, from.height - 1);
        const size_t at = static_cast<size_t>(y * from.padded_width + x);
        if (from.components == 1) return from.pixels[at] - 128;
        const int b = from.pixels[3 * at], g = from.pixels[3 * at + 1], r = from.pixels[3 * at + 2];
        if (component == 0) return (b * 114 >> 10) + (r * 306 >> 10) + (g * 601 >> 10) - 128;
        if (component == 1) return (b >> 1) - (r * 178 >> 10) - (g * 339 >> 10);
        return (r >> 1) - (g * 429 >> 10) - (b * 83 >> 10);
    }

    static std::array<int, 8> forward_8(const std::array<int, 8>& x, bool last)
    {
        const auto mul = [](int a, int f, int s) { return int{as16((a * f) >> s)}; };
        const auto sum = [](int a, int b) { return int{as16(a + b)}; };
        const int s07 = sum(x[0], x[7]), s34 = sum(x[3], x[4]), s16 = sum(x[1], x[6]),
                  s25 = sum(x[2], x[5]);
        const int d07 = sum(x[0], -x[7]), d34 = sum(x[3], -x[4]), d16 = sum(x[1], -x[6]),
                  d25 = sum(x[2], -x[5]);
        const int a = sum(s07, s34), b = sum(s16, s25);
        const int p = mul(sum(s07, -s34), 553, 10), q = mul(sum(s16, -s25), 1338, 10);
        const int pq = mul(sum(p, -q), 724, 10);
        const int oa = mul(d07, 261, 9), ob = mul(d34, 41, 4), oc = mul(d16, 77, 7),
                  od = mul(d25, 461, 9);
        const int s = sum(oa, ob), t = sum(oc, od);
        const int u = mul(sum(oa, -ob), 553, 10), v = mul(sum(oc, -od), 1338, 10);
        const int w = mul(sum(u, -v), 181, 8), z = sum(sum(u, w), v), st = mul(sum(s, -t), 181, 8);
        std::array<int, 8> y = {mul(sum(a, b), 181, 8),
                                sum(sum(s, t), z),
                                sum(sum(p, q), pq),
                                sum(st, z),
                                mul(sum(a, -b), 181, 8),
                                sum(st, w),
                                pq,
                                w};
        if (last) {
            for (int& value : y)
                value = as16(value + 2) >> 2;
            y[0] = (sum(a, b) * 362 + 2048) >> 11;
            y[4] = (sum(a, -b) * 724 + 4096) >> 12;
        }
        return y;
    }

    void put(const std::string& bits)
    {
        writer_.put(bits);
        bit_count_ += static_cast<int64_t>(bits.size());
    }
    void put_value(const jpeg_builder::huffman& table, int run, int value)
    {
        const int size = jpeg_builder::size_of(value);
        put(table.code(run * 16 + size));
        writer_.put_value(value, size);
        bit_count_ += size;
    }

    void put_block(const source& from, int component, int x, int y, int step, int& predictor)
    {
        block between{}, coefficients{};
        for (int row = 0; row < 8; ++row) {
            std::array<int, 8> in{};
            for (int k = 0; k < 8; ++k)
                in[static_cast<size_t>(k)] = sample(from, component, x + k * step, y + row);
            const auto out = forward_8(in, false);
            for (size_t k = 0; k < 8; ++k)
                between[k * 8 + static_cast<size_t>(row)] = out[k];
        }
        for (size_t column = 0; column < 8; ++column) {
            std::array<int, 8> in{};
            std::copy_n(between.begin() + static_cast<ptrdiff_t>(8 * column), 8, in.begin());
            const auto out = forward_8(in, true);
            for (size_t k = 0; k < 8; ++k)
                coefficients[k * 8 + column] = out[k];
        }
        const int t = component ? 1 : 0;
        const auto order = jpeg_builder::zigzag();
        const auto quantised = [&](size_t k) {
            const auto at = static_cast<size_t>(order[k]);
            return coefficients[at] / quant_[t][at];
        };
        const auto table = static_cast<size_t>(t);
        put_value(tables_[0][table], 0, quantised(0) - predictor);
        predictor = quantised(0);
        size_t last = 63;
        while (last > 0 && quantised(last) == 0)
            --last;
        int run = 0;
        for (size_t k = 1; k <= last; ++k) {
            if (quantised(k) != 0) {
                put_value(tables_[1][table], run, quantised(k));
                run = 0;
            } else if (run == 15) {
                put(tables_[1][table].code(0xF0));
                run = 0;
            } else {
                ++run;
            }
        }
        if (last < 63) put(tables_[1][table].code(0));
    }

    int quant_[2][64];
    std::array<std::array<jpeg_builder::huffman, 2>, 2> tables_;
    std::vector<uint8_t> out_;
    jpeg_builder::bit_writer writer_{out_};
    int64_t bit_count_ = 0;
};

} // namespace plain_jpeg
