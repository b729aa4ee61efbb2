// jpeg_writer.h - writes baseline JPEG files with a JFIF header.
#pragma once

#include "core/codec.h"

/// 24 bits and coloured palettes as three components with 2x1 luminance, 8 bits with a grey
/// palette as one.  0; err_unsupported below 5 bits a pixel, err_write, err_memory, or the
/// row source's negative result.
int32_t save_jpg_file(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data);
