// codec.h - what every reader and writer is called with, and what it owes its caller.
//
// A reader positions itself with img_seek_mem, reads only through img_read_mem,
// img_seek_mem and img_filelength (or byte_source), calls set_header once with a header and
// colour table (dib_header below), then put_raster once per row, row 0 being the top, in any
// order. A negative result of either ends it and is its result. It returns 1, or an error.
//
// A writer writes only through img_write_mem and img_seek_mem (or byte_sink), asks for rows
// with get_raster in any order, returns at once with a negative result of it, and returns
// 0 or more, or an error.
//
// Working memory is img_fmalloc's (scratch_block); whatever is left is swept by the pipeline.
#pragma once

#include "core/byte_io.h"
#include "core/image.h"

/// Where an image starts: the offset in bits 0 to 23, the page from bit 24 up. Wider than
/// the 32 bits of a classic start value, so that pages beyond 255 can be reached.
using start_value = uint64_t;

inline constexpr int32_t start_offset(start_value start)
{
    return static_cast<int32_t>(start & 0xFFFFFF);
}
inline constexpr uint32_t start_page(start_value start)
{
    return static_cast<uint32_t>(start >> 24);
}

using open_function = int32_t(start_value start, IMG_PUT_RASTER put_raster,
                              IMG_PRIVATE private_data, IMG_SET_HEADER set_header, HFILE file);
using save_function = int32_t(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                              IMG_PRIVATE private_data);

/// The client's side of a load, kept by a reader.
struct row_sink {
    IMG_PUT_RASTER put_raster;
    IMG_SET_HEADER set_header;
    IMG_PRIVATE private_data;

    int32_t begin(const BITMAPINFOHEADER* header) const { return set_header(header, private_data); }
    int32_t put(const void* row, int32_t row_index, int32_t byte_count) const
    {
        return put_raster(row, private_data, row_index, byte_count);
    }
};

/// The client's side of a save, kept by a writer.
struct row_source {
    IMG_GET_RASTER get_raster;
    IMG_PRIVATE private_data;

    int32_t get(void* row, int32_t row_index, int32_t byte_count) const
    {
        return get_raster(private_data, row, row_index, byte_count);
    }
};

/// A header with room for the largest colour table, as set_header wants it.
struct dib_header {
    BITMAPINFOHEADER info;
    RGBQUAD colors[256];

    /// All fields 0 but the size, planes, depth and image size; colours 0.
    void set(int32_t width, int32_t height, int32_t bits_per_pixel);
};
static_assert(sizeof(dib_header) == 1064);

/// The colour table behind a header (2, 16 or 256 entries; none for 24 bits).
inline RGBQUAD* dib_colors(BITMAPINFOHEADER* header)
{
    return reinterpret_cast<RGBQUAD*>(header + 1);
}
inline const RGBQUAD* dib_colors(const BITMAPINFOHEADER* header)
{
    return reinterpret_cast<const RGBQUAD*>(header + 1);
}

/// The stored rows behind header and colour table, bottom row first.
inline uint8_t* dib_rows(BITMAPINFOHEADER* header)
{
    return reinterpret_cast<uint8_t*>(header + 1) + Palette_Size(header);
}
inline const uint8_t* dib_rows(const BITMAPINFOHEADER* header)
{
    return reinterpret_cast<const uint8_t*>(header + 1) + Palette_Size(header);
}
