// tiff_planes.h - keeps the rows of separate colour planes until all planes are decoded.
#pragma once

#include "core/byte_io.h"

/// Rows are appended one after another and read back from any place. Classic mode keeps them
/// in the file "plane.tmp" of the working directory, which goes with the object; interchange
/// mode keeps them in memory.
class tiff_planes {
public:
    tiff_planes() = default;
    ~tiff_planes();
    tiff_planes(const tiff_planes&) = delete;
    tiff_planes& operator=(const tiff_planes&) = delete;

    /// total_bytes  of all rows of all planes.  Returns 0, err_create or err_memory.
    int32_t open(uint64_t total_bytes);

    /// Returns 0, or err_write for a full disk.
    int32_t append(const uint8_t* row, uint32_t bytes);

    /// Rows that were never appended read as 0.  Returns 0, or err_corrupt where the file
    /// cannot be read.
    int32_t read(uint64_t position, uint8_t* row, uint32_t bytes) const;

private:
    HFILE file_ = HFILE_ERROR;
    scratch_block memory_;
    uint64_t filled_ = 0;
};
