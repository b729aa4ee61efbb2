// tiff_raster.cpp - WhiteIsZero, predictor, colour order and depth of decoded rows.
//
// Standard: TIFF 6.0 sections 3 to 6, 14 and 16. Interchange mode follows it in the order of
// the steps too; classic mode keeps the order that it always had.

#include "formats/tiff/tiff_raster.h"

#include "core/byte_runs.h"
#include "core/row_convert.h"
#include "core/settings.h"

#include <algorithm>
#include <array>

namespace {

void invert_bytes(uint8_t* row, int64_t bytes)
{
    const __m128i ones = _mm_set1_epi8(-1);
    int64_t i = 0;
    for (; i + 16 <= bytes; i += 16)
        store_16(row + i, _mm_xor_si128(load_16(row + i), ones));
    for (; i < bytes; ++i)
        row[i] = static_cast<uint8_t>(~row[i]);
}

// Horizontal differences of bytes undone. A step of its own for each number of samples, so
// that the running sums stay in registers.
template <uint32_t Step> void add_differences(uint8_t* row, int64_t bytes)
{
    std::array<uint8_t, Step> sum{};
    int64_t i = 0;
    for (; i + Step <= bytes; i += Step)
        for (uint32_t c = 0; c < Step; ++c) {
            sum[c] = static_cast<uint8_t>(sum[c] + row[i + c]);
            row[i + c] = sum[c];
        }
    for (uint32_t c = 0; i < bytes; ++i, ++c)
        row[i] = static_cast<uint8_t>(sum[c] + row[i]);
}

void add_byte_differences(uint8_t* row, int64_t bytes, uint32_t step)
{
    switch (step) {
    case 1: add_differences<1>(row, bytes); break;
    case 3: add_differences<3>(row, bytes); break;
    case 4: add_differences<4>(row, bytes); break;
    default:
        for (int64_t i = step; i < bytes; ++i)
            row[i] = static_cast<uint8_t>(row[i] + row[i - step]);
    }
}

// The same for samples of 16 bits in the file's order.
void add_word_differences(uint8_t* row, int64_t bytes, uint32_t step, byte_order order)
{
    const bool big = order == byte_order::big;
    const int64_t distance = 2 * int64_t{step};
    for (int64_t i = distance; i + 1 < bytes; i += 2) {
        const uint8_t* before = row + i - distance;
        const int value = big ? load_u16be(row + i) + load_u16be(before)
                              : load_u16le(row + i) + load_u16le(before);
        if (big)
            store_u16be(row + i, static_cast<uint32_t>(value));
        else
            store_u16le(row + i, static_cast<uint32_t>(value));
    }
}

uint8_t ink_to_light(uint32_t ink, uint32_t black)
{
    return static_cast<uint8_t>(255 - std::min(ink + black, 255u));
}

} // namespace

int32_t tiff_raster::open()
{
    by_standard_ = interchange_mode();
    reverses_bits_ =
        page_.description.compression == tiff_uncompressed && tiff_bits_reversed(page_.description);
    keeps_samples_ =
        !layout_.planes && !layout_.inverted && !layout_.predictor_step && !reverses_bits_;
    // Merged rows and expanded bits are delivered with the bytes of 24-bit pixels, whatever the
    // depth is.
    const bool is_24 = layout_.planes || layout_.layout == row_layout::bits_to_bytes;
    const size_t bytes =
        static_cast<size_t>(is_24 ? size_for_long(width(), 24) : dib_row_) + row_slack_bytes;
    if (!wide_row_.allocate(bytes)) return err_memory;
    std::memset(wide_row_.bytes(), 0, bytes);
    if (layout_.planes == 0) return 0;
    return planes_.open(uint64_t{stored_plane_bytes()} * page_.description.image_length *
                        static_cast<uint32_t>(layout_.planes));
}

// Bytes of a plane's row in the store. Classic rows are padded like DIB rows.
uint32_t tiff_raster::stored_plane_bytes() const
{
    if (by_standard_) return static_cast<uint32_t>(layout_.row_bytes);
    return static_cast<uint32_t>(
        size_for_long(width(), static_cast<int32_t>(page_.description.bits_per_sample)));
}

