// jpeg_block.h - one 8x8 block from entropy-coded data to coefficients (F.2.2/T.81).
#pragma once

#include "formats/jpeg/jpeg_bits.h"
#include "formats/jpeg/jpeg_huffman.h"

/// Dequantised coefficients. They stand transposed, column by column: the first pass of the
/// inverse transform works on the eight rows at once.
struct jpeg_coefficients {
    alignas(16) int16_t values[64];
    int32_t magnitude; // sum of the absolute values
    int32_t last;      // zig-zag position of the last value that was stored
};

/// How a component's blocks are coded.
struct jpeg_block_coding {
    const uint16_t* quantisation; // in zig-zag order
    const jpeg_decode_table* dc;
    const jpeg_decode_table* ac;
    int16_t predictor; // of the next DC value
};

/// Decodes one block.  0, or err_format: no code of the table, or a run past position 64.
int32_t jpeg_get_block(jpeg_bit_reader& reader, jpeg_block_coding& coding,
                       jpeg_coefficients& block);
