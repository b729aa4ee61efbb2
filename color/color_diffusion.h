// color_diffusion.h - error diffusion of colour rows: the running values of two rows and the
// spreading of errors, shared by the 3-3-2 and the 16-colour quantiser.
//
// The weights are
//            8 4
//        2 4 8 4 2   over 32, by arithmetic shifts.
//
// Along a row each pixel waits for the one before it, channel by channel; the errors that go
// to the next row are added afterwards, two pixels at a time. Sums wrap, so their order
// makes no difference.
#pragma once

#include "color/running_values.h"
#include "core/dib_rows.h"

#include <cstring>
#include <emmintrin.h>

/// The shares of one error as 16-bit words: a quarter in the lowest, an eighth, a sixteenth.
///
/// INTENDED: the classic shares are each rounded down, so a pixel loses up to six levels. With
/// the sign kept that loss would pile up in black areas; there two quarters, three eighths
/// and two sixteenths add up to the error.
template <running_values mode> constexpr uint64_t color_shares(int32_t error)
{
    int32_t quarter = error >> 2, eighth = error >> 3;
    const int32_t sixteenth = error >> 4;
    if (mode == running_values::keep_sign) {
        eighth ^= (eighth ^ error) & 1;
        quarter = (error - 3 * eighth - 2 * sixteenth) >> 1;
    }
    return uint64_t{static_cast<uint16_t>(quarter)} |
           uint64_t{static_cast<uint16_t>(eighth)} << 16 |
           uint64_t{static_cast<uint16_t>(sixteenth)} << 32;
}

/// Shares of the three channels' errors, and the index that left them.
struct quantised_color {
    uint64_t blue, green, red;
    int32_t index;
};

class color_diffusion {
public:
    enum class travel { left_to_right, right_to_left };

    /// Takes the working memory for an image of 4, 8 or 24 bits.  0, or err_memory.
    int32_t begin(const image_object& object);

    /// Fills the current row (ahead 0) or the next (ahead 1) from a stored row, the top row
    /// when there is no such row.
    void feed(const image_object& object, int32_t ahead, int32_t stored_row);

    /// Quantises the current row and moves on to the next.
    ///   quantise(blue, green, red)  gets running values, gives a quantised_color
    ///   put(x, index)               stores one index
    template <running_values mode, class Quantise, class Put>
    void dither(travel way, Quantise quantise, Put put);

private:
    // Two pixels left and right of the picture take errors and are never output.
    static constexpr size_t guard = 2;
    static constexpr size_t words = 4; // a pixel: blue, green, red, unused

    void keep_shares(int32_t x, const quantised_color& color);
    void add_to_next();

    int32_t width_ = 0;
    scratch_block block_;
    uint16_t* rows_[2] = {};   // running values
    uint16_t* shares_[3] = {}; // of the current row's errors
    uint64_t of_index_[256];   // words of a palette image's pixels
};

inline void color_diffusion::keep_shares(int32_t x, const quantised_color& color)
{
    const auto word = [](uint64_t v) {
        return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(&v));
    };
    const __m128i blue_green = _mm_unpacklo_epi16(word(color.blue), word(color.green));
    const __m128i red = _mm_unpacklo_epi16(word(color.red), _mm_setzero_si128());
    const __m128i first = _mm_unpacklo_epi32(blue_green, red);
    const auto store = [x](uint16_t* share, __m128i v) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(share + words * size_t(x)), v);
    };
    store(shares_[0], first);
    store(shares_[1], _mm_unpackhi_epi64(first, first));
    store(shares_[2], _mm_unpackhi_epi32(blue_green, red));
}

template <running_values mode, class Quantise, class Put>
void color_diffusion::dither(travel way, Quantise quantise, Put put)
{
    const int32_t step = way == travel::left_to_right ? 1 : -1;
    // What the last pixel, and the one before it, pass to the next one.
    struct {
        uint32_t one_back = 0, two_back = 0, one_back_far = 0;

        int32_t take(uint16_t value) const
        {
            const auto sum = static_cast<uint16_t>(value + one_back + two_back);
            return mode == running_values::wrap ? int32_t{sum} : static_cast<int16_t>(sum);
        }
        void pass(uint64_t shares)
        {
            two_back = one_back_far;
            one_back = static_cast<uint32_t>(shares & 0xFFFF);
            one_back_far = static_cast<uint32_t>(shares >> 16 & 0xFFFF);
        }
    } blue, green, red;
    int32_t x = step > 0 ? 0 : width_ - 1;
    for (int32_t i = 0; i < width_; ++i, x += step) {
        const uint16_t* p = rows_[0] + words * size_t(x);
        const quantised_color color = quantise(blue.take(p[0]), green.take(p[1]), red.take(p[2]));
        put(x, color.index);
        keep_shares(x, color);
        blue.pass(color.blue);
        green.pass(color.green);
        red.pass(color.red);
    }
    add_to_next();
}
