// tiff_lzw_decoder.h - LZW as TIFF packs it.
#pragma once

#include "core/byte_stream.h"
#include "formats/tiff/tiff_struct.h"

/// The decoder of one page, made once and used for all of its strips.
class tiff_lzw_decoder {
public:
    /// Takes the tables.  Returns 0 or err_memory.
    int32_t initlzw();

    /// Decodes rows rows of row_bytes bytes from the source's position; they are numbered from
    /// first_row. Where the codes end before the rows do, the rest of the rows is 0.
    /// Returns 1; err_format for a code beyond the table and for data that end without their
    /// end code; err_memory; a negative result of output.
    int32_t decode_lzw_strip(byte_source& source, int32_t first_row, uint32_t row_bytes,
                             int32_t rows, const row_output& output);

private:
    /// A string is a piece of the output: that of an earlier code and one byte more.
    struct entry {
        uint32_t start; // in the buffer
        uint32_t length;
    };
    enum class state { running, strip_done, damaged };

    int32_t prepare(uint32_t row_bytes, int32_t rows);
    state decode_some(byte_source& source);
    int32_t deliver_rows(const row_output& output);
    int32_t deliver_rest(const row_output& output);
    int32_t make_room();
    bool grow();

    scratch_block table_;
    scratch_block buffer_; // the bytes of all root strings, then output
    scratch_block row_copy_;
    uint32_t capacity_ = 0;
    uint32_t fill_ = 0;      // end of the output
    uint32_t row_start_ = 0; // of the first row not yet delivered
    uint32_t history_ = 0;   // start of the output since the last Clear
    uint32_t full_end_ = 0;  // not 0: the table is full, and nothing behind this is in it
    uint32_t previous_length_ = 0; // of the string that the output ends with
    uint32_t next_code_ = 0, width_ = 0;
    uint32_t first_bit_ = 0; // of the next code, in the source's next byte
    uint32_t row_bytes_ = 0;
    int32_t row_ = 0, last_row_ = 0;
};
