// sharpen.cpp - 3 x 3 smoothing in place, and unsharp masking with it.
//
// INTENDED: a smoothed value takes its left neighbour and the row below as they are after
// smoothing, and its other neighbours as they were.

#include "process/sharpen.h"

#include "core/dib_rows.h"
#include "core/image.h"
#include "process/filter_strips.h"

#include <algorithm>
#include <cstring>
#include <emmintrin.h>

namespace {

constexpr int32_t largest_strength = 128;

uint8_t low_byte(int32_t v)
{
    return static_cast<uint8_t>(v);
}

int32_t nibble(const uint8_t* row, int32_t x)
{
    return x & 1 ? row[x / 2] & 15 : row[x / 2] >> 4;
}

void set_nibble(uint8_t* row, int32_t x, int32_t v)
{
    uint8_t& byte = row[x / 2];
    byte = low_byte(x & 1 ? (byte & 0xF0) | v : (byte & 15) | v << 4);
}

} // namespace

sharpening::sharpening(int32_t strength, int32_t bits_per_pixel)
{
    // Multiples of 16 count; magnitudes from 144 on are taken as 128.
    const int32_t s = std::clamp(strength & ~15, -largest_strength, largest_strength);
    const int32_t magnitude = s < 0 ? -s : s;
    weight = bits_per_pixel == 4 ? (144 - magnitude) >> 4 : (136 - magnitude) >> 3;
    masks = s > 0;
}

namespace {

// What a position's value has beside its left neighbour, which is not known yet: sixteen
// sums of at most 17 + 7 bytes.
void sum_known(const filter_rows& in, int32_t p, int32_t step, __m128i weight, uint16_t* sums)
{
    const __m128i zero = _mm_setzero_si128();
    const uint8_t* const taps[] = {in.below + p - step, in.below + p,        in.below + p + step,
                                   in.row + p + step,   in.above + p - step, in.above + p,
                                   in.above + p + step};
    const __m128i centre = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in.row + p));
    __m128i low = _mm_mullo_epi16(_mm_unpacklo_epi8(centre, zero), weight);
    __m128i high = _mm_mullo_epi16(_mm_unpackhi_epi8(centre, zero), weight);
    for (const uint8_t* tap : taps) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(tap));
        low = _mm_add_epi16(low, _mm_unpacklo_epi8(v, zero));
        high = _mm_add_epi16(high, _mm_unpackhi_epi8(v, zero));
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(sums + p), low);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(sums + p + 8), high);
}

// Walks along the row, step values at once, each with the value to its left. The quotient by
// multiplication is exact: sums stay below 2^13 and the divisor below 2^5.
template <int32_t step>
void divide_along(const uint16_t* sums, uint8_t* out, int32_t end, int32_t divisor)
{
    const uint32_t reciprocal = (1u << 20) / static_cast<uint32_t>(divisor) + 1;
    uint32_t left[step];
    for (int32_t k = 0; k < step; ++k)
        left[k] = out[k];
    int32_t p = step;
    for (; p + step <= end; p += step)
        for (int32_t k = 0; k < step; ++k) {
            left[k] = (sums[p + k] + left[k]) * reciprocal >> 20;
            out[p + k] = static_cast<uint8_t>(left[k]);
        }
    for (int32_t k = 0; p + k < end; ++k)
        out[p + k] = static_cast<uint8_t>((sums[p + k] + left[k]) * reciprocal >> 20);
}

template <int32_t step>
void smooth_bytes(const filter_rows& in, uint8_t* out, int32_t stride, int32_t weight,
                  uint16_t* sums)
{
    std::memcpy(out, in.row, size_t(stride));
    const int32_t end = stride - step;
    const __m128i weights = _mm_set1_epi16(static_cast<int16_t>(weight));
    int32_t p = step;
    for (; p + 16 <= end; p += 16)
        sum_known(in, p, step, weights, sums);
    for (; p < end; ++p)
        sums[p] = static_cast<uint16_t>(weight * in.row[p] + in.below[p - step] + in.below[p] +
                                        in.below[p + step] + in.row[p + step] + in.above[p - step] +
                                        in.above[p] + in.above[p + step]);
    divide_along<step>(sums, out, end, 8 + weight);
}

} // namespace

void sharpen_8dib(const filter_rows& in, uint8_t* out, int32_t stride, int32_t weight,
                  uint16_t* sums)
{
    smooth_bytes<1>(in, out, stride, weight, sums);
}

void sharpen_24dib(const filter_rows& in, uint8_t* out, int32_t stride, int32_t weight,
                   uint16_t* sums)
{
    smooth_bytes<3>(in, out, stride, weight, sums);
}

