// images.h - pictures of tests, and images made and read back through the exported interface
// alone.
#pragma once

#include "core/image.h"
#include "tests/support/temp_file.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <span>

/// Numbers of pixels or colours, 0xRRGGBB.
using values = std::vector<uint32_t>;

inline int32_t test_stride(int32_t width, int32_t bits)
{
    return (width * bits + 31) / 32 * 4;
}

inline uint32_t rgb(uint32_t red, uint32_t green, uint32_t blue)
{
    return red << 16 | green << 8 | blue;
}

/// Blue, green or red (k 0, 1 or 2) of 0xRRGGBB.
inline int channel(int color, int k)
{
    return color >> 8 * k & 255;
}

/// A picture as a packed DIB; y counts from the top. Colour tables start as a grey ramp from black
/// to white. Width 0: no picture.
struct picture {
    int32_t width = 0, height = 0, bits = 0;
    byte_vector bytes; // header, colour table, rows from the bottom up

    picture() = default;
    picture(int32_t w, int32_t h, int32_t b) : width(w), height(h), bits(b)
    {
        bytes.resize(head_bytes() + size_t(stride()) * size_t(height));
        header()->biSize = sizeof(BITMAPINFOHEADER);
        header()->biWidth = width;
        header()->biHeight = height;
        header()->biPlanes = 1;
        header()->biBitCount = static_cast<WORD>(bits);
        for (int i = 0; i < entries(); ++i)
            set_color(i, uint32_t(i * 255 / (entries() - 1)) * 0x010101);
    }
    bool operator==(const picture&) const = default;

    int32_t stride() const { return test_stride(width, bits); }
    int entries() const { return bits == 24 ? 0 : 1 << bits; }
    size_t head_bytes() const { return sizeof(BITMAPINFOHEADER) + 4 * size_t(entries()); }
    BITMAPINFOHEADER* header() { return reinterpret_cast<BITMAPINFOHEADER*>(bytes.data()); }
    const BITMAPINFOHEADER* header() const { return const_cast<picture*>(this)->header(); }
    uint8_t* row(int32_t y)
    {
        return bytes.data() + head_bytes() + size_t(height - 1 - y) * size_t(stride());
    }
    const uint8_t* row(int32_t y) const { return const_cast<picture*>(this)->row(y); }
    /// All rows with their padding, from the bottom up.
    std::span<uint8_t> rows() { return std::span(bytes).subspan(head_bytes()); }
    std::span<const uint8_t> rows() const { return std::span(bytes).subspan(head_bytes()); }

    /// Across and down.
    std::pair<int32_t, int32_t> resolution() const
    {
        return {header()->biXPelsPerMeter, header()->biYPelsPerMeter};
    }
    void set_resolution(int32_t x, int32_t y)
    {
        header()->biXPelsPerMeter = x;
        header()->biYPelsPerMeter = y;
    }
    values colors() const
    {
        values table;
        for (const uint8_t* p = &bytes[sizeof(BITMAPINFOHEADER)]; int(table.size()) < entries();
             p += 4)
            table.push_back(rgb(p[2], p[1], p[0]));
        return table;
    }
    void set_color(int index, uint32_t color)
    {
        std::memcpy(&bytes[sizeof(BITMAPINFOHEADER) + 4 * size_t(index)], &color, 4);
    }
    void set_colors(const values& table)
    {
        for (size_t i = 0; i < table.size(); ++i)
            set_color(int(i), table[i]);
    }

    /// An index, or 0xRRGGBB at 24 bits.
    uint32_t pixel(int32_t x, int32_t y) const
    {
        const uint8_t* p = row(y) + x * bits / 8;
        if (bits == 24) return rgb(p[2], p[1], p[0]);
        return *p >> (8 - bits - x * bits % 8) & ((1u << bits) - 1);
    }
    void set_pixel(int32_t x, int32_t y, uint32_t value)
    {
        uint8_t* p = row(y) + x * bits / 8;
        if (bits == 24) return void(std::memcpy(p, &value, 3));
        const int shift = 8 - bits - x * bits % 8;
        const uint32_t mask = (1u << bits) - 1;
        *p = static_cast<uint8_t>((*p & ~(mask << shift)) | (value & mask) << shift);
    }
    /// 0xRRGGBB through the colour table.
    uint32_t color(int32_t x, int32_t y) const
    {
        const uint32_t value = pixel(x, y);
        if (bits == 24) return value;
        const uint8_t* p = &bytes[sizeof(BITMAPINFOHEADER) + 4 * value];
        return rgb(p[2], p[1], p[0]);
    }
    int32_t create() const { return IMG_create_handle(bytes.data()); }
};

