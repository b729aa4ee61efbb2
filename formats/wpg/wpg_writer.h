// wpg_writer.h - writes WordPerfect graphics of version 1 with one bitmap.
#pragma once

#include "core/codec.h"

int32_t save_wpg_file(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data);
