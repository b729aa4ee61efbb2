// mono_diffusion.h - black and white by error diffusion, a row at a time.
#pragma once

#include "color/running_values.h"
#include "core/byte_io.h"

/// The rows of running values. Errors reach two rows ahead, so the owner feeds row y + 3
/// before it dithers row y + 1.
class mono_diffusion {
public:
    /// Takes the working memory.  0, or err_memory.
    int32_t begin(int32_t width, running_values values);

    /// Puts grey values into the row that is ahead by 0 (the next to be dithered), 1 or 2.
    void feed(int32_t ahead, const uint8_t* grey);

    /// Turns the next row into bits (first pixel in bit 7) and moves on. INTENDED: rows of
    /// even number run left to right, odd ones right to left.
    ///   bits  a row of size_for_long(width, 1) bytes, filled with its padding 0
    void dither_raster(uint8_t* bits, int32_t row_number);

private:
    // Columns that take errors beside the picture and are never output; a whole vector, so
    // that neighbours can be read without a test.
    static constexpr size_t guard = 8;
    struct carried;

    template <running_values mode>
    void quantise_group(int32_t group, int32_t direction, carried& from);
    template <running_values mode> void dither_row(int32_t direction);
    void split_group(int32_t group);
    void add_group(int32_t group);

    int32_t width_ = 0;
    running_values mode_ = running_values::wrap;
    scratch_block values_, errors_;
    uint16_t* rows_[3] = {};       // running values
    uint16_t* shares_[4] = {};     // a, b, c, d of the row being dithered
    uint64_t* of_pixel_ = nullptr; // the same, all four of a pixel in one word
};
