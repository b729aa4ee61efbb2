// ccitt_bit_writer.h - puts code words of fax data behind each other and writes them in
// large pieces.
#pragma once

#include "formats/tiff/ccitt_bits.h"
#include "formats/tiff/ccitt_codes.h"

/// Owns the output buffer and writes it out.
class ccitt_bit_sink {
public:
    /// lsb_first: the bits of every byte are reversed on the way out (FillOrder 2).
    ccitt_bit_sink(HFILE file, bool lsb_first) : file_(file), lsb_first_(lsb_first) {}

    /// False when memory ran out.
    bool allocate() { return buffer_.allocate(buffer_bytes); }

    uint8_t* begin() const { return buffer_.bytes(); }
    const uint8_t* limit() const { return buffer_.bytes() + buffer_bytes; }

    /// Writes what lies in front of next; returns where to go on.
    uint8_t* drain(const uint8_t* next);
    /// A write was short; what is drained after it is lost.
    bool failed() const { return failed_; }

private:
    static constexpr size_t buffer_bytes = 32 * 1024; // a multiple of a word

    HFILE file_;
    bool lsb_first_;
    bool failed_ = false;
    scratch_block buffer_;
};

/// Appends bits. A plain value: an inner loop keeps its own copy in registers.
struct ccitt_bit_packer {
    explicit ccitt_bit_packer(const ccitt_bit_sink& sink) : next(sink.begin()), limit(sink.limit())
    {
    }

    /// Appends the low length bits of code, 1 to 31 of them.
    void putbuff(uint32_t code, uint32_t length, ccitt_bit_sink& sink)
    {
        const uint32_t room = ccitt_word_bits - used;
        if (length < room) [[likely]] {
            bits |= ccitt_machine_word{code} << (room - length);
            used += length;
            return;
        }
        used = length - room;
        ccitt_store_word(next, bits | code >> used);
        next += sizeof bits;
        bits = used > 0 ? ccitt_machine_word{code} << (ccitt_word_bits - used) : 0;
        if (next == limit) [[unlikely]]
            next = sink.drain(next);
    }

    /// Fills the current unit up with zeros, not at all when none is begun.
    void align(uint32_t unit_bits, ccitt_bit_sink& sink)
    {
        const uint32_t over = used % unit_bits;
        if (over != 0) putbuff(0, unit_bits - over, sink);
    }

    /// Writes everything; bits must be aligned to bytes.
    void flush(ccitt_bit_sink& sink)
    {
        for (; used > 0; used -= 8, bits <<= 8)
            *next++ = static_cast<uint8_t>(bits >> (ccitt_word_bits - 8));
        next = sink.drain(next);
    }

private:
    ccitt_machine_word bits = 0; // the used bits on top are not stored yet, 0 below
    uint32_t used = 0;           // below ccitt_word_bits
    uint8_t* next;               // a whole word can be stored here
    const uint8_t* limit;
};
