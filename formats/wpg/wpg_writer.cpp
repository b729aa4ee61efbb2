// wpg_writer.cpp - writes a start record, a colour map, a bitmap of the first type and an end
// record. Version 1 has no 24-bit form, and its readers take 1-bit bitmaps as black and
// white, so two other colours are written with 4 bits.

#include "formats/wpg/wpg_writer.h"

#include "core/byte_stream.h"
#include "core/row_convert.h"
#include "formats/wpg/wpg_file.h"
#include "formats/wpg/wpg_runs.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

constexpr int32_t largest_side = 65535;
constexpr int32_t units_per_inch = 1200;
constexpr int32_t usual_dpi = 75;
constexpr uint32_t most_repeats = 255;

class wpg_writer {
public:
    wpg_writer(HFILE file, const BITMAPINFOHEADER* header, const row_source& source)
        : file_(file), header_(header), source_(source), width_(header->biWidth),
          height_(header->biHeight), dib_bits_(header->biBitCount)
    {
        mono_ = dib_bits_ == 1 && is_black_white(dib_colors(header));
        invert_ = mono_ && dib_colors(header)[0].rgbRed == 255;
        bits_ = dib_bits_ == 1 && !mono_ ? 4 : dib_bits_;
        row_bytes_ = (static_cast<size_t>(width_) * static_cast<size_t>(bits_) + 7) / 8;
    }

    int32_t write()
    {
        if (dib_bits_ == 24 || width_ > largest_side || height_ > largest_side)
            return err_unsupported;
        byte_sink out(file_,
                      static_cast<uint32_t>(std::max<size_t>(65536, wpg1_row_bound(row_bytes_))));
        if (!out.ok()) return err_memory;
        const int32_t start = img_tell(file_);
        put_front(out);
        const uint64_t body = out.written();
        put_bitmap_head(out);
        if (int32_t err = put_rows(out); err < 0) return err;
        const uint64_t length = out.written() - body;
        out.put(uint8_t{wpg1_end});
        out.put(uint8_t{0});
        if (int32_t err = out.flush(); err < 0) return err;
        return patch_length(start + static_cast<int64_t>(body) - 4, length);
    }

private:
    void put_front(byte_sink& out) const
    {
        out.put(wpg_signature, sizeof wpg_signature);
        out.put_u32le(wpg_prefix_bytes);
        out.put(uint8_t{1}); // product
        out.put(wpg_graphics_type);
        out.put_u16le(1); // version 1.0
        out.put_u32le(0); // not encrypted
        put_start(out);
        put_color_map(out);
        out.put(uint8_t{wpg1_bitmap_1});
        put_long_length(out, 0);
    }

    // The longest form, which can be filled in when the length is known.
    static void put_long_length(byte_sink& out, uint32_t length)
    {
        out.put(uint8_t{0xFF});
        out.put_u16le(0x8000 | length >> 16);
        out.put_u16le(length);
    }

    void put_start(byte_sink& out) const
    {
        out.put(uint8_t{wpg1_start});
        out.put(uint8_t{6});
        out.put(uint8_t{1}); // version
        out.put(uint8_t{0});
        // The drawing's size has 16 bits: large pictures get a finer resolution.
        const int64_t largest = std::max(width_, height_);
        const auto finest = static_cast<int32_t>((largest * units_per_inch + 65534) / 65535);
        const auto units = [&](int32_t pixels, int32_t dpi) {
            return static_cast<uint32_t>(int64_t{pixels} * units_per_inch / std::max(dpi, finest));
        };
        out.put_u16le(units(width_, dpi(header_->biXPelsPerMeter)));
        out.put_u16le(units(height_, dpi(header_->biYPelsPerMeter)));
    }

    static int32_t dpi(LONG stated)
    {
        return stated > 0 && stated <= 65535 ? static_cast<int32_t>(stated) : usual_dpi;
    }

