// ccitt_decoder.cpp - decodes the run-length codes of ITU-T T.4 and T.6.

#include "formats/tiff/ccitt_decoder.h"

ccitt_decoder::ccitt_decoder(const ccitt_options& options) : options_(options) {}

int32_t ccitt_decoder::decode_strip(HFILE, int32_t, int32_t, const row_output&)
{
    return err_unsupported;
}

int32_t ccitt_fitting_compression(HFILE, const ccitt_options& options, int32_t)
{
    return static_cast<int32_t>(options.compression);
}
