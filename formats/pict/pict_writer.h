// pict_writer.h - writes Macintosh pictures of version 2.
#pragma once

#include "core/codec.h"

int32_t save_pct_file(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data);
