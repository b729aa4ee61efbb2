// row_scaler.cpp - makes scaled rows of an image for a device.

#include "display/portable/row_scaler.h"

#include <algorithm>
#include <cstring>

namespace {

// Takes pixels of less than a byte; columns[i] is the pixel's number in the row.
template <int Bits>
void gather_packed(const uint8_t* row, const int32_t* columns, int32_t count, uint8_t* out)
{
    constexpr int32_t per_byte = 8 / Bits;
    constexpr unsigned mask = (1U << Bits) - 1;
    for (int32_t i = 0; i < count; i += per_byte) {
        unsigned packed = 0;
        const int32_t here = std::min(per_byte, count - i);
        for (int32_t j = 0; j < here; ++j) {
            const int32_t c = columns[i + j];
            const unsigned pixel =
                unsigned{row[c / per_byte]} >> ((per_byte - 1 - c % per_byte) * Bits);
            packed |= (pixel & mask) << ((per_byte - 1 - j) * Bits);
        }
        *out++ = static_cast<uint8_t>(packed);
    }
}

void gather_24(const uint8_t* row, const int32_t* columns, int32_t count, uint8_t* out)
{
    for (int32_t i = 0; i < count; ++i, out += 3) {
        const uint8_t* p = row + size_t{3} * static_cast<size_t>(columns[i]);
        out[0] = p[0];
        out[1] = p[1];
        out[2] = p[2];
    }
}

uint8_t between(uint8_t from, uint8_t to, int32_t share)
{
    return static_cast<uint8_t>(from + ((to - from) * share + (to >= from ? 127 : -127)) / 255);
}

} // namespace

source_image source_of(const dib_lock& image)
{
    return {image.row(0),
            image.colors(),
            image->width,
            image->height,
            image.header()->biBitCount,
            image->bytes_per_line};
}

int32_t row_scaler::prepare(const source_image& image, const stretch_plan& plan,
                            shrink_method method)
{
    image_ = image;
    plan_ = plan;
    begin_band();
    shrinks_page_ = method == shrink_method::grey_pages && image.bits_per_pixel == 1 &&
                    (plan.horizontal.shrinks() || plan.vertical.shrinks());
    bits_per_pixel_ = shrinks_page_ ? 8 : image.bits_per_pixel;
    // A device context without a clip box may ask for any width.
    const int64_t width = int64_t{plan.columns.end} - plan.columns.begin;
    if (!dib_fits(width, 1, bits_per_pixel_)) return err_memory;
    bytes_per_line_ = static_cast<uint32_t>(
        size_for_long(plan.columns.end - plan.columns.begin, bits_per_pixel_));
    if (shrinks_page_) return shrinker_.prepare(plan.horizontal, plan.columns);
    return prepare_columns();
}

int32_t row_scaler::prepare_columns()
{
    const auto count = static_cast<size_t>(plan_.columns.end - plan_.columns.begin);
    if (!allocate_rows(columns_, sizeof(int32_t), count)) return err_memory;
    for (size_t i = 0; i < count; ++i)
        columns_.as<int32_t>()[i] =
            source_pixels(plan_.horizontal, plan_.columns.begin + static_cast<int32_t>(i)).begin;
    return 0;
}

void row_scaler::get_colors(RGBQUAD* colors) const
{
    if (!shrinks_page_) {
        const auto entries = static_cast<size_t>(palette_entries(bits_per_pixel_));
        std::memcpy(colors, image_.colors, entries * sizeof(RGBQUAD));
        return;
    }
    const RGBQUAD& zero = image_.colors[0];
    const RGBQUAD& one = image_.colors[1];
    for (int32_t share = 0; share < 256; ++share)
        colors[share] = {between(zero.rgbBlue, one.rgbBlue, share),
                         between(zero.rgbGreen, one.rgbGreen, share),
                         between(zero.rgbRed, one.rgbRed, share), 0};
}

void row_scaler::scale(int32_t device_row, uint8_t* out)
{
    const pixel_span source = source_pixels(plan_.vertical, device_row);
    const bool repeats = last_out_ && last_source_ == source.begin && !plan_.vertical.shrinks();
    if (repeats) {
        if (out != last_out_) std::memcpy(out, last_out_, bytes_per_line_);
    } else if (shrinks_page_) {
        const int32_t lowest = image_.height - source.end;
        shrinker_.shrink(image_.rows + static_cast<size_t>(lowest) * image_.bytes_per_line,
                         source.end - source.begin, image_.bytes_per_line, out);
    } else {
        const auto stored = static_cast<size_t>(image_.height - 1 - source.begin);
        scale_nearest(image_.rows + stored * image_.bytes_per_line, out);
    }
    last_out_ = out;
    last_source_ = source.begin;
}

// Rows that keep their width: bits of less than a byte may have to be shifted.
void row_scaler::copy_packed(const uint8_t* row, uint8_t* out) const
{
    const int32_t count = plan_.columns.end - plan_.columns.begin;
    const auto bits = static_cast<size_t>(image_.bits_per_pixel);
    const size_t first_bit = static_cast<size_t>(columns_.as<int32_t>()[0]) * bits;
    const size_t end_bit = first_bit + static_cast<size_t>(count) * bits;
    const uint8_t* from = row + first_bit / 8;
    const uint8_t* last = row + (end_bit - 1) / 8;
    const unsigned shift = first_bit & 7;
    const size_t bytes = (static_cast<size_t>(count) * bits + 7) / 8;
    if (shift == 0) {
        std::memcpy(out, from, bytes);
        return;
    }
    for (size_t i = 0; i < bytes; ++i, ++from) {
        const unsigned next = from < last ? from[1] : 0U;
        out[i] = static_cast<uint8_t>(from[0] << shift | next >> (8 - shift));
    }
}

void row_scaler::scale_nearest(const uint8_t* row, uint8_t* out) const
{
    if (plan_.horizontal.is_plain_copy()) return copy_packed(row, out);
    const int32_t count = plan_.columns.end - plan_.columns.begin;
    const auto* columns = columns_.as<int32_t>();
    switch (image_.bits_per_pixel) {
    case 1: gather_packed<1>(row, columns, count, out); break;
    case 4: gather_packed<4>(row, columns, count, out); break;
    case 24: gather_24(row, columns, count, out); break;
    default:
        for (int32_t i = 0; i < count; ++i)
            out[i] = row[columns[i]];
    }
}
