// tiff_layout.cpp - from the description of a page to its DIB header and row layout.
//
// Standard: TIFF 6.0 sections 3 to 6, 8 (ExtraSamples), 14 (predictor), 16 (CMYK).

#include "formats/tiff/tiff_layout.h"

#include "core/dib_rows.h"
#include "core/settings.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr uint32_t most_bits_per_sample = 64;
constexpr uint32_t most_samples = 64;
constexpr uint32_t predictor_horizontal = 2;

bool is_separate(const tiff_struct& d)
{
    return d.planar_configuration == 2 && d.samples_per_pixel > 1;
}

// INTENDED: classic mode looks for any curve behind the directory. Interchange mode takes those of
// grey pages: two densities stand in the entry itself, and of 16 bits only the high ones are kept.
bool has_gray_curve(const tiff_struct& d)
{
    if (d.gray_response_curve == 0 || !interchange_mode()) return d.gray_response_curve != 0;
    const bool fits = d.bits_per_sample > 1 && d.bits_per_sample <= 8;
    return fits && d.photometric != photometric_palette;
}

// Depth of the DIB by the classic rule; 0 where it has none.
int32_t classic_depth(uint32_t samples, uint32_t bits)
{
    const uint32_t product = samples * bits;
    if (product == 32 || samples == 3) return 24;
    if (product == 2 || product == 3) return 4;
    if (product >= 9 && samples == 1) return 8;
    return product == 1 || product == 4 || product == 8 ? static_cast<int32_t>(product) : 0;
}

row_layout classic_layout(const tiff_struct& d)
{
    if (d.samples_per_pixel >= 3) {
        if (d.photometric == photometric_separated) return row_layout::cmyk;
        if (d.bits_per_sample == 8) return row_layout::swap_rgb;
        if (d.bits_per_sample == 4) return row_layout::rgb_nibbles;
        if (d.bits_per_sample == 1) return row_layout::bits_to_bytes;
    }
    if (d.bits_per_sample == 16 && d.samples_per_pixel == 1) return row_layout::first_bytes;
    return row_layout::as_it_is;
}

int32_t plan_classic(const tiff_struct& d, tiff_layout& layout)
{
    layout.depth = classic_depth(d.samples_per_pixel, d.bits_per_sample);
    layout.layout = classic_layout(d);
    if (is_separate(d)) {
        // Only what the merge of planes knows. A second SamplesPerPixel behind the planar
        // entry can name other numbers of planes.
        if (d.bits_per_sample != 1 && d.bits_per_sample != 8) return err_unsupported;
        if (d.samples_per_pixel != 3 && d.samples_per_pixel != 4) return err_unsupported;
        layout.planes = static_cast<int32_t>(d.samples_per_pixel);
    }
    if (layout.depth == 0) return err_unsupported;
    const uint32_t product = d.samples_per_pixel * d.bits_per_sample;
    layout.inverted =
        d.photometric == photometric_white_is_zero &&
        (d.bits_per_sample == 1 || d.bits_per_sample == 4 || product == 8 || product == 24);
    if (d.predictor == predictor_horizontal)
        layout.predictor_step =
            d.samples_per_pixel == 3 || d.samples_per_pixel == 4 ? d.samples_per_pixel : 1;
    return 0;
}

bool is_small_depth(uint32_t bits)
{
    return bits == 1 || bits == 2 || bits == 4;
}

// Grey and palette pages as the standard means them.
int32_t plan_grey(const tiff_struct& d, tiff_layout& layout)
{
    const uint32_t bits = d.bits_per_sample;
    const bool has_wide_samples = bits == 8 || bits == 16;
    const bool is_palette = d.photometric == photometric_palette;
    if (!is_small_depth(bits) && !has_wide_samples) return err_unsupported;
    if (is_palette && bits == 16) return err_unsupported;
    // A response curve says itself that 0 is white.
    layout.inverted = d.photometric == photometric_white_is_zero && !has_gray_curve(d);
    layout.depth = bits == 2 ? 4 : static_cast<int32_t>(std::min(bits, 8u));
    if (d.samples_per_pixel == 1) {
        layout.layout = bits == 2    ? row_layout::widen_pairs
                        : bits == 16 ? row_layout::high_bytes
                                     : row_layout::as_it_is;
        return 0;
    }
    // What follows the grey value of a pixel is no part of the picture (ExtraSamples).
    if (is_separate(d)) {
        layout.layout = bits == 2    ? row_layout::widen_pairs
                        : bits == 16 ? row_layout::high_bytes
                                     : row_layout::as_it_is;
        layout.planes = 1;
        return 0;
    }
    layout.layout = row_layout::first_sample;
    return has_wide_samples ? 0 : int32_t{err_unsupported};
}

