// dcx_table.h - the table of page offsets in front of a DCX file: a magic number, up to 1023
// offsets, a 0.
#pragma once

#include "core/byte_stream.h"

inline constexpr uint32_t dcx_magic = 987654321;
inline constexpr int32_t dcx_most_pages = 1023;
inline constexpr int32_t dcx_table_entries = dcx_most_pages + 1; // with the final 0
inline constexpr int32_t dcx_table_bytes = 4 + 4 * dcx_table_entries;

struct dcx_table {
    uint32_t offsets[dcx_table_entries]; // those in use, in page order
    int32_t pages = 0;

    /// Reads the table at the source's position; a table that the data cut short holds what
    /// there is.  0, err_format for another file, err_corrupt where reading failed.
    int32_t read(byte_source& in);

    /// Where a page that starts at offset ends: where the next one in the file starts, or
    /// data_end (-1: not known).
    int64_t page_end(uint32_t offset, int64_t data_end) const;
};
