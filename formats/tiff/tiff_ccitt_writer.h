// tiff_ccitt_writer.h - writes TIFF pages of fax codes.
#pragma once

#include "core/codec.h"

/// Modified Huffman (compression 2) or Group 3 one-dimensional (3), 1 bit only. Returns 0,
/// err_unsupported for other depths, before any byte; err_memory, err_format where the chain
/// of the existing pages is broken, err_write, or a negative result of get_raster.
int32_t save_tiff_file_huff(HFILE sink, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                            IMG_PRIVATE private_data, int32_t compression);

/// Group 4, the same.
int32_t save_tiff_file_g4(HFILE sink, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                          IMG_PRIVATE private_data);

/// save_tiff_file_huff with compression 2 (modified Huffman) and with 3 (Group 3).
int32_t save_tiff_file_mh(HFILE sink, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                          IMG_PRIVATE private_data);
int32_t save_tiff_file_g3(HFILE sink, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                          IMG_PRIVATE private_data);
