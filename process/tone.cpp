// tone.cpp - contrast, brightness and inversion.

#include "process/tone.h"

#include "core/image.h"
#include "core/image_object.h"

#include <cstring>

void apply_tone(uint8_t* bytes, size_t count, const tone_curve& curve)
{
    for (size_t i = 0; i < count; ++i)
        bytes[i] = curve.at(bytes[i]);
}

void invert_bytes(uint8_t* bytes, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<uint8_t>(~bytes[i]);
}

namespace {

size_t pixel_bytes(const dib_lock& image)
{
    return size_t{image->bytes_per_line} * size_t(image->height);
}

// The first tone change keeps a copy of the colour table in the auxiliary block, so that
// later ones start from the same colours and do not add up.  0, or err_memory.
int32_t save_colors(dib_lock& image)
{
    if (image->auxiliary_handle) return 0;
    const auto bytes = static_cast<size_t>(Palette_Size(image.header()));
    global_block copy(GlobalAlloc(GHND, bytes));
    void* address = copy ? copy.lock<void>() : nullptr;
    if (!address) return err_memory;
    std::memcpy(address, image.colors(), bytes);
    // The record owns block and lock from here on.
    image->auxiliary = address;
    image->auxiliary_handle = copy.release_locked();
    return 0;
}

int32_t set_table_tone(dib_lock& image, const tone_curve& curve)
{
    if (int32_t err = save_colors(image); err < 0) return err;
    const auto* saved = static_cast<const RGBQUAD*>(image->auxiliary);
    RGBQUAD* colors = image.colors();
    for (int32_t i = 0; i < palette_entries(image.header()->biBitCount); ++i) {
        colors[i].rgbBlue = curve.at(saved[i].rgbBlue);
        colors[i].rgbGreen = curve.at(saved[i].rgbGreen);
        colors[i].rgbRed = curve.at(saved[i].rgbRed);
    }
    return 0;
}

int32_t set_lut(int32_t handle, int32_t contrast, int32_t brightness)
{
    dib_lock image(handle);
    if (image.error()) return image.error();
    const tone_curve curve(contrast, brightness);
    switch (image.header()->biBitCount) {
    case 1: return err_unsupported;
    case 24: apply_tone(image.row(0), pixel_bytes(image), curve); return 0;
    default: return set_table_tone(image, curve);
    }
}

// INTENDED: palette images get other indices, not other colours.
int32_t invert_bitmap(int32_t handle)
{
    dib_lock image(handle);
    if (image.error()) return image.error();
    invert_bytes(image.row(0), pixel_bytes(image));
    return 0;
}

} // namespace

int32_t IMG_STD IMG_set_lut(int32_t handle, int32_t contrast, int32_t brightness)
{
    return set_lut(handle, contrast, brightness);
}

int32_t IMG_STD IMG_invert_bitmap(int32_t handle)
{
    return invert_bitmap(handle);
}
