// color_gray.h - grey pictures.
#pragma once

#include "core/new_dib.h"

/// Turns the image into 8 bits with the ramp of 256 greys.  0, -7 for 1 bit, -1, -13.
int32_t color_gray(int32_t handle);

/// Builds the grey DIB of a locked image of 4, 8 or 24 bits without installing it.
/// 0, or err_memory.
int32_t make_gray_dib(const dib_lock& image, new_dib& target);
