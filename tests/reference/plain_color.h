// plain_color.h - colour reduction and promotion, one pixel after another.
#pragma once

#include "tests/reference/picture.h"

namespace plain {

inline bool true_tones = false;

/// The setting of the library and of the plain versions.
inline void set_true_tones(bool on)
{
    true_tones = on;
    IMGX_set_true_tones(on);
}

inline int grey_percent(int color)
{
    return (30 * channel(color, 2) + 59 * channel(color, 1) + 11 * channel(color, 0)) / 100;
}

inline int grey_weighted(int color, int bits)
{
    if (true_tones) return grey_percent(color);
    const auto widened = [&](int k) {
        const int v = channel(color, k);
        return bits == 24 && v >= 128 ? v + 65280 : v;
    };
    const int l = (38 * widened(2) + 75 * widened(1) + 14 * widened(0)) >> 7 & 0xFFFF;
    if (bits == 4) return l;
    return l > 40 ? (l - 40) & 0xFF : 0;
}

inline picture gray(const picture& p)
{
    return each_pixel(p.width, p.height, 8, picture(1, 1, 8).colors(),
                      [&](int x, int r) { return grey_weighted(p.color(x, r), p.bits); });
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

template <const int (&matrix)[8][8]> picture ordered_mono(const picture& p)
{
    return each_pixel(p.width, p.height, 1, {0, 0xFFFFFF}, [&](int x, int r) {
        return matrix[x % 8][r % 8] < grey_percent(p.color(x, r));
    });
}

/// Running values of 16 bits with room around the picture; additions wrap.
struct running_grid {
    int width;
    std::vector<uint16_t> values;

    running_grid(int w, int h) : width(w + 4), values((w + 4) * (h + 3)) {}
    uint16_t& at(int x, int row) { return values[row * width + x + 2]; }
    void add(int x, int row, int v) { at(x, row) = static_cast<uint16_t>(at(x, row) + v); }
};

/// What pixels get of an error e: a the next one and the one below, b and c those farther
/// off, d the outer ones two rows on, where the others get what they get in the next row one
/// place nearer. Colours reach one row only.
struct shares {
    int a, b, c, d;
};

inline shares mono_shares(int e)
{
    return {8 * e / 42, 4 * e / 42, e / 21, e / 42};
}

inline shares color_shares(int e)
{
    shares s = {e >> 2, e >> 3, e >> 4, 0};
    if (!true_tones) return s;
    // Nothing is lost: an odd error needs an odd number of eighths.
    if ((s.b + e) % 2 != 0) s.b += s.b % 2 == 0 ? 1 : -1;
    s.a = (e - 3 * s.b - 2 * s.c) / 2;
    return s;
}

/// All error diffusions.
///   out           one of 1 bit takes grey, others three channels
///   source_row    tells where row r of the running values comes from
///   quantise      gets the running values, gives the index
template <class SourceRow, class Quantise>
picture diffused(const picture& p, picture out, bool serpentine, SourceRow source_row,
                 Quantise quantise)
{
    const int count = out.bits == 1 ? 1 : 3;
    std::vector<running_grid> grids(3, running_grid(p.width, p.height));
    for (int i = 0; i < p.width * p.height * count; ++i) {
        const int k = i % count, x = i / count % p.width, r = i / count / p.width;
        const int c = p.color(x, source_row(r));
        grids[k].add(x, r, count == 1 ? grey_percent(c) : channel(c, k));
    }
    for (int i = 0; i < p.width * p.height; ++i) {
        const int r = i / p.width, step = serpentine && r % 2 ? -1 : 1;
        const int x = step < 0 ? p.width - 1 - i % p.width : i % p.width;
        int v[3];
        for (size_t k = 0; k < 3; ++k)
            v[k] = true_tones ? static_cast<int16_t>(grids[k].at(x, r)) : grids[k].at(x, r);
        out.set_pixel(x, r, quantise(v));
        for (int k = 0; k < count; ++k) {
            running_grid& grid = grids[k];
            const int e = v[k] - channel(out.color(x, r), k);
            const auto [a, b, c, d] = count == 1 ? mono_shares(e) : color_shares(e);
            grid.add(x + step, r, a);
            grid.add(x + 2 * step, r, b);
            const int below[] = {c, b, a, b, c}, after[] = {d, c, b, c, d};
            for (int n = 0; n < 5; ++n) {
                grid.add(x + n - 2, r + 1, below[n]);
                if (count == 1) grid.add(x + n - 2, r + 2, after[n]);
            }
        }
    }
    return out;
}

inline int same_row(int r)
{
    return r;
}

inline picture diffusion_mono(const picture& p)
{
    const picture out(p.width, p.height, 1);
    return diffused(p, out, true, same_row, [](const int* v) { return v[0] > 127; });
}

inline picture popularity(const picture& p)
{
    const int pixels = p.width * p.height;
    const auto color = [&](int i) { return p.pixel(i % p.width, i / p.width); };
    std::vector<int> counts(4096);
    values colors;
    // Few colours stay.
    for (int i = 0; true_tones && i < pixels && colors.size() <= 256; ++i)
        if (std::find(colors.begin(), colors.end(), color(i)) == colors.end())
            colors.push_back(color(i));
    if (true_tones && colors.size() <= 256) {
        const values all = colors;
        colors.resize(256);
        return each_pixel(p.width, p.height, 8, colors, [&](int x, int r) {
            return int(std::find(all.begin(), all.end(), p.pixel(x, r)) - all.begin());
        });
    }
    const auto bin = [](int c) {
        return channel(c, 2) / 16 * 256 + channel(c, 1) / 16 * 16 + channel(c, 0) / 16;
    };
    const auto color_of = [](int b) { return (b & 0xF00) << 12 | (b & 0xF0) << 8 | b % 16 * 16; };
    for (int i = 0; i < pixels; ++i)
        ++counts[bin(color(i))];
    for (int& n : counts)
        n = true_tones ? n : n % 65536;
    colors = {0};
    while (colors.size() < 256) {
        // The last of the largest.
        const auto best = std::max_element(counts.rbegin(), counts.rend());
        *best = 0;
        colors.push_back(color_of(static_cast<int>(counts.rend() - best) - 1));
    }
    picture out = each_pixel(p.width, p.height, 8, colors, [&](int x, int r) {
        const int wanted = color_of(bin(p.pixel(x, r)));
        const auto distance = [&](int c) {
            int sum = 0;
            for (int k = 0; k < 3; ++k)
                sum += (channel(c, k) - channel(wanted, k)) * (channel(c, k) - channel(wanted, k));
            return sum;
        };
        const auto nearest = std::min_element(
            colors.begin(), colors.end(), [&](int a, int b) { return distance(a) < distance(b); });
        return static_cast<int>(nearest - colors.begin());
    });
    // Each entry the mean of its pixels.
    for (uint32_t entry = 0; true_tones && entry < 256; ++entry) {
        int n = 0, sums[3] = {};
        for (int i = 0; i < pixels; ++i)
            if (out.pixel(i % p.width, i / p.width) == entry) {
                ++n;
                for (int k = 0; k < 3; ++k)
                    sums[k] += channel(color(i), k);
            }
        const auto mean = [&](int k) { return (sums[k] + n / 2) / n << 8 * k; };
        if (n > 0) out.set_color(entry, mean(2) | mean(1) | mean(0));
    }
    return out;
}

inline picture fixed_palette(const picture& p)
{
    picture out(p.width, p.height, 8);
    for (int i = 0; i < 256; ++i)
        out.set_color(i, rgb(i / 32 * 255 / 7, i / 4 % 8 * 255 / 7, i % 4 * 85));
    return diffused(p, out, true, same_row, [](const int* v) {
        const auto top = [](int value, int levels) {
            return std::clamp(value, 0, 255) * levels / 256;
        };
        return top(v[2], 8) * 32 + top(v[1], 8) * 4 + top(v[0], 4);
    });
}

/// Bits of index: 2 blue, 1 green, 0 red, 3 bright.
inline values sixteen_colors()
{
    values colors;
    for (int i = 0; i < 16; ++i)
        colors.push_back((i & 1) * 0x10000 + (i / 2 & 1) * 0x100 + (i / 4 & 1));
    for (size_t i = 0; i < 16; ++i)
        colors[i] *= i < 8 ? 128 : 255;
    return colors;
}

inline picture bayer_color(const picture& p)
{
    return each_pixel(p.width, p.height, 4, sixteen_colors(), [&](int x, int r) {
        const int c = p.color(x, r), t = bayer[x % 8][r % 8];
        return 4 * (channel(c, 0) > t) + 2 * (channel(c, 1) > t) + (channel(c, 2) > t) +
               8 * (grey_weighted(c, p.bits) > t + (true_tones ? 0 : 40));
    });
}

inline picture diffusion_color(const picture& p)
{
    picture out(p.width, p.height, 4);
    out.set_colors(sixteen_colors());
    const auto source_row = [&](int r) {
        return r < 2 || true_tones ? r : std::min(r + 1, p.height - 1);
    };
    return diffused(p, out, false, source_row, [](const int* v) {
        const bool bright = v[0] > 220 || v[1] > 220 || v[2] > 220;
        return 4 * (v[0] > 180) + 2 * (v[1] > 180) + (v[2] > 180) + 8 * bright;
    });
}

inline picture promote_8(const picture& p)
{
    if (p.bits == 8) return p;
    values colors = p.colors();
    colors.resize(256);
    return each_pixel(p.width, p.height, 8, colors, [&](int x, int r) { return p.pixel(x, r); });
}

inline picture promote_24(const picture& p)
{
    return each_pixel(p.width, p.height, 24, {}, [&](int x, int r) { return p.color(x, r); });
}

} // namespace plain
