// wpg_runs.h - the run-length codes of both versions.
#pragma once

#include "core/byte_runs.h"
#include "core/byte_stream.h"

/// Both decoders make one row after another from one stream: runs may go on in the next row.
/// Every buffer has run_slack_bytes behind its row.

/// Version 1.
class wpg1_decoder {
public:
    wpg1_decoder(byte_source& in, uint32_t size) : in_(in), size_left_(size) {}

    /// True when the whole row is the one above once more; it then counts as decoded.
    bool repeats(size_t row_bytes);
    /// Returns the bytes made before the data ended.
    size_t decode(uint8_t* row, const uint8_t* above, size_t row_bytes);

private:
    bool next_item();

    byte_source& in_;
    uint32_t size_left_;
    // What is left of the last item; one of the three at most.
    size_t run_left_ = 0, literals_left_ = 0;
    uint64_t above_left_ = 0;    // in bytes
    uint32_t repeated_rows_ = 0; // of an item not yet turned into bytes
    uint8_t value_ = 0;
};

/// Version 2, over units of 1 to 8 bytes.
class wpg2_decoder {
public:
    wpg2_decoder(byte_source& in, uint32_t size) : in_(in), size_left_(size) {}

    size_t decode(uint8_t* row, const uint8_t* above, size_t row_bytes);

private:
    enum class source : uint8_t { literals, unit, above };
    bool next_item(size_t row_bytes, bool row_starts);
    int get();

    byte_source& in_;
    uint32_t size_left_;
    source source_ = source::literals;
    uint64_t left_ = 0; // bytes of the item
    uint8_t unit_[8] = {};
    uint32_t unit_bytes_ = 1, phase_ = 0;
    uint8_t constant_[8] = {};
    bool from_constant_ = false, combine_ = false;
};

/// Encodes one row that differs from the one above: runs of three and more, literals, never
/// across the row's end. to needs wpg1_row_bound(row_bytes).
size_t wpg1_encode(const uint8_t* row, size_t row_bytes, uint8_t* to);

inline constexpr size_t wpg1_row_bound(size_t row_bytes)
{
    return row_bytes + (row_bytes + 126) / 127 + 16;
}
