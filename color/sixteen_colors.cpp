// sixteen_colors.cpp - 4 bits with the 16 fixed colours: index bit 2 blue, bit 1 green, bit 0
// red, bit 3 bright.

#include "color/color_diffusion.h"
#include "color/mono_ordered.h"
#include "color/pixel_planes.h"
#include "core/image.h"
#include "core/new_dib.h"

#include <array>

namespace {

constexpr uint8_t bright = 8, blue = 4, green = 2, red = 1;

// Starts the 4-bit DIB of a locked image.  0, or err_memory.
int32_t begin_sixteen(const dib_lock& image, new_dib& target)
{
    target.set_size(image->width, image->height, 4);
    create_dib_palette(target.header(), "pcx");
    return target.create();
}

// Even pixels into the high nibble, odd ones into the low.
void put_nibble(uint8_t* row, int32_t x, int32_t index)
{
    if (x & 1)
        row[x / 2] = static_cast<uint8_t>(row[x / 2] | index);
    else
        row[x / 2] = static_cast<uint8_t>(index << 4);
}

// When a pixel is bright: where its grey lies above a threshold by more than a lead.
// INTENDED: the classic lead makes a part of white dark; true tones have none.
struct bright_rule {
    grey_rule grey;
    int32_t lead;
};

bright_rule present_bright_rule()
{
    return {present_grey_rule(), true_tones() ? 0 : 40};
}

int32_t bayer_index(int32_t b, int32_t g, int32_t r, int32_t led_grey, int32_t threshold)
{
    return (b > threshold ? blue : 0) | (g > threshold ? green : 0) | (r > threshold ? red : 0) |
           (led_grey > threshold ? bright : 0);
}

// Sixteen pixels at a time.  Returns how many of the row it did.
[[gnu::target("ssse3")]] int32_t bayer_color_planes(const uint8_t* row, int32_t width, int32_t y,
                                                    const bright_rule& rule, uint8_t* out)
{
    alignas(16) uint8_t of_column[16];
    for (int32_t x = 0; x < 16; ++x)
        of_column[x] = bayer_matrix.at(x, y);
    const __m128i thresholds = _mm_load_si128(reinterpret_cast<const __m128i*>(of_column));
    const __m128i zero = _mm_setzero_si128();
    const __m128i lead = _mm_set1_epi8(static_cast<char>(rule.lead));
    const __m128i high = _mm_set1_epi16(0xF0);
    int32_t x = 0;
    for (; x + 16 <= width; x += 16) {
        const pixel_planes p = load_planes(row + 3 * size_t(x));
        // No threshold is 0, so a grey of the lead and less stays below.
        const __m128i values[] = {p.blue, p.green, p.red,
                                  _mm_subs_epu8(planes_grey(p, rule.grey), lead)};
        constexpr uint8_t bits[] = {blue, green, red, bright};
        __m128i index = zero;
        for (int32_t k = 0; k < 4; ++k) {
            const __m128i below = _mm_cmpeq_epi8(_mm_subs_epu8(values[k], thresholds), zero);
            const __m128i bit = _mm_set1_epi8(static_cast<char>(bits[k]));
            index = _mm_or_si128(index, _mm_andnot_si128(below, bit));
        }
        const __m128i pairs =
            _mm_or_si128(_mm_and_si128(_mm_slli_epi16(index, 4), high), _mm_srli_epi16(index, 8));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + x / 2), _mm_packus_epi16(pairs, pairs));
    }
    return x;
}

void bayer_color_24(const uint8_t* row, int32_t width, int32_t y, const bright_rule& rule,
                    uint8_t* out)
{
    int32_t x = has_byte_shuffles() ? bayer_color_planes(row, width, y, rule, out) : 0;
    for (row += 3 * size_t(x); x < width; ++x, row += 3) {
        const int32_t grey = grey_of_color(row[0], row[1], row[2], rule.grey);
        put_nibble(out, x,
                   bayer_index(row[0], row[1], row[2], grey - rule.lead, bayer_matrix.at(x, y)));
    }
}

// The results of every colour-table entry at every place of the pattern.
struct bayer_table {
    uint8_t index[8][8][256]; // by row, column, colour

    void fill(const BITMAPINFOHEADER* header, const bright_rule& rule)
    {
        for (int32_t i = 0; i < palette_entries(header->biBitCount); ++i) {
            const RGBQUAD& c = dib_colors(header)[i];
            const int32_t grey = grey_of_color(c, header->biBitCount, rule.grey);
            for (int32_t at = 0; at < 64; ++at)
                index[at / 8][at % 8][i] = static_cast<uint8_t>(
                    bayer_index(c.rgbBlue, c.rgbGreen, c.rgbRed, grey - rule.lead,
                                bayer_matrix.at(at % 8, at / 8)));
        }
    }
};

