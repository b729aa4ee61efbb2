// jpeg_fdct_avx2.cpp - the forward DCT of two blocks at once; compiled for AVX2.

#include "formats/jpeg/jpeg_fdct_lanes.h"
#include "formats/jpeg/jpeg_lanes_avx2.h"

void jpeg_dct_and_quantise_avx2(const jpeg_sample_rows& samples, const jpeg_divisors& divisors,
                                int16_t* coefficients)
{
    jpeg_forward::dct_and_quantise<lane_pair>(samples, divisors, coefficients);
}
