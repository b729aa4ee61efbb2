// byte_runs.h - finding and making runs of equal bytes, 16 at a time, for the run-length
// codes. The scans may load 32 bytes behind the given range and the writes may spill 63 bytes
// behind theirs: run_slack_bytes at the end of every buffer covers both.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <emmintrin.h>

inline constexpr size_t run_slack_bytes = 64;

inline __m128i load_16(const uint8_t* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline void store_16(uint8_t* p, __m128i v)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

/// One bit for each of 16 bytes, the first byte's lowest.
inline uint32_t byte_mask(__m128i v)
{
    return static_cast<uint32_t>(_mm_movemask_epi8(v));
}

/// Bytes from p on that equal *p, at most limit (1 or more).
inline size_t run_length(const uint8_t* p, size_t limit)
{
    const __m128i value = _mm_set1_epi8(static_cast<char>(*p));
    for (size_t i = 0; i < limit; i += 16) {
        const uint32_t other = byte_mask(_mm_cmpeq_epi8(load_16(p + i), value)) ^ 0xFFFF;
        if (other == 0) continue;
        const size_t length = i + static_cast<size_t>(std::countr_zero(other));
        return length < limit ? length : limit;
    }
    return limit;
}

/// Bytes from p on in front of the first three equal ones; limit when there are none.
inline size_t distance_to_run(const uint8_t* p, size_t limit)
{
    for (size_t i = 0; i < limit; i += 16) {
        const __m128i second = load_16(p + i + 1);
        const __m128i equal = _mm_and_si128(_mm_cmpeq_epi8(load_16(p + i), second),
                                            _mm_cmpeq_epi8(second, load_16(p + i + 2)));
        const uint32_t starts = byte_mask(equal);
        if (starts == 0) continue;
        const size_t distance = i + static_cast<size_t>(std::countr_zero(starts));
        return distance + 3 <= limit ? distance : limit;
    }
    return limit;
}

/// Bytes from p on in front of the first two equal ones, of which the second may lie one byte
/// behind the limit; limit when there are none.
inline size_t distance_to_pair(const uint8_t* p, size_t limit)
{
    for (size_t i = 0; i < limit; i += 16) {
        const uint32_t starts = byte_mask(_mm_cmpeq_epi8(load_16(p + i), load_16(p + i + 1)));
        if (starts == 0) continue;
        const size_t distance = i + static_cast<size_t>(std::countr_zero(starts));
        return distance < limit ? distance : limit;
    }
    return limit;
}

/// Writes count bytes of one value, 64 at a time: the runs of smooth rows are long.
inline void spread_byte(uint8_t* to, uint8_t value, size_t count)
{
    const __m128i wide = _mm_set1_epi8(static_cast<char>(value));
    for (size_t i = 0; i < count; i += 64) {
        store_16(to + i, wide);
        store_16(to + i + 16, wide);
        store_16(to + i + 32, wide);
        store_16(to + i + 48, wide);
    }
}

/// Copies count bytes between buffers that do not overlap.
inline void copy_bytes(uint8_t* to, const uint8_t* from, size_t count)
{
    for (size_t i = 0; i < count; i += 16)
        store_16(to + i, load_16(from + i));
}