int32_t plan_colors(const tiff_struct& d, tiff_layout& layout)
{
    const uint32_t bits = d.bits_per_sample;
    if (!is_small_depth(bits) && bits != 8 && bits != 16) return err_unsupported;
    const bool has_inks = d.photometric == photometric_separated;
    const uint32_t wanted = has_inks ? 4 : 3;
    if (d.samples_per_pixel < wanted) return err_unsupported;
    layout.depth = 24;
    layout.planes = is_separate(d) ? static_cast<int32_t>(wanted) : 0;
    const bool exact = d.samples_per_pixel == wanted || layout.planes != 0;
    if (has_inks && bits == 1 && exact) {
        layout.depth = 4;
        layout.layout = row_layout::ink_nibbles;
    } else if (bits == 8 && exact) {
        layout.layout = has_inks ? row_layout::cmyk : row_layout::swap_rgb;
    } else {
        layout.layout = has_inks ? row_layout::cmyk_samples : row_layout::rgb_samples;
    }
    return 0;
}

int32_t plan_predictor(const tiff_struct& d, tiff_layout& layout)
{
    // TIFF 6.0 section 14: the tag counts with LZW only.
    if (d.compression != tiff_lzw || d.predictor == 1) return 0;
    if (d.predictor != predictor_horizontal) return err_unsupported;
    if (d.bits_per_sample != 8 && d.bits_per_sample != 16) return err_unsupported;
    layout.predictor_step = layout.planes ? 1 : d.samples_per_pixel;
    return 0;
}

// Interchange mode takes a page as TIFF 6.0 means it and refuses what it cannot.
int32_t plan_by_standard(const tiff_page& page, tiff_layout& layout)
{
    const tiff_struct& d = page.description;
    if (page.tiled) return err_unsupported;
    int32_t err = err_unsupported;
    switch (d.photometric) {
    case photometric_white_is_zero:
    case photometric_black_is_zero:
    case photometric_palette:
        err = !page.has_photometric && d.samples_per_pixel >= 3 ? plan_colors(d, layout)
                                                                : plan_grey(d, layout);
        break;
    case photometric_rgb:
    case photometric_separated: err = plan_colors(d, layout); break;
    default: break;
    }
    if (err < 0) return err;
    return plan_predictor(d, layout);
}

// Fax rows and JPEG rows come as DIB rows from their decoders.
int32_t plan_fax(const tiff_struct& d, tiff_layout& layout)
{
    layout.layout = row_layout::fax;
    layout.depth = classic_depth(d.samples_per_pixel, d.bits_per_sample);
    if (interchange_mode() && (layout.depth != 1 || is_separate(d))) return err_unsupported;
    return layout.depth == 0 ? int32_t{err_unsupported} : 0;
}

int32_t plan_jpeg(const tiff_struct& d, tiff_layout& layout)
{
    layout.layout = row_layout::as_it_is;
    layout.depth = classic_depth(d.samples_per_pixel, d.bits_per_sample);
    if (interchange_mode() && is_separate(d)) return err_unsupported;
    return layout.depth == 8 || layout.depth == 24 ? 0 : int32_t{err_unsupported};
}

int32_t plan_rows(const tiff_page& page, tiff_layout& layout)
{
    const tiff_struct& d = page.description;
    if (tiff_is_fax(d.compression)) return plan_fax(d, layout);
    if (d.compression == tiff_jpeg) return plan_jpeg(d, layout);
    return interchange_mode() ? plan_by_standard(page, layout) : plan_classic(d, layout);
}

// INTENDED: classic ramps of 4 bits end at 240. Interchange mode goes up to white, and gives
// 2-bit pages, which become 4-bit pixels, their four levels.
void make_grey_ramp(const tiff_page& page, dib_header& header)
{
    create_dib_palette(&header.info, "tiff");
    if (!interchange_mode() || header.info.biBitCount == 24) return;
    const int32_t levels = 1 << std::min(page.description.bits_per_sample, 8u);
    for (int32_t i = 0; i < palette_entries(header.info.biBitCount); ++i) {
        const auto grey = static_cast<BYTE>(std::min(i, levels - 1) * 255 / (levels - 1));
        header.colors[i] = {grey, grey, grey, 0};
    }
}

