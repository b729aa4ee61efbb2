// jpeg_color.h - decoded samples to rows of blue, green, red.
//
// Samples are signed bytes without level shift. The chroma contributions are
// trunc(s x 1.402) and so on, truncated toward zero each for itself; sums are clamped.
#pragma once

#include <cstdint>

/// Bytes that a conversion may write (or read of each sample row) beyond the last pixel.
inline constexpr int32_t jpeg_row_slack = 96;

/// Which pixels share a chroma sample.
enum class chroma_step { one = 1, two = 2 };

/// Y, Cb, Cr.
void jpeg_ycc_row(const int8_t* y, const int8_t* cb, const int8_t* cr, chroma_step step,
                  uint8_t* out, int32_t width);

/// Its forms for any processor and for those with AVX2.
void jpeg_ycc_row_sse2(const int8_t* y, const int8_t* cb, const int8_t* cr, chroma_step step,
                       uint8_t* out, int32_t width);
void jpeg_ycc_row_avx2(const int8_t* y, const int8_t* cb, const int8_t* cr, chroma_step step,
                       uint8_t* out, int32_t width);

enum class grey_sense { black_is_zero, white_is_zero };

/// One component: sample + 128, or what that is short of 255.
void jpeg_grey_row(const int8_t* y, grey_sense sense, uint8_t* out, int32_t width);

/// Four components as classic mode takes them: K less what Y, Cb, Cr give.
void jpeg_ycck_row(const int8_t* y, const int8_t* cb, const int8_t* cr, const int8_t* k,
                   uint8_t* out, int32_t width);

/// Red, green, blue as they are.
void jpeg_rgb_row(const int8_t* r, const int8_t* g, const int8_t* b, uint8_t* out, int32_t width);

/// Inverted cyan, magenta, yellow, black, as files with an Adobe marker have them: each
/// colour is the product of its component and the black one.
void jpeg_cmyk_row(const int8_t* c, const int8_t* m, const int8_t* y, const int8_t* k, uint8_t* out,
                   int32_t width);

/// The same with cyan, magenta, yellow as Y, Cb, Cr of their complements.
void jpeg_adobe_ycck_row(const int8_t* y, const int8_t* cb, const int8_t* cr, const int8_t* k,
                         uint8_t* out, int32_t width);
