// flip.h - mirrors of a whole image.
#pragma once

#include <cstdint>

/// Mirror left to right, mirror top to bottom, and both: 0, -1, -13. A failure leaves the
/// image as it was.
int32_t flip_bitmapx(int32_t handle);
int32_t flip_bitmapy(int32_t handle);
int32_t half_turn(int32_t handle);
