#include "formats/jpeg/jpeg_tiff.h"
int32_t jtif_decoder::init_jtif(const jtif_page&, HFILE)
{
    return err_unsupported;
}
int32_t jtif_decoder::decode_jpeg_strip(const row_sink&, HFILE, int32_t, int32_t)
{
    return err_unsupported;
}
