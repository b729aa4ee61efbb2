// wmf_reader.h - reads the bitmap of a Windows metafile.
#pragma once

#include "core/codec.h"

int32_t open_wmf(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                 IMG_SET_HEADER set_header, HFILE file);
