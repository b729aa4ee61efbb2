// bench_pictures.h - the pictures of the processing benchmarks: pages like scanned text and
// photographs like a camera's, the same for every library.
#pragma once

#include "core/image.h"
#include "platform/win32.h"

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

struct bench_picture {
    int32_t width, height, bits;
    std::vector<uint8_t> packed; // a packed DIB

    bench_picture(int32_t w, int32_t h, int32_t b) : width(w), height(h), bits(b)
    {
        packed.resize(head_bytes() + stride() * static_cast<size_t>(h));
        BITMAPINFOHEADER header{};
        header.biSize = sizeof header;
        header.biWidth = w;
        header.biHeight = h;
        header.biPlanes = 1;
        header.biBitCount = static_cast<WORD>(b);
        std::memcpy(packed.data(), &header, sizeof header);
        for (int i = 0; b < 24 && i < 1 << b; ++i)
            std::memset(&packed[sizeof header + 4 * static_cast<size_t>(i)],
                        i * 255 / ((1 << b) - 1), 3);
        fill();
    }

    size_t head_bytes() const { return 40 + (bits == 24 ? 0 : size_t{4} << bits); }
    size_t stride() const { return static_cast<size_t>((width * bits + 31) / 32 * 4); }
    size_t pixel_bytes() const { return stride() * static_cast<size_t>(height); }
    /// Row y from the top.
    const uint8_t* row(int32_t y) const
    {
        return packed.data() + head_bytes() + stride() * static_cast<size_t>(height - 1 - y);
    }
    int32_t create() const { return IMG_create_handle(packed.data()); }

private:
    uint8_t* stored_row(int32_t r)
    {
        return packed.data() + head_bytes() + stride() * static_cast<size_t>(r);
    }
    // Text lines of random strokes, or soft shapes with a camera's noise.
    void fill()
    {
        std::mt19937 random(1);
        for (int32_t r = 0; r < height; ++r) {
            uint8_t* p = stored_row(r);
            for (int32_t x = 0; x < width; ++x) {
                if (bits == 1) {
                    const bool ink =
                        r / 30 % 2 && (random() % 8 == 0 || (x / 5 * 7 + r / 9) % 5 == 0);
                    if (!ink) p[x / 8] = static_cast<uint8_t>(p[x / 8] | 0x80 >> x % 8);
                    continue;
                }
                const int channels = bits == 24 ? 3 : 1;
                for (int c = 0; c < channels; ++c) {
                    const double soft = 110 + 60 * std::sin(x / (200.0 + 50 * c)) +
                                        50 * std::cos(r / (310.0 - 40 * c));
                    const int v = static_cast<int>(soft) + static_cast<int>(random() % 9) - 4;
                    p[x * channels + c] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
                }
            }
        }
    }
};

/// A4 at 300 and 600 dpi, and 24 megapixels.
inline const bench_picture& page_300()
{
    static const bench_picture p(2480, 3508, 1);
    return p;
}
inline const bench_picture& page_600()
{
    static const bench_picture p(4960, 7016, 1);
    return p;
}
inline const bench_picture& photo_24()
{
    static const bench_picture p(6000, 4000, 24);
    return p;
}
inline const bench_picture& photo_8()
{
    static const bench_picture p(6000, 4000, 8);
    return p;
}
