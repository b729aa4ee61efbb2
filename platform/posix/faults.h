// faults.h - what tests can ask of the POSIX side: a heap whose blocks move whenever they
// may, and failures at a chosen allocation, lock, read or write.
#pragma once

#include <cstdint>

/// Settings of the fault injection. Counts run from 1; 0 means never. Calls are counted
/// from the moment the settings are installed.
struct platform_faults {
    bool moving_heap = false;     // a block gets a new address with every first lock
    uint32_t fail_allocation = 0; // this GlobalAlloc returns no handle
    uint32_t fail_lock = 0;       // this GlobalLock returns null
    uint32_t fail_read = 0;       // this _lread fails
    uint32_t short_read = 0;      // this _lread, and all after it, are cut: end of data
    uint32_t fail_write = 0;      // this _lwrite fails
    uint32_t short_write = 0;     // this _lwrite stores half of its bytes
};

/// How often each call was made since the settings were installed, and what is held now.
struct platform_counts {
    uint32_t allocations = 0;
    uint32_t locks = 0;
    uint32_t reads = 0;
    uint32_t writes = 0;
    uint32_t live_blocks = 0;
    uint32_t live_locks = 0; // locks not yet released, over all live blocks
    uint64_t live_bytes = 0;
    uint64_t peak_bytes = 0; // since the settings were installed
};

void platform_set_faults(const platform_faults& faults);
platform_counts platform_get_counts();
