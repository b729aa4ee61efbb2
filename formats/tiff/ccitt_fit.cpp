// ccitt_fit.cpp - finds out which fax code some data have, for pages whose tag names the
// wrong one: a trial of the first rows with each.

#include "formats/tiff/ccitt_decoder.h"

#include <algorithm>

namespace {

int32_t count_row(void* context, uint8_t*, int32_t, int32_t)
{
    ++*static_cast<int32_t*>(context);
    return 0;
}

// Rows of a trial. One-dimensional rows must each add up to the width, so a few say enough.
// Rows of Group 4 have no length to check, only one mode in 64 that is none.
struct trial_rows {
    int32_t least, most;
};
constexpr trial_rows one_dimensional_trial = {1, 32}, group4_trial = {64, 256};

// The codes in the order of trial, the weakest evidence last.
struct trial_order {
    uint32_t codes[4];
};
constexpr trial_order order_for(uint32_t named)
{
    switch (named) {
    case tiff_group3: return {{tiff_group3, tiff_group3_2d, tiff_huffman, tiff_group4}};
    case tiff_group3_2d: return {{tiff_group3_2d, tiff_group3, tiff_huffman, tiff_group4}};
    default: return {{tiff_huffman, tiff_group3, tiff_group3_2d, tiff_group4}};
    }
}

// 1 when the rows can be decoded without a single thing that the code does not allow; else
// 0, or err_memory. Leaves the source where it was.
int32_t fits(HFILE file, ccitt_options options, uint32_t code, int32_t rows)
{
    const int32_t start = img_tell(file);
    options.compression = code;
    int32_t decoded = 0;
    ccitt_decoder decoder(options);
    const int32_t result = decoder.decode_strip(file, rows, 0, {count_row, &decoded});
    img_seek_mem(file, start, seek_from_start);
    if (result == err_memory) return err_memory;
    return result >= 0 && decoded == rows && decoder.faults() == 0;
}

int32_t fits_trial(HFILE file, const ccitt_options& options, uint32_t code, int32_t rows)
{
    const trial_rows trial = code == tiff_group4 ? group4_trial : one_dimensional_trial;
    return rows < trial.least ? 0 : fits(file, options, code, std::min(rows, trial.most));
}

} // namespace

int32_t ccitt_fitting_compression(HFILE file, const ccitt_options& options, int32_t rows)
{
    const uint32_t named = options.compression;
    // A few rows of Group 4 can look like rows of another code.
    if (named == tiff_group4 && rows < 8) return tiff_group4;
    for (uint32_t code : order_for(named).codes) {
        if (code == tiff_group4 && named == tiff_group4) break;
        const int32_t found = fits_trial(file, options, code, rows);
        if (found > 0 && code == tiff_huffman && code != named) {
            // White rows of Group 4 are one bits, and those make whole rows of some widths in
            // modified Huffman too, however many are tried: all rows are better evidence.
            const bool is_long = named == tiff_group4 || rows >= group4_trial.least;
            const int32_t is_group4 = is_long ? fits(file, options, tiff_group4, rows) : 0;
            if (is_group4 != 0) return is_group4 < 0 ? is_group4 : int32_t{tiff_group4};
        }
        if (found != 0) return found < 0 ? found : static_cast<int32_t>(code);
    }
    return static_cast<int32_t>(named);
}
