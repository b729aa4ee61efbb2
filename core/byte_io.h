// byte_io.h - how every codec reads and writes: an open file or a block of memory behind
// one set of calls, working memory that is swept after each reader and writer, byte order,
// and the sizes of DIB rows and colour tables.
#pragma once

#include "core/errors.h"
#include "platform/win32.h"

#include <cstddef>
#include <cstdint>
#include <utility>

/// The handle that stands for the current memory block.
inline constexpr HFILE memory_file = 32767;

/// The standard codec buffer, bytes. It sets where the described strip arithmetic puts its
/// seams; it is never a limit on a row.
inline constexpr int32_t IBUFFSZ = 10000;

enum seek_origin : int { seek_from_start = 0, seek_from_here = 1, seek_from_end = 2 };

/// Makes a block the current memory block, position 0. Its end is where the readable
/// (writable) memory ends, so that damaged data cannot lead outside it.
void reset_mem_io_for_reading(const void* base);
void reset_mem_io_for_writing(void* base);

/// The same with a known size: reading past it is end of data, writing past it is short.
void reset_mem_io_bounded(const void* base, uint32_t size_bytes);

/// Reads up to count bytes.  Returns how many, 0 at the end, -1 on a failed read.
int32_t img_read_mem(HFILE file, void* destination, int32_t count);

/// The next count bytes of a memory source, in place, and passes over them; null for a file,
/// and where the block ends before.
const uint8_t* img_take_mem(HFILE file, int32_t count);

/// Writes count bytes.  Returns how many were written, or -1.
int32_t img_write_mem(HFILE file, const void* source, int32_t count);

/// Writes count bytes over earlier ones; the position stays.  0, or err_write.
int32_t img_overwrite(HFILE file, int32_t at, const void* source, int32_t count);

/// Moves the position.  A file gives its new position or -1. Memory gives 0, and INTENDED:
/// from the end means position 0, because the stream has no end of its own.
int32_t img_seek_mem(HFILE file, int32_t offset, int origin);

/// Size of a file. INTENDED: for memory the current position.
int32_t img_filelength(HFILE file);

/// Where the data end, counted from the start: the size of a file or of a bounded memory
/// block; -1 for memory of unknown size. For formats that keep something at their end.
int32_t img_data_end(HFILE file);

/// The position: of a file by a seek of 0, of memory as it is.
int32_t img_tell(HFILE file);

/// Bytes from the start of the source that can be there at all: the size of a file, the
/// bound of a memory block. It limits loops over damaged data.
uint32_t img_extent(HFILE file);

/// Creates or truncates a file; -1 on failure.
HFILE img_stdopen(const char* name);
void img_close(HFILE file);

/// Working memory: locked, uninitialised, listed until freed or swept. All bits set when it
/// cannot be allocated (or the list of 20 is full), null when it cannot be locked.
/// Take it through scratch_block, which owns it.
void* img_fmalloc(size_t bytes);
void img_ffree(void* address);
void img_ffree_all();

/// Owner of one block of working memory.
class scratch_block {
public:
    scratch_block() = default;
    explicit scratch_block(size_t bytes) { allocate(bytes); }
    ~scratch_block() { release(); }
    scratch_block(const scratch_block&) = delete;
    scratch_block& operator=(const scratch_block&) = delete;

    /// Replaces the block; false when memory ran out, and then it owns none.
    bool allocate(size_t bytes)
    {
        release();
        void* got = img_fmalloc(bytes);
        if (got == reinterpret_cast<void*>(UINTPTR_MAX)) got = nullptr;
        bytes_ = static_cast<uint8_t*>(got);
        size_ = bytes_ ? bytes : 0;
        return bytes_ != nullptr;
    }
    void release()
    {
        if (bytes_) img_ffree(bytes_);
        bytes_ = nullptr;
        size_ = 0;
    }
    void swap(scratch_block& other)
    {
        std::swap(bytes_, other.bytes_);
        std::swap(size_, other.size_);
    }
    explicit operator bool() const { return bytes_ != nullptr; }
    uint8_t* bytes() const { return bytes_; }
    template <class T> T* as() const { return reinterpret_cast<T*>(bytes_); }
    size_t size() const { return size_; }

private:
    uint8_t* bytes_ = nullptr;
    size_t size_ = 0;
};

/// Allocates bytes_per_entry x entries bytes; false also from 2^31 bytes on, where the
/// product could leave 32 bits: a row of a picture may be 2^30 pixels wide.
inline bool allocate_rows(scratch_block& block, size_t bytes_per_entry, size_t entries)
{
    return entries <= INT32_MAX / bytes_per_entry && block.allocate(bytes_per_entry * entries);
}

/// The memory block that memory_file stands for.
struct memory_stream {
    uint8_t* base = nullptr;
    uint32_t size = 0;     // bytes from base that may be touched
    uint32_t position = 0; // may lie beyond size: then reads give nothing
    bool bounded = false;  // size is the data's own, not just what can be touched
};

/// What belongs to one load or save.
struct io_state {
    memory_stream memory;
    void* scratch[20] = {}; // working memory; null: free entry
};

/// Keeps the memory stream and the scratch list of an outer load or save while a client
/// callback runs an inner one, to any depth.
class io_scope {
public:
    io_scope();
    ~io_scope();
    io_scope(const io_scope&) = delete;
    io_scope& operator=(const io_scope&) = delete;

private:
    io_state outer_;
};

/// Reverse the bytes of count 16-bit words (32-bit words) in place: "MM" data.
void mm_byteswap(void* address, int32_t count);
void mm_wordswap(void* address, int32_t count);
/// "II" data match the host: nothing to do.
inline void ii_byteswap(void*, int32_t) {}
inline void ii_wordswap(void*, int32_t) {}
/// As mm_byteswap; returns count.
int32_t img_byteswap(void* address, int32_t count);

/// Bytes of a DIB row, a multiple of 4: 1 bit (width + 7) / 8, 4 bits (width + 1) / 2,
/// 24 bits width x 3, any other value width. The row must fit (dib_fits).
int32_t size_for_long(int32_t width, int32_t bits_per_pixel);

/// Bytes of the colour table: 0 for 24 bits, else 4 << bits, whatever biClrUsed says.
int32_t Palette_Size(const BITMAPINFOHEADER* header);

/// Entries of the colour table: 2, 16 or 256; 0 for 24 bits.
int32_t palette_entries(int32_t bits_per_pixel);

/// True when width and height are positive, the depth is 1, 4, 8 or 24, and the whole DIB
/// stays below 2^31 bytes. Readers test it before set_header (err_memory when only the size
/// is at fault); all row and size arithmetic then fits 32 bits.
bool dib_fits(int64_t width, int64_t height, int32_t bits_per_pixel);

/// A crop rectangle in bytes of a bottom-up DIB: x becomes a byte offset in the row, y the
/// stored index of the lowest row of the rectangle, which is also the result. INTENDED: 1- and
/// 4-bit columns round up, so a crop that starts inside a byte starts with the next one.
int32_t get_crop_start(const BITMAPINFOHEADER* header, int32_t* x, int32_t* y, int32_t width,
                       int32_t height, int32_t* stride);
