// tone.cpp - contrast, brightness and inversion.

#include "process/tone.h"

#include "core/image.h"
#include "core/image_object.h"

#include <algorithm>
#include <cstring>
#include <emmintrin.h>

namespace {

// Sixteen bytes: (k in) >> 8 is the high half of k x (in << 8), which holds as long as k has
// 9 bits. The offset is clamped to where it makes no difference.
size_t apply_tone_wide(uint8_t* bytes, size_t count, const tone_curve& curve)
{
    const auto offset = static_cast<int16_t>(std::clamp<int64_t>(curve.offset, -1000, 1000));
    const __m128i factors = _mm_set1_epi16(static_cast<int16_t>(curve.factor));
    const __m128i offsets = _mm_set1_epi16(offset), zero = _mm_setzero_si128();
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        auto* p = reinterpret_cast<__m128i*>(bytes + i);
        const __m128i v = _mm_loadu_si128(p);
        const __m128i low = _mm_mulhi_epu16(_mm_unpacklo_epi8(zero, v), factors);
        const __m128i high = _mm_mulhi_epu16(_mm_unpackhi_epi8(zero, v), factors);
        _mm_storeu_si128(
            p, _mm_packus_epi16(_mm_add_epi16(low, offsets), _mm_add_epi16(high, offsets)));
    }
    return i;
}

} // namespace

void apply_tone(uint8_t* bytes, size_t count, const tone_curve& curve)
{
    size_t i = curve.factor < 512 ? apply_tone_wide(bytes, count, curve) : 0;
    uint8_t table[256];
    for (int32_t v = 0; v < 256; ++v)
        table[v] = curve.at(static_cast<uint8_t>(v));
    for (; i < count; ++i)
        bytes[i] = table[bytes[i]];
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

// INTENDED: padding is toned too.
void set_24cont_bright(dib_lock& image, const tone_curve& curve)
{
    apply_tone(image.row(0), pixel_bytes(image), curve);
}

int32_t set_lut(int32_t handle, int32_t contrast, int32_t brightness)
{
    dib_lock image(handle);
    if (image.error()) return image.error();
    const tone_curve curve(contrast, brightness);
    switch (image.header()->biBitCount) {
    case 1: return err_unsupported;
    case 24: set_24cont_bright(image, curve); return 0;
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
