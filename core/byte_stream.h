// byte_stream.h - buffered reading and writing on top of the byte I/O, for codecs that take
// or make their data in small pieces. Decoders work on the buffer directly.
#pragma once

#include "core/byte_io.h"

#include <cstring>

/// A window on a byte source: a buffer, or the memory itself where the source is memory. The
/// bytes from next up to end are unread; slack_bytes behind end can always be loaded (never
/// trusted), so that wide loads need no test of their own.
class byte_source {
public:
    static constexpr size_t slack_bytes = 64;

    /// Starts at the source's current position.
    explicit byte_source(HFILE file, uint32_t buffer_bytes = 64 * 1024);

    /// False when the buffer could not be allocated.
    bool ok() const { return static_cast<bool>(buffer_); }

    /// The next byte, or -1 at the end of the data.
    int get()
    {
        if (next == end && !refill()) return -1;
        return *next++;
    }

    /// Makes count bytes available at next (count at most the buffer size); false when the
    /// data end before; what there is stays available.
    bool ensure(size_t count) { return available() >= count || fill_to(count); }

    /// Makes room behind the unread bytes and reads more there; false when nothing more came.
    bool refill();

    /// Copies count bytes out; returns how many there were.
    size_t read(void* destination, size_t count);

    /// Passes over count bytes, by seeking where they are many.
    void skip(uint32_t count);

    /// Position in the source of the byte at next.
    int32_t tell() const { return start_position_ + static_cast<int32_t>(next - start_); }

    /// Goes on at an absolute position.
    void seek(int32_t position);

    /// The same, in the window where the position lies in it.
    void seek_near(int32_t position)
    {
        const int64_t ahead = int64_t{position} - tell();
        if (ahead < start_ - next || ahead > end - next)
            seek(position);
        else
            next += ahead;
    }

    /// From now on every byte read comes with its bits in reverse order (TIFF FillOrder 2).
    void reverse_bits() { reversed_ = true; }

    /// Puts the source's own position at next, for whoever reads it after this.
    void sync() { img_seek_mem(file_, tell(), seek_from_start); }

    /// True when a read failed, which otherwise looks like the end of the data.
    bool failed() const { return failed_; }

    size_t available() const { return static_cast<size_t>(end - next); }
    size_t capacity() const { return capacity_; }

    const uint8_t* next = nullptr;
    const uint8_t* end = nullptr;

private:
    bool fill_to(size_t count);
    bool extend_in_place();

    HFILE file_;
    scratch_block buffer_;
    uint32_t capacity_;              // of the window too
    const uint8_t* start_ = nullptr; // of the window
    int32_t start_position_ = 0;     // in the source
    bool at_end_ = false;
    bool reversed_ = false;
    bool failed_ = false;
};

/// Collects output and writes it in large pieces. A failure is remembered: put calls after
/// it do nothing, and flush tells it.
class byte_sink {
public:
    explicit byte_sink(HFILE file, uint32_t buffer_bytes = 64 * 1024);

    bool ok() const { return static_cast<bool>(buffer_); }

    void put(uint8_t byte)
    {
        if (fill_ == capacity_) drain();
        buffer_.bytes()[fill_++] = byte;
    }
    void put(const void* bytes, size_t count);
    void put_u16le(uint32_t value);
    void put_u32le(uint32_t value);
    void put_u16be(uint32_t value);
    void put_u32be(uint32_t value);
    void put_zeros(size_t count);

    /// Room for count bytes (at most the buffer size), to be filled and then committed.
    uint8_t* reserve(size_t count)
    {
        if (capacity_ - fill_ < count) drain();
        return buffer_.bytes() + fill_;
    }
    void commit(size_t count) { fill_ += static_cast<uint32_t>(count); }

    /// True when a write so far was short: a writer may stop early.
    bool failed() const { return failed_; }

    /// Writes what is collected.  0, or err_write when any write so far was short.
    int32_t flush();

    /// Bytes put since the start.
    uint64_t written() const { return drained_ + fill_; }

private:
    void drain();

    HFILE file_;
    scratch_block buffer_;
    uint32_t capacity_;
    uint32_t fill_ = 0;
    uint64_t drained_ = 0;
    bool failed_ = false;
};

/// Fields of a header that is already in memory, in file order. Past the end every field
/// reads 0 and ok() turns false for good; test it once per group.
enum class byte_order { little, big };

class byte_reader {
public:
    byte_reader(const void* bytes, size_t count, byte_order order)
        : next_(static_cast<const uint8_t*>(bytes)), left_(count), order_(order)
    {
    }

    uint8_t u8() { return static_cast<uint8_t>(number(1)); }
    uint16_t u16() { return static_cast<uint16_t>(number(2)); }
    uint32_t u32() { return number(4); }
    int16_t i16() { return static_cast<int16_t>(u16()); }
    int32_t i32() { return static_cast<int32_t>(u32()); }
    /// count bytes in place, or null past the end.
    const uint8_t* take(size_t count);

    bool ok() const { return ok_; }
    size_t left() const { return left_; }

private:
    uint32_t number(size_t count);

    const uint8_t* next_;
    size_t left_;
    byte_order order_;
    bool ok_ = true;
};

/// Plain fields at an address.
inline uint16_t load_u16le(const uint8_t* p)
{
    return static_cast<uint16_t>(p[0] | p[1] << 8);
}
inline uint16_t load_u16be(const uint8_t* p)
{
    return static_cast<uint16_t>(p[0] << 8 | p[1]);
}
inline uint32_t load_u32le(const uint8_t* p)
{
    return p[0] | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
           static_cast<uint32_t>(p[3]) << 24;
}
inline uint32_t load_u32be(const uint8_t* p)
{
    return p[3] | static_cast<uint32_t>(p[2]) << 8 | static_cast<uint32_t>(p[1]) << 16 |
           static_cast<uint32_t>(p[0]) << 24;
}
inline void store_u16le(uint8_t* p, uint32_t v)
{
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}
inline void store_u32le(uint8_t* p, uint32_t v)
{
    store_u16le(p, v);
    store_u16le(p + 2, v >> 16);
}
inline void store_u16be(uint8_t* p, uint32_t v)
{
    p[0] = static_cast<uint8_t>(v >> 8);
    p[1] = static_cast<uint8_t>(v);
}
inline void store_u32be(uint8_t* p, uint32_t v)
{
    store_u16be(p, v >> 16);
    store_u16be(p + 2, v);
}