void sharpen_4dib(const filter_rows& in, uint8_t* out, int32_t stride, int32_t weight)
{
    std::memcpy(out, in.row, size_t(stride));
    const int32_t divisor = 8 + weight;
    for (int32_t x = 1; x < 2 * stride - 1; ++x) {
        int32_t sum = weight * nibble(in.row, x) + nibble(out, x - 1) + nibble(in.row, x + 1);
        for (int32_t k = -1; k <= 1; ++k)
            sum += nibble(in.below, x + k) + nibble(in.above, x + k);
        set_nibble(out, x, sum / divisor);
    }
}

void add_diff_8dib(const uint8_t* source, const uint8_t* smoothed, uint8_t* out, int32_t stride)
{
    const __m128i zero = _mm_setzero_si128();
    int32_t p = 0;
    for (; p + 16 <= stride; p += 16) {
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + p));
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(smoothed + p));
        const auto difference = [](__m128i twice, __m128i less) {
            return _mm_sub_epi16(_mm_add_epi16(twice, twice), less);
        };
        const __m128i low = difference(_mm_unpacklo_epi8(b, zero), _mm_unpacklo_epi8(a, zero));
        const __m128i high = difference(_mm_unpackhi_epi8(b, zero), _mm_unpackhi_epi8(a, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + p), _mm_packus_epi16(low, high));
    }
    for (; p < stride; ++p)
        out[p] = low_byte(std::clamp(2 * source[p] - smoothed[p], 0, 255));
}

void add_diff_4dib(const uint8_t* source, const uint8_t* smoothed, uint8_t* out, int32_t stride)
{
    for (int32_t x = 0; x < 2 * stride; ++x)
        set_nibble(out, x, std::clamp(2 * nibble(source, x) - nibble(smoothed, x), 0, 15));
}

namespace {

class sharpen_pass {
public:
    int32_t run(dib_lock& image, int32_t strength);

private:
    void smooth(const filter_rows& in, uint8_t* out) const
    {
        switch (bits_) {
        case 4: return sharpen_4dib(in, out, stride_, how_.weight);
        case 8: return sharpen_8dib(in, out, stride_, how_.weight, sums_.as<uint16_t>());
        default: return sharpen_24dib(in, out, stride_, how_.weight, sums_.as<uint16_t>());
        }
    }
    void store(const uint8_t* source, const uint8_t* smoothed, uint8_t* out) const
    {
        if (!how_.masks)
            std::memcpy(out, smoothed, size_t(stride_));
        else if (bits_ == 4)
            add_diff_4dib(source, smoothed, out, stride_);
        else
            add_diff_8dib(source, smoothed, out, stride_);
    }
    void run_strip(dib_lock& image, const filter_strip& strip);

    sharpening how_{0, 8};
    int32_t bits_ = 0;
    int32_t stride_ = 0;
    row_window window_;
    scratch_block smoothed_; // two rows: the last one and the one being made
    scratch_block sums_;
};

int32_t sharpen_pass::run(dib_lock& image, int32_t strength)
{
    bits_ = image.header()->biBitCount;
    stride_ = static_cast<int32_t>(image->bytes_per_line);
    how_ = sharpening(strength, bits_);
    const strip_plan plan(stride_, image->height, 2);
    if (!smoothed_.allocate(2 * size_t(stride_)) ||
        !sums_.allocate(size_t(stride_) * sizeof(uint16_t)) || window_.begin(stride_, plan) < 0)
        return err_memory;
    window_.attach(image.row(0));
    for (int32_t first = 0; first < image->height;) {
        const filter_strip strip = plan.at(first);
        run_strip(image, strip);
        first += strip.count;
    }
    return 0;
}

void sharpen_pass::run_strip(dib_lock& image, const filter_strip& strip)
{
    uint8_t* now = smoothed_.bytes();
    uint8_t* before = now + stride_;
    const int32_t last = strip.first + strip.count - 1;
    for (int32_t r = strip.first; r <= last; ++r) {
        window_.load(r);
        const filter_rows in{r == strip.first ? window_.original(strip.below) : before,
                             window_.original(r),
                             window_.original(r == last ? strip.above : r + 1)};
        smooth(in, now);
        store(in.row, now, image.row(r));
        std::swap(now, before);
    }
}

int32_t sharpen_bitmap(int32_t handle, int32_t strength)
{
    io_scope scope;
    dib_lock image(handle);
    if (image.error()) return image.error();
    const int32_t bits = image.header()->biBitCount;
    // INTENDED: a 1-bit picture is taken and stays as it is.
    if (bits == 1) return 0;
    if (bits != 24 && has_color(image.header())) return err_unsupported;
    sharpen_pass pass;
    return pass.run(image, strength);
}

} // namespace

int32_t IMG_STD IMG_sharpen_bitmap(int32_t handle, int32_t strength)
{
    return sharpen_bitmap(handle, strength);
}
