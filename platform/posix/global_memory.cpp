// global_memory.cpp - movable global blocks. A handle is an index into a table, starting
// at 1; a block that is not locked may move, and does so on request (faults.h), so that a
// pointer kept beyond its lock is caught by the address sanitizer.

#include "platform/posix/fault_state.h"
#include "platform/posix/win32_subset.h"

#include <cstdlib>
#include <cstring>
#include <sys/mman.h>

namespace {

// In front of every block, so that GlobalHandle finds the handle of an address.
struct alignas(64) block_header {
    uint64_t size_bytes;
    uint32_t index;
    bool mapped;
};

struct table_entry {
    block_header* block; // null: free entry
    uint32_t lock_count;
    uint32_t next_free;
};

struct handle_table {
    table_entry* entries = nullptr;
    uint32_t capacity = 0;
    uint32_t used = 1; // entry 0 is never given out: handle 0 means none
    uint32_t first_free = 0;
};

handle_table table;

// Blocks this large come straight from the system: zero-filled without a pass over them,
// given back at once, and in huge pages, which makes a first pass over a big image cheaper.
constexpr size_t mapping_threshold_bytes = size_t{4} << 20;
constexpr size_t huge_page_bytes = size_t{2} << 20;

block_header* block_map(size_t total)
{
    void* address =
        mmap(nullptr, total, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (address == MAP_FAILED) return nullptr;
    // Only the whole huge pages inside: the ends stay in small pages, so the block never
    // takes more memory than it was asked for.
    const auto first = reinterpret_cast<uintptr_t>(address);
    const uintptr_t begin = (first + huge_page_bytes - 1) & ~(huge_page_bytes - 1);
    const uintptr_t end = (first + total) & ~(huge_page_bytes - 1);
    if (begin < end) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
    return static_cast<block_header*>(address);
}

block_header* block_create(size_t bytes, bool zero)
{
    if (bytes > SIZE_MAX / 2) return nullptr;
    const size_t total =
        (sizeof(block_header) + bytes + alignof(block_header) - 1) & ~(alignof(block_header) - 1);
    const bool mapped = bytes >= mapping_threshold_bytes && !fault_state().moving();
    auto* block =
        mapped ? block_map(total)
               : static_cast<block_header*>(std::aligned_alloc(alignof(block_header), total));
    if (!block) return nullptr;
    block->size_bytes = bytes;
    block->mapped = mapped;
    if (zero && !mapped) std::memset(block + 1, 0, bytes);
    return block;
}

void block_destroy(block_header* block)
{
    if (block->mapped)
        munmap(block, sizeof(block_header) + block->size_bytes);
    else
        std::free(block);
}

bool table_grow()
{
    const uint32_t capacity = table.capacity ? table.capacity * 2 : 256;
    auto* entries = static_cast<table_entry*>(
        std::realloc(table.entries, size_t{capacity} * sizeof(table_entry)));
    if (!entries) return false;
    table.entries = entries;
    table.capacity = capacity;
    return true;
}

uint32_t table_take()
{
    if (table.first_free) {
        const uint32_t index = table.first_free;
        table.first_free = table.entries[index].next_free;
        return index;
    }
    if (table.used >= table.capacity && !table_grow()) return 0;
    return table.used++;
}

table_entry* entry_of(HGLOBAL handle)
{
    const auto index = reinterpret_cast<uintptr_t>(handle);
    if (index == 0 || index >= table.used || !table.entries[index].block) return nullptr;
    return &table.entries[index];
}

// A fresh copy of the block under another address; the old one is gone afterwards.
void move_block(table_entry& entry)
{
    block_header* fresh = block_create(entry.block->size_bytes, false);
    if (!fresh) return;
    std::memcpy(fresh + 1, entry.block + 1, entry.block->size_bytes);
    fresh->index = entry.block->index;
    block_destroy(entry.block);
    entry.block = fresh;
}

} // namespace

HGLOBAL GlobalAlloc(UINT flags, size_t bytes)
{
    if (fault_state().allocation_fails()) return nullptr;
    block_header* block = block_create(bytes, (flags & GMEM_ZEROINIT) != 0);
    if (!block) return nullptr;
    const uint32_t index = table_take();
    if (index == 0) {
        block_destroy(block);
        return nullptr;
    }
    block->index = index;
    table.entries[index] = {block, 0, 0};
    fault_state().block_created(bytes);
    return reinterpret_cast<HGLOBAL>(uintptr_t{index});
}

void* GlobalLock(HGLOBAL handle)
{
    table_entry* entry = entry_of(handle);
    if (!entry || fault_state().lock_fails()) return nullptr;
    if (entry->lock_count == 0 && fault_state().moving()) move_block(*entry);
    ++entry->lock_count;
    fault_state().locked(+1);
    return entry->block + 1;
}

BOOL GlobalUnlock(HGLOBAL handle)
{
    table_entry* entry = entry_of(handle);
    if (!entry || entry->lock_count == 0) return 0;
    --entry->lock_count;
    fault_state().locked(-1);
    if (entry->lock_count == 0 && fault_state().moving()) move_block(*entry);
    return entry->lock_count != 0;
}

HGLOBAL GlobalFree(HGLOBAL handle)
{
    table_entry* entry = entry_of(handle);
    if (!entry) return handle;
    fault_state().block_destroyed(entry->block->size_bytes, entry->lock_count);
    block_destroy(entry->block);
    const auto index = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(handle));
    *entry = {nullptr, 0, table.first_free};
    table.first_free = index;
    return nullptr;
}

HGLOBAL GlobalHandle(const void* address)
{
    if (!address) return nullptr;
    const block_header* block = static_cast<const block_header*>(address) - 1;
    return reinterpret_cast<HGLOBAL>(uintptr_t{block->index});
}

size_t GlobalSize(HGLOBAL handle)
{
    const table_entry* entry = entry_of(handle);
    return entry ? entry->block->size_bytes : 0;
}
