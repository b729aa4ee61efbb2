// plain_process.h - geometry, tone and filters as they are defined: geometry one pixel after
// another, the filters over a buffer of slots.
#pragma once

#include "tests/reference/picture.h"

#include <algorithm>

namespace plain {

inline picture transposed(const picture& p)
{
    picture out(p.height, p.width, p.bits);
    out.colors = p.colors;
    for (int r = 0; r < p.height; ++r)
        for (int x = 0; x < p.width; ++x)
            out.copy_pixel(r, x, p, x, r);
    return out;
}

inline picture flipped_x(const picture& p)
{
    picture out(p.width, p.height, p.bits);
    out.colors = p.colors;
    for (int r = 0; r < p.height; ++r)
        for (int x = 0; x < p.width; ++x)
            out.copy_pixel(x, r, p, p.width - 1 - x, r);
    return out;
}

inline picture flipped_y(const picture& p)
{
    picture out = p;
    std::reverse(out.rows.begin(), out.rows.end());
    return out;
}

inline picture rotated(const picture& p, int degrees)
{
    if (degrees == 180) return flipped_y(flipped_x(p));
    const picture turned = transposed(p);
    if (degrees == 90) return flipped_y(turned);
    if (degrees == 270) return flipped_x(turned);
    return turned;
}

inline picture resized(const picture& p, int width, int height)
{
    picture out(width, height, p.bits);
    out.colors = p.colors;
    const int64_t step_x = int64_t{p.width} * 65536 / width;
    const int64_t step_y = int64_t{p.height} * 65536 / height;
    for (int r = 0; r < height; ++r)
        for (int x = 0; x < width; ++x)
            out.copy_pixel(x, r, p, static_cast<int>(x * step_x >> 16),
                           static_cast<int>(r * step_y >> 16));
    // One thing more goes into the padding, from behind the source row if need be: a pixel at
    // 1 bit, where it stays set in the rows that follow if it has a byte of its own, a pixel
    // at 4 bits and odd width, a byte at 24 bits.
    const int last = static_cast<int>((width - 1) * step_x >> 16);
    const int behind = static_cast<int>(width * step_x >> 16);
    for (int r = 0; r < height; ++r) {
        const int row = static_cast<int>(r * step_y >> 16);
        if (p.bits == 24 && width % 4)
            out.at(3 * width, r) =
                static_cast<uint8_t>(3 * last + 3 < p.stride() ? p.at(3 * last + 3, row) : 0);
        if (p.bits > 4 || width * p.bits % (p.bits == 1 ? 32 : 8) == 0) continue;
        const int index = behind * p.bits < 8 * p.stride() ? p.index(behind, row) : 0;
        const bool sticks = p.bits == 1 && width % 8 == 0 && r > 0 && out.index(width, r - 1);
        out.set_index(width, r, sticks ? 1 : index);
    }
    return out;
}

inline int toned(int in, int contrast, int brightness)
{
    const int k = (2 * contrast + 256) & 0xFFFFFF;
    return std::clamp((k * in >> 8) - contrast + 2 * brightness, 0, 255);
}

/// The colour table, or the bytes of 24-bit rows.
inline picture toned(const picture& p, int contrast, int brightness)
{
    picture out = p;
    for (auto& c : out.colors)
        for (int& v : c)
            v = toned(v, contrast, brightness);
    for (auto& row : out.rows)
        for (uint8_t& v : row)
            if (p.bits == 24) v = static_cast<uint8_t>(toned(v, contrast, brightness));
    return out;
}

inline picture inverted(const picture& p)
{
    picture out = p;
    for (auto& row : out.rows)
        for (uint8_t& v : row)
            v = static_cast<uint8_t>(255 - v);
    return out;
}

/// A buffer of row slots as the filters have it, long enough for any of its uses.
struct slot_buffer {
    int stride;
    byte_vector bytes;

