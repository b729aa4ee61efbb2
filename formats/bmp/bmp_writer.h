// bmp_writer.h - writes Windows 3 bitmap files.
#pragma once

#include "core/codec.h"

/// Uncompressed, every depth.
int32_t save_bmp_file(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data);

/// RLE8 for 8 bits, RLE4 for 4; err_unsupported for other depths, before any byte.
int32_t save_bmp_comp_file(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                           IMG_PRIVATE private_data);
