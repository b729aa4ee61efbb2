// color_diffusion.cpp - the running values of the colour dithers.

#include "color/color_diffusion.h"

#include <algorithm>
#include <utility>

namespace {

uint64_t color_word(uint32_t blue, uint32_t green, uint32_t red)
{
    return blue | uint64_t{green} << 16 | uint64_t{red} << 32;
}

} // namespace

int32_t color_diffusion::begin(const image_object& object)
{
    width_ = object.width;
    // An odd width ends in half a vector.
    const size_t pixels = size_t(width_) + 1 + 2 * guard;
    if (!allocate_rows(block_, 5 * words * sizeof(uint16_t), pixels)) return err_memory;
    const size_t entries = words * pixels;
    std::memset(block_.bytes(), 0, block_.size());
    auto* row = block_.as<uint16_t>() + words * guard;
    for (uint16_t*& r : rows_)
        r = std::exchange(row, row + entries);
    for (uint16_t*& s : shares_)
        s = std::exchange(row, row + entries);
    for (int32_t i = 0; i < palette_entries(object.dib->biBitCount); ++i) {
        const RGBQUAD& c = dib_colors(object.dib)[i];
        of_index_[i] = color_word(c.rgbBlue, c.rgbGreen, c.rgbRed);
    }
    return 0;
}

void color_diffusion::feed(const image_object& object, int32_t ahead, int32_t stored_row)
{
    stored_row = std::min(stored_row, object.height - 1);
    const uint8_t* from = dib_rows(object.dib) + size_t(stored_row) * object.bytes_per_line;
    uint16_t* to = rows_[ahead];
    const auto put = [&to](uint64_t word) {
        std::memcpy(to, &word, sizeof word);
        to += words;
    };
    switch (object.dib->biBitCount) {
    case 24:
        for (int32_t x = 0; x < width_; ++x, from += 3)
            put(color_word(from[0], from[1], from[2]));
        break;
    case 8:
        for (int32_t x = 0; x < width_; ++x)
            put(of_index_[from[x]]);
        break;
    default:
        for (int32_t x = 0; x < width_; ++x)
            put(of_index_[x & 1 ? from[x / 2] & 15 : from[x / 2] >> 4]);
    }
}

void color_diffusion::add_to_next()
{
    const auto load = [](const uint16_t* p) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    };
    // One pixel to both sides, or two.
    const auto both_sides = [&](const uint16_t* share, size_t pixels) {
        return _mm_add_epi16(load(share - words * pixels), load(share + words * pixels));
    };
    for (int32_t x = 0; x < width_; x += 2) {
        const size_t at = words * size_t(x);
        const __m128i sum =
            _mm_add_epi16(both_sides(shares_[1] + at, 1), both_sides(shares_[2] + at, 2));
        uint16_t* next = rows_[1] + at;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(next),
                         _mm_add_epi16(_mm_add_epi16(load(next), load(shares_[0] + at)), sum));
    }
    std::swap(rows_[0], rows_[1]);
}
