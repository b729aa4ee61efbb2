// targa_writer.cpp - writes Targa files. Classic ones are uncompressed, bottom row first; in
// interchange mode they are run-length encoded, top row first, which every reader shows
// upright: some leave files with the bottom row first upside down unless told otherwise.

#include "formats/targa/targa_writer.h"

#include "core/byte_stream.h"
#include "core/dib_rows.h"
#include "core/settings.h"
#include "formats/targa/targa_format.h"
#include "formats/targa/targa_runs.h"

namespace {

enum class targa_layout { classic, interchange };

// 1 for 24 bits, or when any entry of the colour table is not grey.
int32_t tga_is_color(const BITMAPINFOHEADER* header)
{
    return has_color(header);
}

// True when index i has grey i, as readers take the pixels of a grey file.
bool is_grey_ramp(const BITMAPINFOHEADER* header)
{
    for (int32_t i = 0; i < 256; ++i)
        if (dib_colors(header)[i].rgbGreen != i) return false;
    return true;
}

targa_image_type image_type(const BITMAPINFOHEADER* header)
{
    if (header->biBitCount != 8) return targa_true_color;
    if (tga_is_color(header)) return targa_mapped;
    // INTENDED: in classic mode any order of greys is a grey file, the indices its levels.
    return is_grey_ramp(header) || !interchange_mode() ? targa_grey : targa_mapped;
}

void write_header(byte_sink& sink, const BITMAPINFOHEADER* header, targa_image_type type,
                  targa_layout layout)
{
    const bool interchange = layout == targa_layout::interchange;
    const bool mapped = type == targa_mapped;
    sink.put(uint8_t{0}); // length of the image ID
    sink.put(uint8_t{mapped});
    sink.put(static_cast<uint8_t>(type + (interchange ? targa_run_length : 0)));
    sink.put_u16le(0); // first map index
    sink.put_u16le(mapped ? 256 : 0);
    sink.put(mapped ? uint8_t{24} : uint8_t{0});
    sink.put_zeros(4); // origin
    sink.put_u16le(static_cast<uint32_t>(header->biWidth));
    sink.put_u16le(static_cast<uint32_t>(header->biHeight));
    sink.put(static_cast<uint8_t>(header->biBitCount));
    sink.put(interchange ? targa_top_first : uint8_t{0}); // no attribute bits
}

void tga_write_palette(byte_sink& sink, const BITMAPINFOHEADER* header)
{
    const RGBQUAD* colors = dib_colors(header);
    for (int32_t i = 0; i < 256; ++i) {
        sink.put(colors[i].rgbBlue);
        sink.put(colors[i].rgbGreen);
        sink.put(colors[i].rgbRed);
    }
}

} // namespace

int32_t save_tga_file(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data)
{
    if (header->biBitCount < 5) return err_unsupported;
    if (header->biWidth > targa_largest_side || header->biHeight > targa_largest_side)
        return err_unsupported;
    const int32_t stride = size_for_long(header->biWidth, header->biBitCount);
    const int32_t pixel_bytes = header->biBitCount / 8;
    byte_sink sink(file);
    scratch_block row(static_cast<size_t>(stride) + run_slack_bytes);
    if (!sink.ok() || !row) return err_memory;

    const auto layout = interchange_mode() ? targa_layout::interchange : targa_layout::classic;
    const targa_image_type type = image_type(header);
    write_header(sink, header, type, layout);
    if (type == targa_mapped) tga_write_palette(sink, header);

    const row_source source{get_raster, private_data};
    for (int32_t i = 0; i < header->biHeight; ++i) {
        const int32_t index = layout == targa_layout::interchange ? i : header->biHeight - 1 - i;
        if (int32_t err = source.get(row.bytes(), index, stride); err < 0) return err;
        if (layout == targa_layout::interchange)
            targa_put_runs(sink, row.bytes(), header->biWidth, pixel_bytes);
        else
            sink.put(row.bytes(),
                     static_cast<size_t>(header->biWidth) * static_cast<size_t>(pixel_bytes));
    }
    return sink.flush();
}
