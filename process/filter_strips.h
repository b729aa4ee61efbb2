// filter_strips.h - the strips in which the 3 x 3 filters see a picture, and the unchanged
// rows that a filter working in place still needs.
//
// INTENDED: the filters are defined over a buffer of 32768 bytes that holds a strip of rows
// in slots 1 to n, a row below in slot 0 and a row above in slot n + 1. The strips show in
// the result: slot 0 of every strip but the first holds the third-last row of the strip
// before, and near the upper end slot n + 1 holds what earlier strips left in it. Rows too
// long for strips of two see the whole picture as one strip.
#pragma once

#include "core/byte_io.h"

/// Stands for a slot that was never filled; it counts as zeros.
inline constexpr int32_t no_row = -1;

/// One strip. Rows are stored rows, 0 at the bottom; neighbours are rows before filtering.
struct filter_strip {
    int32_t first, count;
    int32_t below; // row in slot 0
    int32_t above; // row in slot count + 1, or no_row
};

class strip_plan {
public:
    /// neighbour_slots  slots of the buffer that hold no rows of the strip
    strip_plan(int32_t stride, int32_t height, int32_t neighbour_slots);

    /// The strip that begins with this row.
    filter_strip at(int32_t first) const;
    int32_t height() const { return height_; }
    /// Rows that are still needed long after a filter passed them.
    int32_t kept_row(int32_t k) const { return kept_[k]; }
    static constexpr int32_t kept_count = 3;

private:
    int32_t height_;
    int32_t full_; // rows of a full strip
    int32_t kept_[kept_count];
};

/// Gives rows as they were before filtering while a filter overwrites them from row 0 up.
class row_window {
public:
    /// Takes the working memory.  0, or err_memory.
    int32_t begin(int32_t stride, const strip_plan& plan);

    /// Starts on the rows of a locked DIB.
    void attach(const uint8_t* rows) { rows_ = rows; }

    /// Copies row r, the one about to be overwritten; r counts up from 0.
    void load(int32_t r);

    /// A row above the loaded one, one of the last four loaded, a kept row, or no_row.
    const uint8_t* original(int32_t r) const;

private:
    static constexpr int32_t ring_rows = 4;
    uint8_t* slot(int32_t k) const { return block_.bytes() + size_t(k) * size_t(stride_); }

    // Slots: the ring, the kept rows, a row of zeros.
    scratch_block block_;
    const uint8_t* rows_ = nullptr;
    const strip_plan* plan_ = nullptr;
    int32_t stride_ = 0;
    int32_t loaded_ = -1;
};
