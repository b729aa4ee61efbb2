// jpeg_color.cpp - colour conversion of decoded rows.

#include "formats/jpeg/jpeg_color.h"

#include <algorithm>
#include <array>
#include <emmintrin.h>

namespace {

// What a chroma sample adds to a colour, by its stored byte.
struct chroma_tables {
    std::array<int16_t, 256> cr_red, cb_green, cr_green, cb_blue;
};

constexpr chroma_tables chroma = [] {
    chroma_tables t{};
    for (size_t i = 0; i < 256; ++i) {
        const double s = i < 128 ? static_cast<double>(i) : static_cast<double>(i) - 256;
        t.cr_red[i] = static_cast<int16_t>(s * 1.402);
        t.cb_green[i] = static_cast<int16_t>(s * 0.34414);
        t.cr_green[i] = static_cast<int16_t>(s * 0.71414);
        t.cb_blue[i] = static_cast<int16_t>(s * 1.772);
    }
    return t;
}();

uint8_t limit(int32_t x)
{
    return static_cast<uint8_t>(std::clamp(x, 0, 255));
}

struct offsets {
    int32_t red, green, blue;
};

offsets offsets_of(int8_t cb, int8_t cr)
{
    const auto b = static_cast<uint8_t>(cb), r = static_cast<uint8_t>(cr);
    return {chroma.cr_red[r], -(chroma.cb_green[b] + chroma.cr_green[r]), chroma.cb_blue[b]};
}

// trunc(s x (whole + factor / 65536)) for samples: the product is no integer except for 0, so
// the truncated value of a negative sample is the next above the floor.
template <int32_t whole, int32_t factor> __m128i contribution(__m128i s)
{
    __m128i sum = _mm_mulhi_epi16(s, _mm_set1_epi16(factor));
    for (int32_t i = 0; i < whole; ++i)
        sum = _mm_add_epi16(sum, s);
    return _mm_sub_epi16(sum, _mm_srai_epi16(s, 15));
}

struct vector_offsets {
    __m128i red, green, blue; // green to be subtracted
};

// Eight chroma samples, widened.
__m128i load_samples(const int8_t* p)
{
    const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
    return _mm_srai_epi16(_mm_unpacklo_epi8(bytes, bytes), 8);
}

vector_offsets offsets_of_eight(const int8_t* cb, const int8_t* cr)
{
    const __m128i b = load_samples(cb), r = load_samples(cr);
    return {contribution<1, 26346>(r),
            _mm_add_epi16(contribution<0, 22554>(b), contribution<1, -18734>(r)),
            contribution<2, -14942>(b)};
}

// 16 pixels of 3 bytes from vectors of 16 bytes.
void store_pixels(__m128i blue, __m128i green, __m128i red, uint8_t* out)
{
    const __m128i zero = _mm_setzero_si128();
    const __m128i first = _mm_set_epi32(0, 0xFFFFFF, 0, 0xFFFFFF);
    const __m128i bg[2] = {_mm_unpacklo_epi8(blue, green), _mm_unpackhi_epi8(blue, green)};
    const __m128i r0[2] = {_mm_unpacklo_epi8(red, zero), _mm_unpackhi_epi8(red, zero)};
    for (size_t i = 0; i < 4; ++i) {
        const __m128i four = i & 1 ? _mm_unpackhi_epi16(bg[i / 2], r0[i / 2])
                                   : _mm_unpacklo_epi16(bg[i / 2], r0[i / 2]);
        const __m128i pairs = _mm_or_si128(_mm_and_si128(four, first),
                                           _mm_srli_epi64(_mm_andnot_si128(first, four), 8));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out), pairs);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 6), _mm_unpackhi_epi64(pairs, pairs));
        out += 12;
    }
}

