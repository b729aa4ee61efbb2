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
// White rows of Group 4 are one bits, which add up to rows of some widths in modified Huffman,
// but take eight times as many of them at least: against that name, more rows are tried.
constexpr trial_rows rows_for(uint32_t code, uint32_t named)
{
    if (code == tiff_group4) return {64, 256};
    return {1, named == tiff_group4 ? 1024 : 32};
}

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
// 0, or err_memory.
int32_t fits(HFILE file, const ccitt_options& options, uint32_t named, int32_t rows)
{
    const trial_rows trial = rows_for(options.compression, named);
    if (rows < trial.least) return 0;
    rows = std::min(rows, trial.most);
    int32_t decoded = 0;
    ccitt_decoder decoder(options);
    const int32_t result = decoder.decode_strip(file, rows, 0, {count_row, &decoded});
    if (result == err_memory) return err_memory;
    return result >= 0 && decoded == rows && decoder.faults() == 0;
}

} // namespace

int32_t ccitt_fitting_compression(HFILE file, const ccitt_options& options, int32_t rows)
{
    const auto named = static_cast<int32_t>(options.compression);
    // A few rows of Group 4 can look like rows of another code.
    if (named == tiff_group4 && rows < 8) return named;
    const int32_t start = img_tell(file);
    for (uint32_t code : order_for(options.compression).codes) {
        if (code == tiff_group4 && named == tiff_group4) break;
        ccitt_options trial = options;
        trial.compression = code;
        const int32_t found = fits(file, trial, options.compression, rows);
        img_seek_mem(file, start, seek_from_start);
        if (found < 0) return found;
        if (found) return static_cast<int32_t>(code);
    }
    return named;
}
