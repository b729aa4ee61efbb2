// diffusion_memory_test.cpp - widths whose working rows would not fit into 32 bits.

#include "color/color_diffusion.h"
#include "color/mono_diffusion.h"

#include <gtest/gtest.h>

TEST(diffusion_memory, refuses_widths_whose_rows_exceed_32_bits)
{
    // Sizes just above 2^32, so that a wrapped product would be a small block.
    constexpr int32_t bytes_per_color_pixel = 40, bytes_per_grey_pixel = 16;
    constexpr auto wrapping = [](int32_t bytes) {
        return static_cast<int32_t>((int64_t{1} << 32) / bytes) + 1;
    };
    dib_header header;
    header.set(1, 1, 24);
    image_object object{};
    object.dib = &header.info;
    for (int32_t width : {wrapping(bytes_per_color_pixel), int32_t{1} << 30}) {
        object.width = width;
        EXPECT_EQ(color_diffusion().begin(object), -1) << width;
    }
    for (int32_t width : {wrapping(bytes_per_grey_pixel), int32_t{1} << 30})
        EXPECT_EQ(mono_diffusion().begin(width, running_values::wrap), -1) << width;
}
