// bmp_reader.cpp - reads Windows and OS/2 bitmap files into a DIB: plain rows here, run-length
// codes in bmp_rle_decoder.cpp. Files store the bottom row first. 16-bit pixels come out as
// 24 bits.

#include "formats/bmp/bmp_reader.h"

#include "core/byte_stream.h"
#include "core/settings.h"
#include "formats/bmp/bmp_file.h"
#include "formats/bmp/bmp_header.h"
#include "formats/bmp/bmp_rle.h"

#include <algorithm>

namespace {

// Rows are read in pieces that are still in the processor's cache when they are copied on.
constexpr int32_t chunk_bytes = 256 * 1024;

void invert_row(uint8_t* row, int32_t count)
{
    for (int32_t i = 0; i < count; ++i)
        row[i] ^= 0xFF;
}

// INTENDED: classic reading shifts 5 bits to 8, so full white is 248; interchange mode scales
// to the full range, as other programs do.
uint8_t widen_field(uint32_t pixel, const bmp_field& field, bool full_range)
{
    if (field.highest == 0) return 0;
    const uint64_t value = (pixel & field.mask) >> field.shift;
    if (full_range) return static_cast<uint8_t>((value * 255 + field.highest / 2) / field.highest);
    return static_cast<uint8_t>(value << 3);
}

class plain_decoder {
public:
    plain_decoder(HFILE file, bmp_header& bmp, const row_sink& sink)
        : file_(file), bmp_(bmp), sink_(sink)
    {
    }

    // Data that end early give the rows so far, the last of them filled up with zeros.
    int32_t decode()
    {
        const int32_t row_bytes = bmp_.stored_row_bytes;
        const int32_t height = bmp_.dib.info.biHeight;
        const int32_t chunk_rows = std::clamp(chunk_bytes / row_bytes, 1, height);
        if (!allocate(chunk_rows)) return err_memory;
        for (int32_t done = 0; done < height;) {
            const int32_t wanted = std::min(chunk_rows, height - done);
            const int32_t got =
                std::max(img_read_mem(file_, chunk_.bytes(), wanted * row_bytes), 0);
            std::memset(chunk_.bytes() + got, 0, static_cast<size_t>(wanted * row_bytes - got));
            const int32_t rows = (got + row_bytes - 1) / row_bytes;
            for (int32_t i = 0; i < rows; ++i, ++done)
                if (int32_t err = deliver(chunk_.bytes() + i * row_bytes, done); err < 0)
                    return err;
            if (rows < wanted) break;
        }
        return 1;
    }

private:
    bool allocate(int32_t chunk_rows)
    {
        if (!chunk_.allocate(static_cast<size_t>(chunk_rows) *
                             static_cast<size_t>(bmp_.stored_row_bytes)))
            return false;
        if (bmp_.pixels != bmp_pixels::from_fields) return true;
        if (!wide_.allocate(static_cast<size_t>(delivered_bytes()))) return false;
        std::memset(wide_.bytes(), 0, wide_.size());
        return true;
    }

    int32_t delivered_bytes() const
    {
        return size_for_long(bmp_.dib.info.biWidth, bmp_.dib.info.biBitCount);
    }

    int32_t deliver(uint8_t* stored, int32_t stored_index)
    {
        const int32_t row_index =
            bmp_.top_down ? stored_index : bmp_.dib.info.biHeight - 1 - stored_index;
        if (bmp_.pixels == bmp_pixels::inverted) invert_row(stored, bmp_.stored_row_bytes);
        if (bmp_.pixels == bmp_pixels::from_fields) {
            expand_fields(stored);
            stored = wide_.bytes();
        }
        return sink_.put(stored, row_index, delivered_bytes());
    }

    void expand_fields(const uint8_t* from)
    {
        const bool full_range = interchange_mode();
        const bool wide = bmp_.stored_row_bytes >= 4 * bmp_.dib.info.biWidth;
        uint8_t* to = wide_.bytes();
        for (int32_t x = 0; x < bmp_.dib.info.biWidth; ++x, to += 3) {
            const uint32_t pixel = wide ? load_u32le(from + 4 * x) : load_u16le(from + 2 * x);
            for (size_t c = 0; c < 3; ++c)
                to[c] = widen_field(pixel, bmp_.fields[c], full_range);
        }
    }

    HFILE file_;
    bmp_header& bmp_;
    row_sink sink_;
    scratch_block chunk_;
    scratch_block wide_; // a row of expanded pixels
};

int32_t decode_rows(HFILE file, bmp_header& bmp, const row_sink& sink)
{
    switch (bmp.compression) {
    case BI_RGB: return plain_decoder(file, bmp, sink).decode();
    case BI_RLE8: return decode_bmp_rle8(file, bmp.dib.info, sink);
    case BI_RLE4: return decode_bmp_rle4(file, bmp.dib.info, sink);
    default: return 1; // unknown: a header without rows
    }
}

} // namespace

int32_t open_bmp(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                 IMG_SET_HEADER set_header, HFILE file)
{
    const row_sink sink{put_raster, set_header, private_data};
    bmp_header bmp{};
    if (int32_t err = bmp_read_header(bmp, file, start_offset(start)); err < 0) return err;
    if (int32_t err = sink.begin(&bmp.dib.info); err < 0) return err;
    const int64_t data = int64_t{start_offset(start)} + bmp.data_offset;
    img_seek_mem(file, static_cast<int32_t>(std::min<int64_t>(data, INT32_MAX)), seek_from_start);
    return decode_rows(file, bmp, sink);
}

int32_t bmp_get_filetype(HFILE file)
{
    uint8_t bytes[bmp_file_header_bytes + bmp_info_header_bytes] = {};
    img_read_mem(file, bytes, sizeof bytes);
    // INTENDED: the compression field is looked at where the Windows header has it, also in
    // OS/2 files, whose 12-byte header ends before it. Interchange mode looks at the size.
    if (interchange_mode() && load_u32le(bytes + bmp_file_header_bytes) < bmp_info_header_bytes)
        return 1;
    return load_u32le(bytes + bmp_file_header_bytes + 16) != BI_RGB ? 12 : 1;
}
