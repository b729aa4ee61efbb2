// dcx_reader.h - reads and counts the pages of DCX files.
#pragma once

#include "core/codec.h"

int32_t open_dcx(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                 IMG_SET_HEADER set_header, HFILE file);

/// Pages of the file that starts at the source's position, or a negative code.
int32_t get_dcx_pages(HFILE file);
