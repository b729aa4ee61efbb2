// jpeg_tiff.h - JPEG strips inside TIFF pages whose tables are stored in tags: Compression 6
// without JPEGInterchangeFormat (TIFF 6.0 section 22).
//
// Usage: jtif_decoder decoder; decoder.init_jtif(page, file); then for each strip, with the
// source at the strip's start, decoder.decode_jpeg_strip(sink, file, first_row, row_count).
#pragma once

#include "core/byte_stream.h"
#include "core/codec.h"

/// What the decoder wants to know of the page.
struct jtif_page {
    uint32_t header_offset; // of the TIFF header in the source; all offsets count from it
    byte_order order;       // of the file
    uint32_t width;
    uint32_t samples_per_pixel;
    uint32_t photometric; // as the tag has it (0 WhiteIsZero, 2 RGB, 6 YCbCr)
    uint32_t q_tables;    // raw value fields of JPEGQTables, JPEGDCTables, JPEGACTables
    uint32_t dc_tables;
    uint32_t ac_tables;
    uint32_t subsampling;      // raw value field of YCbCrSubSampling in host order; 0: no tag
    uint32_t restart_interval; // JPEGRestartInterval; only interchange mode heeds it
};

/// Decodes the strips of one page. The tables live in one block of working memory.
class jtif_decoder {
public:
    /// Reads the tables.  0; err_format when the last AC table cannot be read, a sampling
    /// factor is impossible or the width is 0; err_unsupported for more than three
    /// components; err_memory.
    int32_t init_jtif(const jtif_page& page, HFILE file);

    /// Decodes one strip from the source's position and gives its rows to the sink's
    /// put_raster as rows first_row to first_row + row_count - 1: size_for_long(width, 24)
    /// bytes of blue, green, red for three samples, else size_for_long(width, 8) bytes.
    /// 0, a negative result of put_raster, or err_corrupt (no data), err_format (damaged
    /// data), err_memory.
    int32_t decode_jpeg_strip(const row_sink& sink, HFILE file, int32_t first_row,
                              int32_t row_count);

private:
    scratch_block memory_;
};