int32_t tiff_raster::tiff_raster_to_dib(uint8_t* row, int32_t row_index, int32_t byte_count)
{
    if (layout_.layout == row_layout::fax) return sink_.put(row, row_index, byte_count);
    if (!by_standard_ && layout_.planes) return planes_.append(row, stored_plane_bytes());
    if (!keeps_samples_) restore_samples(row);
    if (layout_.planes) return planes_.append(row, stored_plane_bytes());
    return deliver(row, row_index);
}

int32_t tiff_raster::put_unchanged(const uint8_t* row, int32_t row_index)
{
    if (keeps_samples_) {
        if (layout_.layout == row_layout::as_it_is && layout_.row_bytes == dib_row_)
            return sink_.put(row, row_index, dib_row_);
        if (layout_.layout == row_layout::swap_rgb && layout_.row_bytes == int64_t{3} * width()) {
            swap_red_blue(row, wide_row_.bytes(), static_cast<size_t>(width()));
            return sink_.put(wide_row_.bytes(), row_index, dib_row_);
        }
    }
    const auto bytes = static_cast<size_t>(layout_.row_bytes);
    if (!row_copy_ && !row_copy_.allocate(bytes + row_slack_bytes)) return err_memory;
    std::memcpy(row_copy_.bytes(), row, bytes);
    return tiff_raster_to_dib(row_copy_.bytes(), row_index, 0);
}

// INTENDED: in classic mode WhiteIsZero is undone before the predictor, and separate planes
// are neither inverted nor summed up. Interchange mode sums up first, as the standard's
// encoder takes the differences last, and does both for planes too.
void tiff_raster::restore_samples(uint8_t* row) const
{
    const tiff_struct& d = page_.description;
    if (reverses_bits_) reverse_bits_of_bytes(row, static_cast<size_t>(layout_.row_bytes));
    if (!by_standard_ && layout_.inverted) invert_bytes(row, layout_.row_bytes);
    if (layout_.predictor_step && by_standard_ && d.bits_per_sample == 16)
        add_word_differences(row, layout_.row_bytes, layout_.predictor_step, order_);
    else if (layout_.predictor_step)
        add_byte_differences(row, layout_.row_bytes, layout_.predictor_step);
    if (by_standard_ && layout_.inverted) invert_bytes(row, layout_.row_bytes);
}

int32_t tiff_raster::deliver(uint8_t* row, int32_t row_index)
{
    const auto pixels = static_cast<size_t>(width());
    const int64_t bytes = layout_.planes ? layout_.chunky_bytes : layout_.row_bytes;
    switch (layout_.layout) {
    case row_layout::swap_rgb:
        swap_red_blue(row, row, std::min<size_t>(pixels, static_cast<size_t>(bytes) / 3));
        break;
    case row_layout::cmyk: return deliver_padded(row, row_index, cmyk_in_place(row));
    case row_layout::first_bytes:
    case row_layout::high_bytes: {
        // INTENDED: classic mode keeps the first byte of a sample in either byte order.
        const bool second =
            layout_.layout == row_layout::high_bytes && order_ == byte_order::little;
        for (size_t i = 0; i < pixels; ++i)
            row[i] = row[2 * i + (second ? 1 : 0)];
        break;
    }
    case row_layout::rgb_nibbles:
        expand_nibbles(row);
        return deliver_padded(wide_row_.bytes(), row_index, int64_t{3} * width());
    case row_layout::bits_to_bytes:
        expand_bits(row);
        // INTENDED: rows of 24-bit size, whatever the depth of the DIB.
        return sink_.put(wide_row_.bytes(), row_index, size_for_long(width(), 24));
    case row_layout::widen_pairs:
        widen_2_to_4(row, wide_row_.bytes(), pixels);
        return deliver_padded(wide_row_.bytes(), row_index, dib_row_);
    case row_layout::first_sample:
    case row_layout::rgb_samples:
    case row_layout::cmyk_samples:
        collect_samples(row);
        return deliver_padded(wide_row_.bytes(), row_index, dib_row_);
    default: break;
    }
    return deliver_padded(row, row_index, bytes);
}

