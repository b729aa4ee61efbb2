// tiff_chain_end.h - where a TIFF that stands in a sink ends.
#pragma once

#include "formats/tiff/tiff_directory.h"

/// Offset behind everything that belongs to the TIFF: of a file its end; of a memory block,
/// which has no end of its own, the largest end of what its directories, their values and
/// their strips cover.  Returns 0, err_format or err_memory.
int32_t tiff_chain_end(const tiff_source& source, uint32_t first_ifd, uint32_t& end);
