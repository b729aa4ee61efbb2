// pcx_reader.cpp - reads PCX images into DIB rows: 1 bit in 1 to 4 planes, 2, 4 and 8 bits,
// 8 bits in 3 or 4 planes.
//
// Format: the ZSoft PCX technical reference, revision 5. What ends inside its rows gives the
// rows so far and index 0 for the rest; without one whole row there is no picture.

#include "formats/pcx/pcx_reader.h"

#include "core/row_convert.h"
#include "formats/pcx/pcx_header.h"
#include "formats/pcx/pcx_rle.h"

#include <algorithm>
#include <cstring>

namespace {

class pcx_reader {
public:
    pcx_reader(byte_source& in, const pcx_ends& ends, pcx_colors_at colors, const row_sink& sink)
        : in_(in), ends_(ends), colors_at_(colors), sink_(sink)
    {
    }

    int32_t read()
    {
        if (int32_t err = pcx_read_header(in_, header_); err < 0) return err;
        const int32_t data = in_.tell();
        if (cannot_be_complete(data)) return err_format;
        dib_.set(header_.width, header_.height, header_.dib_bits());
        pcx_set_resolution(header_, dib_.info);
        if (int32_t err = set_colors(data); err < 0) return err;
        return read_rows();
    }

private:
    // The best compression makes 63 bytes of 2, so a huge window in a small file is refused
    // before anything is allocated for it.
    bool cannot_be_complete(int32_t data) const
    {
        if (ends_.last < 0) return false;
        const uint64_t stored = ends_.last > data ? static_cast<uint64_t>(ends_.last - data) : 0;
        return stored < header_.total_bytes() / 32;
    }

    int32_t set_colors(int32_t data)
    {
        if (header_.bits == 8 && header_.planes == 1) {
            if (!read_vga_colors(data)) grey_ramp();
            in_.seek(data);
        } else if (dib_.info.biBitCount != 24) {
            pcx_header_colors(header_, dib_.colors);
        }
        if (dib_.info.biBitCount == 1) inverted_ = order_black_white(dib_.colors);
        return sink_.begin(&dib_.info);
    }

    // The 256 colours stand at the end of the file or page, also where something lies between
    // them and the pixels; or behind the pixels, where something follows them. A marker byte
    // among the pixels does not count.
    bool read_vga_colors(int32_t data)
    {
        if (!pcx_decoder(in_, header_.encoding).skip(header_.total_bytes())) return false;
        const int32_t pixels_end = in_.tell();
        const int32_t at_end = ends_.stated - static_cast<int32_t>(pcx_vga_palette_bytes);
        const bool end_possible = ends_.stated > data && at_end >= pixels_end;
        if (end_possible && colors_at_ == pcx_colors_at::data_end && read_vga_colors_at(at_end))
            return true;
        return read_vga_colors_at(pixels_end) || (end_possible && read_vga_colors_at(at_end));
    }

    bool read_vga_colors_at(int32_t position)
    {
        uint8_t bytes[pcx_vga_palette_bytes];
        in_.seek(position);
        if (in_.read(bytes, sizeof bytes) != sizeof bytes || bytes[0] != pcx_vga_marker)
            return false;
        pcx_copy_colors(bytes + 1, 256, dib_.colors);
        return true;
    }

    void grey_ramp()
    {
        for (int i = 0; i < 256; ++i) {
            const auto level = static_cast<BYTE>(i);
            dib_.colors[i] = {level, level, level, 0};
        }
    }

    int32_t read_rows()
    {
        const int32_t stride = size_for_long(header_.width, dib_.info.biBitCount);
        const size_t row_bytes = header_.row_bytes();
        scratch_block stored(std::max(row_bytes, static_cast<size_t>(stride)) + run_slack_bytes);
        scratch_block converted(static_cast<size_t>(stride) + run_slack_bytes);
        if (!stored || !converted) return err_memory;

        pcx_decoder decoder(in_, header_.encoding);
        for (int32_t y = 0; y < header_.height; ++y) {
            const size_t got = decoder.decode(stored.bytes(), row_bytes);
            if (got < row_bytes) {
                if (in_.failed()) return err_corrupt;
                if (y == 0) return err_format;
                std::memset(stored.bytes() + got, 0, row_bytes - got);
            }
            uint8_t* row = convert(stored.bytes(), converted.bytes());
            clear_row_padding(row, header_.width, dib_.info.biBitCount);
            if (int32_t err = sink_.put(row, y, stride); err < 0) return err;
        }
        return 1;
    }

    // Where the stored row is a DIB row already it stays where it is.
    uint8_t* convert(uint8_t* stored, uint8_t* converted) const
    {
        const size_t plane = header_.plane_bytes;
        const auto width = static_cast<size_t>(header_.width);
        if (header_.planes >= 3 && header_.bits == 8) {
            interleave_planes(stored, stored + plane, stored + 2 * plane, converted, width);
        } else if (header_.planes > 1) {
            merge_bit_planes(stored, plane, header_.planes, converted, width);
        } else if (header_.bits == 2) {
            widen_2_to_4(stored, converted, width);
        } else {
            if (inverted_)
                for (size_t i = 0; i < plane; ++i)
                    stored[i] = static_cast<uint8_t>(~stored[i]);
            return stored;
        }
        return converted;
    }

    byte_source& in_;
    pcx_ends ends_;
    pcx_colors_at colors_at_;
    row_sink sink_;
    pcx_header header_{};
    dib_header dib_;
    bool inverted_ = false;
};

} // namespace

int32_t pcx_read_image(byte_source& in, const pcx_ends& ends, pcx_colors_at colors,
                       const row_sink& sink)
{
    return pcx_reader(in, ends, colors, sink).read();
}

int32_t open_pcx(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                 IMG_SET_HEADER set_header, HFILE file)
{
    img_seek_mem(file, start_offset(start), seek_from_start);
    byte_source in(file);
    if (!in.ok()) return err_memory;
    const int32_t end = img_data_end(file);
    return pcx_read_image(in, {end, end}, pcx_colors_at::data_end,
                          {put_raster, set_header, private_data});
}
