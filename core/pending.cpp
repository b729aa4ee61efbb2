// pending.cpp - exports whose modules have not arrived yet: not supported. A module takes
// its lines away when it comes; the file goes with the last of them.

#include "core/errors.h"
#include "core/image.h"

int32_t IMG_STD IMG_decompress_fax(HFILE, int32_t, int32_t, int32_t, int32_t)
{
    return err_unsupported;
}
int32_t IMG_STD IMGLOW_set_comp_quality(int32_t)
{
    return err_unsupported;
}
int32_t IMG_STD IMG_rotate_bitmap(int32_t, int32_t)
{
    return err_unsupported;
}
int32_t IMG_STD IMG_flip_bitmapx(int32_t)
{
    return err_unsupported;
}
int32_t IMG_STD IMG_flip_bitmapy(int32_t)
{
    return err_unsupported;
}
int32_t IMG_STD IMG_resize_bitmap(int32_t, int32_t, int32_t)
{
    return err_unsupported;
}
int32_t IMG_STD IMG_set_lut(int32_t, int32_t, int32_t)
{
    return err_unsupported;
}
int32_t IMG_STD IMG_invert_bitmap(int32_t)
{
    return err_unsupported;
}
int32_t IMG_STD IMG_sharpen_bitmap(int32_t, int32_t)
{
    return err_unsupported;
}
int32_t IMG_STD IMG_process_bitmap(int32_t, int32_t, const signed char*)
{
    return err_unsupported;
}
int32_t IMG_STD IMG_color_gray(int32_t)
{
    return err_unsupported;
}
int32_t IMG_STD IMG_bayer_mono(int32_t)
{
    return err_unsupported;
}
int32_t IMG_STD IMG_halftone_mono(int32_t)
{
    return err_unsupported;
}
int32_t IMG_STD IMG_diffusion_mono(int32_t)
{
    return err_unsupported;
}
int32_t IMG_STD IMG_mediancut_color(int32_t)
{
    return err_unsupported;
}
int32_t IMG_STD IMG_popularity_color(int32_t)
{
    return err_unsupported;
}
int32_t IMG_STD IMG_bayer_color(int32_t)
{
    return err_unsupported;
}
int32_t IMG_STD IMG_diffusion_color(int32_t)
{
    return err_unsupported;
}
int32_t IMG_STD IMG_promote_8(int32_t)
{
    return err_unsupported;
}
int32_t IMG_STD IMG_promote_24(int32_t)
{
    return err_unsupported;
}
