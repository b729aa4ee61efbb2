// dcx_table.cpp - the DCX page table.

#include "formats/pcx/dcx_table.h"

int32_t dcx_table::read(byte_source& in)
{
    uint8_t bytes[dcx_table_bytes];
    const size_t got = in.read(bytes, sizeof bytes);
    if (in.failed()) return err_corrupt;
    if (got < 4 || load_u32le(bytes) != dcx_magic) return err_format;
    pages = 0;
    // A table without its 0 ends with the last entry that there may be.
    for (size_t at = 4; at + 4 <= got && pages < dcx_most_pages; at += 4) {
        const uint32_t offset = load_u32le(bytes + at);
        if (offset == 0) break;
        offsets[pages++] = offset;
    }
    return 0;
}

int64_t dcx_table::page_end(uint32_t offset, int64_t data_end) const
{
    int64_t end = data_end;
    for (int32_t i = 0; i < pages; ++i)
        if (offsets[i] > offset && (end < 0 || offsets[i] < end)) end = offsets[i];
    return end;
}
