// images.h - images for tests, made and read back through the exported interface alone.
#pragma once

#include "core/image.h"
#include "tests/support/temp_file.h"

#include <cstring>
#include <random>

inline int32_t test_stride(int32_t width, int32_t bits)
{
    return (width * bits + 31) / 32 * 4;
}

/// A packed DIB that a test fills pixel by pixel; row 0 is the top. Colour tables start as a
/// grey ramp from black to white.
class test_dib {
public:
    test_dib(int32_t width, int32_t height, int32_t bits)
        : width_(width), height_(height), bits_(bits)
    {
        bytes_.resize(sizeof(BITMAPINFOHEADER) + table_bytes() +
                      size_t(test_stride(width, bits)) * size_t(height));
        BITMAPINFOHEADER header{};
        header.biSize = sizeof header;
        header.biWidth = width;
        header.biHeight = height;
        header.biPlanes = 1;
        header.biBitCount = static_cast<WORD>(bits);
        std::memcpy(bytes_.data(), &header, sizeof header);
        for (int i = 0; bits < 24 && i < 1 << bits; ++i) {
            const auto level = static_cast<uint8_t>(i * 255 / ((1 << bits) - 1));
            set_color(i, level, level, level);
        }
    }

    BITMAPINFOHEADER* header() { return reinterpret_cast<BITMAPINFOHEADER*>(bytes_.data()); }
    const void* packed() const { return bytes_.data(); }
    uint8_t* row(int32_t y)
    {
        return bytes_.data() + sizeof(BITMAPINFOHEADER) + table_bytes() +
               size_t(height_ - 1 - y) * size_t(test_stride(width_, bits_));
    }
    void set_color(int index, int red, int green, int blue)
    {
        uint8_t* entry = bytes_.data() + sizeof(BITMAPINFOHEADER) + 4 * index;
        entry[0] = static_cast<uint8_t>(blue);
        entry[1] = static_cast<uint8_t>(green);
        entry[2] = static_cast<uint8_t>(red);
        entry[3] = 0;
    }
    /// An index, or 0xRRGGBB at 24 bits.
    void set_pixel(int32_t x, int32_t y, uint32_t value)
    {
        uint8_t* p = row(y) + x * bits_ / 8;
        if (bits_ == 24) {
            for (int shift : {0, 8, 16})
                *p++ = static_cast<uint8_t>(value >> shift);
            return;
        }
        const int shift = 8 - bits_ - x * bits_ % 8;
        const uint32_t mask = (1u << bits_) - 1;
        *p = static_cast<uint8_t>((*p & ~(mask << shift)) | (value & mask) << shift);
    }
    /// Every pixel random, runs of mean length run.
    void fill_random(uint32_t seed, int run = 1)
    {
        std::mt19937 random(seed);
        uint32_t value = random();
        for (int32_t y = 0; y < height_; ++y)
            for (int32_t x = 0; x < width_; ++x) {
                if (random() % static_cast<uint32_t>(run) == 0) value = random();
                set_pixel(x, y, value);
            }
    }
    int32_t create() const { return IMG_create_handle(packed()); }
    size_t table_bytes() const { return bits_ == 24 ? 0 : size_t{4} << bits_; }

private:
    int32_t width_, height_, bits_;
    byte_vector bytes_;
};

/// A picture of random runs, at 4 and 8 bits under a table of colours.
inline test_dib random_dib(int32_t width, int32_t height, int32_t bits, int run = 1,
                           uint32_t seed = 1)
{
    test_dib dib(width, height, bits);
    dib.fill_random(seed, run);
    for (int i = 0; (bits == 4 || bits == 8) && i < 1 << bits; ++i)
        dib.set_color(i, i * 11 & 255, 255 - i, i * 37 & 255);
    return dib;
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

/// An image's header, colour table and rows, taken through a memory save as uncompressed
/// BMP, whose pad bytes are left out of comparisons.
struct image_copy {
    int32_t width = 0, height = 0, bits = 0;
    byte_vector head; // header and colour table as IMGLOW_get_bitmap_header gives them
    byte_vector bmp;

    /// An index, or 0xRRGGBB at 24 bits; row 0 is the top.
    uint32_t pixel(int32_t x, int32_t y) const
    {
        const size_t rows = size_t{54} + (bits == 24 ? 0 : size_t{4} << bits);
        const uint8_t* p = bmp.data() + rows + x * bits / 8 +
                           size_t(height - 1 - y) * size_t(test_stride(width, bits));
        if (bits == 24) return p[0] | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16;
        return *p >> (8 - bits - x * bits % 8) & ((1u << bits) - 1);
    }
    /// 0xRRGGBB through the colour table.
    uint32_t color(int32_t x, int32_t y) const
    {
        const uint32_t value = pixel(x, y);
        if (bits == 24) return value;
        const uint8_t* entry = head.data() + sizeof(BITMAPINFOHEADER) + 4 * value;
        return entry[0] | uint32_t{entry[1]} << 8 | uint32_t{entry[2]} << 16;
    }
};

/// The whole picture of a handle, whatever its crop rectangle.
inline image_copy copy_image(int32_t handle)
{
    image_copy copy;
    if (IMG_bitmap_info(handle, &copy.width, &copy.height, &copy.bits) < 0) return copy;
    copy.head.resize(1064);
    IMGLOW_get_bitmap_header(handle, copy.head.data());
    copy.bmp.resize(size_t{1200} +
                    size_t(test_stride(copy.width, copy.bits)) * size_t(copy.height));
    int32_t x, y, width, height;
    IMG_get_croprect(handle, &x, &y, &width, &height);
    IMG_set_croprect(handle, 0, 0, copy.width, copy.height);
    const int32_t size =
        IMGX_save_bitmap_mem(handle, copy.bmp.data(), static_cast<uint32_t>(copy.bmp.size()), 1);
    EXPECT_GT(size, 0);
    IMG_set_croprect(handle, x, y, width, height);
    return copy;
}

/// Fails at the first pixel whose colour differs.
inline void expect_same_colors(const image_copy& a, const image_copy& b)
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
