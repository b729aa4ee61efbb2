// jpeg_encode.h - quantised blocks to entropy-coded data (F.1.2/T.81).
#pragma once

#include "core/byte_stream.h"

#include <array>
#include <span>

/// Codes by symbol: the code in bits 5 and up, its length in bits 0 to 4; 0 for no code.
struct jpeg_code_table {
    std::array<uint32_t, 256> codes;

    /// From 16 counts and the symbols behind them (annex C/T.81).
    void build(std::span<const uint8_t> counts_and_symbols);
};

/// What follows the last bits. INTENDED: classic files fill a 16-bit word with zeros.
enum class bit_padding { word_of_zeros, byte_of_ones };

/// Writes bits with stuffed zero bytes into a sink. The sink must not be used otherwise
/// between the first block and finish.
class jpeg_bit_writer {
public:
    explicit jpeg_bit_writer(byte_sink& sink) : sink_(sink) {}

    /// Codes a block of quantised coefficients in natural order; updates the predictor.
    void put_block(const int16_t* coefficients, int32_t& predictor, const jpeg_code_table& dc,
                   const jpeg_code_table& ac);

    void finish(bit_padding padding);

private:
    // A block takes at most 64 codes of 27 bits, each byte perhaps stuffed.
    static constexpr size_t block_bytes = 512;

    void put(uint32_t bits, uint32_t count);
    void put_value(const jpeg_code_table& table, uint32_t run, int32_t value);
    void store_32_bits();

    byte_sink& sink_;
    uint8_t* to_ = nullptr;
    uint64_t bits_ = 0;    // the pending ones are the last
    uint32_t pending_ = 0; // at most 31 between calls of put
};
