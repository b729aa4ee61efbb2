// wmf_walk.h - goes through the records of a metafile and lists its bitmaps.
#pragma once

#include "formats/wmf/wmf_file.h"

struct wmf_list {
    wmf_bitmap* bitmaps;
    int32_t most;
    int32_t count;
    wmf_placement placement;
};

/// Lists the bitmaps that can be read, in file order, up to the most.  0 with at least one;
/// else err_unsupported, or err_format, err_memory, err_corrupt.
int32_t wmf_list_bitmaps(byte_source& in, int32_t start, int32_t end, wmf_list& list);
