// jpeg_color_lanes.h - Y, Cb, Cr to pixels, in lanes of any width: 16 pixels at a time or two
// times 16. As in jpeg_fdct_lanes.h, all that makes code is a template over the lanes.
#pragma once

#include "formats/jpeg/jpeg_color.h"
#include "formats/jpeg/jpeg_lanes.h"

namespace jpeg_color {

// trunc(s x (whole + factor / 65536)) for samples: the product is no integer except for 0, so
// the truncated value of a negative sample is the next above the floor.
template <int32_t whole, int32_t factor, class L> L contribution(L s)
{
    L sum = product_high(s, L::filled(factor));
    for (int32_t i = 0; i < whole; ++i)
        sum = sum + s;
    return sum - (s >> 15);
}

template <class L> struct offsets {
    L red, green, blue; // green to be subtracted
};

template <class L> offsets<L> offsets_of(L cb, L cr)
{
    return {contribution<1, 26346>(cr), contribution<0, 22554>(cb) + contribution<1, -18734>(cr),
            contribution<2, -14942>(cb)};
}

// Luminance samples and the offsets of the first and the last eight pixels of each 16.
template <class L>
void store_ycc(const int8_t* y, const offsets<L>& low, const offsets<L>& high, uint8_t* out)
{
    const L zero = L::filled(0);
    const L samples = L::load_bytes(y) ^ L::filled(-0x7F80); // 0x80 in each byte
    const L y0 = low_bytes(samples, zero), y1 = high_bytes(samples, zero);
    L::store_pixels(packed_bytes(y0 + low.blue, y1 + high.blue),
                    packed_bytes(y0 - low.green, y1 - high.green),
                    packed_bytes(y0 + low.red, y1 + high.red), out);
}

template <class L>
void ycc_row(const int8_t* y, const int8_t* cb, const int8_t* cr, chroma_step step, uint8_t* out,
             int32_t width)
{
    if (step == chroma_step::one) {
        for (int32_t x = 0; x < width; x += L::pixels) {
            const L b = L::load_bytes(cb + x), r = L::load_bytes(cr + x);
            store_ycc(y + x, offsets_of(low_bytes(b, b) >> 8, low_bytes(r, r) >> 8),
                      offsets_of(high_bytes(b, b) >> 8, high_bytes(r, r) >> 8), out + 3 * x);
        }
        return;
    }
    for (int32_t x = 0; x < width; x += L::pixels) {
        const offsets<L> o = offsets_of(L::load_widened(cb + x / 2), L::load_widened(cr + x / 2));
        store_ycc(y + x,
                  offsets<L>{low_words(o.red, o.red), low_words(o.green, o.green),
                             low_words(o.blue, o.blue)},
                  offsets<L>{high_words(o.red, o.red), high_words(o.green, o.green),
                             high_words(o.blue, o.blue)},
                  out + 3 * x);
    }
}

} // namespace jpeg_color
