// pict_writer.cpp - writes an extended version 2 picture: one bitmap, or several side by side
// where a row would be longer than its length field can tell.
//
// 1-bit images are written as pixel maps with two colours, because readers show plain bitmaps
// in different ways.

#include "formats/pict/pict_writer.h"

#include "core/byte_runs.h"
#include "core/packbits.h"
#include "core/row_convert.h"
#include "formats/pict/pict_file.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int32_t largest_side = 32767;
constexpr int32_t longest_row = 0x3FFE;
constexpr uint32_t pack_planes = 4;

class pict_writer {
public:
    pict_writer(HFILE file, const BITMAPINFOHEADER* header, const row_source& source)
        : file_(file), header_(header), source_(source), width_(header->biWidth),
          height_(header->biHeight), bits_(header->biBitCount)
    {
        x_dpi_ = dpi(header->biXPelsPerMeter);
        y_dpi_ = dpi(header->biYPelsPerMeter);
    }

    int32_t write()
    {
        if (width_ > largest_side || height_ > largest_side) return err_unsupported;
        byte_sink out(file_, 128 * 1024);
        stride_ = size_for_long(width_, bits_);
        const size_t room = static_cast<size_t>(stride_) + longest_row + run_slack_bytes;
        if (!out.ok() || !row_.allocate(room) || !planes_.allocate(room)) return err_memory;
        std::memset(row_.bytes(), 0, room);
        std::memset(planes_.bytes(), 0, room);

        const int32_t start = img_tell(file_);
        put_front(out);
        const int32_t widest = widest_tile();
        for (int32_t left = 0; left < width_; left += widest)
            if (int32_t err = put_bitmap(out, left, std::min(widest, width_ - left)); err < 0)
                return err;
        out.put_u16be(op_end);
        if (int32_t err = out.flush(); err < 0) return err;
        return patch_size(start, out.written());
    }

private:
    static uint32_t dpi(LONG stated)
    {
        return stated > 0 && stated <= 32767 ? static_cast<uint32_t>(stated) : pict_usual_dpi;
    }

    // A multiple of 8 pixels unless it is the whole width.
    int32_t widest_tile() const
    {
        const int32_t fitting = longest_row * 8 / (bits_ == 24 ? 32 : bits_);
        return width_ <= fitting ? width_ : fitting & ~7;
    }

    // Even, and never in the range where readers disagree about the size of a row's count.
    int32_t row_bytes(int32_t width) const
    {
        if (bits_ == 24) return std::max(4 * width, 8);
        const int32_t bytes = std::max(((width * bits_ + 7) / 8 + 1) & ~1, 8);
        return bytes >= 202 && bytes <= 250 ? 252 : bytes;
    }

    void put_rect(byte_sink& out, int32_t left, int32_t width, int32_t height) const
    {
        out.put_u16be(0);
        out.put_u16be(static_cast<uint32_t>(left));
        out.put_u16be(static_cast<uint32_t>(height));
        out.put_u16be(static_cast<uint32_t>(left + width));
    }

    void put_front(byte_sink& out) const
    {
        // The bounding box is in points.
        const auto points = [](int32_t pixels, uint32_t dpi_value) {
            const int64_t rounded = (int64_t{pixels} * 72 + dpi_value / 2) / dpi_value;
            return static_cast<int32_t>(std::clamp<int64_t>(rounded, 1, largest_side));
        };
        out.put_zeros(pict_preamble_bytes);
        out.put_u16be(0); // low half of the size, filled in at the end
        put_rect(out, 0, points(width_, x_dpi_), points(height_, y_dpi_));
        out.put_u16be(op_version);
        out.put_u16be(0x02FF);
        out.put_u16be(op_header);
        out.put_u16be(0xFFFE); // extended
        out.put_u16be(0);
        out.put_u32be(x_dpi_ << 16);
        out.put_u32be(y_dpi_ << 16);
        put_rect(out, 0, width_, height_);
        out.put_u32be(0);
        out.put_u16be(op_clip); // without a region nothing would be drawn
        out.put_u16be(10);
        put_rect(out, 0, width_, height_);
    }

