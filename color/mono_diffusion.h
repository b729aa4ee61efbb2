// mono_diffusion.h - black and white by error diffusion, a row at a time.
#pragma once

#include "core/byte_io.h"

/// INTENDED: in the classic operation a running value below zero wraps in 16 bits and reads as
/// a large number. Printing keeps the sign, because wrapped values strew white into shadows.
enum class running_values { wrap, keep_sign };

/// The rows of running values. Errors reach two rows ahead, so the owner feeds row y + 3
/// before it dithers row y + 1.
class mono_diffusion {
public:
    /// Takes the working memory.  0, or err_memory.
    int32_t begin(int32_t width, running_values values = running_values::wrap);

    /// Puts grey values into the row that is ahead by 0 (the next to be dithered), 1 or 2.
    void feed(int32_t ahead, const uint8_t* grey);

    /// Turns the next row into bits (first pixel in bit 7, padding of the last byte 0) and
    /// moves on. INTENDED: rows of even number run left to right, odd ones right to left.
    void dither(uint8_t* bits, int32_t row_number);

private:
    uint16_t* pixels(int32_t ahead) const { return rows_[ahead] + guard; }

    // Columns that take errors left and right of the picture and are never output.
    static constexpr int32_t guard = 2;

    int32_t width_ = 0;
    running_values values_ = running_values::wrap;
    scratch_block block_;
    uint16_t* rows_[3] = {};
};
