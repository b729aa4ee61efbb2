// bmp_reader.h - reads Windows 3 and OS/2 bitmap files.
#pragma once

#include "core/codec.h"

/// Reader: 1, 4, 8, 16 (delivered as 24) and 24 bits, uncompressed, RLE8, RLE4.
int32_t open_bmp(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                 IMG_SET_HEADER set_header, HFILE file);

/// File-type code at the source's position: 12 for a compressed file, else 1.
int32_t bmp_get_filetype(HFILE file);
