// ccitt_encoder.cpp - encodes 1-bit rows with the run-length codes of ITU-T T.4 and T.6.

#include "formats/tiff/ccitt_encoder.h"

int32_t ccitt_encode_image(HFILE, const BITMAPINFOHEADER*, const row_source&,
                           const ccitt_encoder_options&)
{
    return err_unsupported;
}

int32_t save_ccitt_g4(HFILE, const BITMAPINFOHEADER*, IMG_GET_RASTER, IMG_PRIVATE, int32_t)
{
    return err_unsupported;
}
