// bmp_writer.cpp - writes Windows 3 bitmap files, plain and run-length compressed, bottom
// row first.

#include "formats/bmp/bmp_writer.h"

#include "core/settings.h"
#include "formats/bmp/bmp_file.h"
#include "formats/bmp/bmp_rle.h"

#include <algorithm>

namespace {

constexpr uint32_t sink_bytes = 256 * 1024;

int32_t to_per_metre(int32_t dots_per_inch)
{
    const double value = dots_per_inch / 0.0254;
    return static_cast<int32_t>(std::clamp(value, -2147483648.0, 2147483647.0));
}

uint32_t image_bytes(const BITMAPINFOHEADER& header)
{
    return static_cast<uint32_t>(size_for_long(header.biWidth, header.biBitCount)) *
           static_cast<uint32_t>(header.biHeight);
}

uint32_t data_offset(const BITMAPINFOHEADER& header)
{
    return static_cast<uint32_t>(Palette_Size(&header)) + bmp_file_header_bytes +
           bmp_info_header_bytes;
}

void put_headers(byte_sink& out, const BITMAPINFOHEADER& header, uint32_t compression)
{
    const bool resolution = header.biXPelsPerMeter != 0 && header.biYPelsPerMeter != 0;
    out.put("BM", 2);
    out.put_u32le(image_bytes(header) + data_offset(header));
    out.put_u32le(0);
    out.put_u32le(data_offset(header));

    out.put_u32le(bmp_info_header_bytes);
    out.put_u32le(static_cast<uint32_t>(header.biWidth));
    out.put_u32le(static_cast<uint32_t>(header.biHeight));
    out.put_u16le(1); // planes
    out.put_u16le(header.biBitCount);
    out.put_u32le(compression);
    out.put_u32le(image_bytes(header)); // INTENDED: the uncompressed size, also when compressed
    out.put_u32le(resolution ? static_cast<uint32_t>(to_per_metre(header.biXPelsPerMeter)) : 0);
    out.put_u32le(resolution ? static_cast<uint32_t>(to_per_metre(header.biYPelsPerMeter)) : 0);
    out.put_u32le(0); // all colours used
    out.put_u32le(0); // and important
    out.put(dib_colors(&header), static_cast<size_t>(Palette_Size(&header)));
}

int32_t overwrite_field(HFILE file, int32_t position, uint32_t value)
{
    uint8_t bytes[4];
    store_u32le(bytes, value);
    return img_overwrite(file, position, bytes, 4);
}

// Interchange mode: file and data size as they came out.
int32_t write_true_sizes(HFILE file, int32_t start, const BITMAPINFOHEADER& header,
                         uint64_t file_bytes)
{
    constexpr int32_t file_size_field = 2, image_size_field = 34;
    const auto size = static_cast<uint32_t>(file_bytes);
    if (int32_t err = overwrite_field(file, start + file_size_field, size); err < 0) return err;
    return overwrite_field(file, start + image_size_field, size - data_offset(header));
}

} // namespace

int32_t save_bmp_file(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data)
{
    const row_source rows{get_raster, private_data};
    const int32_t stride = size_for_long(header->biWidth, header->biBitCount);
    byte_sink out(file, std::max(sink_bytes, static_cast<uint32_t>(stride)));
    if (!out.ok()) return err_memory;
    put_headers(out, *header, BI_RGB);
    for (int32_t row_index = header->biHeight - 1; row_index >= 0; --row_index) {
        if (int32_t err = rows.get(out.reserve(static_cast<size_t>(stride)), row_index, stride);
            err < 0)
            return err;
        out.commit(static_cast<size_t>(stride));
        if (out.failed()) return err_write;
    }
    return out.flush();
}

int32_t save_bmp_comp_file(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                           IMG_PRIVATE private_data)
{
    const bool rle8 = header->biBitCount == 8;
    if (!rle8 && header->biBitCount != 4) return err_unsupported;
    const row_source rows{get_raster, private_data};
    const int32_t stride = size_for_long(header->biWidth, header->biBitCount);
    const int32_t start = img_tell(file);
    scratch_block row(static_cast<size_t>(stride) + bmp_rle_row_slack);
    byte_sink out(file,
                  std::max(sink_bytes, static_cast<uint32_t>(bmp_rle_row_bytes(header->biWidth))));
    if (!row || !out.ok()) return err_memory;
    std::memset(row.bytes(), 0, row.size());
    put_headers(out, *header, rle8 ? BI_RLE8 : BI_RLE4);
    for (int32_t row_index = header->biHeight - 1; row_index >= 0; --row_index) {
        if (int32_t err = rows.get(row.bytes(), row_index, stride); err < 0) return err;
        if (rle8)
            save_bmp8_raster(out, row.bytes(), header->biWidth);
        else
            save_bmp4_raster(out, row.bytes(), header->biWidth);
        if (out.failed()) return err_write;
    }
    const uint8_t end_of_bitmap[] = {0, rle_end_of_bitmap};
    out.put(end_of_bitmap, sizeof end_of_bitmap);
    const uint64_t file_bytes = out.written();
    if (int32_t err = out.flush(); err < 0) return err;
    return interchange_mode() ? write_true_sizes(file, start, *header, file_bytes) : 0;
}
