// wmf_writer.cpp - writes a placeable metafile whose units are pixels: window, stretch mode,
// one StretchDIB of an uncompressed bottom-up bitmap, end. Nothing else is understood by
// every player.

#include "formats/wmf/wmf_writer.h"

#include "core/row_convert.h"
#include "formats/wmf/wmf_file.h"

#include <algorithm>
#include <initializer_list>

namespace {

constexpr int32_t largest_side = 32767;
constexpr int32_t largest_units_per_inch = 1439;
constexpr int32_t usual_dpi = 96;
constexpr uint32_t delete_rows = 3;  // the stretch mode for colours
constexpr uint32_t front_words = 14; // of StretchDIB, in front of its bitmap

class wmf_writer {
public:
    wmf_writer(HFILE file, const BITMAPINFOHEADER* header, const row_source& source)
        : file_(file), header_(header), source_(source), width_(header->biWidth),
          height_(header->biHeight), bits_(header->biBitCount)
    {
    }

    int32_t write()
    {
        if (width_ > largest_side || height_ > largest_side) return err_unsupported;
        stride_ = size_for_long(width_, bits_);
        const int64_t bitmap_bytes =
            wmf_info_header_bytes + int64_t{Palette_Size(header_)} + int64_t{stride_} * height_;
        bitmap_words_ = static_cast<uint32_t>(bitmap_bytes / 2);
        byte_sink out(file_);
        scratch_block row(static_cast<size_t>(stride_) + 4);
        if (!out.ok() || !row) return err_memory;
        measure();
        put_placement(out);
        put_records_in_front(out);
        put_bitmap_header(out);
        for (int32_t y = height_; y-- > 0 && !out.failed();) {
            if (int32_t err = source_.get(row.bytes(), y, stride_); err < 0) return err;
            clear_row_padding(row.bytes(), width_, bits_);
            out.put(row.bytes(), static_cast<size_t>(stride_));
        }
        out.put_u32le(wmf_smallest_record);
        out.put_u16le(wmf_end);
        return out.flush();
    }

private:
    // Pixels are not square when the resolutions differ: the picture is drawn higher or lower.
    void measure()
    {
        const int64_t x_dpi = header_->biXPelsPerMeter, y_dpi = header_->biYPelsPerMeter;
        const bool known = x_dpi > 0 && y_dpi > 0;
        units_per_inch_ = static_cast<uint32_t>(
            std::clamp<int64_t>(known ? x_dpi : usual_dpi, 1, largest_units_per_inch));
        drawn_height_ = static_cast<uint32_t>(height_);
        if (!known || x_dpi == y_dpi) return;
        const int64_t drawn = (height_ * x_dpi + y_dpi / 2) / y_dpi;
        if (drawn >= 1 && drawn <= largest_side) drawn_height_ = static_cast<uint32_t>(drawn);
    }

    void put_placement(byte_sink& out) const
    {
        uint8_t bytes[wmf_placeable_bytes] = {};
        store_u32le(bytes, wmf_placeable_key);
        store_u16le(bytes + 10, static_cast<uint32_t>(width_));
        store_u16le(bytes + 12, drawn_height_);
        store_u16le(bytes + 14, units_per_inch_);
        uint32_t checksum = 0;
        for (int at = 0; at < 20; at += 2)
            checksum ^= load_u16le(bytes + at);
        store_u16le(bytes + 20, checksum);
        out.put(bytes, sizeof bytes);
    }

    void put_records_in_front(byte_sink& out) const
    {
        const auto width = static_cast<uint32_t>(width_), height = static_cast<uint32_t>(height_);
        out.put_u16le(1); // in memory, which is what most players ask for
        out.put_u16le(wmf_header_words);
        out.put_u16le(0x0300);
        out.put_u32le(40 + bitmap_words_);          // the whole metafile
        out.put_u16le(0);                           // no objects
        out.put_u32le(front_words + bitmap_words_); // the largest record
        out.put_u16le(0);

        put_record(out, 5, wmf_set_window_origin, {0, 0});
        put_record(out, 5, wmf_set_window_extent, {drawn_height_, width});
        put_record(out, 4, wmf_set_stretch_mode, {delete_rows});
        put_record(out, front_words + bitmap_words_, wmf_stretch_dib,
                   {wmf_source_copy & 0xFFFF, wmf_source_copy >> 16, 0, height, width, 0, 0,
                    drawn_height_, width, 0, 0});
    }

    static void put_record(byte_sink& out, uint32_t words, uint32_t function,
                           std::initializer_list<uint32_t> parameters)
    {
        out.put_u32le(words);
        out.put_u16le(function);
        for (uint32_t parameter : parameters)
            out.put_u16le(parameter);
    }

    void put_bitmap_header(byte_sink& out) const
    {
        // Dots per inch here, dots per metre there.
        const auto per_metre = [](LONG dpi) {
            return dpi > 0 ? static_cast<uint32_t>((int64_t{dpi} * 10000 + 127) / 254) : 0u;
        };
        const auto colors = static_cast<uint32_t>(palette_entries(bits_));
        out.put_u32le(wmf_info_header_bytes);
        out.put_u32le(static_cast<uint32_t>(width_));
        out.put_u32le(static_cast<uint32_t>(height_));
        out.put_u16le(1);
        out.put_u16le(static_cast<uint32_t>(bits_));
        out.put_u32le(wmf_plain);
        out.put_u32le(static_cast<uint32_t>(int64_t{stride_} * height_));
        out.put_u32le(per_metre(header_->biXPelsPerMeter));
        out.put_u32le(per_metre(header_->biYPelsPerMeter));
        out.put_u32le(colors);
        out.put_u32le(0);
        for (uint32_t i = 0; i < colors; ++i) {
            const RGBQUAD& color = dib_colors(header_)[i];
            out.put(color.rgbBlue);
            out.put(color.rgbGreen);
            out.put(color.rgbRed);
            out.put(uint8_t{0});
        }
    }

    HFILE file_;
    const BITMAPINFOHEADER* header_;
    row_source source_;
    int32_t width_, height_, bits_;
    int32_t stride_ = 0;
    uint32_t bitmap_words_ = 0; // header, colours and rows
    uint32_t units_per_inch_ = usual_dpi;
    uint32_t drawn_height_ = 0;
};

} // namespace

int32_t save_wmf_file(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data)
{
    return wmf_writer(file, header, {get_raster, private_data}).write();
}
