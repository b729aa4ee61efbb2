// pict_rows.h - decodes the rows of one bitmap of a picture.
#pragma once

#include "core/packbits.h"
#include "formats/pict/pict_file.h"

class pict_rows {
public:
    explicit pict_rows(byte_source& in) : in_(in) {}

    /// Buffers for the widest of the tiles to come; false when memory ran out.
    bool allocate(int32_t widest_row_bytes, int32_t widest);

    /// Goes to a position in the rows of a tile.
    void start(const pict_tile& tile, int32_t position);

    /// The next row as pixels of the DIB's depth; valid until the next call. The caller may
    /// change it, and there is room for a DIB row's padding. Null when the data ended in front
    /// of its end; what a row's packed bytes leave out is 0.
    uint8_t* next();

    int32_t position() const { return in_.tell(); }

private:
    bool read_stored();
    bool read_packed();
    uint8_t* convert();

    byte_source& in_;
    const pict_tile* tile_ = nullptr;
    scratch_block stored_, converted_;
};
