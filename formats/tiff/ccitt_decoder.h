// ccitt_decoder.h - decodes the run-length codes of ITU-T T.4 (modified Huffman, Group 3)
// and T.6 (Group 4), strip by strip, into 1-bit DIB rows.
#pragma once

#include "core/byte_io.h"
#include "formats/tiff/tiff_struct.h"

/// What a page of fax codes needs to be decoded; the values are those of the TIFF tags.
struct ccitt_options {
    int32_t width;                                    // 1 or more, pixels
    uint32_t compression;                             // tiff_huffman, _group3, _group3_2d, _group4
    uint32_t fill_order = 1;                          // 2: bit 0 of a byte comes first
    uint32_t photometric = photometric_black_is_zero; // 0: every bit of a row inverted
    bool interchange = false; // reference line starts white in every strip; whole rows
};

/// One page's decoder. Rows come out with 1 bits for white, (width + 7) / 8 bytes padded
/// with white to a multiple of 4.
class ccitt_decoder {
public:
    explicit ccitt_decoder(const ccitt_options& options);

    /// Decodes up to rows rows from the source's current position; they are numbered from
    /// first_row, and the first strip of a page has first_row 0. Reads ahead of what it
    /// decodes: the caller positions the source again for the next strip.
    /// Returns 0, also where damaged two-dimensional data end a strip early; err_format for
    /// damaged one-dimensional data; err_memory; a negative result of output.
    int32_t decode_strip(HFILE file, int32_t rows, int32_t first_row, const row_output& output);

private:
    ccitt_options options_;
};

/// The compression whose codes fit the data at the source's position best: options.compression
/// unless it fails within the first rows and another one does not. Leaves the source there.
/// For pages whose tag names the wrong code; the strip layout of a page can depend on it.
/// Returns a tiff_compression, or err_memory.
int32_t ccitt_fitting_compression(HFILE file, const ccitt_options& options, int32_t rows);
