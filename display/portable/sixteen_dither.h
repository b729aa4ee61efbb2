// sixteen_dither.h - rows of 8- and 24-bit images for displays of 16 colours.
#pragma once

#include "core/codec.h"
#include "display/portable/stretch.h"

/// The colour table of the rows: 8 colours at half level, 8 at full level.
void get_sixteen_colors(dib_header& header);

/// Dithers one row to 4 bits with the 8 x 8 ordered matrix. The dots of an area average to
/// its colour: dark pixels mix half levels with black, others full levels.
///   row     width pixels of 8 bits with their colours, or of 24 bits
///   columns  device columns; with dither_row they choose the thresholds
void sixteen_dither_row(const uint8_t* row, int32_t bits_per_pixel, const RGBQUAD* colors,
                        pixel_span columns, uint32_t dither_row, uint8_t* out);