// Hands on a row of which filled bytes are there; the rest of the DIB row reads as 0.
int32_t tiff_raster::deliver_padded(uint8_t* row, int32_t row_index, int64_t filled)
{
    const int64_t pixel_bytes = (int64_t{width()} * layout_.depth + 7) / 8;
    const int64_t used = std::min(filled, pixel_bytes);
    const int64_t padding = dib_row_ - used;
    if (padding == 0 || row == wide_row_.bytes()) return sink_.put(row, row_index, dib_row_);
    if (padding > 3) {
        std::memcpy(wide_row_.bytes(), row, static_cast<size_t>(used));
        return sink_.put(wide_row_.bytes(), row_index, dib_row_);
    }
    // The bytes behind may belong to the next row of the buffer.
    uint8_t kept[3];
    std::memcpy(kept, row + used, sizeof kept);
    std::memset(row + used, 0, static_cast<size_t>(padding));
    const int32_t result = sink_.put(row, row_index, dib_row_);
    std::memcpy(row + used, kept, sizeof kept);
    return result;
}

int64_t tiff_raster::cmyk_in_place(uint8_t* row) const
{
    const int64_t bytes = layout_.planes ? layout_.chunky_bytes : layout_.row_bytes;
    const int64_t pixels = std::min<int64_t>(width(), bytes / 4);
    uint8_t* to = row;
    for (int64_t i = 0; i < pixels; ++i, to += 3) {
        const uint8_t* inks = row + 4 * i;
        const uint8_t cyan = inks[0], magenta = inks[1], yellow = inks[2], black = inks[3];
        to[0] = ink_to_light(yellow, black);
        to[1] = ink_to_light(magenta, black);
        to[2] = ink_to_light(cyan, black);
    }
    return 3 * pixels;
}

// Two 4-bit pixels of three bytes become two 24-bit pixels.
void tiff_raster::expand_nibbles(const uint8_t* row)
{
    uint8_t* to = wide_row_.bytes();
    for (int32_t x = 0; x < width(); x += 2, row += 3, to += 6) {
        to[0] = static_cast<uint8_t>(row[1] & 0xF0);
        to[1] = static_cast<uint8_t>(row[0] << 4);
        to[2] = static_cast<uint8_t>(row[0] & 0xF0);
        to[3] = static_cast<uint8_t>(row[2] << 4);
        to[4] = static_cast<uint8_t>(row[2] & 0xF0);
        to[5] = static_cast<uint8_t>(row[1] << 4);
    }
    std::memset(wide_row_.bytes() + size_t{3} * page_.description.image_width, 0, 3);
}

// INTENDED: a set bit is 128, and the samples keep the order of the file.
void tiff_raster::expand_bits(const uint8_t* row)
{
    const size_t bits = std::min<size_t>(size_t{3} * page_.description.image_width,
                                         static_cast<size_t>(layout_.row_bytes) * 8);
    for (size_t i = 0; i < bits; ++i)
        wide_row_.bytes()[i] = static_cast<uint8_t>(row[i / 8] << (i & 7) & 0x80);
}

// Sample number index of a row, in 8 bits.
uint32_t tiff_raster::sample(const uint8_t* row, size_t index) const
{
    const uint32_t bits = page_.description.bits_per_sample;
    if (bits == 8) return row[index];
    if (bits == 16) return row[2 * index + (order_ == byte_order::little ? 1 : 0)];
    const size_t bit = index * bits;
    const uint32_t largest = (1u << bits) - 1;
    return (row[bit / 8] >> (8 - bits - bit % 8) & largest) * 255 / largest;
}

void tiff_raster::collect_samples(const uint8_t* row)
{
    const size_t step =
        layout_.planes ? static_cast<size_t>(layout_.planes) : page_.description.samples_per_pixel;
    uint8_t* to = wide_row_.bytes();
    for (size_t i = 0, x = 0; x < page_.description.image_width; ++x, i += step) {
        if (layout_.layout == row_layout::first_sample) {
            *to++ = static_cast<uint8_t>(sample(row, i));
            continue;
        }
        const uint32_t red = sample(row, i), green = sample(row, i + 1), blue = sample(row, i + 2);
        const bool has_inks = layout_.layout == row_layout::cmyk_samples;
        const uint32_t black = has_inks ? sample(row, i + 3) : 0;
        to[0] = has_inks ? ink_to_light(blue, black) : static_cast<uint8_t>(blue);
        to[1] = has_inks ? ink_to_light(green, black) : static_cast<uint8_t>(green);
        to[2] = has_inks ? ink_to_light(red, black) : static_cast<uint8_t>(red);
        to += 3;
    }
}

