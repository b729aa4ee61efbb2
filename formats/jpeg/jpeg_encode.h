// jpeg_encode.h - quantised blocks to entropy-coded data (F.1.2/T.81).
#pragma once

#include "core/byte_stream.h"

#include <array>
#include <span>

/// Codes by symbol (run and size): bits 5 and up the code with size zeros behind it for the
/// value's bits, bits 0 to 4 the length of both together; 0 for no code.
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
    // A block takes at most 64 codes of 27 bits, each byte perhaps stuffed, and a store of eight
    // bytes goes past its end.
    static constexpr size_t block_bytes = 512;

    // What is pending, and where the next bytes go. The bytes of a block are stuffed at its end.
    struct bit_state {
        uint64_t bits;  // the pending ones are the last
        uint32_t count; // of them, below 8 after flush
        uint8_t* to;
    };

    static void put(bit_state& s, uint32_t bits, uint32_t count);
    static void flush(bit_state& s);
    static void put_value(bit_state& s, const jpeg_code_table& table, uint32_t run, int32_t value);
    bit_state begin() { return {bits_, count_, start_ = sink_.reserve(block_bytes)}; }
    void end(const bit_state& s);

    byte_sink& sink_;
    uint8_t* start_ = nullptr;
    uint64_t bits_ = 0;
    uint32_t count_ = 0;
    uint64_t coded_bytes_ = 0; // without stuffing
};
