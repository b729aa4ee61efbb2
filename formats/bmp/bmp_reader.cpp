#include "formats/bmp/bmp_reader.h"
int32_t open_bmp(start_value, IMG_PUT_RASTER, IMG_PRIVATE, IMG_SET_HEADER, HFILE)
{
    return err_unsupported;
}
int32_t bmp_get_filetype(HFILE)
{
    return 1;
}
