// jpeg_lanes.h - eight 16-bit numbers at once, with the truncating products of the DCT. The
// templates also take wider lanes of the same operations.
#pragma once

#include <cstddef>
#include <cstdint>
#include <emmintrin.h>

/// What takes a next_block is for lanes of two blocks, which lie that many numbers apart.
struct lanes {
    __m128i v;
    static lanes filled(int32_t x) { return {_mm_set1_epi16(static_cast<int16_t>(x))}; }
    template <class T> static lanes load(const T* from, ptrdiff_t)
    {
        return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))};
    }
    static void store(int16_t* to, ptrdiff_t, lanes a)
    {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), a.v);
    }
    friend lanes operator+(lanes a, lanes b) { return {_mm_add_epi16(a.v, b.v)}; }
    friend lanes operator-(lanes a, lanes b) { return {_mm_sub_epi16(a.v, b.v)}; }
    friend lanes operator^(lanes a, lanes b) { return {_mm_xor_si128(a.v, b.v)}; }
    friend lanes operator<<(lanes a, int32_t n) { return {_mm_slli_epi16(a.v, n)}; }
    friend lanes operator>>(lanes a, int32_t n) { return {_mm_srai_epi16(a.v, n)}; }
    friend lanes product_high(lanes a, lanes b) { return {_mm_mulhi_epi16(a.v, b.v)}; }
    friend lanes unsigned_product_high(lanes a, lanes b) { return {_mm_mulhi_epu16(a.v, b.v)}; }
    friend lanes low_words(lanes a, lanes b) { return {_mm_unpacklo_epi16(a.v, b.v)}; }
    friend lanes high_words(lanes a, lanes b) { return {_mm_unpackhi_epi16(a.v, b.v)}; }
    friend lanes low_pairs(lanes a, lanes b) { return {_mm_unpacklo_epi32(a.v, b.v)}; }
    friend lanes high_pairs(lanes a, lanes b) { return {_mm_unpackhi_epi32(a.v, b.v)}; }
    friend lanes low_halves(lanes a, lanes b) { return {_mm_unpacklo_epi64(a.v, b.v)}; }
    friend lanes high_halves(lanes a, lanes b) { return {_mm_unpackhi_epi64(a.v, b.v)}; }

    // For rows of samples and pixels.
    static constexpr int32_t pixels = 16;
    static lanes load_bytes(const int8_t* p)
    {
        return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))};
    }
    static lanes load_widened(const int8_t* p)
    {
        const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
        return {_mm_srai_epi16(_mm_unpacklo_epi8(bytes, bytes), 8)};
    }
    friend lanes low_bytes(lanes a, lanes b) { return {_mm_unpacklo_epi8(a.v, b.v)}; }
    friend lanes high_bytes(lanes a, lanes b) { return {_mm_unpackhi_epi8(a.v, b.v)}; }
    friend lanes packed_bytes(lanes a, lanes b) { return {_mm_packus_epi16(a.v, b.v)}; }
    static void store_pixels(lanes blue, lanes green, lanes red, uint8_t* out)
    {
        const __m128i zero = _mm_setzero_si128();
        const __m128i first = _mm_set_epi32(0, 0xFFFFFF, 0, 0xFFFFFF);
        const __m128i bg[2] = {_mm_unpacklo_epi8(blue.v, green.v),
                               _mm_unpackhi_epi8(blue.v, green.v)};
        const __m128i r0[2] = {_mm_unpacklo_epi8(red.v, zero), _mm_unpackhi_epi8(red.v, zero)};
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
};

/// (a * factor) >> 16, also for factors beyond 16 bits: whole multiples of 65536 become
/// additions of a, which change nothing in what the shift truncates.
template <int32_t factor, class L> [[gnu::always_inline]] inline L scaled(L a)
{
    constexpr int32_t whole = (factor + 32768) >> 16;
    L result = product_high(a, L::filled(factor - whole * 65536));
    for (int32_t i = 0; i < whole; ++i)
        result = result + a;
    return result;
}

/// The multipliers of both transforms, in 65536ths.
struct dct_multipliers {
    int32_t c4, e1, e2, o1, o3, o5, o7;
};

/// Those of the defined arithmetic: 181 >> 8, 553 >> 10, 1338 >> 10, 261 >> 9, 77 >> 7,
/// 461 >> 9, 41 >> 4. (724 >> 10 is 181 >> 8, and 2624 >> 10 is 41 >> 4.)
inline constexpr dct_multipliers short_multipliers = {181 << 8, 553 << 6, 1338 << 6, 261 << 7,
                                                      77 << 9,  461 << 7, 41 << 12};

/// Which inputs of a transform can be other than 0.
enum class inputs { all, first_four };

/// Rows become columns. With first_four only lanes 0 to 3 of the input are other than 0, so
/// only the first four rows of the result are made.
template <inputs used, class L>
[[gnu::always_inline]] inline void transpose(const L (&in)[8], L (&out)[8])
{
    constexpr bool all = used == inputs::all;
    L pairs[8], quads[4];
    for (size_t i = 0; i < 4; ++i) {
        pairs[i] = low_words(in[2 * i], in[2 * i + 1]);
        if (all) pairs[i + 4] = high_words(in[2 * i], in[2 * i + 1]);
    }
    for (size_t half = 0; half < (all ? 8 : 4); half += 4) {
        quads[0] = low_pairs(pairs[half], pairs[half + 1]);
        quads[1] = high_pairs(pairs[half], pairs[half + 1]);
        quads[2] = low_pairs(pairs[half + 2], pairs[half + 3]);
        quads[3] = high_pairs(pairs[half + 2], pairs[half + 3]);
        for (size_t i = 0; i < 2; ++i) {
            out[half + 2 * i] = low_halves(quads[i], quads[i + 2]);
            out[half + 2 * i + 1] = high_halves(quads[i], quads[i + 2]);
        }
    }
}