    slot_buffer(int row_bytes, int slots)
        : stride(row_bytes), bytes(static_cast<size_t>(row_bytes) * static_cast<size_t>(slots + 4))
    {
    }
    uint8_t& at(int slot, int byte) { return bytes[static_cast<size_t>(slot * stride + byte)]; }
    void put(int slot, const byte_vector& row) { std::copy(row.begin(), row.end(), &at(slot, 0)); }
    byte_vector get(int slot) { return byte_vector(&at(slot, 0), &at(slot, 0) + stride); }
    int nibble(int slot, int x)
    {
        const int byte = at(slot, x / 2);
        return x % 2 ? byte % 16 : byte / 16;
    }
    void set_nibble(int slot, int x, int v)
    {
        uint8_t& byte = at(slot, x / 2);
        byte = static_cast<uint8_t>(x % 2 ? (byte & 0xF0) | v : (byte & 15) | v * 16);
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
    slot_buffer source(p.stride(), n), work(p.stride(), n);
    source.put(0, p.rows[0]);
    for (int first = 0; first < p.height; first += n, n = std::min(n, p.height - first)) {
        for (int k = 0; k < n; ++k)
            source.put(k + 1, p.rows[static_cast<size_t>(first + k)]);
        if (first + n + 1 < p.height) source.put(n + 1, p.rows[static_cast<size_t>(first + n)]);
        // Matrices see the top row above itself.
        if (spare == 3 && first + n == p.height) {
            source.put(n + 1, source.get(n));
            source.put(n + 2, source.get(n));
        }
        work.bytes = source.bytes;
        filter(source, work, n);
        for (int k = 0; k < n; ++k)
            out.rows[static_cast<size_t>(first + k)] = work.get(k + 1);
        if (first + n < p.height) source.put(0, source.get(n - 2));
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
    const int step = p.bits == 24 ? 3 : 1;
    return in_strips(p, 2, [&](slot_buffer& b, slot_buffer& a, int n) {
        const int stride = p.stride();
        for (int slot = 1; slot <= n; ++slot) {
            if (p.bits == 4)
                for (int x = 1; x <= 2 * stride - 2; ++x) {
                    int sum = (w - 1) * a.nibble(slot, x);
                    for (int dy = -1; dy <= 1; ++dy)
                        for (int dx = -1; dx <= 1; ++dx)
                            sum += a.nibble(slot + dy, x + dx);
                    a.set_nibble(slot, x, sum / (8 + w));
                }
            else
                for (int x = step; x <= stride - 1 - step; ++x) {
                    int sum = (w - 1) * a.at(slot, x);
                    for (int dy = -1; dy <= 1; ++dy)
                        for (int dx = -1; dx <= 1; ++dx)
                            sum += a.at(slot + dy, x + step * dx);
                    a.at(slot, x) = static_cast<uint8_t>(sum / (8 + w));
                }
        }
        if (s <= 0) return;
        for (int slot = 0; slot <= n + 1; ++slot)
            for (int x = 0; x < (p.bits == 4 ? 2 * stride : stride); ++x)
                if (p.bits == 4)
                    a.set_nibble(slot, x,
                                 std::clamp(2 * b.nibble(slot, x) - a.nibble(slot, x), 0, 15));
                else
                    a.at(slot, x) =
                        static_cast<uint8_t>(std::clamp(2 * b.at(slot, x) - a.at(slot, x), 0, 255));
    });
}

inline constexpr int kernels[9][9] = {
    {0, 1, 0, 1, -4, 1, 0, 1, 0},      {-1, -1, -1, -1, 8, -1, -1, -1, -1},
    {-1, -1, -1, 2, 2, 2, -1, -1, -1}, {-1, 2, -1, -1, 2, -1, -1, 2, -1},
    {-1, -1, 2, -1, 2, -1, 2, -1, -1}, {2, -1, -1, -1, 2, -1, -1, -1, 2},
    {0, -1, 0, -1, 5, -1, 0, -1, 0},   {1, 1, 1, 0, 0, 1, 1, 1, 1},
    {-1, 0, -1, 0, 4, 0, -1, 0, -1}};

/// A grey picture of 8 bits or one of 24 bits.
inline picture convolved(const picture& p, const int* k)
{
    const int step = p.bits == 24 ? 3 : 1;
    return in_strips(p, 3, [&](slot_buffer& a, slot_buffer& b, int n) {
        const int first = step, end = p.bits == 24 ? p.stride() + 1 : p.stride() - 1;
        for (int slot = 1; slot <= n; ++slot)
            for (int x = first; x < end; ++x) {
                int sum = 0;
                for (int i = 0; i < 9; ++i)
                    sum += k[i] * a.at(slot + i / 3 - 1, x + step * (i % 3 - 1));
                b.at(slot, x) = static_cast<uint8_t>(std::clamp(sum, 0, 255));
            }
    });
}

} // namespace plain
