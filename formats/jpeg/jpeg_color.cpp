// jpeg_color.cpp - colour conversion of decoded rows.

#include "formats/jpeg/jpeg_color.h"

#include "formats/jpeg/jpeg_color_lanes.h"

#include <algorithm>
#include <array>

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

__m128i unsigned_samples(const int8_t* p)
{
    return _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), _mm_set1_epi8(-128));
}

uint8_t product(int32_t ink, int32_t black)
{
    return static_cast<uint8_t>((ink * black + 127) / 255);
}

} // namespace

void jpeg_ycc_row_sse2(const int8_t* y, const int8_t* cb, const int8_t* cr, chroma_step step,
                       uint8_t* out, int32_t width)
{
    jpeg_color::ycc_row<lanes>(y, cb, cr, step, out, width);
}

void jpeg_ycc_row(const int8_t* y, const int8_t* cb, const int8_t* cr, chroma_step step,
                  uint8_t* out, int32_t width)
{
    if (__builtin_cpu_supports("avx2"))
        jpeg_ycc_row_avx2(y, cb, cr, step, out, width);
    else
        jpeg_ycc_row_sse2(y, cb, cr, step, out, width);
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
        lanes::store_pixels({unsigned_samples(b + x)}, {unsigned_samples(g + x)},
                            {unsigned_samples(r + x)}, out + 3 * x);
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
