// pict_reader.h - reads the bitmaps of a Macintosh picture.
#pragma once

#include "core/codec.h"

int32_t open_pict(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                  IMG_SET_HEADER set_header, HFILE file);