    int32_t put_bitmap(byte_sink& out, int32_t left, int32_t width)
    {
        const bool direct = bits_ == 24;
        out.put_u16be(direct ? op_direct_rect : op_pack_rect);
        if (direct) out.put_u32be(0xFF); // base address
        out.put_u16be(static_cast<uint32_t>(row_bytes(width)) | pict_pixmap_flag);
        put_rect(out, 0, width, height_);
        out.put_u16be(0); // version
        out.put_u16be(direct ? pack_planes : 0);
        out.put_u32be(0);
        out.put_u32be(x_dpi_ << 16);
        out.put_u32be(y_dpi_ << 16);
        out.put_u16be(direct ? 16 : 0);
        out.put_u16be(direct ? 32 : static_cast<uint32_t>(bits_));
        out.put_u16be(direct ? 3 : 1);
        out.put_u16be(direct ? 8 : static_cast<uint32_t>(bits_));
        out.put_zeros(12);
        if (!direct) put_colors(out);
        put_rect(out, 0, width, height_);
        put_rect(out, left, width, height_);
        out.put_u16be(0); // copy
        if (int32_t err = put_rows(out, left, width); err < 0) return err;
        if (out.written() % 2 != 0) out.put(uint8_t{0});
        return 0;
    }

    void put_colors(byte_sink& out) const
    {
        const RGBQUAD* colors = dib_colors(header_);
        const auto count = static_cast<uint32_t>(palette_entries(bits_));
        out.put_u32be(0);
        out.put_u16be(0);
        out.put_u16be(count - 1);
        for (uint32_t i = 0; i < count; ++i) {
            out.put_u16be(i);
            out.put_u16be(colors[i].rgbRed * 257u);
            out.put_u16be(colors[i].rgbGreen * 257u);
            out.put_u16be(colors[i].rgbBlue * 257u);
        }
    }

    int32_t put_rows(byte_sink& out, int32_t left, int32_t width)
    {
        const auto length = static_cast<size_t>(row_bytes(width));
        const size_t plain = bits_ == 24 ? length / 4 * 3 : length;
        const bool wide_count = length > pict_widest_short_count;
        for (int32_t y = 0; y < height_ && !out.failed(); ++y) {
            if (int32_t err = source_.get(row_.bytes(), y, stride_); err < 0) return err;
            uint8_t* to = out.reserve(2 + packbits_bound(plain));
            uint8_t* const packed = to + (wide_count ? 2 : 1);
            const size_t count = packbits_pack(arrange(left, width), plain, packed);
            if (wide_count)
                store_u16be(to, static_cast<uint32_t>(count));
            else
                *to = static_cast<uint8_t>(count);
            out.commit(static_cast<size_t>(packed - to) + count);
        }
        return 0;
    }

    // The tile's part of the row as it is stored, zeros behind its last pixel.
    uint8_t* arrange(int32_t left, int32_t width)
    {
        uint8_t* const row = row_.bytes();
        uint8_t* const planes = planes_.bytes();
        if (bits_ == 24) {
            const auto plane = static_cast<size_t>(row_bytes(width) / 4);
            std::memset(planes, 0, 8); // planes of a single pixel have two bytes
            split_planes(row + 3 * left, planes, planes + plane, planes + 2 * plane,
                         static_cast<size_t>(width));
            return planes;
        }
        const auto bytes = static_cast<size_t>((int64_t{width} * bits_ + 7) / 8);
        if (width == width_) {
            clear_row_padding(row, width, bits_);
            if (static_cast<size_t>(stride_) < static_cast<size_t>(row_bytes(width)))
                std::memset(row + stride_, 0, static_cast<size_t>(row_bytes(width) - stride_));
            return row;
        }
        std::memcpy(planes, row + int64_t{left} * bits_ / 8, bytes);
        std::memset(planes + bytes, 0, static_cast<size_t>(row_bytes(width)) - bytes);
        clear_row_padding(planes, width, bits_);
        return planes;
    }

    int32_t patch_size(int32_t start, uint64_t written) const
    {
        uint8_t bytes[2];
        store_u16be(bytes, static_cast<uint32_t>(written - pict_preamble_bytes) & 0xFFFF);
        return img_overwrite(file_, start + pict_preamble_bytes, bytes, sizeof bytes);
    }

    HFILE file_;
    const BITMAPINFOHEADER* header_;
    row_source source_;
    int32_t width_, height_, bits_;
    int32_t stride_ = 0;
    uint32_t x_dpi_, y_dpi_;
    scratch_block row_, planes_;
};

} // namespace

int32_t save_pct_file(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data)
{
    return pict_writer(file, header, {get_raster, private_data}).write();
}
