// eps_writer.h - writes an image as a PostScript program.
#pragma once

#include "core/codec.h"

/// Every depth. Classic mode writes the program that this library always wrote; interchange
/// mode an EPSF 3.0 file with a bounding box, which draws every depth right.
int32_t save_eps_file(HFILE sink, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data);
