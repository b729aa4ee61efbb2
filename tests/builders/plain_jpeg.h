// plain_jpeg.h - a JPEG decoder and encoder as plainly as they can be written: one bit, one
// sample, one formula at a time. What the library computes quickly must equal it.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/builders/jpeg_builder.h"

namespace plain_jpeg {

using block = std::array<int, 64>; // natural order

inline int16_t as16(int v)
{
    return static_cast<int16_t>(v);
}

/// The 8-point transform with its truncating products.
inline std::array<int, 8> inverse_8(const std::array<int, 8>& x)
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
    std::array<int, 8> y{};
    for (size_t i = 0; i < 4; ++i) {
        y[i] = even[i] + odd[i];
        y[7 - i] = even[i] - odd[i];
    }
    return y;
}

inline block inverse_dct(const block& coefficients)
{
    block between{}, samples{};
    for (size_t row = 0; row < 8; ++row) {
        std::array<int, 8> x{};
        for (size_t k = 0; k < 8; ++k)
            x[k] = coefficients[row * 8 + k];
        const auto y = inverse_8(x);
        for (size_t k = 0; k < 8; ++k)
            between[k * 8 + row] = as16(y[k]);
    }
    for (size_t column = 0; column < 8; ++column) {
        std::array<int, 8> x{};
        for (size_t k = 0; k < 8; ++k)
            x[k] = between[column * 8 + k];
        const auto y = inverse_8(x);
        for (size_t k = 0; k < 8; ++k)
            samples[k * 8 + column] = std::clamp(y[k] >> 2, -128, 127);
    }
    return samples;
}

/// A decoded picture: rows of bytes without padding.
struct image {
    int width = 0, height = 0, bytes_per_pixel = 0;
    std::vector<uint8_t> pixels;
};

/// Decodes a stream of jpeg_builder or of an encoder that leaves out the unusual; no pixels
/// where its data are damaged. Data that end early go on with what is left in the buffer.
class decoder {
public:
    explicit decoder(const std::vector<uint8_t>& data) : data_(data) {}

    image decode()
    {
        size_t at = 2;
        while (word(at) != 0xFFDA) {
            segment(word(at), at + 4);
            at += 2 + static_cast<size_t>(word(at + 2));
        }
        scan_ = at + 4;
        next_ = at + 2 + static_cast<size_t>(word(at + 2));
        load(0);
        const image out = decode_scan();
        return damaged_ ? image{} : out;
    }

private:
    struct table {
        std::array<int, 17> counts{};
        std::vector<int> symbols;
    };
    struct component {
        int h = 0, v = 0, quant = 0, predictor = 0, stride = 0;
        std::vector<int> samples;
    };

    int word(size_t at) const { return data_[at] * 256 + data_[at + 1]; }

    void segment(int marker, size_t at)
    {
        const size_t end = at - 2 + static_cast<size_t>(word(at - 2));
        if (marker == 0xFFC0 || marker == 0xFFC1) {
            height_ = word(at + 1);
            width_ = word(at + 3);
            components_.resize(data_[at + 5]);
            for (size_t i = 0; i < components_.size(); ++i) {
                const size_t c = at + 6 + 3 * i;
                components_[i].h = data_[c + 1] >> 4;
                components_[i].v = data_[c + 1] & 15;
                components_[i].quant = data_[c + 2];
            }
        }
        if (marker == 0xFFDD) interval_ = word(at);
        if (marker == 0xFFDB)
            for (; at < end; at += 65)
                for (size_t k = 0; k < 64; ++k)
                    quant_[data_[at] & 3][k] = data_[at + 1 + k];
        if (marker == 0xFFC4)
            while (at < end) {
                table& t = tables_[data_[at] >> 4][data_[at] & 1];
                t.symbols.clear();
                size_t count = 0;
                for (size_t l = 1; l <= 16; ++l)
                    count += static_cast<size_t>(t.counts[l] = data_[at + l]);
                for (size_t i = 0; i < count; ++i)
                    t.symbols.push_back(data_[at + 17 + i]);
                at += 17 + count;
            }
    }

    static constexpr size_t buffer_bytes = 10000;

    void load(size_t from)
    {
        for (; from < buffer_bytes && next_ < data_.size(); ++from)
            buffer_[from] = data_[next_++];
        at_ = 0;
    }
    void top_up()
    {
        if (at_ + 200 < buffer_bytes) return;
        std::copy(buffer_.begin() + static_cast<ptrdiff_t>(at_),
                  buffer_.begin() + static_cast<ptrdiff_t>(buffer_bytes), buffer_.begin());
        load(buffer_bytes - at_);
    }
    int bit()
    {
        const int b = buffer_[at_] >> (7 - bit_) & 1;
        if (++bit_ == 8) {
            bit_ = 0;
            if (buffer_[at_++] == 0xFF && buffer_[at_] == 0) ++at_;
        }
        return b;
    }
    int bits(int n)
    {
        int v = 0;
        while (n-- > 0)
            v = v * 2 + bit();
        return v;
    }
    int symbol(const table& t)
    {
        int code = 0, base = 0, previous = 0;
        for (size_t length = 1; length <= 16; ++length) {
            base += previous;
            code = (code - previous) * 2 + bit();
            previous = t.counts[length];
            if (code < previous) return t.symbols[static_cast<size_t>(base + code)];
        }
        damaged_ = true;
        return 0;
    }
    int value(int size)
    {
        if (size == 0) return 0;
        const int v = bits(size);
        return v >> (size - 1) ? v : v + 1 - (1 << size);
    }

