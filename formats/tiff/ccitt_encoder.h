// ccitt_encoder.h - encodes 1-bit rows with the run-length codes of ITU-T T.4 (modified
// Huffman, Group 3 one-dimensional) and T.6 (Group 4).
#pragma once

#include "core/codec.h"
#include "formats/tiff/tiff_struct.h"

/// How the rows of one image are coded.
struct ccitt_encoder_options {
    tiff_compression compression; // tiff_huffman, tiff_group3 or tiff_group4
    int32_t width;                // coded pixels in a row; an image that is narrower gets white
    uint32_t fill_order = 1;      // 2: the bits of every byte reversed
    int32_t end_codes = 4;        // EOLs that end Group 4 data; T.6 has 2
};

/// Codes all rows of a 1-bit image and writes them to the sink at its position.
/// Returns 0, err_unsupported for other depths, err_memory, err_write, or a negative result
/// of get_raster.
int32_t ccitt_encode_image(HFILE sink, const BITMAPINFOHEADER* header, const row_source& rows,
                           const ccitt_encoder_options& options);

/// Group 4 coding of all rows; reverse 1 reverses the bits of every byte (FillOrder 2).
int32_t save_ccitt_g4(HFILE sink, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data, int32_t reverse);
