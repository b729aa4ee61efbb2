// scale_shuffle.h - rows of whole bytes resampled by byte shuffles.
//
// The columns of a resize are the same in every row, so which bytes of which sixteen make the
// next pixels is worked out once.
#pragma once

#include "core/byte_io.h"

class scale_shuffle {
public:
    /// Works out the groups for pixels of 1 or 3 bytes. Stays without groups where the
    /// processor has no shuffle or too few pixels would come from sixteen bytes.
    ///   step  16.16, see scale_rows.h
    /// 0, or err_memory.
    int32_t begin(int32_t pixel_bytes, uint64_t step, int32_t width);

    /// Fills the first pixels of a row. from must be readable for 16 bytes behind its last.
    /// Returns how many pixels were filled.
    int32_t scale(const uint8_t* from, uint8_t* to) const;

private:
    struct group {
        uint8_t order[16];
        int32_t from_byte, to_byte;
    };

    int32_t make_group(int32_t pixel_bytes, uint64_t step, int32_t x, int32_t width, group& g);

    scratch_block block_;
    int32_t groups_ = 0;
    int32_t pixels_ = 0; // that the groups make
};
