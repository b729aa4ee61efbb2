// memory_extent.cpp - how far a block of memory can be touched without a fault, from the
// kernel's list of mappings.

#include "platform/win32.h"

#include <cinttypes>
#include <cstdio>

namespace {

// Walks the mappings, sorted by address, and adds up those that follow one another from
// address on with the given permission.
uint32_t extent(const void* address, size_t permission_index, char permission)
{
    const auto start = reinterpret_cast<uintptr_t>(address);
    if (start == 0) return 0;
    std::FILE* maps = std::fopen("/proc/self/maps", "r");
    if (!maps) return UINT32_MAX;
    uintptr_t end = start;
    char line[512];
    while (std::fgets(line, sizeof line, maps)) {
        uintptr_t low = 0, high = 0;
        char permissions[8] = {};
        if (std::sscanf(line, "%" SCNxPTR "-%" SCNxPTR " %7s", &low, &high, permissions) != 3)
            continue;
        if (high <= end) continue;
        if (low > end || permissions[permission_index] != permission) break;
        end = high;
    }
    std::fclose(maps);
    const uintptr_t bytes = end - start;
    return bytes > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(bytes);
}

} // namespace

uint32_t platform_readable_bytes(const void* address)
{
    return extent(address, 0, 'r');
}

uint32_t platform_writable_bytes(const void* address)
{
    return extent(address, 1, 'w');
}