// Colours of the 16 ways to print four inks: bits 3 to 0 are cyan, magenta, yellow, black.
void make_ink_palette(dib_header& header)
{
    for (uint32_t i = 0; i < 16; ++i) {
        const auto light = [i](uint32_t ink) {
            return static_cast<BYTE>((i & (ink | 1)) ? 0 : 255);
        };
        header.colors[i] = {light(2), light(4), light(8), 0};
    }
}

void take_gray_curve(const tiff_source& source, const tiff_struct& d, const uint8_t* curve,
                     int32_t entries, dib_header& header)
{
    // INTENDED: twice the unit.
    const double divisor = 2 * std::pow(10.0, d.gray_response_unit);
    for (int32_t i = 0; i < entries; ++i) {
        const double density = source.u16(curve + 2 * i) / divisor;
        const auto grey = static_cast<BYTE>(255 / std::pow(10.0, density));
        header.colors[i] = {grey, grey, grey, 0};
    }
}

void take_color_map(const tiff_source& source, const uint8_t* map, int32_t entries,
                    dib_header& header)
{
    // INTENDED: a value below 256 counts as a byte, even among larger ones; maps of bytes
    // alone come from early writers, and only they are meant in interchange mode.
    bool shifts_small = false;
    for (int32_t i = 0; interchange_mode() && i < 3 * entries; ++i)
        shifts_small = shifts_small || source.u16(map + 2 * i) >= 256;
    const auto level = [&](int32_t i) {
        const uint16_t value = source.u16(map + 2 * i);
        return static_cast<BYTE>(value >= 256 || shifts_small ? value >> 8 : value);
    };
    for (int32_t i = 0; i < entries; ++i)
        header.colors[i] = {level(2 * entries + i), level(entries + i), level(i), 0};
}

void tiff_get_palette(const tiff_source& source, const tiff_struct& d, dib_header& header)
{
    uint8_t values[3 * 256 * 2] = {};
    int32_t entries = palette_entries(header.info.biBitCount);
    // A 2-bit page has a map of four colours and becomes 4-bit pixels.
    if (interchange_mode() && d.bits_per_sample == 2) entries = 4;
    const bool is_curve = has_gray_curve(d);
    const uint32_t offset = is_curve ? d.gray_response_curve : d.color_map;
    source.read_at(offset, values, 3 * entries * 2);
    if (is_curve)
        take_gray_curve(source, d, values, entries, header);
    else
        take_color_map(source, values, entries, header);
}

} // namespace

int32_t tiff_plan_layout(const tiff_page& page, tiff_layout& layout)
{
    const tiff_struct& d = page.description;
    layout = {};
    if (d.image_width == 0 || d.image_length == 0) return err_format;
    if (d.samples_per_pixel - 1 >= most_samples || d.bits_per_sample - 1 >= most_bits_per_sample)
        return err_unsupported;
    if (int32_t err = plan_rows(page, layout); err < 0) return err;
    if (!dib_fits(d.image_width, d.image_length, layout.depth)) return err_memory;
    const uint64_t pixel_bits = uint64_t{d.samples_per_pixel} * d.bits_per_sample;
    layout.chunky_bytes = static_cast<int64_t>((d.image_width * pixel_bits + 7) / 8);
    layout.row_bytes =
        layout.planes ? (int64_t{d.image_width} * d.bits_per_sample + 7) / 8 : layout.chunky_bytes;
    if (layout.planes) // merged rows hold only the samples that are decoded
        layout.chunky_bytes = (int64_t{d.image_width} * d.bits_per_sample * layout.planes + 7) / 8;
    return layout.chunky_bytes > INT32_MAX / 2 ? int32_t{err_memory} : 0;
}

void tiff_make_header(const tiff_source& source, const tiff_page& page, const tiff_layout& layout,
                      dib_header& header)
{
    const tiff_struct& d = page.description;
    header.set(static_cast<int32_t>(d.image_width), static_cast<int32_t>(d.image_length),
               layout.depth);
    header.info.biXPelsPerMeter = static_cast<LONG>(d.x_resolution);
    header.info.biYPelsPerMeter = static_cast<LONG>(d.y_resolution);
    if (layout.depth == 24) return;
    const bool has_map = d.color_map != 0 && d.photometric == photometric_palette;
    if (layout.layout == row_layout::ink_nibbles)
        make_ink_palette(header);
    else if (has_map || has_gray_curve(d))
        tiff_get_palette(source, d, header);
    else if (d.samples_per_pixel == 4 && d.bits_per_sample == 1)
        create_dib_palette(&header.info, "dither");
    else
        make_grey_ramp(page, header);
}

bool tiff_bits_reversed(const tiff_struct& description)
{
    return interchange_mode() && description.fill_order == 2 && description.bits_per_sample == 1;
}
