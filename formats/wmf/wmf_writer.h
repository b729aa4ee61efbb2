// wmf_writer.h - writes placeable Windows metafiles with one bitmap.
#pragma once

#include "core/codec.h"

int32_t save_wmf_file(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data);
