// jpeg_fdct_avx2.cpp - the forward DCT of two blocks at once; compiled for AVX2.

#include "formats/jpeg/jpeg_fdct_lanes.h"

#include <immintrin.h>

namespace {

// A row of one block in the lower half and of another in the upper one. Products, sums and
// interleaving work on each half for itself.
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
};

} // namespace

void jpeg_dct_and_quantise_avx2(const jpeg_sample_rows& samples, const jpeg_divisors& divisors,
                                int16_t* coefficients)
{
    jpeg_forward::dct_and_quantise<lane_pair>(samples, divisors, coefficients);
}
