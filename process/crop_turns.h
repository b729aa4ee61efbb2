// crop_turns.h - how the crop rectangle follows the picture. Rectangles are stored unchecked
// over the whole 32-bit range, so the arithmetic wraps.
#pragma once

#include "core/image_object.h"

inline int32_t wrapping_opposite(int32_t size, int32_t first, int32_t extent)
{
    return static_cast<int32_t>(static_cast<uint32_t>(size) - static_cast<uint32_t>(extent) -
                                static_cast<uint32_t>(first));
}

/// After a mirror left to right (top to bottom).
inline void mirror_crop_x(image_object& object)
{
    object.crop_x = wrapping_opposite(object.width, object.crop_x, object.crop_width);
}
inline void mirror_crop_y(image_object& object)
{
    object.crop_y = wrapping_opposite(object.height, object.crop_y, object.crop_height);
}

/// After a transposition about the anti-diagonal; the object has its new size already.
void transpose_crop(image_object& object);
