// crop_test.cpp - the exact cut, pixel by pixel against a plain copy.

#include "core/image_object.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace {

struct packed_image {
    std::vector<uint8_t> bytes;
    explicit packed_image(int32_t width, int32_t height, int32_t bits, unsigned seed)
    {
        dib_header header;
        header.set(width, height, bits);
        const auto head =
            sizeof(BITMAPINFOHEADER) + static_cast<size_t>(Palette_Size(&header.info));
        bytes.resize(head +
                     static_cast<size_t>(size_for_long(width, bits)) * static_cast<size_t>(height));
        std::mt19937 random(seed);
        for (auto& b : bytes)
            b = static_cast<uint8_t>(random());
        std::memcpy(bytes.data(), &header.info, sizeof(BITMAPINFOHEADER));
    }
};

int pixel_bytes_value(const dib_lock& image, int32_t x, int32_t y, int32_t bits)
{
    const uint8_t* row = image.row(image->height - 1 - y);
    if (bits == 24) return row[3 * x] << 16 | row[3 * x + 1] << 8 | row[3 * x + 2];
    const int32_t first = x * bits;
    return row[first / 8] >> (8 - bits - first % 8) & ((1 << bits) - 1);
}

} // namespace

TEST(crop_bitmap, takes_exactly_the_pixels_of_the_rectangle)
{
    for (const int32_t bits : {1, 4, 8, 24}) {
        for (const int32_t x : {0, 1, 5, 7, 8, 13}) {
            for (const int32_t width : {1, 2, 7, 8, 9, 20}) {
                SCOPED_TRACE(testing::Message() << bits << " bits, x " << x << ", width " << width);
                const packed_image picture(33, 9, bits, 7);
                const int32_t whole = IMG_create_handle(picture.bytes.data());
                const int32_t cut = IMG_create_handle(picture.bytes.data());
                ASSERT_EQ(IMGX_crop_bitmap(cut, x, 2, width, 5), 0);
                {
                    const dib_lock from(whole);
                    const dib_lock to(cut);
                    ASSERT_EQ(to.header()->biWidth, width);
                    ASSERT_EQ(to.header()->biHeight, 5);
                    for (int32_t row = 0; row < 5; ++row)
                        for (int32_t column = 0; column < width; ++column)
                            ASSERT_EQ(pixel_bytes_value(to, column, row, bits),
                                      pixel_bytes_value(from, x + column, row + 2, bits));
                }
                IMG_delete_bitmap(whole);
                IMG_delete_bitmap(cut);
            }
        }
    }
}

TEST(crop_bitmap, refuses_what_does_not_lie_inside)
{
    const packed_image picture(33, 9, 1, 1);
    const int32_t image = IMG_create_handle(picture.bytes.data());
    const int32_t big = INT32_MAX;
    const struct {
        const char* fault;
        int32_t x, y, width, height;
    } rows[] = {
        {"empty", 0, 0, 0, 9},
        {"left of the image", -1, 0, 3, 3},
        {"above the image", 0, -1, 3, 3},
        {"one column too many", 1, 0, 33, 9},
        {"one row too many", 0, 1, 33, 9},
        {"sum beyond 32 bits", 5, 5, big, big},
        {"negative size", 3, 3, -1, -1},
    };
    for (const auto& r : rows)
        EXPECT_EQ(IMGX_crop_bitmap(image, r.x, r.y, r.width, r.height), -1) << r.fault;
    EXPECT_EQ(IMGX_crop_bitmap(image, 0, 0, 33, 9), 0);
    EXPECT_EQ(IMG_delete_bitmap(image), 0);
    EXPECT_EQ(IMGX_crop_bitmap(image, 0, 0, 1, 1), -13);
}
