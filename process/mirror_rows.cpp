// mirror_rows.cpp - sixteen or thirty-two bytes at a time from the source row's end.

#include "process/mirror_rows.h"

#include <cstddef>
#include <cstring>
#include <immintrin.h>

namespace {

inline __m128i load(const uint8_t* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

inline void store(uint8_t* p, __m128i v)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

inline __m128i reverse_bytes(__m128i v)
{
    v = _mm_or_si128(_mm_slli_epi16(v, 8), _mm_srli_epi16(v, 8));
    v = _mm_shufflehi_epi16(_mm_shufflelo_epi16(v, 0x1B), 0x1B);
    return _mm_shuffle_epi32(v, 0x4E);
}

// Exchanges neighbouring groups of bits; mask selects the lower group of each pair.
template <int bits> inline __m128i swap_bits(__m128i v, char mask)
{
    const __m128i low = _mm_set1_epi8(mask);
    return _mm_or_si128(_mm_and_si128(_mm_srli_epi16(v, bits), low),
                        _mm_slli_epi16(_mm_and_si128(v, low), bits));
}

struct pixels_of_1_bit {
    static constexpr int32_t bits = 1;
    static __m128i turn(__m128i v)
    {
        return swap_bits<1>(swap_bits<2>(swap_bits<4>(v, 0x0F), 0x33), 0x55);
    }
};

struct pixels_of_4_bits {
    static constexpr int32_t bits = 4;
    static __m128i turn(__m128i v) { return swap_bits<4>(v, 0x0F); }
};

struct pixels_of_8_bits {
    static constexpr int32_t bits = 8;
    static __m128i turn(__m128i v) { return v; }
};

// Each byte with the pixels of itself and the byte before it moved on by unused bits, so
// that the row ends with its last pixel.
inline __m128i shift_on(__m128i v, __m128i before, int32_t unused)
{
    const __m128i right = _mm_and_si128(_mm_srl_epi16(v, _mm_cvtsi32_si128(unused)),
                                        _mm_set1_epi8(static_cast<char>(0xFF >> unused)));
    const __m128i left = _mm_and_si128(_mm_sll_epi16(before, _mm_cvtsi32_si128(8 - unused)),
                                       _mm_set1_epi8(static_cast<char>(0xFF << (8 - unused))));
    return _mm_or_si128(right, left);
}

template <class Pixels> void flip_packed(uint8_t* to, const uint8_t* from, int32_t width)
{
    const auto row_bits = static_cast<int64_t>(width) * Pixels::bits;
    const auto count = static_cast<ptrdiff_t>((row_bits + 7) / 8);
    const auto unused = static_cast<int32_t>(count * 8 - row_bits);
    ptrdiff_t i = 0;
    for (; i + 17 <= count; i += 16) {
        const uint8_t* p = from + count - 16 - i;
        const __m128i v = unused ? shift_on(load(p), load(p - 1), unused) : load(p);
        store(to + i, reverse_bytes(Pixels::turn(v)));
    }
    // The rest, with zeros in front of the row.
    uint8_t start[17] = {}, turned[16];
    const auto rest = static_cast<size_t>(count - i);
    std::memcpy(start + 17 - rest, from, rest);
    const __m128i v = unused ? shift_on(load(start + 1), load(start), unused) : load(start + 1);
    store(turned, reverse_bytes(Pixels::turn(v)));
    std::memcpy(to + i, turned, rest);
}

// Tables of the byte shuffles, which look up in each half by itself.
struct shuffle_table {
    alignas(32) uint8_t entries[32];

    template <class Entry> constexpr explicit shuffle_table(Entry entry) : entries{}
    {
        for (int32_t i = 0; i < 32; ++i)
            entries[i] = static_cast<uint8_t>(entry(i % 16));
    }
    [[gnu::target("avx2")]] __m256i load() const
    {
        return _mm256_load_si256(reinterpret_cast<const __m256i*>(entries));
    }
};

constexpr shuffle_table last_first([](int32_t i) { return 15 - i; });

// The pixels of a nibble turned, as the low and as the high half of a byte.
template <int32_t bits> constexpr int32_t turned_nibble(int32_t v)
{
    return bits == 1 ? (v & 1) << 3 | (v & 2) << 1 | (v & 4) >> 1 | v >> 3 : v;
}
template <int32_t bits> constexpr shuffle_table as_low(turned_nibble<bits>);
template <int32_t bits>
constexpr shuffle_table as_high([](int32_t v) { return turned_nibble<bits>(v) << 4; });

template <int32_t bits> [[gnu::target("avx2")]] inline __m256i reverse_pixels(__m256i v)
{
    if (bits < 8) {
        const __m256i nibble = _mm256_set1_epi8(15);
        const __m256i high = _mm256_and_si256(_mm256_srli_epi16(v, 4), nibble);
        const __m256i low = _mm256_and_si256(v, nibble);
        v = _mm256_or_si256(_mm256_shuffle_epi8(as_high<bits>.load(), low),
                            _mm256_shuffle_epi8(as_low<bits>.load(), high));
    }
    return _mm256_shuffle_epi8(_mm256_permute2x128_si256(v, v, 1), last_first.load());
}

constexpr int32_t wide = 32; // bytes

inline __m256i* at(uint8_t* p)
{
    return reinterpret_cast<__m256i*>(p);
}

// Inwards from both ends. The last pair of groups overlaps what is done already, which gets
// the same values again, so it is loaded first. Rows have two groups or more.
template <class Pixels> [[gnu::target("avx2")]] void exchange(uint8_t* a, uint8_t* b, int32_t width)
{
    const int32_t bytes = width / (8 / Pixels::bits);
    const int32_t last = a == b ? bytes / 2 / wide * wide : bytes - wide;
    uint8_t* far = b + bytes - wide;
    const __m256i last_left = _mm256_loadu_si256(at(a + last));
    const __m256i last_right = _mm256_loadu_si256(at(far - last));
    for (int32_t i = 0; i < last; i += wide) {
        const __m256i left = _mm256_loadu_si256(at(a + i));
        const __m256i right = _mm256_loadu_si256(at(far - i));
        _mm256_storeu_si256(at(a + i), reverse_pixels<Pixels::bits>(right));
        _mm256_storeu_si256(at(far - i), reverse_pixels<Pixels::bits>(left));
    }
    _mm256_storeu_si256(at(a + last), reverse_pixels<Pixels::bits>(last_right));
    _mm256_storeu_si256(at(far - last), reverse_pixels<Pixels::bits>(last_left));
}

void flip_24bit_rest(uint8_t* to, const uint8_t* from, int32_t width)
{
    from += 3 * size_t(width);
    for (int32_t x = 0; x < width; ++x, to += 3)
        std::memcpy(to, from -= 3, 3);
}

// Five pixels at a time: each load takes one byte in front of them, each store writes one
// behind them, which the next one overwrites.
[[gnu::target("ssse3")]] void flip_24bit_shuffled(uint8_t* to, const uint8_t* from, int32_t width)
{
    const __m128i order = _mm_setr_epi8(13, 14, 15, 10, 11, 12, 7, 8, 9, 4, 5, 6, 1, 2, 3, 0);
    int32_t left = width;
    for (; left >= 6; left -= 5, to += 15)
        store(to, _mm_shuffle_epi8(load(from + 3 * size_t(left) - 16), order));
    flip_24bit_rest(to, from, left);
}

} // namespace

void flip_1bit(uint8_t* to, const uint8_t* from, int32_t width)
{
    flip_packed<pixels_of_1_bit>(to, from, width);
}

void flip_4bit(uint8_t* to, const uint8_t* from, int32_t width)
{
    flip_packed<pixels_of_4_bits>(to, from, width);
}

void flip_8bit(uint8_t* to, const uint8_t* from, int32_t width)
{
    flip_packed<pixels_of_8_bits>(to, from, width);
}

void flip_24bit(uint8_t* to, const uint8_t* from, int32_t width)
{
    if (__builtin_cpu_supports("ssse3")) return flip_24bit_shuffled(to, from, width);
    flip_24bit_rest(to, from, width);
}

flip_row* flip_row_of(int32_t bits_per_pixel)
{
    switch (bits_per_pixel) {
    case 1: return flip_1bit;
    case 4: return flip_4bit;
    case 8: return flip_8bit;
    default: return flip_24bit;
    }
}

exchange_rows* exchange_rows_of(int32_t bits_per_pixel, int32_t width)
{
    const int64_t row_bits = int64_t{width} * bits_per_pixel;
    if (row_bits < 2 * 8 * wide || row_bits % 8 || !__builtin_cpu_supports("avx2")) return nullptr;
    switch (bits_per_pixel) {
    case 1: return exchange<pixels_of_1_bit>;
    case 4: return exchange<pixels_of_4_bits>;
    case 8: return exchange<pixels_of_8_bits>;
    default: return nullptr;
    }
}
