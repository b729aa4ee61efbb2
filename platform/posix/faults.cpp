// faults.cpp - the fault injection of the POSIX side.

#include "platform/posix/fault_state.h"

#include <cstdlib>

void fault_counter::install(const platform_faults& faults)
{
    faults_ = faults;
    counts_.allocations = counts_.locks = counts_.reads = counts_.writes = 0;
    counts_.peak_bytes = counts_.live_bytes;
}

fault_counter::transfer fault_counter::next_read()
{
    const uint32_t number = ++counts_.reads;
    if (number == faults_.fail_read) return transfer::failed;
    return faults_.short_read && number >= faults_.short_read ? transfer::cut : transfer::whole;
}

fault_counter::transfer fault_counter::next_write()
{
    const uint32_t number = ++counts_.writes;
    if (number == faults_.fail_write) return transfer::failed;
    return number == faults_.short_write ? transfer::cut : transfer::whole;
}

void fault_counter::block_created(size_t bytes)
{
    ++counts_.live_blocks;
    counts_.live_bytes += bytes;
    if (counts_.live_bytes > counts_.peak_bytes) counts_.peak_bytes = counts_.live_bytes;
}

void fault_counter::block_destroyed(size_t bytes, uint32_t locks)
{
    --counts_.live_blocks;
    counts_.live_bytes -= bytes;
    counts_.live_locks -= locks;
}

// The environment switches the moving heap on for a program as a whole: tests reach the
// library through its exports then, and those show no such switch.
fault_counter::fault_counter()
{
    const char* wanted = std::getenv("TREVOLAN_MOVING_HEAP");
    faults_.moving_heap = wanted && *wanted == '1';
}

fault_counter& fault_state()
{
    static fault_counter state;
    return state;
}

void platform_set_faults(const platform_faults& faults)
{
    fault_state().install(faults);
}

platform_counts platform_get_counts()
{
    return fault_state().counts();
}
