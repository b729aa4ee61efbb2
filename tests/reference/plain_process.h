// plain_process.h - geometry, tone and filters as they are defined: geometry one pixel after
// another, the filters over a buffer of slots.
#pragma once

#include "tests/reference/picture.h"

#include <array>

namespace plain {

inline picture transposed(const picture& p)
{
    return each_pixel(p.height, p.width, p.bits, p.colors(),
                      [&](int x, int r) { return p.pixel(r, x); });
}

inline picture flipped_x(const picture& p)
{
    return each_pixel(p.width, p.height, p.bits, p.colors(),
                      [&](int x, int r) { return p.pixel(p.width - 1 - x, r); });
}

inline picture rotated(const picture& p, int degrees)
{
    if (degrees == 180) return upside_down(flipped_x(p));
    const picture turned = transposed(p);
    return degrees == 90 ? upside_down(turned) : degrees == 270 ? flipped_x(turned) : turned;
}

inline picture resized(const picture& p, int width, int height)
{
    const int64_t step_x = int64_t{p.width} * 65536 / width;
    const int64_t step_y = int64_t{p.height} * 65536 / height;
    const auto from_x = [&](int x) { return static_cast<int>(x * step_x >> 16); };
    const auto from_row = [&](int r) { return static_cast<int>(r * step_y >> 16); };
    picture out = each_pixel(width, height, p.bits, p.colors(),
                             [&](int x, int r) { return p.pixel(from_x(x), from_row(r)); });
    // One thing more goes into the padding, from behind the source row if need be: a pixel at
    // 1 bit, where it stays set in the rows that follow if it has a byte of its own, a pixel
    // at 4 bits and odd width, a byte at 24 bits.
    const int last = 3 * from_x(width - 1) + 3, behind = from_x(width);
    for (int r = 0; r < height; ++r) {
        const int row = from_row(r);
        if (p.bits == 24 && width % 4)
            out.row(r)[3 * width] = last < p.stride() ? p.row(row)[last] : 0;
        if (p.bits > 4 || width * p.bits % (p.bits == 1 ? 32 : 8) == 0) continue;
        const int index = behind * p.bits < 8 * p.stride() ? p.pixel(behind, row) : 0;
        const bool sticks = p.bits == 1 && width % 8 == 0 && r > 0 && out.pixel(width, r - 1);
        out.set_pixel(width, r, sticks ? 1 : index);
    }
    return out;
}

/// The colour table, or the bytes of 24-bit rows.
inline picture toned(const picture& p, int contrast, int brightness)
{
    const auto tone = [&](int in) {
        const int64_t k = (int64_t{2} * contrast + 256) & 0xFFFFFF;
        const int64_t out = (k * in >> 8) - contrast + int64_t{2} * brightness;
        return static_cast<int>(std::clamp<int64_t>(out, 0, 255));
    };
    picture out = p;
    values colors = p.colors();
    for (uint32_t& c : colors)
        c = rgb(tone(channel(c, 2)), tone(channel(c, 1)), tone(channel(c, 0)));
    out.set_colors(colors);
    for (uint8_t& v : out.rows())
        if (p.bits == 24) v = tone(v);
    return out;
}

inline picture inverted(const picture& p)
{
    picture out = p;
    for (uint8_t& v : out.rows())
        v = 255 - v;
    return out;
}

/// A buffer of row slots as the filters have it, long enough for any of its uses. It holds
/// bytes, or nibbles at 4 bits.
struct slot_buffer {
    int length; // of a slot
    bool nibbles;
    std::vector<int> samples;

    slot_buffer(const picture& p, int slots)
        : length(p.stride() * (p.bits == 4 ? 2 : 1)), nibbles(p.bits == 4),
          samples(length * (slots + 4))
    {
    }
    int& at(int slot, int x) { return samples[slot * length + x]; }
    void put(int slot, const uint8_t* row)
    {
        for (int x = 0; x < length; ++x) {
            const int byte = row[nibbles ? x / 2 : x];
            at(slot, x) = !nibbles ? byte : x % 2 ? byte % 16 : byte / 16;
        }
    }
    void get(int slot, uint8_t* row)
    {
        for (int x = 0; x < length; x += nibbles ? 2 : 1)
            *row++ = nibbles ? at(slot, x) * 16 + at(slot, x + 1) : at(slot, x);
    }
};

/// Runs a filter strip by strip: filter(source, work, n) changes slots 1 to n of work.
/// spare: 2 for sharpening, 3 for matrices.
template <class Filter> picture in_strips(const picture& p, int spare, Filter filter)
{
    picture out = p;
    int n = 32768 / p.stride() - spare;
    if (n < 2) n = p.height;
    n = std::min(n, p.height);
    slot_buffer source(p, n);
    const auto put = [&](int slot, int row) { source.put(slot, p.row(row)); };
    put(0, 0);
    for (int first = 0; first < p.height; first += n, n = std::min(n, p.height - first)) {
        for (int k = 0; k < n; ++k)
            put(k + 1, first + k);
        if (first + n + 1 < p.height) put(n + 1, first + n);
        // Matrices see the top row above itself.
        for (int k = 1; k <= 2 && spare == 3 && first + n == p.height; ++k)
            put(n + k, p.height - 1);
        slot_buffer work = source;
        filter(source, work, n);
        for (int k = 0; k < n; ++k)
            work.get(k + 1, out.row(first + k));
        if (first + n < p.height)
            std::copy_n(&source.at(n - 2, 0), source.length, &source.at(0, 0));
    }
    return out;
}

inline picture sharpened(const picture& p, int strength)
{
    if (p.bits == 1) return p;
    int s = strength / 16 * 16;
    if (strength % 16 < 0) s -= 16;
    s = std::clamp(s, -128, 128);
    const int w = p.bits == 4 ? (144 - std::abs(s)) >> 4 : (136 - std::abs(s)) >> 3;
    const int step = p.bits == 24 ? 3 : 1, most = p.bits == 4 ? 15 : 255;
    return in_strips(p, 2, [&](slot_buffer& b, slot_buffer& a, int n) {
        for (int slot = 1; slot <= n; ++slot)
            for (int x = step; x < a.length - step; ++x) {
                int sum = (w - 1) * a.at(slot, x);
                for (int i = 0; i < 9; ++i)
                    sum += a.at(slot + i / 3 - 1, x + step * (i % 3 - 1));
                a.at(slot, x) = sum / (8 + w);
            }
        for (size_t i = 0; s > 0 && i < a.samples.size(); ++i)
            a.samples[i] = std::clamp(2 * b.samples[i] - a.samples[i], 0, most);
    });
}

/// A grey picture of 8 bits or one of 24 bits.
inline picture convolved(const picture& p, const std::array<signed char, 9>& k)
{
    const int step = p.bits == 24 ? 3 : 1;
    return in_strips(p, 3, [&](slot_buffer& a, slot_buffer& b, int n) {
        const int end = p.bits == 24 ? p.stride() + 1 : p.stride() - 1;
        for (int slot = 1; slot <= n; ++slot)
            for (int x = step; x < end; ++x) {
                int sum = 0;
                for (int i = 0; i < 9; ++i)
                    sum += k[i] * a.at(slot + i / 3 - 1, x + step * (i % 3 - 1));
                b.at(slot, x) = std::clamp(sum, 0, 255);
            }
    });
}

} // namespace plain