// 16 luminance samples and the offsets of the first and the last eight pixels.
void store_ycc(const int8_t* y, const vector_offsets& low, const vector_offsets& high, uint8_t* out)
{
    const __m128i samples =
        _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(y)), _mm_set1_epi8(-128));
    const __m128i y0 = _mm_unpacklo_epi8(samples, _mm_setzero_si128());
    const __m128i y1 = _mm_unpackhi_epi8(samples, _mm_setzero_si128());
    store_pixels(_mm_packus_epi16(_mm_add_epi16(y0, low.blue), _mm_add_epi16(y1, high.blue)),
                 _mm_packus_epi16(_mm_sub_epi16(y0, low.green), _mm_sub_epi16(y1, high.green)),
                 _mm_packus_epi16(_mm_add_epi16(y0, low.red), _mm_add_epi16(y1, high.red)), out);
}

vector_offsets doubled_low(const vector_offsets& o)
{
    return {_mm_unpacklo_epi16(o.red, o.red), _mm_unpacklo_epi16(o.green, o.green),
            _mm_unpacklo_epi16(o.blue, o.blue)};
}

vector_offsets doubled_high(const vector_offsets& o)
{
    return {_mm_unpackhi_epi16(o.red, o.red), _mm_unpackhi_epi16(o.green, o.green),
            _mm_unpackhi_epi16(o.blue, o.blue)};
}

__m128i unsigned_samples(const int8_t* p)
{
    return _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), _mm_set1_epi8(-128));
}

uint8_t product(int32_t ink, int32_t black)
{
    return static_cast<uint8_t>((ink * black + 127) / 255);
}

} // namespace

void jpeg_ycc_row(const int8_t* y, const int8_t* cb, const int8_t* cr, chroma_step step,
                  uint8_t* out, int32_t width)
{
    if (step == chroma_step::one) {
        for (int32_t x = 0; x < width; x += 16)
            store_ycc(y + x, offsets_of_eight(cb + x, cr + x),
                      offsets_of_eight(cb + x + 8, cr + x + 8), out + 3 * x);
        return;
    }
    for (int32_t x = 0; x < width; x += 16) {
        const vector_offsets shared = offsets_of_eight(cb + x / 2, cr + x / 2);
        store_ycc(y + x, doubled_low(shared), doubled_high(shared), out + 3 * x);
    }
}

void jpeg_grey_row(const int8_t* y, grey_sense sense, uint8_t* out, int32_t width)
{
    const __m128i flip = _mm_set1_epi8(sense == grey_sense::white_is_zero ? -1 : 0);
    for (int32_t x = 0; x < width; x += 16)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x),
                         _mm_xor_si128(unsigned_samples(y + x), flip));
}

void jpeg_rgb_row(const int8_t* r, const int8_t* g, const int8_t* b, uint8_t* out, int32_t width)
{
    for (int32_t x = 0; x < width; x += 16)
        store_pixels(unsigned_samples(b + x), unsigned_samples(g + x), unsigned_samples(r + x),
                     out + 3 * x);
}

void jpeg_ycck_row(const int8_t* y, const int8_t* cb, const int8_t* cr, const int8_t* k,
                   uint8_t* out, int32_t width)
{
    for (int32_t x = 0; x < width; ++x, out += 3) {
        const offsets o = offsets_of(cb[x], cr[x]);
        const int32_t base = k[x] - y[x];
        out[0] = limit(base - o.blue);
        out[1] = limit(base - o.green);
        out[2] = limit(base - o.red);
    }
}

void jpeg_cmyk_row(const int8_t* c, const int8_t* m, const int8_t* y, const int8_t* k, uint8_t* out,
                   int32_t width)
{
    for (int32_t x = 0; x < width; ++x, out += 3) {
        const int32_t black = k[x] + 128;
        out[0] = product(y[x] + 128, black);
        out[1] = product(m[x] + 128, black);
        out[2] = product(c[x] + 128, black);
    }
}

void jpeg_adobe_ycck_row(const int8_t* y, const int8_t* cb, const int8_t* cr, const int8_t* k,
                         uint8_t* out, int32_t width)
{
    for (int32_t x = 0; x < width; ++x, out += 3) {
        const offsets o = offsets_of(cb[x], cr[x]);
        const int32_t base = y[x] + 128, black = k[x] + 128;
        out[0] = product(255 - limit(base + o.blue), black);
        out[1] = product(255 - limit(base + o.green), black);
        out[2] = product(255 - limit(base + o.red), black);
    }
}
