// tiff_lzw_encoder.h - LZW as TIFF packs it.
#pragma once

#include "core/byte_io.h"

/// One strip to be coded.
struct lzw_strip {
    const uint8_t* bytes;
    size_t count;
    uint8_t* codes;    // gets the codes: lzw_bound(count) bytes
    size_t code_bytes; // set: how many there are
};

/// Room for the codes of count bytes, with the encoder's wide stores.
inline constexpr size_t lzw_bound(size_t count)
{
    return count + count / 2 + count / 1000 + 64;
}

/// The encoder of one page, made once and used for all of its strips.
class tiff_lzw_encoder {
public:
    /// Takes the tables.  Returns 0 or err_memory.
    int32_t init_tif_lzw_save();

    /// Codes two strips at a time, each with its own table. A strip of no bytes has no codes.
    void encode_tif_lzw(lzw_strip& first, lzw_strip& second);

private:
    scratch_block tables_;
};
