// fuzz_support.h - what every reader's target does with its bytes: load them in both modes,
// and save what came out.
#pragma once

#include "core/image.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>

/// Tells the picture's size and ends the load.
inline int32_t IMG_C fuzz_peek_header(const BITMAPINFOHEADER* header, IMG_PRIVATE pixels)
{
    *reinterpret_cast<int64_t*>(pixels) = int64_t{header->biWidth} * header->biHeight;
    return -100;
}

inline int32_t IMG_C fuzz_accept_header(const BITMAPINFOHEADER*, IMG_PRIVATE)
{
    return 1;
}

/// Touches the row's ends, so that a row shorter than announced is noticed; ends a load of
/// very many rows.
inline int32_t IMG_C fuzz_put_raster(const void* row, IMG_PRIVATE rows_left, int32_t,
                                     int32_t byte_count)
{
    volatile uint8_t seen = 0;
    if (byte_count > 0) seen = static_cast<const uint8_t*>(row)[byte_count - 1];
    (void)seen;
    return --*reinterpret_cast<int64_t*>(rows_left) < 0 ? -101 : 0;
}

inline int32_t fuzz_stream(const void* data, size_t size, int32_t page, IMG_PRIVATE value,
                           IMG_SET_HEADER set_header)
{
    return IMGX_stream_bitmap_mem(data, static_cast<uint32_t>(size), page, fuzz_put_raster, value,
                                  set_header);
}

/// Loads page of the bytes in classic and interchange mode and saves the result as type.
/// Pictures of more than a million pixels are only streamed: filling them would be all that
/// the fuzzer does.
inline void fuzz_load(const uint8_t* data, size_t size, int32_t page, int32_t type)
{
    static uint8_t out[1 << 20];
    for (int32_t mode : {0, 1}) {
        IMGX_set_interchange(mode);
        IMGX_get_filetype_mem(data, static_cast<uint32_t>(size));
        IMGX_get_pages_mem(data, static_cast<uint32_t>(size));
        int64_t pixels = 0;
        fuzz_stream(data, size, page, reinterpret_cast<IMG_PRIVATE>(&pixels), fuzz_peek_header);
        if (pixels > 1 << 20) {
            int64_t rows_left = 5000;
            fuzz_stream(data, size, page, reinterpret_cast<IMG_PRIVATE>(&rows_left),
                        fuzz_accept_header);
            continue;
        }
        const int32_t handle = IMGX_decompress_bitmap_mem(data, static_cast<uint32_t>(size), page);
        if (handle < 0) continue;
        IMGX_save_bitmap_mem(handle, out, sizeof out, type);
        IMG_delete_bitmap(handle);
    }
}
