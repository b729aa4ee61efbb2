// jpeg_huffman.h - Huffman tables (annex C and F.2.2.3/T.81) as look-up tables: eleven bits
// of the stream give the symbol and how many bits it takes with its value.
#pragma once

#include <cstdint>

/// A table as a DHT segment or a TIFF tag stores it.
struct jpeg_huffman_spec {
    static constexpr int32_t max_symbols = 259;

    uint8_t counts[16]; // of codes of 1 to 16 bits
    int32_t total;      // symbols present
    uint8_t symbols[max_symbols];
};

struct jpeg_decode_table {
    static constexpr int32_t lookup_bits = 11;

    // An entry: bits 0 to 4 the bits of code and value together, bits 8 to 15 the symbol; 0
    // when the code is longer than lookup_bits or there is none.
    static constexpr uint32_t length_mask = 0x1F;

    uint16_t lookup[1 << lookup_bits];
    uint32_t end_code[17];     // per length, first code behind its codes, in 16 bits from the top
    int32_t symbol_offset[17]; // index of a code's symbol less the code

    const jpeg_huffman_spec* spec;

    /// What it is built from must live on. Codes beyond what their length can hold are unreachable.
    void build(const jpeg_huffman_spec& from);

    /// The entry of a code that the look-up does not know; 0 when the bits are no code of the
    /// table.
    uint32_t find(uint32_t next_16_bits) const;
};
