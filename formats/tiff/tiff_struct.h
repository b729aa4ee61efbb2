// tiff_struct.h - what the decoders of a TIFF page get to know of it: the page description,
// the way to its strips, and where finished rows go.
//
// Standard: TIFF 6.0. The fields stand in the order of the description that the reader has
// always kept, each with the value that it holds when its tag is missing.
#pragma once

#include <cstdint>

/// Compression as the reader keeps it: the tag's value, but 45 for Group 3 two-dimensional
/// (Compression 3 with bit 0 of T4Options).
enum tiff_compression : uint32_t {
    tiff_uncompressed = 1,
    tiff_huffman = 2, // CCITT modified Huffman: one-dimensional, no EOLs, rows start on bytes
    tiff_group3 = 3,
    tiff_group4 = 4,
    tiff_lzw = 5,
    tiff_jpeg = 6, // the JPEG scheme of TIFF 6.0 section 22
    tiff_group3_2d = 45,
    tiff_packbits = 32773,
};

inline bool tiff_is_fax(uint32_t compression)
{
    return compression == tiff_huffman || compression == tiff_group3 ||
           compression == tiff_group3_2d || compression == tiff_group4;
}

enum tiff_photometric : uint32_t {
    photometric_white_is_zero = 0,
    photometric_black_is_zero = 1,
    photometric_rgb = 2,
    photometric_palette = 3,
    photometric_separated = 5,
    photometric_ycbcr = 6,
};

/// One page. For the four fax codes the reader has settled the photometric value before it
/// calls a decoder: 1 = rows as T.4 has them, white pixels 1; 0 = every bit inverted.
struct tiff_struct {
    uint32_t image_length = 0;
    uint32_t image_width = 0;
    uint32_t rows_per_strip = 0xFFFFFFFE; // unsigned: all rows in one strip
    uint32_t strip_offsets = 0;           // the raw value field
    uint32_t strip_byte_counts = 0;       // read, never used
    uint32_t samples_per_pixel = 1;
    uint32_t bits_per_sample = 1; // of the first sample
    uint32_t compression = tiff_uncompressed;
    uint32_t photometric = photometric_black_is_zero;
    uint32_t color_map = 0;    // offset; 0 = none
    uint32_t x_resolution = 0; // dots per inch
    uint32_t y_resolution = 0;
    uint32_t fill_order = 1;
    uint32_t planar_configuration = 1;
    uint32_t predictor = 1;
    uint32_t gray_response_curve = 0; // offset; 0 = none
    uint32_t gray_response_unit = 0;
    uint32_t jpeg_interchange_format = 0; // offset of a whole JPEG stream; 0 = none
    uint32_t jpeg_q_tables = 0;           // offsets of arrays of table offsets
    uint32_t jpeg_dc_tables = 0;
    uint32_t jpeg_ac_tables = 0;
    uint32_t ycbcr_subsampling = 0; // as read: the factors of the value field; 0 = none
};

/// The way to a page's strips: puts the source at the start of a strip.  Returns its
/// position in the source, or a negative code (err_memory, err_corrupt for no such strip).
struct strip_access {
    int32_t (*position)(void* context, uint32_t strip);
    void* context;

    int32_t position_tiff_file(uint32_t strip) const { return position(context, strip); }
};

/// Where a strip decoder puts each finished row; it may change the bytes. A negative result
/// ends the decoding and is its result.
struct row_output {
    int32_t (*put_row)(void* context, uint8_t* row, int32_t row_index, int32_t byte_count);
    void* context;

    int32_t put(uint8_t* row, int32_t row_index, int32_t byte_count) const
    {
        return put_row(context, row, row_index, byte_count);
    }
};