    void put_color_map(byte_sink& out) const
    {
        constexpr RGBQUAD black_white[2] = {{0, 0, 0, 0}, {255, 255, 255, 0}};
        const RGBQUAD* colors = mono_ ? black_white : dib_colors(header_);
        const int32_t known = palette_entries(dib_bits_), count = 1 << bits_;
        const auto length = static_cast<uint32_t>(4 + 3 * count);
        out.put(uint8_t{wpg1_color_map});
        if (length >= 0xFF) {
            out.put(uint8_t{0xFF});
            out.put_u16le(length);
        } else {
            out.put(static_cast<uint8_t>(length));
        }
        out.put_u16le(0);
        out.put_u16le(static_cast<uint32_t>(count));
        for (int32_t i = 0; i < count; ++i) {
            const RGBQUAD color = i < known ? colors[i] : RGBQUAD{};
            out.put(color.rgbRed);
            out.put(color.rgbGreen);
            out.put(color.rgbBlue);
        }
    }

    void put_bitmap_head(byte_sink& out) const
    {
        out.put_u16le(static_cast<uint32_t>(width_));
        out.put_u16le(static_cast<uint32_t>(height_));
        out.put_u16le(static_cast<uint32_t>(bits_));
        out.put_u16le(static_cast<uint32_t>(dpi(header_->biXPelsPerMeter)));
        out.put_u16le(static_cast<uint32_t>(dpi(header_->biYPelsPerMeter)));
    }

    int32_t put_rows(byte_sink& out) const
    {
        const auto stride = static_cast<size_t>(size_for_long(width_, dib_bits_));
        const size_t room = std::max(stride, row_bytes_) + run_slack_bytes;
        scratch_block first(room), second(room), widened(bits_ == dib_bits_ ? 1 : room);
        if (!first || !second || !widened) return err_memory;
        std::memset(first.bytes(), 0, room);
        std::memset(second.bytes(), 0, room);

        uint8_t *row = first.bytes(), *above = second.bytes();
        uint32_t repeats = 0;
        for (int32_t y = 0; y < height_ && !out.failed(); ++y) {
            if (int32_t err = source_.get(row, y, static_cast<int32_t>(stride)); err < 0)
                return err;
            prepare(row, widened.bytes());
            if (y > 0 && std::memcmp(row, above, row_bytes_) == 0) {
                if (++repeats == most_repeats) put_repeats(out, repeats);
                continue;
            }
            put_repeats(out, repeats);
            out.commit(wpg1_encode(row, row_bytes_, out.reserve(wpg1_row_bound(row_bytes_))));
            std::swap(row, above);
        }
        put_repeats(out, repeats);
        return 0;
    }

    static void put_repeats(byte_sink& out, uint32_t& repeats)
    {
        if (repeats == 0) return;
        out.put(uint8_t{0});
        out.put(static_cast<uint8_t>(repeats));
        repeats = 0;
    }

    void prepare(uint8_t* row, uint8_t* widened) const
    {
        if (invert_)
            for (size_t i = 0; i < row_bytes_; ++i)
                row[i] = static_cast<uint8_t>(~row[i]);
        clear_row_padding(row, width_, dib_bits_);
        if (bits_ == dib_bits_) return;
        merge_bit_planes(row, 0, 1, widened, static_cast<size_t>(width_));
        std::memcpy(row, widened, row_bytes_);
    }

    int32_t patch_length(int64_t at, uint64_t length) const
    {
        uint8_t bytes[4];
        if (length > INT32_MAX || at > INT32_MAX) return err_write;
        store_u16le(bytes, 0x8000 | static_cast<uint32_t>(length >> 16));
        store_u16le(bytes + 2, static_cast<uint32_t>(length));
        return img_overwrite(file_, static_cast<int32_t>(at), bytes, sizeof bytes);
    }

    HFILE file_;
    const BITMAPINFOHEADER* header_;
    row_source source_;
    int32_t width_, height_, dib_bits_;
    bool mono_, invert_;
    int32_t bits_; // stored
    size_t row_bytes_;
};

} // namespace

int32_t save_wpg_file(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data)
{
    return wpg_writer(file, header, {get_raster, private_data}).write();
}
