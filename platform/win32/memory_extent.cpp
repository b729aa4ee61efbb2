// memory_extent.cpp - how far a block of memory can be touched without a fault.

#include "platform/win32.h"

namespace {

constexpr DWORD readable = PAGE_READONLY | PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READ |
                           PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
constexpr DWORD writable =
    PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;

uint32_t extent(const void* address, DWORD wanted)
{
    const auto start = reinterpret_cast<uintptr_t>(address);
    if (start == 0) return 0;
    uint64_t end = start;
    MEMORY_BASIC_INFORMATION region;
    while (VirtualQuery(reinterpret_cast<const void*>(static_cast<uintptr_t>(end)), &region,
                        sizeof region) != 0) {
        if (region.State != MEM_COMMIT || (region.Protect & PAGE_GUARD) ||
            !(region.Protect & wanted))
            break;
        end = reinterpret_cast<uintptr_t>(region.BaseAddress) + uint64_t{region.RegionSize};
        if (end > UINTPTR_MAX) break;
    }
    const uint64_t bytes = end - start;
    return bytes > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(bytes);
}

} // namespace

uint32_t platform_readable_bytes(const void* address)
{
    return extent(address, readable);
}

uint32_t platform_writable_bytes(const void* address)
{
    return extent(address, writable);
}
