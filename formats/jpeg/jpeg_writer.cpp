// jpeg_writer.cpp - save_jpg_file: rows to sample planes, planes to blocks, blocks to the sink.

#include "formats/jpeg/jpeg_writer.h"

#include "core/dib_rows.h"
#include "core/settings.h"
#include "formats/jpeg/jpeg_encode.h"
#include "formats/jpeg/jpeg_fdct.h"
#include "formats/jpeg/jpeg_header.h"
#include "formats/jpeg/jpeg_quality.h"
#include "formats/jpeg/jpeg_rgb.h"
#include "formats/jpeg/jpeg_tables.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int32_t mcu_rows = 8;
constexpr int32_t max_side = 0xFFFF;        // B.2.2/T.81: 16-bit fields
constexpr uint64_t flush_bytes = 32 * 1024; // written so often that a full disk shows early

// 1 for a 24-bit image or a palette with a colour other than grey.
bool jpeg_is_color(const BITMAPINFOHEADER& header)
{
    return header.biBitCount == 24 || has_color(&header);
}

struct component_state {
    int32_t predictor;
    int16_t* plane; // 8 rows
    int32_t stride; // samples
    const jpeg_divisors* divisors;
    const jpeg_code_table* dc;
    const jpeg_code_table* ac;
};

class jpeg_encoder {
public:
    jpeg_encoder(HFILE file, const BITMAPINFOHEADER& header, const row_source& source)
        : header_(header), source_(source), interchange_(interchange_mode()),
          color_(jpeg_is_color(header)), sink_(file), bits_(sink_)
    {
    }

    int32_t encode();

private:
    int32_t allocate();
    void build_tables();
    void jpg_set_save_component_params(component_state& y, component_state& cb,
                                       component_state& cr);
    int32_t fetch_row(int32_t row);
    int32_t jpeg_get_raster(int32_t row);
    void pad_row(uint8_t* pixels, int32_t bytes_per_pixel) const;
    void convert_row(int32_t plane_row);
    int32_t fill_planes(int32_t first_row);
    void encode_planes();
    void encode_one(component_state& state, int32_t column);
    void encode_two(component_state& state, component_state& next, int32_t column,
                    ptrdiff_t next_block);

    const BITMAPINFOHEADER& header_;
    const row_source& source_;
    const bool interchange_;
    const bool color_;
    int32_t padded_width_ = 0;
    uint64_t flushed_ = 0;

    byte_sink sink_;
    jpeg_bit_writer bits_;
    scratch_block pixels_, indices_, planes_;
    component_state states_[3] = {};
    uint8_t levels_[256]; // of a grey palette
    bool map_levels_ = false;
    jpeg_divisors luminance_, chrominance_;
    jpeg_code_table dc_[2], ac_[2];
};

int32_t jpeg_encoder::allocate()
{
    const int32_t mcu_width = color_ ? 16 : 8;
    padded_width_ = (header_.biWidth + mcu_width - 1) / mcu_width * mcu_width;
    const auto width = static_cast<size_t>(padded_width_);
    const size_t pixel_bytes = width * (color_ ? 3 : 1) + 100;
    const size_t plane_samples = width * mcu_rows;
    if (!sink_.ok() || !pixels_.allocate(pixel_bytes) || !indices_.allocate(width + 100) ||
        !planes_.allocate(plane_samples * 2 * sizeof(int16_t)))
        return err_memory;
    std::memset(pixels_.bytes(), 0, pixel_bytes);
    std::memset(indices_.bytes(), 0, width + 100);
    auto* planes = planes_.as<int16_t>();
    states_[0].plane = planes;
    states_[1].plane = planes + plane_samples; // chroma rows are half as long
    states_[2].plane = planes + plane_samples + plane_samples / 2;
    return 0;
}

void jpeg_encoder::build_tables()
{
    const quotient rounding = interchange_ ? quotient::nearest : quotient::truncated;
    luminance_.set(jpeg_working_tables().luminance, rounding);
    chrominance_.set(jpeg_working_tables().chrominance, rounding);
    dc_[0].build(jpeg_dc_luminance);
    ac_[0].build(jpeg_ac_luminance);
    dc_[1].build(jpeg_dc_chrominance);
    ac_[1].build(jpeg_ac_chrominance);
    jpg_set_save_component_params(states_[0], states_[1], states_[2]);
    if (color_ || !interchange_) return;
    const RGBQUAD* const colors = dib_colors(&header_);
    for (int32_t i = 0; i < 256; ++i) {
        levels_[i] = colors[i].rgbGreen;
        map_levels_ |= levels_[i] != i;
    }
}

void jpeg_encoder::jpg_set_save_component_params(component_state& y, component_state& cb,
                                                 component_state& cr)
{
    y = {0, y.plane, padded_width_, &luminance_, &dc_[0], &ac_[0]};
    cb = {0, cb.plane, padded_width_ / 2, &chrominance_, &dc_[1], &ac_[1]};
    cr = {0, cr.plane, padded_width_ / 2, &chrominance_, &dc_[1], &ac_[1]};
}

