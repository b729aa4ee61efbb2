// pcx_reader.h - reads PCX images and the pages of DCX files.
#pragma once

#include "core/byte_stream.h"
#include "core/codec.h"

int32_t open_pcx(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                 IMG_SET_HEADER set_header, HFILE file);

/// Where the 256 colours are looked for first. They stand at the end of a file; but behind the
/// last page of a DCX file there can be what a failed save left.
enum class pcx_colors_at { data_end, pixels_end };

/// Reads the image at the source's position.
///   end   where its data end; -1 when that is not known
int32_t pcx_read_image(byte_source& in, int32_t end, pcx_colors_at colors, const row_sink& sink);
