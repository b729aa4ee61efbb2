// popularity.cpp - the 255 most frequent colours of a 24-bit picture and black as its colour
// table, each pixel the nearest of them.
//
// Colours count by their four leading bits a channel: 4096 bins, red in the top nibble. With
// true tones a picture of at most 256 colours keeps them all.

#include "color/few_colors.h"
#include "core/image.h"
#include "core/new_dib.h"
#include "core/settings.h"

#include <algorithm>
#include <array>

namespace {

constexpr int32_t bin_count = 4096;
constexpr int32_t list_size = 256;

struct color_counts {
    std::array<uint32_t, bin_count> of_bin{};
};

using color_list = std::array<uint16_t, list_size>;

uint32_t bin_of_pixel(const uint8_t* p)
{
    return (p[2] & 0xF0u) << 4 | (p[1] & 0xF0u) | p[0] >> 4;
}

RGBQUAD color_of_bin(uint32_t bin)
{
    return {static_cast<BYTE>(bin << 4 & 0xF0), static_cast<BYTE>(bin & 0xF0),
            static_cast<BYTE>(bin >> 4 & 0xF0), 0};
}

void perform_dib_hist(const dib_lock& image, color_counts& counts)
{
    for (int32_t r = 0; r < image->height; ++r) {
        const uint8_t* p = image.row(r);
        for (int32_t x = 0; x < image->width; ++x, p += 3)
            ++counts.of_bin[bin_of_pixel(p)];
    }
    // INTENDED: classic counters have 16 bits and wrap: a bin seen 65536 times counts as empty.
    if (!true_tones())
        for (uint32_t& count : counts.of_bin)
            count &= 0xFFFF;
}

// Entry 0 is bin 0. Among equal counts the highest bin goes first; where no counts are left
// the choice falls on the last bin again and again.
void sort_colors(color_counts& counts, color_list& list)
{
    list[0] = 0;
    for (size_t i = 1; i < list.size(); ++i) {
        size_t best = 0;
        for (size_t bin = 1; bin < counts.of_bin.size(); ++bin)
            if (counts.of_bin[bin] >= counts.of_bin[best]) best = bin;
        list[i] = static_cast<uint16_t>(best);
        counts.of_bin[best] = 0;
    }
}

// First list entry of the smallest distance between leading nibbles.
uint8_t find_closest_color(const color_list& list, uint32_t bin)
{
    const auto square = [](uint32_t a, uint32_t b) {
        const int32_t d = static_cast<int32_t>(a & 15) - static_cast<int32_t>(b & 15);
        return d * d;
    };
    int32_t best = INT32_MAX;
    size_t best_index = 0;
    for (size_t i = 0; i < list.size() && best > 0; ++i) {
        const uint32_t c = list[i];
        const int32_t distance =
            square(bin >> 8, c >> 8) + square(bin >> 4, c >> 4) + square(bin, c);
        if (distance < best) {
            best = distance;
            best_index = i;
        }
    }
    return static_cast<uint8_t>(best_index);
}

// The nearest entry of each bin, found when a pixel first asks for it.
class nearest_cache {
public:
    explicit nearest_cache(const color_list& list) : list_(list) { index_of_bin_.fill(unknown); }

    uint8_t find(uint32_t bin)
    {
        uint16_t& index = index_of_bin_[bin];
        if (index == unknown) index = find_closest_color(list_, bin);
        return static_cast<uint8_t>(index);
    }

private:
    static constexpr uint16_t unknown = 0xFFFF;
    const color_list& list_;
    std::array<uint16_t, bin_count> index_of_bin_;
};

using color_table = std::array<RGBQUAD, list_size>;

// INTENDED: classic entries are the bins' own colours, whose low bits are 0.
color_table colors_of_bins(const color_list& list)
{
    color_table colors;
    for (size_t i = 0; i < list.size(); ++i)
        colors[i] = color_of_bin(list[i]);
    return colors;
}

// True tones: an entry becomes the mean of the pixels that it stands for.
void take_means(const dib_lock& image, nearest_cache& cache, color_table& colors)
{
    struct sums {
        uint64_t blue = 0, green = 0, red = 0, count = 0;
    };
    std::array<sums, list_size> of_entry{};
    for (int32_t r = 0; r < image->height; ++r) {
        const uint8_t* p = image.row(r);
        for (int32_t x = 0; x < image->width; ++x, p += 3) {
            sums& s = of_entry[cache.find(bin_of_pixel(p))];
            s.blue += p[0];
            s.green += p[1];
            s.red += p[2];
            ++s.count;
        }
    }
    for (size_t i = 0; i < colors.size(); ++i) {
        const sums& s = of_entry[i];
        const auto mean = [&](uint64_t sum) {
            return static_cast<BYTE>((sum + s.count / 2) / s.count);
        };
        if (s.count != 0) colors[i] = {mean(s.blue), mean(s.green), mean(s.red), 0};
    }
}

// Gives the image 8 bits: the colours, and for each pixel what index_of says.
template <class Index>
int32_t install_indices(dib_lock& image, const color_table& colors, Index index_of)
{
    new_dib target(image.header());
    target.set_size(image->width, image->height, 8);
    std::copy(colors.begin(), colors.end(), target.colors());
    if (int32_t err = target.create(); err < 0) return err;
    for (int32_t r = 0; r < image->height; ++r) {
        const uint8_t* p = image.row(r);
        uint8_t* to = target.row(r);
        for (int32_t x = 0; x < image->width; ++x, p += 3)
            to[x] = index_of(p);
    }
    target.install(image, saved_colors::forget);
    return 0;
}

int32_t take_most_frequent(dib_lock& image)
{
    color_counts counts;
    color_list list;
    perform_dib_hist(image, counts);
    sort_colors(counts, list);
    nearest_cache cache(list);
    color_table colors = colors_of_bins(list);
    if (true_tones()) take_means(image, cache, colors);
    return install_indices(image, colors,
                           [&](const uint8_t* p) { return cache.find(bin_of_pixel(p)); });
}

int32_t popularity_color(int32_t handle)
{
    dib_lock image(handle);
    if (image.error()) return image.error();
    if (image.header()->biBitCount != 24) return err_unsupported;
    few_colors few;
    if (true_tones() && few.collect(image))
        return install_indices(image, few.colors(),
                               [&](const uint8_t* p) { return few.index_of(p); });
    return take_most_frequent(image);
}

} // namespace

int32_t IMG_STD IMG_popularity_color(int32_t handle)
{
    return popularity_color(handle);
}
