// pcx_writer.h - writes PCX images and the pages of DCX files.
#pragma once

#include "core/byte_stream.h"
#include "core/codec.h"

int32_t save_pcx_file(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data);

/// Writes one image at the file's position.  0, or a negative code.
int32_t pcx_write_image(HFILE file, const BITMAPINFOHEADER* header, const row_source& source);
