// tiff_reader.h - reads TIFF pages into DIB rows.
#pragma once

#include "core/codec.h"

/// Reader: the page that start names, of the TIFF whose header stands at start's offset.
/// Returns 1; err_format for a damaged header, directory or strip; err_corrupt where a strip
/// ends early; err_page beyond the last page; err_unsupported; err_create for "plane.tmp".
int32_t open_tiff(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                  IMG_SET_HEADER set_header, HFILE file);

/// The same for a TIFF that lies anywhere in a file (start values reach 16 MB).
int32_t open_tiff_at(uint32_t header_offset, uint32_t page, const row_sink& sink, HFILE file);

/// Number of directories in the chain, source at the TIFF header; 1 for anything that has no
/// chain to follow, err_format for a chain that loops, err_memory.
int32_t get_tiff_pages(HFILE file);

/// File-type code of the first page, source at the TIFF header: 0 uncompressed, 7, 8, 17, 10
/// the fax codes, 9 LZW, 16 PackBits, else err_unsupported.
int32_t tiff_get_filetype(HFILE file);

/// Compression and file-type code of the page that start names, for IMGX_get_page_info; the
/// type is err_unsupported for a compression without a code.  0, or a code.
int32_t tiff_describe(HFILE file, start_value start, IMGX_PAGE_INFO& info);
