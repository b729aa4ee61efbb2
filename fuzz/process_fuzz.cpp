// process_fuzz.cpp - sequences of colour and processing operations with arguments over their
// whole range on one small image.

#include "core/image_object.h"

#include <cstdlib>
#include <cstring>

namespace {

struct input {
    const uint8_t* data;
    size_t left;

    uint8_t byte()
    {
        if (left == 0) return 0;
        --left;
        return *data++;
    }
    int32_t number()
    {
        uint32_t v = 0;
        for (int i = 0; i < 4; ++i)
            v = v << 8 | byte();
        return static_cast<int32_t>(v);
    }
    /// Small mostly, any number now and then.
    int32_t argument()
    {
        const uint8_t kind = byte();
        return kind < 224 ? static_cast<int8_t>(byte()) : number();
    }
    /// Sizes that keep the image small, and sizes to be refused.
    int32_t size()
    {
        const int32_t v = number();
        return v > 400 && v <= 32767 ? v % 400 : v;
    }
};

int32_t make_image(input& in)
{
    constexpr int32_t depths[] = {1, 4, 8, 24};
    dib_header header;
    const int32_t bits = depths[in.byte() & 3];
    header.set(1 + in.byte(), 1 + in.byte() % 64, bits);
    const uint8_t spread = in.byte();
    for (int32_t i = 0; i < palette_entries(bits); ++i) {
        const auto level = static_cast<BYTE>(i * 255 / (palette_entries(bits) - 1));
        header.colors[i] = {level, static_cast<BYTE>(level ^ spread), level, 0};
    }
    const size_t head = sizeof header.info + static_cast<size_t>(Palette_Size(&header.info));
    static uint8_t packed[1064 + 256 * 3 * 64];
    std::memcpy(packed, &header, head);
    const uint8_t seed = in.byte();
    for (uint32_t i = 0; i < header.info.biSizeImage; ++i)
        packed[head + i] = in.left > 64 ? in.byte() : static_cast<uint8_t>(i * seed >> 3);
    return IMG_create_handle(packed);
}

int32_t run(input& in, int32_t handle)
{
    const uint8_t operation = in.byte();
    IMGX_set_true_tones(operation >= 120);
    switch (operation % 20) {
    case 0: return IMG_color_gray(handle);
    case 1: return IMG_bayer_mono(handle);
    case 2: return IMG_halftone_mono(handle);
    case 3: return IMG_diffusion_mono(handle);
    case 4: return IMG_mediancut_color(handle);
    case 5: return IMG_popularity_color(handle);
    case 6: return IMG_bayer_color(handle);
    case 7: return IMG_diffusion_color(handle);
    case 8: return IMG_promote_8(handle);
    case 9: return IMG_promote_24(handle);
    case 10: return IMG_rotate_bitmap(handle, 90 * (in.byte() & 3));
    case 11: return IMG_rotate_bitmap(handle, in.number());
    case 12: return IMG_flip_bitmapx(handle);
    case 13: return IMG_flip_bitmapy(handle);
    case 14: {
        const int32_t width = in.size();
        return IMG_resize_bitmap(handle, width, in.size());
    }
    case 15: {
        const int32_t contrast = in.argument();
        return IMG_set_lut(handle, contrast, in.argument());
    }
    case 16: return IMG_invert_bitmap(handle);
    case 17: return IMG_sharpen_bitmap(handle, in.argument());
    case 18: {
        const int32_t x = in.argument(), y = in.argument(), width = in.argument();
        return IMG_set_croprect(handle, x, y, width, in.argument());
    }
    default: {
        signed char kernel[9];
        for (signed char& k : kernel)
            k = static_cast<signed char>(in.byte());
        return IMG_process_bitmap(handle, in.argument() % 11, kernel);
    }
    }
}

void require(bool holds)
{
    if (!holds) std::abort();
}

void check(int32_t handle)
{
    dib_lock image(handle);
    require(image.error() == 0);
    const BITMAPINFOHEADER* header = image.header();
    require(header->biWidth == image->width && header->biHeight == image->height);
    require(dib_fits(image->width, image->height, header->biBitCount));
    const int32_t stride = size_for_long(image->width, header->biBitCount);
    require(image->bytes_per_line == static_cast<uint32_t>(stride));
    require(header->biSizeImage == image->bytes_per_line * static_cast<uint32_t>(image->height));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    input in{data, size};
    const int32_t handle = make_image(in);
    require(handle >= 0);
    for (int32_t i = 0; i < 16 && in.left > 0; ++i) {
        const int32_t result = run(in, handle);
        require(result == 0 || result == -1 || result == -7);
        check(handle);
    }
    IMG_delete_bitmap(handle);
    return 0;
}
