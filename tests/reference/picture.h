// picture.h - a picture held in the plainest way, for operations that are right because they
// are obvious. Shares no code with the library.
#pragma once

#include "tests/support/images.h"

#include <array>
#include <vector>

struct picture {
    using color = std::array<int, 3>; // blue, green, red

    int width = 0, height = 0, bits = 0;
    std::vector<color> colors;
    std::vector<byte_vector> rows; // stored rows, bottom first, with their padding

    picture(int w, int h, int b) : width(w), height(h), bits(b)
    {
        colors.resize(b == 24 ? 0 : size_t{1} << b);
        rows.assign(static_cast<size_t>(h), byte_vector(static_cast<size_t>(stride())));
    }

    int stride() const { return test_stride(width, bits); }
    uint8_t& at(int byte, int row)
    {
        return rows[static_cast<size_t>(row)][static_cast<size_t>(byte)];
    }
    int at(int byte, int row) const
    {
        return rows[static_cast<size_t>(row)][static_cast<size_t>(byte)];
    }

    /// An index of 1 to 8 bits.
    int index(int x, int row) const
    {
        if (bits == 1) return at(x / 8, row) >> (7 - x % 8) & 1;
        if (bits == 4) return x % 2 ? at(x / 2, row) % 16 : at(x / 2, row) / 16;
        return at(x, row);
    }
    void set_index(int x, int row, int value)
    {
        uint8_t& byte = at(x * bits / 8, row);
        const int shift = 8 - bits - x * bits % 8;
        const int mask = ((1 << bits) - 1) << shift;
        byte = static_cast<uint8_t>((byte & ~mask) | value << shift);
    }
    color color_at(int x, int row) const
    {
        if (bits == 24) return {at(3 * x, row), at(3 * x + 1, row), at(3 * x + 2, row)};
        return colors[static_cast<size_t>(index(x, row))];
    }
    void set_color(int x, int row, const color& c)
    {
        for (int k = 0; k < 3; ++k)
            at(3 * x + k, row) = static_cast<uint8_t>(c[static_cast<size_t>(k)]);
    }
    /// Copies pixel from_x, from_row of another picture of the same depth.
    void copy_pixel(int x, int row, const picture& from, int from_x, int from_row)
    {
        if (bits == 24)
            set_color(x, row, from.color_at(from_x, from_row));
        else
            set_index(x, row, from.index(from_x, from_row));
    }
};

/// Random pixels in runs, random or grey colours; padding 0. Dark and light runs lie side by
/// side, so that error diffusion meets values beyond both ends.
enum class test_colors { random, grey };
inline picture random_picture(int width, int height, int bits, uint32_t seed,
                              test_colors kind = test_colors::random)
{
    std::mt19937 random(seed);
    picture p(width, height, bits);
    for (auto& c : p.colors) {
        const int grey = static_cast<int>(random() % 256);
        for (int& v : c)
            v = kind == test_colors::grey ? grey : static_cast<int>(random() % 256);
    }
    uint32_t value = random();
    for (int r = 0; r < height; ++r)
        for (int x = 0; x < width; ++x) {
            if (random() % 3 == 0) value = random() % 4 ? random() : random() % 2 * 0xFFFFFFFF;
            if (bits == 24)
                p.set_color(x, r,
                            {static_cast<int>(value & 255), static_cast<int>(value >> 8 & 255),
                             static_cast<int>(value >> 16 & 255)});
            else
                p.set_index(x, r, static_cast<int>(value % (1u << bits)));
        }
    return p;
}

inline int32_t create_image(const picture& p)
{
    test_dib dib(p.width, p.height, p.bits);
    for (size_t i = 0; i < p.colors.size(); ++i)
        dib.set_color(static_cast<int>(i), p.colors[i][2], p.colors[i][1], p.colors[i][0]);
    for (int r = 0; r < p.height; ++r)
        std::memcpy(dib.row(p.height - 1 - r), p.rows[static_cast<size_t>(r)].data(),
                    static_cast<size_t>(p.stride()));
    return dib.create();
}

/// Fails at the first pixel, pad byte or colour-table entry that differs: later filters read
/// the padding.
inline void expect_image(int32_t handle, const picture& expected)
{
    const image_copy got = copy_image(handle);
    ASSERT_EQ(got.width, expected.width);
    ASSERT_EQ(got.height, expected.height);
    ASSERT_EQ(got.bits, expected.bits);
    for (size_t i = 0; i < expected.colors.size(); ++i)
        for (size_t k = 0; k < 3; ++k)
            ASSERT_EQ(got.head[sizeof(BITMAPINFOHEADER) + 4 * i + k], expected.colors[i][k])
                << "colour " << i;
    const uint8_t* byte = got.bmp.data() + 54 + 4 * expected.colors.size();
    for (int r = 0; r < got.height; ++r)
        for (int i = 0; i < expected.stride(); ++i)
            ASSERT_EQ(*byte++, expected.at(i, r)) << "byte " << i << ", stored row " << r;
}
