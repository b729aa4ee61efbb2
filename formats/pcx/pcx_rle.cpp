// pcx_rle.cpp - PCX runs, both ways. Literal bytes are taken 16 at a time up to the first
// run mark; runs are written with wide stores that may spill.

#include "formats/pcx/pcx_rle.h"

#include <algorithm>

namespace {

constexpr size_t wide = 16;

// One bit for each of 16 bytes that marks a run.
inline uint32_t run_marks(__m128i bytes)
{
    const __m128i mark = _mm_set1_epi8(static_cast<char>(pcx_run_mark));
    return byte_mask(_mm_cmpeq_epi8(_mm_max_epu8(bytes, mark), bytes));
}

// Literal bytes at p, at least 1 and at most 16.
inline size_t literal_count(__m128i bytes)
{
    return static_cast<size_t>(std::countr_zero(run_marks(bytes) | 1u << wide));
}

// What eight runs in a row make, as smooth pictures have them; 0 where there is another item.
inline size_t eight_runs(__m128i bytes)
{
    if ((run_marks(bytes) & 0x5555) != 0x5555) return 0;
    const __m128i sums =
        _mm_sad_epu8(_mm_and_si128(bytes, _mm_set1_epi16(pcx_longest_run)), _mm_setzero_si128());
    return static_cast<size_t>(_mm_cvtsi128_si32(sums) + _mm_extract_epi16(sums, 4));
}

// Bytes in front of the first run that is worth its two bytes: three equal bytes, or two that
// would each need a run of their own; at most limit.
size_t plain_distance(const uint8_t* p, size_t limit)
{
    for (size_t i = 0; i < limit; i += wide) {
        const __m128i bytes = load_16(p + i), second = load_16(p + i + 1);
        const uint32_t pairs = byte_mask(_mm_cmpeq_epi8(bytes, second));
        const uint32_t triples = pairs & byte_mask(_mm_cmpeq_epi8(second, load_16(p + i + 2)));
        const uint32_t runs = triples | (pairs & run_marks(bytes));
        if (runs) return std::min(i + static_cast<size_t>(std::countr_zero(runs)), limit);
    }
    return limit;
}

// Bytes without a run; those that look like a run mark become runs of one. There is no branch
// on that, because in photographs it could not be foreseen.
uint8_t* put_plain(uint8_t* to, const uint8_t* from, size_t count)
{
    for (size_t i = 0; i < count; i += wide) {
        const size_t piece = std::min(wide, count - i);
        const __m128i bytes = load_16(from + i);
        if (run_marks(bytes) == 0) {
            store_16(to, bytes);
            to += piece;
            continue;
        }
        for (size_t k = 0; k < piece; ++k) {
            const uint8_t byte = from[i + k];
            *to = pcx_run_mark | 1;
            to += byte >= pcx_run_mark;
            *to++ = byte;
        }
    }
    return to;
}

} // namespace

size_t pcx_decoder::decode_runs(uint8_t* to, size_t count)
{
    uint8_t* const start = to;
    uint8_t* const stop = to + count;
    const size_t carried = std::min(pending_, count);
    spread_byte(to, value_, carried);
    to += carried;
    pending_ -= carried;

    uint8_t value = value_;
    while (to < stop && (in_.ensure(2) || in_.available() > 0)) {
        const uint8_t* p = in_.next;
        const uint8_t* const end = in_.end;
        while (to < stop && p < end) {
            if (*p < pcx_run_mark) {
                const __m128i bytes = load_16(p);
                const size_t n = std::min({literal_count(bytes), static_cast<size_t>(end - p),
                                           static_cast<size_t>(stop - to)});
                store_16(to, bytes);
                p += n;
                to += n;
            } else {
                if (end - p < 2) break;
                value = p[1];
                // As much as the longest run: a test of the length costs more than the stores.
                spread_byte(to, value, pcx_longest_run);
                to += *p & pcx_longest_run;
                p += 2;
            }
        }
        const bool stuck = p == in_.next; // a run mark without its value byte
        in_.next = p;
        if (stuck && !in_.refill()) break;
    }
    value_ = value;
    if (to > stop) {
        pending_ = static_cast<size_t>(to - stop);
        to = stop;
    }
    return static_cast<size_t>(to - start);
}

size_t pcx_decoder::decode(uint8_t* to, size_t count)
{
    return plain_ ? in_.read(to, count) : decode_runs(to, count);
}

bool pcx_decoder::skip(uint64_t count)
{
    if (plain_) {
        const int64_t target = in_.tell() + static_cast<int64_t>(count);
        if (target > INT32_MAX) return false;
        in_.seek(static_cast<int32_t>(target));
        return true;
    }
    uint64_t done = 0;
    while (done < count && (in_.ensure(2) || in_.available() > 0)) {
        const uint8_t* p = in_.next;
        while (done < count && p < in_.end) {
            const __m128i bytes = load_16(p);
            if (count - done > 8 * pcx_longest_run && static_cast<size_t>(in_.end - p) >= wide) {
                if (const size_t made = eight_runs(bytes); made > 0) {
                    done += made;
                    p += wide;
                    continue;
                }
            }
            if (*p < pcx_run_mark) {
                const size_t n = static_cast<size_t>(
                    std::min({uint64_t{literal_count(bytes)}, static_cast<uint64_t>(in_.end - p),
                              count - done}));
                p += n;
                done += n;
            } else {
                if (in_.end - p < 2) break;
                done += *p & pcx_longest_run;
                p += 2;
            }
        }
        const bool stuck = p == in_.next;
        in_.next = p;
        if (stuck && !in_.refill()) break;
    }
    return done >= count;
}

size_t pcx_encode(const uint8_t* plane, size_t count, uint8_t* to)
{
    uint8_t* const start = to;
    const uint8_t* const end = plane + count;
    while (plane < end) {
        const size_t plain = plain_distance(plane, static_cast<size_t>(end - plane));
        to = put_plain(to, plane, plain);
        plane += plain;
        if (plane == end) break;
        size_t run = run_length(plane, static_cast<size_t>(end - plane));
        const uint8_t value = *plane;
        plane += run;
        for (; run > 0; run -= std::min(run, pcx_longest_run)) {
            const size_t piece = std::min(run, pcx_longest_run);
            if (piece > 1 || value >= pcx_run_mark)
                *to++ = static_cast<uint8_t>(pcx_run_mark | piece);
            *to++ = value;
        }
    }
    return static_cast<size_t>(to - start);
}
