// load.h - the library's own callbacks of a load, which build the DIB of an image handle.
#pragma once

#include "core/image_object.h"

/// The private value of the callbacks below is the address of one of these.
struct load_context {
    int32_t handle;        // being loaded
    uint32_t serial;       // of its record, in case a callback deletes the image
    uint32_t dib_serial;   // of the attached DIB, in case a callback replaces it
    BITMAPINFOHEADER* dib; // the attached DIB, locked; null before that
    int32_t height;        // for the status callback; set by fill_dib_struct
};

/// Attaches a DIB for the header to the context's handle and locks it.  1 or err_memory.
int32_t IMG_C fill_dib_struct(const BITMAPINFOHEADER* header, IMG_PRIVATE context);

/// Copies a row into the attached DIB, bottom-up. Rows outside the picture are ignored,
/// bytes beyond the row's stride too.  0, or the status callback's negative result.
int32_t IMG_C raster_to_dib(const void* row, IMG_PRIVATE context, int32_t row_index,
                            int32_t byte_count);

/// Takes a handle, runs read(context) on it, which feeds the callbacks above, and unlocks
/// its DIB. When read fails the handle is released and the code is the result.
template <class Read> int32_t load_new_image(Read read);

int32_t begin_load(load_context& context);
int32_t end_load(load_context& context, int32_t result);

template <class Read> int32_t load_new_image(Read read)
{
    load_context context{};
    if (int32_t err = begin_load(context); err < 0) return err;
    return end_load(context, read(context));
}