void bayer_color_palette(const bayer_table& table, const uint8_t* row, int32_t bits_per_pixel,
                         int32_t width, int32_t y, uint8_t* out)
{
    const auto& of_row = table.index[y & 7];
    for (int32_t x = 0; x < width; ++x) {
        const int32_t c = bits_per_pixel == 8 ? row[x] : x & 1 ? row[x / 2] & 15 : row[x / 2] >> 4;
        put_nibble(out, x, of_row[x & 7][c]);
    }
}

int32_t bayer_color(int32_t handle)
{
    io_scope scope;
    dib_lock image(handle);
    if (image.error()) return image.error();
    const int32_t bits = image.header()->biBitCount;
    if (bits == 1) return err_unsupported;
    scratch_block table(sizeof(bayer_table));
    new_dib target(image.header());
    if (!table || begin_sixteen(image, target) < 0) return err_memory;
    const bright_rule rule = present_bright_rule();
    if (bits != 24) table.as<bayer_table>()->fill(image.header(), rule);
    for (int32_t r = 0; r < image->height; ++r)
        if (bits == 24)
            bayer_color_24(image.row(r), image->width, r, rule, target.row(r));
        else
            bayer_color_palette(*table.as<bayer_table>(), image.row(r), bits, image->width, r,
                                target.row(r));
    target.install(image, saved_colors::forget);
    return 0;
}

// All bits set when value is above the limit; no branch, since pixels are hard to predict.
int32_t mask_above(int32_t value, int32_t limit)
{
    return (limit - value) >> 31;
}

// The shares of an error. Errors outside the table come from wrapping only.
template <running_values mode> uint64_t find_shares(int32_t error)
{
    constexpr int32_t table_from = -512, table_size = 1024;
    static constexpr auto table = [] {
        std::array<uint64_t, table_size> shares{};
        for (int32_t i = 0; i < table_size; ++i)
            shares[static_cast<size_t>(i)] = color_shares<mode>(i + table_from);
        return shares;
    }();
    const auto place = static_cast<uint32_t>(error - table_from);
    return place < table_size ? table[place] : color_shares<mode>(error);
}

// The levels of the three channels are chosen together: one above 220 makes all bright.
// Values are not clamped.
template <running_values mode>
quantised_color quantise_sixteen(int32_t blue_value, int32_t green_value, int32_t red_value)
{
    const int32_t is_bright =
        mask_above(blue_value, 220) | mask_above(green_value, 220) | mask_above(red_value, 220);
    const int32_t level = 128 + (is_bright & 127);
    int32_t index = is_bright & bright;
    const auto shares = [&](int32_t value, int32_t bit) {
        const int32_t set = mask_above(value, 180);
        index |= set & bit;
        return find_shares<mode>(value - (set & level));
    };
    const uint64_t b = shares(blue_value, blue), g = shares(green_value, green),
                   r = shares(red_value, red);
    return {b, g, r, index};
}

// INTENDED: every row runs left to right.
template <running_values mode> void dither_color_raster(color_diffusion& rows, uint8_t* out)
{
    rows.dither<mode>(color_diffusion::travel::left_to_right, quantise_sixteen<mode>,
                      [out](int32_t x, int32_t index) { put_nibble(out, x, index); });
}

int32_t diffusion_color(int32_t handle)
{
    io_scope scope;
    dib_lock image(handle);
    if (image.error()) return image.error();
    if (image.header()->biBitCount == 1) return err_unsupported;
    color_diffusion rows;
    new_dib target(image.header());
    if (rows.begin(image.object()) < 0 || begin_sixteen(image, target) < 0) return err_memory;

    rows.feed(image.object(), 0, 0);
    rows.feed(image.object(), 1, 1);
    const auto dither_row = present_running_values() == running_values::wrap
                                ? dither_color_raster<running_values::wrap>
                                : dither_color_raster<running_values::keep_sign>;
    for (int32_t r = 0; r < image->height; ++r) {
        dither_row(rows, target.row(r));
        // INTENDED: one row too far. From a height of 4 on, source row 2 is never used and
        // the last row of the result repeats the last source row. True tones use each row.
        rows.feed(image.object(), 1, r + (true_tones() ? 2 : 3));
    }
    target.install(image, saved_colors::forget);
    return 0;
}

} // namespace

int32_t IMG_STD IMG_bayer_color(int32_t handle)
{
    return bayer_color(handle);
}

int32_t IMG_STD IMG_diffusion_color(int32_t handle)
{
    return diffusion_color(handle);
}
