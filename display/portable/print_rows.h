// print_rows.h - scaled rows as dots for devices of one bit per pixel: grey, tone, dither.
#pragma once

#include "color/mono_diffusion.h"
#include "color/mono_ordered.h"
#include "core/print_tone.h"
#include "display/portable/row_scaler.h"

class print_rows {
public:
    /// Gets ready for the rows of a plan that is not empty.  0 or err_memory.
    int32_t prepare(const source_image& image, const stretch_plan& plan, const tone_table& tone,
                    print_dither dither);

    /// Bytes of a row of dots.
    uint32_t bytes_per_line() const { return bytes_per_line_; }

    /// Makes the next row of dots, 1 white. The first is the lowest visible one, as pictures
    /// are stored: then dots fall as the operations on images of the same size have them.
    void next(uint8_t* dots);

private:
    void fetch(int32_t device_row);
    void next_ordered(const threshold_matrix& matrix, uint8_t* dots);
    void next_diffused(uint8_t* dots);

    stretch_plan plan_{};
    print_dither dither_ = print_dither::halftone;
    row_scaler scaler_;
    threshold_matrix matrix_{};
    mono_diffusion diffusion_;
    scratch_block scaled_, grey_;
    tone_table tone_{};          // for 24 bits
    uint8_t of_index_[256] = {}; // grey and tone of a colour-table entry
    uint32_t bytes_per_line_ = 0;
    int32_t width_ = 0;
    int32_t done_ = 0;
};
