// page_shrinker.h - shrinks a 1-bit page to grey: each device pixel gets the share of set
// bits under it. Text stays readable that way, where dropped rows and columns tear it.
#pragma once

#include "core/byte_io.h"
#include "display/portable/stretch.h"

class page_shrinker {
public:
    /// Gets ready for the device columns.  0 or err_memory.
    int32_t prepare(const stretch_axis& axis, pixel_span columns);

    /// The share of set bits in rows top to top + row_count - 1, 0 to 255, for every column.
    ///   lowest  address of the first of the rows in memory; row_count rows follow it, each
    ///           bytes_per_line long and with all bits of the image's width
    void shrink(const uint8_t* lowest, int32_t row_count, uint32_t bytes_per_line, uint8_t* out);

    size_t working_bytes() const
    {
        return edges_.size() + planes_.size() + before_.size() + sums_.size();
    }

private:
    void count_rows(const uint8_t* lowest, int32_t row_count, uint32_t bytes_per_line);
    uint32_t set_bits_before(uint32_t bit) const;
    void add_columns(bool first);

    static constexpr int32_t plane_count = 5;
    static constexpr int32_t rows_at_once = (1 << plane_count) - 1;

    int32_t column_count_ = 0;
    uint32_t first_byte_ = 0; // of the row that any column needs
    uint32_t byte_count_ = 0;
    uint32_t plane_bytes_ = 0;
    int32_t planes_used_ = 0;
    scratch_block edges_;  // begin and end bit of each column, from first_byte_ on
    scratch_block planes_; // counts of set bits per bit column, bit-sliced
    scratch_block before_; // set bits before each byte, all rows of the chunk
    scratch_block sums_;   // per column
};
