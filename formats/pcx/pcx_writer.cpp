// pcx_writer.cpp - writes PCX 3.0 images: 1 bit in one plane, 4 bits in four planes, 8 bits
// with 256 colours behind the pixels, 24 bits in three planes.
//
// 1-bit readers show white for 1 whatever colours a file states, so a 1-bit image in other
// colours than black and white is written with four planes.

#include "formats/pcx/pcx_writer.h"

#include "core/dib_rows.h"
#include "core/row_convert.h"
#include "formats/pcx/pcx_header.h"
#include "formats/pcx/pcx_rle.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr uint8_t written_version = 5;
constexpr int32_t largest_side = 65536; // corners of 16 bits, both inclusive
constexpr int32_t largest_plane_bytes = 65534;

class pcx_writer {
public:
    pcx_writer(const BITMAPINFOHEADER* header, const row_source& source)
        : header_(header), source_(source), width_(header->biWidth), height_(header->biHeight),
          dib_bits_(header->biBitCount)
    {
        mono_ = dib_bits_ == 1 && is_black_white(dib_colors(header));
        invert_ = mono_ && dib_colors(header)[0].rgbRed == 255;
        bits_ = dib_bits_ >= 8 ? 8 : 1;
        planes_ = dib_bits_ == 24 ? 3 : dib_bits_ == 8 || mono_ ? 1 : 4;
        const int64_t needed = (int64_t{width_} * bits_ + 7) / 8;
        plane_bytes_ = (needed + 1) & ~int64_t{1}; // readers expect an even count
    }

    int32_t write(HFILE file)
    {
        if (width_ > largest_side || height_ > largest_side || plane_bytes_ > largest_plane_bytes)
            return err_unsupported;
        const auto stride = static_cast<size_t>(size_for_long(width_, dib_bits_));
        const auto row_bytes = static_cast<size_t>(planes_ * plane_bytes_);
        // Widened 1-bit rows need as much room as 4-bit rows.
        scratch_block row(std::max(stride, static_cast<size_t>(plane_bytes_) * 4) +
                          run_slack_bytes);
        scratch_block planes(row_bytes + run_slack_bytes);
        const size_t coded_row = 2 * row_bytes + 16 * 4;
        byte_sink out(file, static_cast<uint32_t>(std::max<size_t>(65536, coded_row)));
        if (!row || !planes || !out.ok()) return err_memory;
        std::memset(row.bytes(), 0, row.size());
        std::memset(planes.bytes(), 0, planes.size());

        put_header(out);
        for (int32_t y = 0; y < height_ && !out.failed(); ++y) {
            if (int32_t err = source_.get(row.bytes(), y, static_cast<int32_t>(stride)); err < 0)
                return err;
            put_row(out, separate(row.bytes(), planes.bytes()));
        }
        if (dib_bits_ == 8) put_vga_colors(out);
        return out.flush();
    }

private:
    void put_header(byte_sink& out) const
    {
        const auto dots = [](LONG dpi) {
            return dpi > 0 && dpi <= 65535 ? static_cast<uint32_t>(dpi) : 0u;
        };
        out.put(pcx_manufacturer);
        out.put(written_version);
        out.put(uint8_t{pcx_rle});
        out.put(static_cast<uint8_t>(bits_));
        out.put_u32le(0);
        out.put_u16le(static_cast<uint32_t>(width_ - 1));
        out.put_u16le(static_cast<uint32_t>(height_ - 1));
        out.put_u16le(dots(header_->biXPelsPerMeter));
        out.put_u16le(dots(header_->biYPelsPerMeter));
        put_header_colors(out);
        out.put(uint8_t{0});
        out.put(static_cast<uint8_t>(planes_));
        out.put_u16le(static_cast<uint32_t>(plane_bytes_));
        out.put_u16le(has_color(header_) ? 1 : 2);
        out.put_zeros(58);
    }

    // Eight-bit files repeat their first colours here: some readers take them from here.
    void put_header_colors(byte_sink& out) const
    {
        constexpr RGBQUAD black_white[2] = {{0, 0, 0, 0}, {255, 255, 255, 0}};
        const int32_t count = dib_bits_ == 24 ? 0 : std::min(palette_entries(dib_bits_), 16);
        put_colors(out, mono_ ? black_white : dib_colors(header_), count);
        out.put_zeros(pcx_palette_bytes - 3 * static_cast<size_t>(count));
    }

    void put_vga_colors(byte_sink& out) const
    {
        out.put(pcx_vga_marker);
        put_colors(out, dib_colors(header_), 256);
    }

    static void put_colors(byte_sink& out, const RGBQUAD* colors, int32_t count)
    {
        for (int32_t i = 0; i < count; ++i) {
            out.put(colors[i].rgbRed);
            out.put(colors[i].rgbGreen);
            out.put(colors[i].rgbBlue);
        }
    }

    // The row's planes, plane_bytes_ apart, padding 0.
    uint8_t* separate(uint8_t* row, uint8_t* planes) const
    {
        const auto plane = static_cast<size_t>(plane_bytes_);
        const auto width = static_cast<size_t>(width_);
        if (dib_bits_ == 24) {
            split_planes(row, planes, planes + plane, planes + 2 * plane, width);
            return planes;
        }
        if (dib_bits_ == 4) {
            split_bit_planes(row, width, planes, plane);
            return planes;
        }
        if (invert_)
            for (size_t i = 0; i < plane; ++i)
                row[i] = static_cast<uint8_t>(~row[i]);
        clear_row_padding(row, width_, dib_bits_);
        if (planes_ == 1) return row;
        std::memcpy(planes, row, (width + 7) / 8); // the lowest plane; the others stay 0
        return planes;
    }

    // Runs end with each plane, which every reader takes.
    void put_row(byte_sink& out, const uint8_t* planes) const
    {
        const auto plane = static_cast<size_t>(plane_bytes_);
        uint8_t* to = out.reserve(2 * plane * static_cast<size_t>(planes_) + 64);
        size_t made = 0;
        for (int32_t i = 0; i < planes_; ++i)
            made += pcx_encode(planes + static_cast<size_t>(i) * plane, plane, to + made);
        out.commit(made);
    }

    const BITMAPINFOHEADER* header_;
    row_source source_;
    int32_t width_, height_, dib_bits_;
    bool mono_, invert_;
    int32_t bits_, planes_;
    int64_t plane_bytes_;
};

} // namespace

int32_t pcx_write_image(HFILE file, const BITMAPINFOHEADER* header, const row_source& source)
{
    return pcx_writer(header, source).write(file);
}

int32_t save_pcx_file(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data)
{
    return pcx_write_image(file, header, {get_raster, private_data});
}
