// tiff_layout.h - which DIB a page becomes, and how its rows are laid out on the way.
#pragma once

#include "core/codec.h"
#include "formats/tiff/tiff_directory.h"

/// What is done to a decoded row to make the DIB row.
enum class row_layout {
    as_it_is,      // bits as they stand
    fax,           // the fax decoders make DIB rows themselves
    swap_rgb,      // 8-bit red, green, blue
    cmyk,          // 8-bit cyan, magenta, yellow, black
    rgb_nibbles,   // 4-bit red, green, blue
    bits_to_bytes, // every bit becomes a byte of 128 or 0
    first_bytes,   // 16-bit grey: the first byte of every sample
    high_bytes,    // 16-bit grey: the high byte of every sample
    widen_pairs,   // 2-bit pixels become 4-bit ones
    ink_nibbles,   // 1-bit cyan, magenta, yellow, black become 4-bit pixels
    first_sample,  // grey or palette in the first of several samples
    rgb_samples,   // any depth, samples behind the third ignored
    cmyk_samples,  // any depth, samples behind the fourth ignored
};

struct tiff_layout {
    row_layout layout;
    int32_t depth;           // of the DIB
    int64_t row_bytes;       // of a decoded row: of all samples, or of one plane
    int32_t planes;          // separate planes to decode; 0: samples side by side
    int64_t chunky_bytes;    // of a row with all samples side by side
    bool inverted;           // WhiteIsZero
    uint32_t predictor_step; // bytes (samples of 16 bits) to the predecessor; 0: none
};

/// Settles the layout of a page.  Returns 0; err_format for a page without pixels;
/// err_unsupported where no row could be laid out; err_memory where the DIB would be too large.
int32_t tiff_plan_layout(const tiff_page& page, tiff_layout& layout);

/// Header and colour table of the page's DIB.
void tiff_make_header(const tiff_source& source, const tiff_page& page, const tiff_layout& layout,
                      dib_header& header);

/// Interchange mode: the bits of 1-bit data lie in the bytes from below. With PackBits and LZW
/// that goes for every byte of the strip, as the writers of such pages have it. (The fax
/// decoders see to it themselves.)
bool tiff_bits_reversed(const tiff_struct& description);
