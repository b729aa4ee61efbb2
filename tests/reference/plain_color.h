// plain_color.h - colour reduction and promotion, one pixel after another.
#pragma once

#include "tests/reference/picture.h"

#include <algorithm>

namespace plain {

inline int grey_percent(const picture::color& c)
{
    return (30 * c[2] + 59 * c[1] + 11 * c[0]) / 100;
}

inline int grey_dark(const picture::color& c, int bits)
{
    const auto widened = [&](int v) { return bits == 24 && v >= 128 ? v + 65280 : v; };
    const int l = (38 * widened(c[2]) + 75 * widened(c[1]) + 14 * widened(c[0])) >> 7 & 0xFFFF;
    if (bits == 4) return l;
    return l > 40 ? (l - 40) & 0xFF : 0;
}

inline void set_two_colors(picture& p)
{
    p.colors = {{0, 0, 0}, {255, 255, 255}};
}

inline picture gray(const picture& p)
{
    picture out(p.width, p.height, 8);
    for (int i = 0; i < 256; ++i)
        out.colors[static_cast<size_t>(i)] = {i, i, i};
    for (int r = 0; r < p.height; ++r)
        for (int x = 0; x < p.width; ++x)
            out.set_index(x, r, grey_dark(p.color_at(x, r), p.bits));
    return out;
}

// Matrix values by column group, then row.
// clang-format off
inline constexpr int bayer[8][8] = {
    {  4, 128,  32, 160,   8, 136,  40, 168}, {192,  64, 224,  96, 200,  72, 232, 104},
    { 48, 176,  16, 144,  56, 184,  24, 152}, {240, 112, 208,  80, 248, 120, 216,  88},
    { 12, 140,  44, 172,   4, 132,  36, 164}, {204,  76, 236, 108, 196,  68, 228, 100},
    { 60, 188,  28, 156,  52, 180,  20, 148}, {252, 124, 220,  92, 244, 116, 212,  84}};
inline constexpr int halftone[8][8] = {
    {136, 192, 160, 128, 116,  60,  92, 124}, {168, 232, 224, 212,  84,  20,  28,  40},
    {200, 248, 244, 180,  52,   4,   8,  72}, {152, 184, 216, 148, 100,  68,  36, 104},
    {112,  56,  88, 120, 140, 196, 164, 132}, { 80,  16,  24,  44, 172, 236, 228, 208},
    { 48,   0,  12,  76, 204, 252, 240, 176}, { 96,  64,  32, 108, 156, 188, 220, 144}};
// clang-format on

inline picture ordered_mono(const picture& p, const int (&matrix)[8][8])
{
    picture out(p.width, p.height, 1);
    set_two_colors(out);
    for (int r = 0; r < p.height; ++r)
        for (int x = 0; x < p.width; ++x)
            out.set_index(x, r, matrix[x % 8][r % 8] < grey_percent(p.color_at(x, r)));
    return out;
}

/// Running values of 16 bits with room around the picture; additions wrap.
struct running_values {
    int width;
    std::vector<uint16_t> values;

