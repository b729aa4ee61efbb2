// jpeg_lanes_avx2.h - two times eight 16-bit numbers at once. Only for files that are compiled
// for AVX2.
#pragma once

#include <cstddef>
#include <cstdint>
#include <immintrin.h>

/// Eight numbers of one place in the lower half and eight of another in the upper one. Products,
/// sums and interleaving work on each half for itself.
struct lane_pair {
    __m256i v;
    using L = lane_pair;
    static L filled(int32_t x) { return {_mm256_set1_epi16(static_cast<int16_t>(x))}; }
    template <class T> static L load(const T* from, ptrdiff_t next_block)
    {
        const auto* second = reinterpret_cast<const __m128i*>(from + next_block);
        return {_mm256_loadu2_m128i(second, reinterpret_cast<const __m128i*>(from))};
    }
    static void store(int16_t* to, ptrdiff_t next_block, L a)
    {
        auto* second = reinterpret_cast<__m128i*>(to + next_block);
        _mm256_storeu2_m128i(second, reinterpret_cast<__m128i*>(to), a.v);
    }
    friend L operator+(L a, L b) { return {_mm256_add_epi16(a.v, b.v)}; }
    friend L operator-(L a, L b) { return {_mm256_sub_epi16(a.v, b.v)}; }
    friend L operator^(L a, L b) { return {_mm256_xor_si256(a.v, b.v)}; }
    friend L operator<<(L a, int32_t n) { return {_mm256_slli_epi16(a.v, n)}; }
    friend L operator>>(L a, int32_t n) { return {_mm256_srai_epi16(a.v, n)}; }
    friend L product_high(L a, L b) { return {_mm256_mulhi_epi16(a.v, b.v)}; }
    friend L unsigned_product_high(L a, L b) { return {_mm256_mulhi_epu16(a.v, b.v)}; }
    friend L low_words(L a, L b) { return {_mm256_unpacklo_epi16(a.v, b.v)}; }
    friend L high_words(L a, L b) { return {_mm256_unpackhi_epi16(a.v, b.v)}; }
    friend L low_pairs(L a, L b) { return {_mm256_unpacklo_epi32(a.v, b.v)}; }
    friend L high_pairs(L a, L b) { return {_mm256_unpackhi_epi32(a.v, b.v)}; }
    friend L low_halves(L a, L b) { return {_mm256_unpacklo_epi64(a.v, b.v)}; }
    friend L high_halves(L a, L b) { return {_mm256_unpackhi_epi64(a.v, b.v)}; }

    // For rows of samples and pixels.
    static constexpr int32_t pixels = 32;
    static L load_bytes(const int8_t* p)
    {
        return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p))};
    }
    static L load_widened(const int8_t* p)
    {
        return {_mm256_cvtepi8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)))};
    }
    friend L low_bytes(L a, L b) { return {_mm256_unpacklo_epi8(a.v, b.v)}; }
    friend L high_bytes(L a, L b) { return {_mm256_unpackhi_epi8(a.v, b.v)}; }
    friend L packed_bytes(L a, L b) { return {_mm256_packus_epi16(a.v, b.v)}; }
    static void store_pixels(L blue, L green, L red, uint8_t* out)
    {
        // Sixteen bytes of the row are every third place of them, from one of three starts: the
        // orders bring the bytes of each colour to their places.
        alignas(16) static constexpr int8_t orders[3][3][16] = {
            {{0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1, -1, 5},
             {-1, 0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1, -1},
             {-1, -1, 0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1}},
            {{-1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1, 10, -1},
             {5, -1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1, 10},
             {-1, 5, -1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1}},
            {{-1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15, -1, -1},
             {-1, -1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15, -1},
             {10, -1, -1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15}}};
        const auto placed = [](L a, const int8_t* order) {
            const auto* from = reinterpret_cast<const __m128i*>(order);
            return _mm256_shuffle_epi8(a.v, _mm256_broadcastsi128_si256(_mm_load_si128(from)));
        };
        for (const auto& order : orders) {
            const __m256i both =
                _mm256_or_si256(_mm256_or_si256(placed(blue, order[0]), placed(green, order[1])),
                                placed(red, order[2]));
            _mm256_storeu2_m128i(reinterpret_cast<__m128i*>(out + 48),
                                 reinterpret_cast<__m128i*>(out), both);
            out += 16;
        }
    }
};