int32_t tiff_raster::merge_planes()
{
    if (layout_.planes == 0) return 0;
    const auto planes = static_cast<uint32_t>(layout_.planes);
    const uint32_t plane_bytes = stored_plane_bytes();
    const size_t stride = size_t{plane_bytes} + row_slack_bytes;
    const size_t joined = static_cast<size_t>(layout_.chunky_bytes) + row_slack_bytes;
    scratch_block rows(stride * planes + joined + row_slack_bytes);
    if (!rows) return err_memory;
    const int32_t length = static_cast<int32_t>(page_.description.image_length);
    for (int32_t i = 0; i < length; ++i) {
        for (uint32_t p = 0; p < planes; ++p) {
            const uint64_t row =
                uint64_t{p} * static_cast<uint32_t>(length) + static_cast<uint32_t>(i);
            if (int32_t err =
                    planes_.read(row * plane_bytes, rows.bytes() + p * stride, plane_bytes);
                err < 0)
                return err;
        }
        int32_t err;
        if (by_standard_) {
            interleave_samples(rows.bytes(), stride);
            err = deliver(rows.bytes() + planes * stride, i);
        } else {
            tiff_build_raster(rows.bytes(), stride);
            err = sink_.put(wide_row_.bytes(), i, size_for_long(width(), 24));
        }
        if (err < 0) return err;
    }
    return 0;
}

// INTENDED: a set bit of three planes is 255 here, where it is 128 side by side.
void tiff_raster::tiff_build_raster(const uint8_t* planes, size_t plane_bytes)
{
    const auto pixels = static_cast<size_t>(width());
    const uint8_t* plane0 = planes;
    const uint8_t* plane1 = planes + plane_bytes;
    const uint8_t* plane2 = planes + 2 * plane_bytes;
    uint8_t* to = wide_row_.bytes();
    if (page_.description.bits_per_sample == 8) {
        for (size_t x = 0; x < pixels; ++x, to += 3) {
            to[0] = plane2[x];
            to[1] = plane1[x];
            to[2] = plane0[x];
        }
        return;
    }
    const auto bit = [](const uint8_t* plane, size_t x) { return plane[x / 8] >> (7 - x % 8) & 1; };
    if (layout_.planes == 3) {
        for (size_t x = 0; x < pixels; ++x, to += 3) {
            to[0] = bit(plane2, x) ? 255 : 0;
            to[1] = bit(plane1, x) ? 255 : 0;
            to[2] = bit(plane0, x) ? 255 : 0;
        }
        return;
    }
    const uint8_t* plane3 = planes + 3 * plane_bytes;
    for (size_t x = 0; x < pixels; ++x) {
        const int nibble =
            bit(plane2, x) | bit(plane1, x) << 1 | bit(plane0, x) << 2 | bit(plane3, x) << 3;
        to[x / 2] = static_cast<uint8_t>(x & 1 ? to[x / 2] | nibble : nibble << 4);
    }
}

// Separate rows become one row behind them, with the samples of a pixel side by side.
void tiff_raster::interleave_samples(const uint8_t* planes, size_t plane_bytes)
{
    const auto count = static_cast<size_t>(layout_.planes);
    const size_t bits = page_.description.bits_per_sample;
    uint8_t* to = const_cast<uint8_t*>(planes) + count * plane_bytes;
    if (bits >= 8) {
        const size_t bytes = bits / 8;
        for (size_t x = 0; x < page_.description.image_width; ++x)
            for (size_t p = 0; p < count; ++p, to += bytes)
                std::memcpy(to, planes + p * plane_bytes + x * bytes, bytes);
        return;
    }
    std::memset(to, 0, static_cast<size_t>(layout_.chunky_bytes));
    size_t place = 0;
    for (size_t x = 0; x < page_.description.image_width; ++x)
        for (size_t p = 0; p < count; ++p, place += bits) {
            const int shifted = planes[p * plane_bytes + x * bits / 8] << x * bits % 8;
            const int value = shifted >> (8 - bits) & ((1 << bits) - 1);
            to[place / 8] = static_cast<uint8_t>(to[place / 8] | value << (8 - bits - place % 8));
        }
}
