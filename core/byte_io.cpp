// byte_io.cpp - files and memory behind one set of calls, and the scratch list.

#include "core/byte_io.h"

#include "core/image.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

io_state state;

// Operations under way: more than one while a client callback runs another.
int open_scopes = 0;

// Where the last inner operation left its memory stream, for a callback that asks.
int32_t inner_position = -1; // -1: none since the outermost began

int32_t memory_read(void* destination, uint32_t count)
{
    memory_stream& m = state.memory;
    if (m.position >= m.size) return 0;
    count = std::min(count, m.size - m.position);
    std::memcpy(destination, m.base + m.position, count);
    m.position += count;
    return static_cast<int32_t>(count);
}

int32_t memory_write(const void* source, uint32_t count)
{
    memory_stream& m = state.memory;
    if (m.position >= m.size) return 0;
    count = std::min(count, m.size - m.position);
    std::memcpy(m.base + m.position, source, count);
    m.position += count;
    return static_cast<int32_t>(count);
}

int32_t memory_seek(int32_t offset, int origin)
{
    memory_stream& m = state.memory;
    int64_t position = 0;
    if (origin == seek_from_start) position = offset;
    if (origin == seek_from_here) position = int64_t{m.position} + offset;
    // A position before the block reads like one behind it: nothing is there.
    m.position =
        position < 0 ? INT32_MAX : static_cast<uint32_t>(std::min<int64_t>(position, INT32_MAX));
    return 0;
}

} // namespace

void reset_mem_io_bounded(const void* base, uint32_t size_bytes)
{
    // One stream serves both directions, as one handle value stands for both.
    state.memory.base = const_cast<uint8_t*>(static_cast<const uint8_t*>(base));
    state.memory.size = std::min<uint32_t>(size_bytes, INT32_MAX);
    state.memory.position = 0;
    state.memory.bounded = true;
}

void reset_mem_io_for_reading(const void* base)
{
    reset_mem_io_bounded(base, platform_readable_bytes(base));
    state.memory.bounded = false;
}

void reset_mem_io_for_writing(void* base)
{
    reset_mem_io_bounded(base, platform_writable_bytes(base));
    state.memory.bounded = false;
}

int32_t img_read_mem(HFILE file, void* destination, int32_t count)
{
    if (count <= 0) return 0;
    if (file == memory_file) return memory_read(destination, static_cast<uint32_t>(count));
    return static_cast<int32_t>(_lread(file, destination, static_cast<UINT>(count)));
}

const uint8_t* img_take_mem(HFILE file, int32_t count)
{
    memory_stream& m = state.memory;
    if (file != memory_file || count < 0 || m.position > m.size) return nullptr;
    if (static_cast<uint32_t>(count) > m.size - m.position) return nullptr;
    const uint8_t* bytes = m.base + m.position;
    m.position += static_cast<uint32_t>(count);
    return bytes;
}

int32_t img_write_mem(HFILE file, const void* source, int32_t count)
{
    // A zero-length write would cut the file on Windows.
    if (count <= 0) return 0;
    if (file == memory_file) return memory_write(source, static_cast<uint32_t>(count));
    return static_cast<int32_t>(
        _lwrite(file, static_cast<const char*>(source), static_cast<UINT>(count)));
}

int32_t img_seek_mem(HFILE file, int32_t offset, int origin)
{
    if (file == memory_file) return memory_seek(offset, origin);
    return _llseek(file, offset, origin);
}

int32_t img_filelength(HFILE file)
{
    if (file == memory_file) return static_cast<int32_t>(state.memory.position);
    const LONG position = _llseek(file, 0, FILE_CURRENT);
    const LONG length = _llseek(file, 0, FILE_END);
    _llseek(file, position, FILE_BEGIN);
    return length;
}

int32_t img_data_end(HFILE file)
{
    if (file != memory_file) return img_filelength(file);
    return state.memory.bounded ? static_cast<int32_t>(state.memory.size) : -1;
}

int32_t img_tell(HFILE file)
{
    if (file == memory_file) return static_cast<int32_t>(state.memory.position);
    return _llseek(file, 0, FILE_CURRENT);
}

int32_t img_overwrite(HFILE file, int32_t at, const void* source, int32_t count)
{
    const int32_t position = img_tell(file);
    // A pipe cannot go back: what is meant for earlier bytes would be added to its end.
    const bool written =
        img_seek_mem(file, at, seek_from_start) >= 0 && img_write_mem(file, source, count) == count;
    img_seek_mem(file, position, seek_from_start);
    return written ? 0 : int32_t{err_write};
}

uint32_t img_extent(HFILE file)
{
    if (file == memory_file) return state.memory.size;
    return static_cast<uint32_t>(std::max(img_filelength(file), 0));
}

int32_t IMG_STD get_save_filesize(void)
{
    return inner_position >= 0 ? inner_position : img_tell(memory_file);
}

HFILE img_stdopen(const char* name)
{
    OFSTRUCT opened;
    return OpenFile(name, &opened, OF_CREATE);
}

void img_close(HFILE file)
{
    _lclose(file);
}

void* img_fmalloc(size_t bytes)
{
    void* const no_block = reinterpret_cast<void*>(UINTPTR_MAX);
    void** const entry = std::find(std::begin(state.scratch), std::end(state.scratch), nullptr);
    if (entry == std::end(state.scratch)) return no_block;
    HGLOBAL handle = GlobalAlloc(GMEM_MOVEABLE, std::max<size_t>(bytes, 1));
    if (!handle) return no_block;
    void* address = GlobalLock(handle);
    if (!address) GlobalFree(handle);
    *entry = address;
    return address;
}

void img_ffree(void* address)
{
    if (!address) return;
    void** const entry = std::find(std::begin(state.scratch), std::end(state.scratch), address);
    if (entry == std::end(state.scratch)) return;
    HGLOBAL handle = GlobalHandle(address);
    GlobalUnlock(handle);
    GlobalFree(handle);
    *entry = nullptr;
}

void img_ffree_all()
{
    for (size_t i = std::size(state.scratch); i-- > 0;)
        img_ffree(state.scratch[i]);
}

io_scope::io_scope() : outer_(state)
{
    ++open_scopes;
    std::fill(std::begin(state.scratch), std::end(state.scratch), nullptr);
}

io_scope::~io_scope()
{
    img_ffree_all();
    const uint32_t position = state.memory.position;
    state = outer_;
    inner_position = --open_scopes > 0 ? static_cast<int32_t>(position) : -1;
    if (open_scopes > 0) return;
    // The client's block may be gone after this; only the position stays, which
    // get_save_filesize tells.
    state.memory = {nullptr, 0, position, false};
}

void mm_byteswap(void* address, int32_t count)
{
    auto* p = static_cast<uint8_t*>(address);
    for (int32_t i = 0; i < count; ++i, p += 2)
        std::swap(p[0], p[1]);
}

void mm_wordswap(void* address, int32_t count)
{
    auto* p = static_cast<uint8_t*>(address);
    for (int32_t i = 0; i < count; ++i, p += 4) {
        std::swap(p[0], p[3]);
        std::swap(p[1], p[2]);
    }
}

int32_t img_byteswap(void* address, int32_t count)
{
    mm_byteswap(address, count);
    return count;
}
