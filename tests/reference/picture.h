// picture.h - a picture held in the plainest way, for operations that are right because they
// are obvious. Shares no code with the library.
#pragma once

#include "tests/support/images.h"

struct picture {
    int width = 0, height = 0, bits = 0;
    std::vector<int> colors;       // 0xRRGGBB
    std::vector<byte_vector> rows; // stored rows, bottom first, with their padding

    picture(int w, int h, int b) : width(w), height(h), bits(b)
    {
        colors.resize(b == 24 ? 0 : size_t{1} << b);
        rows.assign(static_cast<size_t>(h), byte_vector(stride()));
    }

    int stride() const { return test_stride(width, bits); }
    uint8_t& at(int byte, int row) { return rows[row][byte]; }
    int at(int byte, int row) const { return const_cast<picture*>(this)->at(byte, row); }

    /// An index, or 0xRRGGBB at 24 bits.
    int pixel(int x, int row) const
    {
        if (bits == 24) return at(3 * x, row) | at(3 * x + 1, row) << 8 | at(3 * x + 2, row) << 16;
        return at(x * bits / 8, row) >> (8 - bits - x * bits % 8) & ((1 << bits) - 1);
    }
    void set(int x, int row, int value)
    {
        for (int k = 0; bits == 24 && k < 3; ++k)
            at(3 * x + k, row) = value >> 8 * k;
        if (bits == 24) return;
        uint8_t& byte = at(x * bits / 8, row);
        const int shift = 8 - bits - x * bits % 8, mask = ((1 << bits) - 1) << shift;
        byte = (byte & ~mask) | (value << shift & mask);
    }
    int color(int x, int row) const { return bits == 24 ? pixel(x, row) : colors[pixel(x, row)]; }
};

/// Blue, green or red of 0xRRGGBB.
inline int channel(int color, int k)
{
    return color >> 8 * k & 255;
}

/// A picture made pixel by pixel.
template <class Value>
picture each_pixel(int width, int height, int bits, const std::vector<int>& colors, Value value)
{
    picture out(width, height, bits);
    out.colors = colors;
    for (int r = 0; r < height; ++r)
        for (int x = 0; x < width; ++x)
            out.set(x, r, value(x, r));
    return out;
}

inline std::vector<int> grey_ramp()
{
    std::vector<int> ramp(256);
    for (int i = 0; i < 256; ++i)
        ramp[i] = i * 0x10101;
    return ramp;
}

/// Random pixels in runs, random or grey colours; padding 0. Dark and light runs lie side by
/// side, so that error diffusion meets values beyond both ends.
enum class test_colors { random, grey };
inline picture random_picture(int width, int height, int bits, uint32_t seed,
                              test_colors kind = test_colors::random)
{
    std::mt19937 random(seed);
    std::vector<int> colors(picture(1, 1, bits).colors);
    for (int& c : colors)
        c = static_cast<int>(kind == test_colors::grey ? random() % 256 * 0x10101
                                                       : random() & 0xFFFFFF);
    uint32_t value = random();
    return each_pixel(width, height, bits, colors, [&](int, int) {
        if (random() % 3 == 0) value = random() % 4 ? random() : random() % 2 * 0xFFFFFFFF;
        return static_cast<int>(value & 0xFFFFFF);
    });
}

inline int32_t create_image(const picture& p)
{
    test_dib dib(p.width, p.height, p.bits);
    dib.header()->biXPelsPerMeter = 300;
    dib.header()->biYPelsPerMeter = 200;
    for (size_t i = 0; i < p.colors.size(); ++i)
        dib.set_color(static_cast<int>(i), channel(p.colors[i], 2), channel(p.colors[i], 1),
                      channel(p.colors[i], 0));
    for (int r = 0; r < p.height; ++r)
        std::memcpy(dib.row(p.height - 1 - r), p.rows[r].data(), static_cast<size_t>(p.stride()));
    return dib.create();
}

/// Fails at the first pixel, pad byte or colour-table entry that differs: later filters read
/// the padding. The resolution of create_image has to be there still.
inline void expect_image(int32_t handle, const picture& expected)
{
    const image_copy got = copy_image(handle);
    ASSERT_EQ(got.width, expected.width);
    ASSERT_EQ(got.height, expected.height);
    ASSERT_EQ(got.bits, expected.bits);
    BITMAPINFOHEADER header;
    std::memcpy(&header, got.head.data(), sizeof header);
    ASSERT_EQ(header.biXPelsPerMeter, 300);
    ASSERT_EQ(header.biYPelsPerMeter, 200);
    for (size_t i = 0; i < expected.colors.size(); ++i)
        for (int k = 0; k < 3; ++k)
            ASSERT_EQ(got.head[sizeof header + 4 * i + static_cast<size_t>(k)],
                      channel(expected.colors[i], k))
                << "colour " << i;
    const uint8_t* byte = got.bmp.data() + 54 + 4 * expected.colors.size();
    for (int r = 0; r < got.height; ++r)
        for (int i = 0; i < expected.stride(); ++i)
            ASSERT_EQ(*byte++, expected.at(i, r)) << "byte " << i << ", stored row " << r;
}
