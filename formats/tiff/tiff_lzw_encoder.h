// tiff_lzw_encoder.h - LZW as TIFF packs it.
#pragma once

#include "core/byte_stream.h"

/// The encoder of one page, made once and used for all of its strips.
class tiff_lzw_encoder {
public:
    /// Takes the table.  Returns 0 or err_memory.
    int32_t init_tif_lzw_save();

    void begin_strip(byte_sink& out);
    void encode(const uint8_t* bytes, size_t count, byte_sink& out);
    void end_strip(byte_sink& out);

private:
    void clear_table();
    void put_code(uint32_t code, byte_sink& out);

    scratch_block table_;
    uint64_t bits_ = 0; // the last bit_count_ bits are not yet in the output
    uint32_t bit_count_ = 0;
    uint32_t width_ = 0;
    uint32_t next_code_ = 0;
    uint32_t limit_ = 0;  // the next code at which the width grows or the table is cleared
    int32_t prefix_ = -1; // code of the string that is being looked for; -1: none yet
};
