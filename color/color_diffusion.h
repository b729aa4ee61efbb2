// color_diffusion.h - error diffusion of colour rows: the running values of two rows and the
// spreading of errors, shared by the 3-3-2 and the 16-colour quantiser.
//
// The weights are
//            8 4
//        2 4 8 4 2   over 32, by arithmetic shifts.
//
// INTENDED: running values are unsigned 16-bit numbers; one that falls below zero wraps and
// reads as a large number.
#pragma once

#include "core/dib_rows.h"

class color_diffusion {
public:
    /// Takes the working memory for an image of 4, 8 or 24 bits.  0, or err_memory.
    int32_t begin(const image_object& object);

    /// Fills the current row (ahead 0) or the next (ahead 1) from a stored row, the top row
    /// when there is no such row.
    void feed(const image_object& object, int32_t ahead, int32_t stored_row);

    /// Moves the next row into the current one's place.
    void advance();

    uint16_t* current() const { return rows_[0] + guard; }
    uint16_t* next() const { return rows_[1] + guard; }

private:
    // Two pixels left and right of the picture take errors and are never output.
    static constexpr int32_t guard = 8;

    scratch_block raster_, block_;
    uint16_t* rows_[2] = {};
};

/// Adds the shares of one channel's error. The pointers stand at the pixel's channel.
///   direction  +4 left to right, -4 right to left: one pixel on
inline void spread_color_error(int32_t error, int32_t direction, uint16_t* row, uint16_t* next)
{
    const auto add = [](uint16_t& to, int32_t value) { to = static_cast<uint16_t>(to + value); };
    add(row[direction], error >> 2);
    add(row[2 * direction], error >> 3);
    add(next[-8], error >> 4);
    add(next[-4], error >> 3);
    add(next[0], error >> 2);
    add(next[4], error >> 3);
    add(next[8], error >> 4);
}
