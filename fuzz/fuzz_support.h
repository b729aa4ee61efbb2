// fuzz_support.h - what every reader's target does with its bytes: load them in both modes,
// and save what came out.
#pragma once

#include "core/image.h"

#include <cstddef>
#include <cstdint>

/// Loads page of the bytes in classic and interchange mode and saves the result as type.
inline void fuzz_load(const uint8_t* data, size_t size, int32_t page, int32_t type)
{
    for (int32_t mode : {0, 1}) {
        IMGX_set_interchange(mode);
        IMGX_get_filetype_mem(data, static_cast<uint32_t>(size));
        IMGX_get_pages_mem(data, static_cast<uint32_t>(size));
        const int32_t handle = IMGX_decompress_bitmap_mem(data, static_cast<uint32_t>(size), page);
        if (handle < 0) continue;
        static uint8_t out[1 << 20];
        IMGX_save_bitmap_mem(handle, out, sizeof out, type);
        IMG_delete_bitmap(handle);
    }
}
