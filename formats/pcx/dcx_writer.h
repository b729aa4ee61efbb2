// dcx_writer.h - writes DCX files page by page.
#pragma once

#include "core/codec.h"

/// Adds the image as the last page of a DCX file, or starts one where the file is empty.
int32_t save_dcx_file(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data);
