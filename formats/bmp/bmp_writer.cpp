#include "formats/bmp/bmp_writer.h"
int32_t save_bmp_file(HFILE, const BITMAPINFOHEADER*, IMG_GET_RASTER, IMG_PRIVATE)
{
    return err_unsupported;
}
int32_t save_bmp_comp_file(HFILE, const BITMAPINFOHEADER*, IMG_GET_RASTER, IMG_PRIVATE)
{
    return err_unsupported;
}
