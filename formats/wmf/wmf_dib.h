// wmf_dib.h - the bitmaps inside metafiles: a packed DIB, or a device's own monochrome one.
#pragma once

#include "formats/wmf/wmf_file.h"

/// What a record has in front of its bitmap.
struct wmf_dib_place {
    int32_t position; // of the bitmap's header
    int32_t end;      // of its record, or of the file where that ends before
    int32_t usage;    // of the colour table: 0 colours, 1 palette entries, 2 none
    int32_t rows;     // that are stored; -1: as many as the header says
};

/// Reads and checks the header.  0, err_format, err_unsupported, err_memory.
int32_t wmf_read_dib(byte_source& in, const wmf_dib_place& place, wmf_dib& dib);

/// The same for the bitmap of a device, of which one plane of one bit is known.
int32_t wmf_read_device_bitmap(byte_source& in, const wmf_dib_place& place, wmf_dib& dib);

/// The colour table of up to 8 bits, 256 entries.
bool wmf_read_colors(byte_source& in, const wmf_bitmap& bitmap, RGBQUAD* colors);

/// Delivers the rows to the sink, numbered from the bitmap's own top. 1, or a negative code.
int32_t wmf_deliver_rows(HFILE file, byte_source& in, const wmf_dib& dib, const row_sink& sink);
