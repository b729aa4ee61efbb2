// pcx_rle.h - the run-length code of PCX. A byte of 0xC0 and more holds a count of 0 to 63 in
// its low bits and is followed by the byte to repeat; any other byte stands for itself.
#pragma once

#include "core/byte_runs.h"
#include "core/byte_stream.h"

inline constexpr uint8_t pcx_run_mark = 0xC0;
inline constexpr size_t pcx_longest_run = 63;

/// Decodes the picture as one stream: runs go on across planes and rows, as some writers
/// make them.
class pcx_decoder {
public:
    pcx_decoder(byte_source& in, uint8_t encoding) : in_(in), plain_(encoding == 0) {}

    /// Makes count bytes; run_slack_bytes behind them may be overwritten. Returns how many
    /// there were before the data ended.
    size_t decode(uint8_t* to, size_t count);

    /// Passes over count bytes of output; false when the data end before.
    bool skip(uint64_t count);

private:
    size_t decode_runs(uint8_t* to, size_t count);

    byte_source& in_;
    bool plain_;
    size_t pending_ = 0; // bytes of the last run that belong to what is decoded next
    uint8_t value_ = 0;
};

/// Encodes one plane of a row. to needs 2 * count + 16 bytes, run_slack_bytes behind the plane
/// must be readable. Returns the bytes made.
size_t pcx_encode(const uint8_t* plane, size_t count, uint8_t* to);
