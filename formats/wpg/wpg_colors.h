// wpg_colors.h - the colours that hold where a file states none.
#pragma once

#include "platform/win32.h"

#include <cstdint>

/// Version 1: the power-up colours of a VGA.
void wpg1_default_colors(RGBQUAD* colors);
/// Four-colour bitmaps of version 1: those of a CGA.
void wpg1_four_colors(RGBQUAD* colors);
/// Version 2: 16 named colours, 16 greys, and a grey ramp for the rest.
void wpg2_default_colors(RGBQUAD* colors);
