// mono_ordered.cpp - ordered and halftone dithering to 1 bit.

#include "color/mono_ordered.h"

#include "color/grey_source.h"
#include "core/image.h"
#include "core/new_dib.h"

#include <emmintrin.h>

// clang-format off

// The 8 x 8 Bayer index matrix times 4. INTENDED: the first entry is 4 and not 0, so black
// is never set there either.
constexpr threshold_matrix bayer_matrix = {{
      4, 128,  32, 160,   8, 136,  40, 168,
    192,  64, 224,  96, 200,  72, 232, 104,
     48, 176,  16, 144,  56, 184,  24, 152,
    240, 112, 208,  80, 248, 120, 216,  88,
     12, 140,  44, 172,   4, 132,  36, 164,
    204,  76, 236, 108, 196,  68, 228, 100,
     60, 188,  28, 156,  52, 180,  20, 148,
    252, 124, 220,  92, 244, 116, 212,  84,
}};

// Two clustered dots, growing from opposite corners.
constexpr threshold_matrix halftone_matrix = {{
    136, 192, 160, 128, 116,  60,  92, 124,
    168, 232, 224, 212,  84,  20,  28,  40,
    200, 248, 244, 180,  52,   4,   8,  72,
    152, 184, 216, 148, 100,  68,  36, 104,
    112,  56,  88, 120, 140, 196, 164, 132,
     80,  16,  24,  44, 172, 236, 228, 208,
     48,   0,  12,  76, 204, 252, 240, 176,
     96,  64,  32, 108, 156, 188, 220, 144,
}};
// clang-format on

namespace {

// The first pixel's bit, the lowest of a mask, belongs into bit 7 of its byte.
inline uint16_t reverse_in_bytes(uint32_t mask)
{
    mask = (mask & 0x0F0F) << 4 | (mask >> 4 & 0x0F0F);
    mask = (mask & 0x3333) << 2 | (mask >> 2 & 0x3333);
    return static_cast<uint16_t>((mask & 0x5555) << 1 | (mask >> 1 & 0x5555));
}

} // namespace

void threshold_row(const threshold_matrix& matrix, const uint8_t* grey, int32_t width, int32_t y,
                   uint8_t* bits)
{
    uint8_t eight[8];
    for (int32_t x = 0; x < 8; ++x)
        eight[x] = matrix.at(x, y);
    const __m128i thresholds =
        _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(eight)),
                           _mm_loadl_epi64(reinterpret_cast<const __m128i*>(eight)));
    const __m128i zero = _mm_setzero_si128();
    for (int32_t x = 0; x < width; x += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(grey + x));
        const __m128i black = _mm_cmpeq_epi8(_mm_subs_epu8(v, thresholds), zero);
        const auto pixels = reverse_in_bytes(static_cast<uint32_t>(~_mm_movemask_epi8(black)));
        std::memcpy(bits + x / 8, &pixels, sizeof pixels);
    }
}

namespace {

int32_t ordered_mono(int32_t handle, const threshold_matrix& matrix)
{
    io_scope scope;
    dib_lock image(handle);
    if (image.error()) return image.error();
    if (image.header()->biBitCount == 1) return err_unsupported;
    const int32_t width = image->width;
    const size_t grey_bytes = (size_t(width) + 31) & ~size_t{31};
    scratch_block grey(grey_bytes);
    new_dib target(image.header());
    target.set_size(width, image->height, 1);
    create_dib_palette(target.header(), "tiff");
    if (!grey || target.create() < 0) return err_memory;

    std::memset(grey.bytes(), 0, grey_bytes);
    const grey_source source(image.header(), grey_rule::percent);
    for (int32_t r = 0; r < image->height; ++r) {
        source.fetch_gray_raster(image.row(r), grey.bytes(), width);
        threshold_row(matrix, grey.bytes(), width, r, target.row(r));
    }
    target.install(image, saved_colors::forget);
    return 0;
}

} // namespace

int32_t IMG_STD IMG_bayer_mono(int32_t handle)
{
    return ordered_mono(handle, bayer_matrix);
}

int32_t IMG_STD IMG_halftone_mono(int32_t handle)
{
    return ordered_mono(handle, halftone_matrix);
}
