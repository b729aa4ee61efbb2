// eps_reader.h - reads the TIFF preview of an encapsulated PostScript file.
#pragma once

#include "core/codec.h"

/// Reader: the preview of a DOS EPS binary file.  Returns as open_tiff, but err_format for a
/// file without a TIFF preview and err_preview for a preview that is no readable TIFF.
int32_t open_eps(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                 IMG_SET_HEADER set_header, HFILE file);
