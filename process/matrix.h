// matrix.h - 3 x 3 kernels and their application to one row.
#pragma once

#include <cstddef>
#include <cstdint>

/// Weights in row order: the stored row below, the row itself, the row above; in each left,
/// centre, right. No divisor, no offset.
struct kernel_3x3 {
    int32_t weights[9];
};

/// Rows around one row, all before filtering. above_next is read only across a row's end.
struct matrix_rows {
    const uint8_t* below;
    const uint8_t* row;
    const uint8_t* above;
    const uint8_t* above_next;
};

/// Writes bytes first to last - 1 of the filtered row; neighbours are step bytes away and in
/// the same rows.
void apply_matrix_bytes(const kernel_3x3& kernel, const matrix_rows& in, uint8_t* out,
                        int32_t first, int32_t last, int32_t step);

/// The filtered value of a byte of a 24-bit row whose right neighbours lie in the rows that
/// follow each row in memory. p may be the stride: byte 0 of the row above.
uint8_t matrix_value_across(const kernel_3x3& kernel, const matrix_rows& in, int32_t p,
                            int32_t stride);