    block read_block(component& c, const table& dc, const table& ac, const std::array<int, 64>& q)
    {
        block b{};
        c.predictor = as16(c.predictor + value(symbol(dc) & 15));
        b[0] = as16(c.predictor * q[0]);
        for (size_t k = 1; k < 64; ++k) {
            const int rs = symbol(ac);
            if (rs == 0) break;
            k += static_cast<size_t>(rs >> 4);
            damaged_ |= k > 64;
            const int v = value(rs & 15);
            if (k < 64 && (rs & 15)) b[static_cast<size_t>(order_[k])] = as16(v * q[k]);
        }
        return b;
    }

    void store(component& c, const block& samples, int row, int column)
    {
        for (int i = 0; i < 64; ++i)
            c.samples[static_cast<size_t>((row + i / 8) * c.stride + column + i % 8)] =
                samples[static_cast<size_t>(i)];
    }

    void read_mcu(int mcu_row, int mcu_column)
    {
        for (size_t i = 0; i < components_.size(); ++i) {
            component& c = components_[i];
            const int selectors = data_[scan_ + 2 + 2 * i];
            const size_t ac = selectors & 15 ? 1 : 0;
            const size_t dc = i < 2 ? (selectors >> 4 ? 1 : 0) : ac;
            const auto& q = quant_[components_[std::min<size_t>(i, 2)].quant ? 1 : 0];
            for (int v = 0; v < c.v; ++v)
                for (int h = 0; h < c.h; ++h) {
                    store(c, inverse_dct(read_block(c, tables_[0][dc], tables_[1][ac], q)),
                          8 * (mcu_row * c.v + v), 8 * (mcu_column * c.h + h));
                    top_up();
                }
        }
    }

    void restart()
    {
        for (int last = 0; (last & 0xFFF0) != 0xFFD0;)
            last = (last * 2 + bit()) & 0xFFFF;
        for (component& c : components_)
            c.predictor = 0;
    }

    image decode_scan()
    {
        const int h_max = components_[0].h, v_max = components_[0].v;
        const int across = (width_ + 8 * h_max - 1) / (8 * h_max);
        const int down = (height_ + 8 * v_max - 1) / (8 * v_max);
        for (component& c : components_) {
            c.stride = across * 8 * c.h;
            c.samples.assign(static_cast<size_t>(c.stride * down * 8 * c.v), 0);
        }
        for (int mcu = 0; mcu < across * down && !damaged_; ++mcu) {
            if (interval_ && mcu && mcu % interval_ == 0) restart();
            read_mcu(mcu / across, mcu % across);
        }
        return convert(h_max, v_max);
    }

    // Chroma of a colour picture lies at factors 1x1, black at the luminance's.
    int sample(size_t c, int x, int y, int h_max, int v_max) const
    {
        const component& from = components_[c];
        if (c == 1 || c == 2) {
            const int mcu_row = y / (8 * v_max);
            y = mcu_row * 8 * from.v + y % (8 * v_max) / v_max;
            x /= h_max;
        }
        return from.samples[static_cast<size_t>(y * from.stride + x)];
    }

    image convert(int h_max, int v_max) const
    {
        image out{width_, height_, components_.size() == 1 ? 1 : 3, {}};
        const auto limit = [](int v) { return static_cast<uint8_t>(std::clamp(v, 0, 255)); };
        const auto part = [](int s, double f) { return static_cast<int>(std::trunc(s * f)); };
        for (int y = 0; y < height_; ++y)
            for (int x = 0; x < width_; ++x) {
                const int luma = sample(0, x, y, h_max, v_max);
                if (components_.size() == 1) {
                    out.pixels.push_back(limit(luma + 128));
                    continue;
                }
                const int cb = sample(1, x, y, h_max, v_max), cr = sample(2, x, y, h_max, v_max);
                const int blue = part(cb, 1.772), red = part(cr, 1.402);
                const int green = -(part(cb, 0.34414) + part(cr, 0.71414));
                for (int add : {blue, green, red})
                    out.pixels.push_back(components_.size() == 3
                                             ? limit(luma + 128 + add)
                                             : limit(sample(3, x, y, h_max, v_max) - luma - add));
            }
        return out;
    }

    std::vector<uint8_t> data_;
    size_t next_ = 0, scan_ = 0, at_ = 0;
    std::vector<uint8_t> buffer_ = std::vector<uint8_t>(buffer_bytes + 1000);
    bool damaged_ = false;
    int bit_ = 0, width_ = 0, height_ = 0, interval_ = 0;
    std::vector<component> components_;
    std::array<std::array<int, 64>, 4> quant_{};
    std::array<std::array<table, 2>, 2> tables_;
    std::array<int, 64> order_ = jpeg_builder::zigzag();
};

} // namespace plain_jpeg