// A palettised row as blue, green, red.
int32_t jpeg_encoder::jpeg_get_raster(int32_t row)
{
    uint8_t* const indices = indices_.bytes();
    const int32_t err = source_.get(indices, row, size_for_long(header_.biWidth, 8));
    if (err < 0) return err;
    const RGBQUAD* const colors = dib_colors(&header_);
    uint8_t* to = pixels_.bytes();
    for (int32_t x = 0; x < header_.biWidth; ++x, to += 3) {
        const RGBQUAD& color = colors[indices[x]];
        to[0] = color.rgbBlue;
        to[1] = color.rgbGreen;
        to[2] = color.rgbRed;
    }
    return 0;
}

// Columns beyond the picture. Classic files have there whatever the row buffer holds, in
// interchange mode the last pixel goes on, which disturbs its block least.
void jpeg_encoder::pad_row(uint8_t* pixels, int32_t bytes_per_pixel) const
{
    if (!interchange_) return;
    uint8_t* const end = pixels + padded_width_ * bytes_per_pixel;
    for (uint8_t* p = pixels + header_.biWidth * bytes_per_pixel; p < end; ++p)
        *p = p[-bytes_per_pixel];
}

int32_t jpeg_encoder::fetch_row(int32_t row)
{
    uint8_t* const pixels = pixels_.bytes();
    if (color_ && header_.biBitCount == 8) {
        if (int32_t err = jpeg_get_raster(row); err < 0) return err;
    } else {
        const int32_t bytes = size_for_long(header_.biWidth, header_.biBitCount);
        if (int32_t err = source_.get(pixels, row, bytes); err < 0) return err;
    }
    // INTENDED: in classic files the palette index is the grey level.
    if (map_levels_)
        for (int32_t x = 0; x < header_.biWidth; ++x)
            pixels[x] = levels_[pixels[x]];
    pad_row(pixels, color_ ? 3 : 1);
    return 0;
}

void jpeg_encoder::convert_row(int32_t plane_row)
{
    int16_t* const y = states_[0].plane + plane_row * padded_width_;
    if (!color_) {
        jpeg_grey_to_y(pixels_.bytes(), padded_width_, y);
        return;
    }
    const int32_t chroma_row = plane_row * padded_width_ / 2;
    jpeg_rgb_to_yuv(pixels_.bytes(), padded_width_,
                    interchange_ ? color_weights::jfif : color_weights::classic, y,
                    states_[1].plane + chroma_row, states_[2].plane + chroma_row);
}

// Eight rows; below the picture the last one is repeated.
int32_t jpeg_encoder::fill_planes(int32_t first_row)
{
    for (int32_t row = 0; row < mcu_rows; ++row) {
        if (first_row + row < header_.biHeight)
            if (int32_t err = fetch_row(first_row + row); err < 0) return err;
        convert_row(row);
    }
    return 0;
}

void jpeg_encoder::encode_one(component_state& state, int32_t column)
{
    alignas(16) int16_t coefficients[block_size];
    jpeg_dct_and_quantise({state.plane + column, state.stride, 0}, *state.divisors, coefficients);
    bits_.put_block(coefficients, state.predictor, *state.dc, *state.ac);
}

// Two blocks of the same stride and tables.
void jpeg_encoder::encode_two(component_state& state, component_state& next, int32_t column,
                              ptrdiff_t next_block)
{
    alignas(16) int16_t coefficients[2 * block_size];
    jpeg_dct_and_quantise_two({state.plane + column, state.stride, next_block}, *state.divisors,
                              coefficients);
    bits_.put_block(coefficients, state.predictor, *state.dc, *state.ac);
    bits_.put_block(coefficients + block_size, next.predictor, *state.dc, *state.ac);
}

void jpeg_encoder::encode_planes()
{
    component_state &y = states_[0], &cb = states_[1], &cr = states_[2];
    int32_t x = 0;
    for (; x + 16 <= padded_width_; x += 16) {
        encode_two(y, y, x, 8);
        if (color_) encode_two(cb, cr, x / 2, cr.plane - cb.plane);
    }
    if (x < padded_width_) encode_one(y, x);
}

int32_t jpeg_encoder::encode()
{
    if (int32_t err = allocate(); err < 0) return err;
    jpeg_write_header(sink_, header_, color_ ? 3 : 1,
                      interchange_ ? jpeg_layout::standard : jpeg_layout::classic);
    if (int32_t err = sink_.flush(); err < 0) return err;
    build_tables();
    for (int32_t row = 0; row < header_.biHeight; row += mcu_rows) {
        if (int32_t err = fill_planes(row); err < 0) return err;
        encode_planes();
        if (sink_.written() - flushed_ < flush_bytes) continue;
        flushed_ = sink_.written();
        if (int32_t err = sink_.flush(); err < 0) return err;
    }
    bits_.finish(interchange_ ? bit_padding::byte_of_ones : bit_padding::word_of_zeros);
    sink_.put_u16be(marker_eoi);
    return sink_.flush();
}

} // namespace

int32_t save_jpg_file(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data)
{
    if (header->biBitCount < 5) return err_unsupported;
    if (header->biWidth > max_side || header->biHeight > max_side) return err_unsupported;
    const row_source source{get_raster, private_data};
    jpeg_encoder encoder(file, *header, source);
    return encoder.encode();
}
