// ccitt_fit.cpp - finds out which fax code some data have, for pages whose tag names the
// wrong one: a trial of the first rows with each.

#include "formats/tiff/ccitt_decoder.h"

namespace {

int32_t count_row(void* context, uint8_t*, int32_t, int32_t)
{
    ++*static_cast<int32_t*>(context);
    return 0;
}

// Rows that say enough: fewer can add up to the width by chance.
constexpr int32_t telling_rows = 8;

// The codes in the order of trial. Rows of Group 4 cannot be checked against a length, and
// other data can look like a few of them: the code is taken only where no other one fits.
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

// 1 when all rows can be decoded without a single thing that the code does not allow; else 0,
// or err_memory.
int32_t fits(HFILE file, const ccitt_options& options, int32_t rows)
{
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
    if (named == tiff_group4 && rows < telling_rows) return named;
    const int32_t start = img_tell(file);
    for (uint32_t code : order_for(options.compression).codes) {
        if (code == tiff_group4 && named == tiff_group4) break;
        ccitt_options trial = options;
        trial.compression = code;
        const int32_t found = fits(file, trial, rows);
        img_seek_mem(file, start, seek_from_start);
        if (found < 0) return found;
        if (found) return static_cast<int32_t>(code);
    }
    return named;
}
