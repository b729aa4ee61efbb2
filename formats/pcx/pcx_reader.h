// pcx_reader.h - reads PCX images and the pages of DCX files.
#pragma once

#include "core/byte_stream.h"
#include "core/codec.h"

int32_t open_pcx(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                 IMG_SET_HEADER set_header, HFILE file);

/// Where the 256 colours are looked for first. They stand at the end of a file; but behind the
/// last page of a DCX file there can be what a failed save left.
enum class pcx_colors_at { data_end, pixels_end };

/// Where the data of an image end; -1 when that is not known.
struct pcx_ends {
    int32_t stated; // as the file has it: a DCX table may lie
    int32_t last;   // there is nothing behind it
};

/// Reads the image at the source's position.
int32_t pcx_read_image(byte_source& in, const pcx_ends& ends, pcx_colors_at colors,
                       const row_sink& sink);