/// A picture made pixel by pixel: value(x, y).
template <class Value>
picture each_pixel(int32_t width, int32_t height, int32_t bits, const values& colors, Value value)
{
    picture made(width, height, bits);
    made.set_colors(colors);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            made.set_pixel(x, y, value(x, y));
    return made;
}

/// Random runs of a mean length, at 4 and 8 bits under a table of colours.
inline picture random_picture(int32_t width, int32_t height, int32_t bits, int run = 1,
                              uint32_t seed = 1)
{
    std::mt19937 random(seed);
    uint32_t value = random();
    values colors;
    for (uint32_t i = 0; (bits == 4 || bits == 8) && i < 1u << bits; ++i)
        colors.push_back(rgb(i * 11 & 255, 255 - i, i * 37 & 255));
    return each_pixel(width, height, bits, colors, [&](int32_t, int32_t) {
        if (random() % static_cast<uint32_t>(run) == 0) value = random();
        return value;
    });
}

/// The file types that are written in a mode.
inline std::vector<IMGX_TYPE_INFO> written_types(int interchange)
{
    std::vector<IMGX_TYPE_INFO> types;
    IMGX_TYPE_INFO type;
    for (int32_t i = 0; IMGX_get_type_info(i, &type) == 0; ++i)
        if (type.writes == 1 || (type.writes == 2 && interchange)) types.push_back(type);
    return types;
}

/// The depths that a type is written with. Each is larger than the smaller ones together, so
/// that their sum tells them apart.
inline std::vector<int32_t> depths_of(const IMGX_TYPE_INFO& type)
{
    std::vector<int32_t> depths;
    int32_t sum = type.write_depths;
    for (const int32_t depth : {24, 8, 4, 1})
        if (sum >= depth) {
            depths.push_back(depth);
            sum -= depth;
        }
    return depths;
}

/// Calls use(type, depth, interchange) for everything that the library writes.
template <class Use> void for_everything_written(Use use)
{
    for (const int interchange : {0, 1}) {
        IMGX_set_interchange(interchange);
        for (const IMGX_TYPE_INFO& type : written_types(interchange))
            for (const int32_t bits : depths_of(type)) {
                SCOPED_TRACE(testing::Message()
                             << type.name << ", " << bits << " bits, mode " << interchange);
                use(type, bits, interchange);
            }
    }
}

/// The whole picture of a handle, whatever its crop rectangle.
inline picture copy_image(int32_t handle)
{
    int32_t width, height, bits, crop[4];
    if (IMG_bitmap_info(handle, &width, &height, &bits) < 0) return {};
    picture copy(width, height, bits);
    uint8_t head[1064];
    IMGLOW_get_bitmap_header(handle, head);
    std::memcpy(copy.bytes.data(), head, copy.head_bytes());
    // The rows through uncompressed BMP, with their padding.
    byte_vector bmp(copy.bytes.size() + 14);
    IMG_get_croprect(handle, &crop[0], &crop[1], &crop[2], &crop[3]);
    IMG_set_croprect(handle, 0, 0, width, height);
    EXPECT_GT(IMGX_save_bitmap_mem(handle, bmp.data(), uint32_t(bmp.size()), 1), 0);
    IMG_set_croprect(handle, crop[0], crop[1], crop[2], crop[3]);
    std::copy_n(bmp.end() - ptrdiff_t(copy.rows().size()), copy.rows().size(), copy.rows().begin());
    return copy;
}

/// Colours of all pixels, row by row.
inline values colors_of(const picture& p)
{
    values all;
    for (int32_t i = 0; i < p.width * p.height; ++i)
        all.push_back(p.color(i % p.width, i / p.width));
    return all;
}

/// Indices, or colours at 24 bits.
inline values values_of(const picture& p)
{
    values all;
    for (int32_t i = 0; i < p.width * p.height; ++i)
        all.push_back(p.pixel(i % p.width, i / p.width));
    return all;
}

/// Fails at the first pixel whose colour differs.
inline void expect_same_colors(const picture& a, const picture& b)
{
    ASSERT_EQ(a.width, b.width);
    ASSERT_EQ(a.height, b.height);
    for (int32_t y = 0; y < a.height; ++y)
        for (int32_t x = 0; x < a.width; ++x)
            ASSERT_EQ(a.color(x, y), b.color(x, y)) << "at " << x << ", " << y;
}

/// Deletes an image at the end of a test.
class image_guard {
public:
    explicit image_guard(int32_t handle) : handle_(handle) {}
    ~image_guard()
    {
        if (handle_ >= 0) IMG_delete_bitmap(handle_);
    }
    image_guard(const image_guard&) = delete;
    image_guard& operator=(const image_guard&) = delete;
    operator int32_t() const { return handle_; }

private:
    int32_t handle_;
};
