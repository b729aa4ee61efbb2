// device_bitmaps.h - what a GDI bitmap is as an image.
#pragma once

#include "core/codec.h"

/// The header of the image that a GDI bitmap becomes: 1, 4 and 8 bits stay, all else is 24.
/// False when the bitmap cannot be read.
bool describe_bitmap(HBITMAP bitmap, dib_header& header);
