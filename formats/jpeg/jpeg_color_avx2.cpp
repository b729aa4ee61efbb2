// jpeg_color_avx2.cpp - Y, Cb, Cr to pixels, 32 at a time; compiled for AVX2.

#include "formats/jpeg/jpeg_color_lanes.h"
#include "formats/jpeg/jpeg_lanes_avx2.h"

void jpeg_ycc_row_avx2(const int8_t* y, const int8_t* cb, const int8_t* cr, chroma_step step,
                       uint8_t* out, int32_t width)
{
    jpeg_color::ycc_row<lane_pair>(y, cb, cr, step, out, width);
}
