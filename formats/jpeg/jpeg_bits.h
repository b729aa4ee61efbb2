// jpeg_bits.h - the bits of entropy-coded data (F.2.2.5/T.81): a 64-bit window over an input
// buffer, with stuffed zero bytes taken out.
//
// What follows the end of the data is INTENDED in classic mode: the buffer is IBUFFSZ bytes,
// topped up after a block when fewer than 200 are unread, and where the source gives no more
// the bytes of the fill before stay there and are decoded. In interchange mode the data end
// at the source's end or at a marker, and whoever reads on is told so.
#pragma once

#include "core/byte_io.h"

#include <bit>
#include <cstring>

enum class data_end { stale_bytes, stops };

/// The part of the reader's state that a block decoder keeps in registers.
struct bit_window {
    uint64_t bits;       // unread bits from the top down; behind count, bits of *next or 0
    int32_t count;       // 0 to 63
    const uint8_t* next; // the first byte that is not counted in
};

class jpeg_bit_reader {
public:
    /// Bytes for the buffer of a reader of this span.
    static constexpr size_t buffer_bytes(int32_t span)
    {
        return static_cast<size_t>(span) + lookahead + 16;
    }
    static constexpr int32_t classic_span = IBUFFSZ;
    static constexpr int32_t wide_span = 48 * 1024;

    /// Reads the first data from position, or with read_on from where the source stands; the
    /// bits start skip bytes in.  False when there are none. Readers that take turns on one
    /// source need a position each.
    bool start(HFILE file, int32_t position, uint8_t* buffer, int32_t span, data_end end,
               int32_t skip);
    static constexpr int32_t read_on = -1;

    /// At least 56 bits in the window.
    void fill(bit_window& w)
    {
        if (limit_ - w.next >= 8) {
            const uint64_t bytes = load_u64be(w.next);
            if (!has_ff(bytes)) {
                w.bits |= bytes >> w.count;
                w.next += (63 - w.count) >> 3;
                w.count |= 56;
                return;
            }
        }
        w = fill_slowly(w);
    }

    /// To be called after each block: moves the unread bytes to the front and reads more
    /// when fewer than 200 are left.
    void top_up()
    {
        if (window.next >= refill_at_) refill();
    }

    /// True when bits behind the end of the data were taken.
    bool overrun() const { return window.count < phantom_; }

    /// True when the window holds bits behind the end.
    bool end_seen() const { return phantom_ > 0; }

    /// Goes behind the next restart marker; false when there is none.
    bool restart() { return end_ == data_end::stops ? restart_at_marker() : restart_in_bits(); }

    bit_window window{};

private:
    // Behind the span, so that a block longer than 200 bytes finds its bytes.
    static constexpr int32_t lookahead = 512;

    static uint64_t load_u64be(const uint8_t* p)
    {
        uint64_t v;
        std::memcpy(&v, p, sizeof v);
        return __builtin_bswap64(v);
    }
    static bool has_ff(uint64_t v) { return (~v - 0x0101010101010101) & v & 0x8080808080808080; }

    // By value: a window whose address is taken would live in memory.
    bit_window fill_slowly(bit_window w);
    void refill();
    void load(uint8_t* data_end, uint8_t* to);
    void set_end(uint8_t* end);
    void go_to(const uint8_t* byte, int32_t bits_taken);
    const uint8_t* position() const;
    bool restart_in_bits();
    bool restart_at_marker();

    HFILE file_;
    int32_t position_; // of the next bytes to load, or read_on
    data_end end_;
    int32_t span_;
    uint8_t* start_;
    uint8_t* data_end_;    // behind the last byte that came from the source
    const uint8_t* first_; // no stuffing is looked for before it
    const uint8_t* limit_; // bytes from here on are not loaded
    const uint8_t* refill_at_;
    int32_t phantom_; // how many of the window's last bits lie behind the end
    bool at_end_;     // the source gives no more
};
