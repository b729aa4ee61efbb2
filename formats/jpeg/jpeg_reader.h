// jpeg_reader.h - reads JPEG files: sequential Huffman coding (ITU-T T.81), 8 bits a sample,
// one scan, in interchange mode also several.
#pragma once

#include "core/codec.h"

/// Reader: grey to 8 bits with a grey ramp, three and four components to 24 bits.
/// The stream must start within the first 1001 bytes.  Returns 0, or
///   err_corrupt      nothing can be read, or no entropy-coded data follow the scan header;
///                    in interchange mode also data that end early or lack a scan
///   err_format       no stream, damaged tables or data
///   err_unsupported  two components, more than four; in interchange mode also frames that
///                    are not sequential Huffman of 8 bits
///   err_memory       memory; rows of blocks of 64 KB and more, except in interchange mode
int32_t open_jpg(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                 IMG_SET_HEADER set_header, HFILE file);

/// What is known of the page that holds a stream.
struct jpeg_page {
    uint32_t x_resolution, y_resolution; // dots per inch, for the DIB header
    bool white_is_zero;                  // interchange mode: of one component, 0 is white
};

/// The same for a stream inside another file, at any offset, on a page or null.
int32_t open_jpg_at(uint32_t offset, const row_sink& sink, HFILE file, const jpeg_page* page);

/// Components and sampling factors of a stream, for IMGX_get_page_info.  0 or a code.
int32_t jpeg_describe(HFILE file, start_value start, IMGX_PAGE_INFO& info);