    running_values(int w, int h) : width(w + 4), values(static_cast<size_t>((w + 4) * (h + 3))) {}
    uint16_t& at(int x, int row) { return values[static_cast<size_t>(row * width + x + 2)]; }
    void add(int x, int row, int v) { at(x, row) = static_cast<uint16_t>(at(x, row) + v); }
};

inline picture diffusion_mono(const picture& p)
{
    picture out(p.width, p.height, 1);
    set_two_colors(out);
    running_values grid(p.width, p.height);
    for (int r = 0; r < p.height; ++r)
        for (int x = 0; x < p.width; ++x)
            grid.at(x, r) = static_cast<uint16_t>(grey_percent(p.color_at(x, r)));
    for (int r = 0; r < p.height; ++r)
        for (int i = 0; i < p.width; ++i) {
            const int x = r % 2 ? p.width - 1 - i : i;
            const int step = r % 2 ? -1 : 1;
            const int v = grid.at(x, r);
            out.set_index(x, r, v > 127);
            const int e = v > 127 ? v - 255 : v;
            const int a = 8 * e / 42, b = 4 * e / 42, c = e / 21, d = e / 42;
            grid.add(x + step, r, a);
            grid.add(x + 2 * step, r, b);
            const int below[] = {c, b, a, b, c}, after[] = {d, c, b, c, d};
            for (int k = 0; k < 5; ++k) {
                grid.add(x + k - 2, r + 1, below[k]);
                grid.add(x + k - 2, r + 2, after[k]);
            }
        }
    return out;
}

inline picture popularity(const picture& p)
{
    std::vector<uint16_t> counts(4096);
    const auto bin = [](const picture::color& c) {
        return (c[2] & 0xF0) << 4 | (c[1] & 0xF0) | c[0] >> 4;
    };
    for (int r = 0; r < p.height; ++r)
        for (int x = 0; x < p.width; ++x)
            ++counts[static_cast<size_t>(bin(p.color_at(x, r)))];
    std::vector<int> list = {0};
    while (list.size() < 256) {
        int best = 0;
        for (int b = 0; b < 4096; ++b)
            if (counts[static_cast<size_t>(b)] >= counts[static_cast<size_t>(best)]) best = b;
        list.push_back(best);
        counts[static_cast<size_t>(best)] = 0;
    }
    picture out(p.width, p.height, 8);
    for (size_t i = 0; i < 256; ++i)
        out.colors[i] = {list[i] << 4 & 0xF0, list[i] & 0xF0, list[i] >> 4 & 0xF0};
    for (int r = 0; r < p.height; ++r)
        for (int x = 0; x < p.width; ++x) {
            const int c = bin(p.color_at(x, r));
            int best = 65535, chosen = 0;
            for (int i = 0; i < 256; ++i) {
                int sum = 0;
                for (int shift : {8, 4, 0}) {
                    const int d =
                        2 * (c >> shift & 15) - 2 * (list[static_cast<size_t>(i)] >> shift & 15);
                    sum += d * d;
                }
                if (sum < best) {
                    best = sum;
                    chosen = i;
                }
            }
            out.set_index(x, r, chosen);
        }
    return out;
}

/// Both colour diffusions. source_row(r) tells where row r of the running values comes from;
/// quantise gets the three running values and gives the index.
template <class SourceRow, class Quantise>
void diffuse_colors(const picture& p, picture& out, bool serpentine, SourceRow source_row,
                    Quantise quantise)
{
    std::vector<running_values> channels(3, running_values(p.width, p.height));
    for (int r = 0; r < p.height; ++r)
        for (int x = 0; x < p.width; ++x)
            for (size_t c = 0; c < 3; ++c)
                channels[c].at(x, r) = static_cast<uint16_t>(p.color_at(x, source_row(r))[c]);
    for (int r = 0; r < p.height; ++r)
        for (int i = 0; i < p.width; ++i) {
            const bool back = serpentine && r % 2;
            const int x = back ? p.width - 1 - i : i, step = back ? -1 : 1;
            const int v[] = {channels[0].at(x, r), channels[1].at(x, r), channels[2].at(x, r)};
            const int index = quantise(v);
            out.set_index(x, r, index);
            for (size_t c = 0; c < 3; ++c) {
                const int e = v[c] - out.colors[static_cast<size_t>(index)][c];
                channels[c].add(x + step, r, e >> 2);
                channels[c].add(x + 2 * step, r, e >> 3);
                const int below[] = {e >> 4, e >> 3, e >> 2, e >> 3, e >> 4};
                for (int k = 0; k < 5; ++k)
                    channels[c].add(x + k - 2, r + 1, below[k]);
            }
        }
}

inline picture fixed_palette(const picture& p)
{
    picture out(p.width, p.height, 8);
    for (int i = 0; i < 256; ++i)
        out.colors[static_cast<size_t>(i)] = {i % 4 * 85, i / 4 % 8 * 255 / 7, i / 32 * 255 / 7};
    diffuse_colors(
        p, out, true, [](int r) { return r; },
        [](const int* v) {
            const auto top = [](int value, int bits) { return std::min(value, 255) >> (8 - bits); };
            return top(v[2], 3) * 32 + top(v[1], 3) * 4 + top(v[0], 2);
        });
    return out;
}

inline void set_sixteen_colors(picture& p)
{
    for (int i = 0; i < 16; ++i) {
        const int level = i < 8 ? 128 : 255;
        p.colors[static_cast<size_t>(i)] = {i & 4 ? level : 0, i & 2 ? level : 0,
                                            i & 1 ? level : 0};
    }
}

inline picture bayer_color(const picture& p)
{
    picture out(p.width, p.height, 4);
    set_sixteen_colors(out);
    for (int r = 0; r < p.height; ++r)
        for (int x = 0; x < p.width; ++x) {
            const picture::color c = p.color_at(x, r);
            const int t = bayer[x % 8][r % 8];
            out.set_index(x, r,
                          4 * (c[0] > t) + 2 * (c[1] > t) + (c[2] > t) +
                              8 * (grey_dark(c, p.bits) > t + 40));
        }
    return out;
}

inline picture diffusion_color(const picture& p)
{
    picture out(p.width, p.height, 4);
    set_sixteen_colors(out);
    const auto source_row = [&](int r) { return r < 2 ? r : std::min(r + 1, p.height - 1); };
    diffuse_colors(p, out, false, source_row, [](const int* v) {
        const bool bright = v[0] > 220 || v[1] > 220 || v[2] > 220;
        return 4 * (v[0] > 180) + 2 * (v[1] > 180) + (v[2] > 180) + 8 * bright;
    });
    return out;
}

inline picture promote_8(const picture& p)
{
    picture out(p.width, p.height, 8);
    std::copy(p.colors.begin(), p.colors.end(), out.colors.begin());
    for (int r = 0; r < p.height; ++r)
        for (int x = 0; x < p.width; ++x)
            out.set_index(x, r, p.index(x, r));
    if (p.bits == 8) out.rows = p.rows; // the padding too
    return out;
}

inline picture promote_24(const picture& p)
{
    picture out(p.width, p.height, 24);
    for (int r = 0; r < p.height; ++r)
        for (int x = 0; x < p.width; ++x)
            out.set_color(x, r, p.color_at(x, r));
    return out;
}

} // namespace plain
