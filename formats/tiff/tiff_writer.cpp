// tiff_writer.cpp - uncompressed, PackBits and LZW pages.
//
// Standard: TIFF 6.0 sections 3 to 6, 9 (PackBits) and 13 (LZW).

#include "formats/tiff/tiff_writer.h"

#include "core/byte_runs.h"
#include "core/packbits.h"
#include "core/row_convert.h"
#include "core/settings.h"
#include "formats/tiff/tiff_lzw_encoder.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int32_t uncompressed_strip_bytes = 64 * 1024;
constexpr int32_t lzw_strip_bytes = 8000;
constexpr size_t longest_packet = 127;
constexpr uint32_t sink_bytes = 64 * 1024;

struct row_sizes {
    int32_t dib;    // bytes of a DIB row
    int32_t stored; // bytes of a row in the file
};

row_sizes sizes_of(const BITMAPINFOHEADER& header)
{
    const int64_t bits = int64_t{header.biWidth} * header.biBitCount;
    return {size_for_long(header.biWidth, header.biBitCount), static_cast<int32_t>((bits + 7) / 8)};
}

// One row as it stands in the file; row has run_slack_bytes behind it.
int32_t get_stored_row(const BITMAPINFOHEADER& header, const row_source& source, uint8_t* row,
                       int32_t index)
{
    const int32_t dib_row = size_for_long(header.biWidth, header.biBitCount);
    if (int32_t err = source.get(row, index, dib_row); err < 0) return err;
    if (header.biBitCount == 24) swap_red_blue(row, row, static_cast<size_t>(header.biWidth));
    return 0;
}

int32_t write_plain_rows(HFILE sink, const BITMAPINFOHEADER& header, const row_source& source)
{
    const row_sizes row = sizes_of(header);
    const size_t room = static_cast<size_t>(row.dib) + run_slack_bytes;
    byte_sink out(sink, static_cast<uint32_t>(std::max<size_t>(room, sink_bytes)));
    if (!out.ok()) return err_memory;
    for (int32_t i = 0; i < header.biHeight; ++i) {
        if (int32_t err = get_stored_row(header, source, out.reserve(room), i); err < 0) return err;
        out.commit(static_cast<size_t>(row.stored));
    }
    return out.flush();
}

int32_t write_packed_rows(HFILE sink, const BITMAPINFOHEADER& header, const row_source& source)
{
    const row_sizes row = sizes_of(header);
    const auto stored = static_cast<size_t>(row.stored);
    const size_t room = packbits_bound(stored) + run_slack_bytes;
    const scratch_block buffer(static_cast<size_t>(row.dib) + run_slack_bytes);
    byte_sink out(sink, static_cast<uint32_t>(std::max<size_t>(room, sink_bytes)));
    if (!buffer || !out.ok()) return err_memory;
    std::memset(buffer.bytes(), 0, buffer.size());
    for (int32_t i = 0; i < header.biHeight; ++i) {
        if (int32_t err = get_stored_row(header, source, buffer.bytes(), i); err < 0) return err;
        out.commit(tiff_pack_row(buffer.bytes(), stored, out.reserve(room)));
    }
    return out.flush();
}

// The rows of one strip, side by side.
int32_t gather_strip(const BITMAPINFOHEADER& header, const row_source& source, int32_t first_row,
                     int32_t rows, uint8_t* to)
{
    const int32_t stored = sizes_of(header).stored;
    for (int32_t i = 0; i < rows; ++i, to += stored)
        if (int32_t err = get_stored_row(header, source, to, first_row + i); err < 0) return err;
    return 0;
}

