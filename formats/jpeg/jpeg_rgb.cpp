// jpeg_rgb.cpp - colour conversion and decimation before coding, 16 pixels at a time.

#include "formats/jpeg/jpeg_rgb.h"

#include <emmintrin.h>

namespace {

struct pixels_16 {
    __m128i blue, green, red; // a byte each
};

// A shuffle of 48 bytes that deals the second half between the bytes of the first takes byte
// p to place 2 p mod 47; four of them take byte 3 i + c to 48 i + 16 c = i + 16 c mod 47, so
// that the three colours come apart.
pixels_16 load_pixels(const uint8_t* p)
{
    const auto* from = reinterpret_cast<const __m128i*>(p);
    __m128i a = _mm_loadu_si128(from);
    __m128i b = _mm_loadu_si128(from + 1);
    __m128i c = _mm_loadu_si128(from + 2);
    for (int32_t i = 0; i < 4; ++i) {
        const __m128i first = _mm_unpacklo_epi8(a, _mm_unpackhi_epi64(b, b));
        const __m128i second = _mm_unpacklo_epi8(_mm_unpackhi_epi64(a, a), c);
        const __m128i third = _mm_unpacklo_epi8(b, _mm_unpackhi_epi64(c, c));
        a = first;
        b = second;
        c = third;
    }
    return {a, b, c};
}

__m128i product(__m128i a, int32_t factor)
{
    return _mm_mulhi_epu16(a, _mm_set1_epi16(static_cast<int16_t>(factor)));
}

struct classic_weights {
    static __m128i luminance(__m128i b, __m128i g, __m128i r)
    {
        const __m128i sum = _mm_add_epi16(_mm_add_epi16(product(b, 114 << 6), product(r, 306 << 6)),
                                          product(g, 601 << 6));
        return _mm_sub_epi16(sum, _mm_set1_epi16(128));
    }
    // own / 2 - x * x_weight / 1024 - z * z_weight / 1024
    static __m128i difference(__m128i own, __m128i x, int32_t x_weight, __m128i z, int32_t z_weight)
    {
        return _mm_sub_epi16(_mm_sub_epi16(_mm_srli_epi16(own, 1), product(x, x_weight << 6)),
                             product(z, z_weight << 6));
    }
    static __m128i chroma_blue(__m128i b, __m128i g, __m128i r)
    {
        return difference(b, r, 178, g, 339);
    }
    static __m128i chroma_red(__m128i b, __m128i g, __m128i r)
    {
        return difference(r, g, 429, b, 83);
    }
    static __m128i shared(__m128i bytes) { return _mm_and_si128(bytes, _mm_set1_epi16(0xFF)); }
};

// Sums are kept with 7 bits of fraction.
struct jfif_weights {
    static __m128i rounded(__m128i sum, int32_t offset)
    {
        const __m128i add = _mm_set1_epi16(static_cast<int16_t>(64 + offset * 128));
        return _mm_srai_epi16(_mm_add_epi16(sum, add), 7);
    }
    static __m128i luminance(__m128i b, __m128i g, __m128i r)
    {
        const __m128i sum = _mm_add_epi16(_mm_add_epi16(product(_mm_slli_epi16(b, 7), 7471),
                                                        product(_mm_slli_epi16(r, 7), 19595)),
                                          product(_mm_slli_epi16(g, 7), 38470));
        return rounded(sum, -128);
    }
    // The inputs are sums of two bytes.
    static __m128i difference(__m128i own, __m128i x, int32_t x_weight, __m128i z, int32_t z_weight)
    {
        const __m128i others = _mm_add_epi16(product(_mm_slli_epi16(x, 6), x_weight),
                                             product(_mm_slli_epi16(z, 6), z_weight));
        return rounded(_mm_sub_epi16(_mm_slli_epi16(own, 5), others), 0);
    }
    static __m128i chroma_blue(__m128i b, __m128i g, __m128i r)
    {
        const __m128i wide = difference(b, r, 11058, g, 21710);
        return _mm_min_epi16(wide, _mm_set1_epi16(127));
    }
    static __m128i chroma_red(__m128i b, __m128i g, __m128i r)
    {
        const __m128i wide = difference(r, g, 27439, b, 5329);
        return _mm_min_epi16(wide, _mm_set1_epi16(127));
    }
    static __m128i shared(__m128i bytes)
    {
        return _mm_add_epi16(_mm_and_si128(bytes, _mm_set1_epi16(0xFF)), _mm_srli_epi16(bytes, 8));
    }
};

void store(int16_t* to, __m128i v)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), v);
}

template <class weights>
void convert(const uint8_t* pixels, int32_t width, int16_t* y, int16_t* cb, int16_t* cr)
{
    const __m128i zero = _mm_setzero_si128();
    for (int32_t x = 0; x < width; x += 16) {
        const pixels_16 p = load_pixels(pixels + 3 * x);
        store(y + x,
              weights::luminance(_mm_unpacklo_epi8(p.blue, zero), _mm_unpacklo_epi8(p.green, zero),
                                 _mm_unpacklo_epi8(p.red, zero)));
        store(y + x + 8,
              weights::luminance(_mm_unpackhi_epi8(p.blue, zero), _mm_unpackhi_epi8(p.green, zero),
                                 _mm_unpackhi_epi8(p.red, zero)));
        const __m128i b = weights::shared(p.blue), g = weights::shared(p.green),
                      r = weights::shared(p.red);
        store(cb + x / 2, weights::chroma_blue(b, g, r));
        store(cr + x / 2, weights::chroma_red(b, g, r));
    }
}

} // namespace

void jpeg_rgb_to_yuv(const uint8_t* pixels, int32_t width, color_weights weights, int16_t* y,
                     int16_t* cb, int16_t* cr)
{
    if (weights == color_weights::classic)
        convert<classic_weights>(pixels, width, y, cb, cr);
    else
        convert<jfif_weights>(pixels, width, y, cb, cr);
}

void jpeg_grey_to_y(const uint8_t* pixels, int32_t width, int16_t* y)
{
    for (int32_t x = 0; x < width; x += 8) {
        const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(pixels + x));
        store(y + x,
              _mm_sub_epi16(_mm_unpacklo_epi8(bytes, _mm_setzero_si128()), _mm_set1_epi16(128)));
    }
}
