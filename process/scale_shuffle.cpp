// scale_shuffle.cpp - see scale_shuffle.h.

#include "process/scale_shuffle.h"

#include <cstring>
#include <tmmintrin.h>

namespace {

constexpr int32_t vector_bytes = 16;
constexpr uint64_t one_pixel = 65536;

// Beyond these steps the sixteen bytes hold less than four (two) pixels of the result.
constexpr uint64_t widest_step_of_bytes = 4 * one_pixel;
constexpr uint64_t widest_step_of_triples = 2 * one_pixel;

} // namespace

// Takes pixels from x on as long as source and target fit.  Returns how many.
int32_t scale_shuffle::make_group(int32_t pixel_bytes, uint64_t step, int32_t x, int32_t width,
                                  group& g)
{
    const auto first = static_cast<int64_t>(static_cast<uint64_t>(x) * step >> 16);
    std::memset(g.order, 0x80, sizeof g.order);
    g.from_byte = static_cast<int32_t>(first) * pixel_bytes;
    g.to_byte = x * pixel_bytes;
    int32_t count = 0;
    for (; x + count < width && (count + 1) * pixel_bytes <= vector_bytes; ++count) {
        const auto source = static_cast<int64_t>(static_cast<uint64_t>(x + count) * step >> 16);
        const auto offset = static_cast<int32_t>(source - first) * pixel_bytes;
        if (offset + pixel_bytes > vector_bytes) break;
        for (int32_t b = 0; b < pixel_bytes; ++b)
            g.order[count * pixel_bytes + b] = static_cast<uint8_t>(offset + b);
    }
    return count;
}

int32_t scale_shuffle::begin(int32_t pixel_bytes, uint64_t step, int32_t width)
{
    groups_ = pixels_ = 0;
    const uint64_t widest = pixel_bytes == 1 ? widest_step_of_bytes : widest_step_of_triples;
    if (step > widest || !__builtin_cpu_supports("ssse3")) return 0;
    // Every group makes two pixels at least.
    if (!block_.allocate((size_t(width) / 2 + 1) * sizeof(group))) return err_memory;
    auto* groups = block_.as<group>();
    // A store takes all sixteen bytes, so the last ones of a row are not for groups.
    while (pixels_ * pixel_bytes + vector_bytes <= width * pixel_bytes) {
        pixels_ += make_group(pixel_bytes, step, pixels_, width, groups[groups_]);
        ++groups_;
    }
    return 0;
}

[[gnu::target("ssse3")]] int32_t scale_shuffle::scale(const uint8_t* from, uint8_t* to) const
{
    const auto* g = block_.as<const group>();
    for (int32_t i = 0; i < groups_; ++i, ++g) {
        const __m128i order = _mm_loadu_si128(reinterpret_cast<const __m128i*>(g->order));
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + g->from_byte));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + g->to_byte), _mm_shuffle_epi8(v, order));
    }
    return pixels_;
}