int32_t write_lzw_strips(HFILE sink, const BITMAPINFOHEADER& header, const row_source& source,
                         tiff_page_writer& page)
{
    const int32_t rows = page.rows_per_strip();
    const auto stored = static_cast<size_t>(sizes_of(header).stored);
    const size_t strip_bytes = static_cast<size_t>(rows) * stored;
    const size_t strip_room = strip_bytes + 4 + run_slack_bytes; // the last row's padding
    const size_t code_room = lzw_bound(strip_bytes);
    tiff_lzw_encoder encoder;
    const scratch_block buffer(2 * (strip_room + code_room));
    byte_sink out(sink, sink_bytes);
    if (!buffer || !out.ok()) return err_memory;
    if (int32_t err = encoder.init_tif_lzw_save(); err < 0) return err;
    for (int32_t row = 0; row < header.biHeight;) {
        lzw_strip strips[2];
        for (int k = 0; k < 2; ++k) {
            uint8_t* const bytes = buffer.bytes() + static_cast<size_t>(k) * strip_room;
            uint8_t* const codes =
                buffer.bytes() + 2 * strip_room + static_cast<size_t>(k) * code_room;
            const int32_t now = std::min(rows, int32_t{header.biHeight} - row);
            strips[k] = {bytes, static_cast<size_t>(now) * stored, codes, 0};
            if (int32_t err = gather_strip(header, source, row, now, bytes); err < 0) return err;
            row += now;
        }
        encoder.encode_tif_lzw(strips[0], strips[1]);
        for (const lzw_strip& strip : strips) {
            if (strip.count == 0) continue;
            out.put(strip.codes, strip.code_bytes);
            page.add_strip(static_cast<uint32_t>(strip.code_bytes));
        }
    }
    return out.flush();
}

} // namespace

size_t tiff_pack_row(const uint8_t* row, size_t count, uint8_t* to)
{
    uint8_t* const start = to;
    for (size_t i = 0; i < count;) {
        // INTENDED: no run begins in the last three bytes, runs and literals end at 127, and a
        // literal ends in front of any two equal bytes, also where the second one lies behind
        // the row. All of it is good PackBits.
        const bool is_run = row[i] == row[i + 1] && row[i] == row[i + 2] && i + 3 < count;
        const size_t most = std::min(longest_packet, count - i);
        if (is_run) {
            const size_t length = run_length(row + i, most);
            *to++ = static_cast<uint8_t>(257 - length);
            *to++ = row[i];
            i += length;
            continue;
        }
        size_t length = row[i] == row[i + 1] ? 1 : 0;
        length += distance_to_pair(row + i + length, most - length);
        *to++ = static_cast<uint8_t>(length - 1);
        copy_bytes(to, row + i, length);
        to += length;
        i += length;
    }
    return static_cast<size_t>(to - start);
}

int32_t save_tiff_file(HFILE sink, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                       IMG_PRIVATE private_data)
{
    tiff_page_writer page(sink, header);
    const int32_t stored = sizes_of(*header).stored;
    // Interchange mode: strips of about 64 KB, which readers take one at a time.
    if (interchange_mode()) page.set_rows_per_strip(uncompressed_strip_bytes / stored);
    if (int32_t err = page.start_page(tiff_uncompressed); err < 0) return err;
    for (int32_t strip = 0; strip < page.strips(); ++strip) {
        const int32_t rows = std::min(page.rows_per_strip(),
                                      int32_t{header->biHeight} - strip * page.rows_per_strip());
        page.add_strip(static_cast<uint32_t>(rows) * static_cast<uint32_t>(stored));
    }
    if (int32_t err = write_plain_rows(sink, *header, {get_raster, private_data}); err < 0)
        return err;
    return page.finish_page();
}

int32_t save_tiff_file_packbits(HFILE sink, const BITMAPINFOHEADER* header,
                                IMG_GET_RASTER get_raster, IMG_PRIVATE private_data)
{
    if (header->biBitCount != 1) return err_unsupported;
    tiff_page_writer page(sink, header);
    if (int32_t err = page.start_page(tiff_packbits); err < 0) return err;
    if (int32_t err = write_packed_rows(sink, *header, {get_raster, private_data}); err < 0)
        return err;
    return page.finish_page();
}

int32_t save_tiff_file_lzw(HFILE sink, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                           IMG_PRIVATE private_data)
{
    tiff_page_writer page(sink, header);
    page.set_rows_per_strip(lzw_strip_bytes / sizes_of(*header).dib);
    // INTENDED: in classic mode LZW pages are never appended.
    if (int32_t err = interchange_mode() ? page.start_page(tiff_lzw) : page.start_file(tiff_lzw);
        err < 0)
        return err;
    if (int32_t err = write_lzw_strips(sink, *header, {get_raster, private_data}, page); err < 0)
        return err;
    return page.finish_page();
}
