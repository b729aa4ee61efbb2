// fault_state.h - counts the calls of the POSIX side and says which of them are to fail.
#pragma once

#include "platform/posix/faults.h"

#include <cstddef>

class fault_counter {
public:
    fault_counter();
    void install(const platform_faults& faults);
    platform_counts counts() const { return counts_; }

    bool moving() const { return faults_.moving_heap; }
    bool allocation_fails() { return ++counts_.allocations == faults_.fail_allocation; }
    bool lock_fails() { return ++counts_.locks == faults_.fail_lock; }

    enum class transfer { whole, cut, failed };
    transfer next_read();
    transfer next_write();

    void block_created(size_t bytes);
    void block_destroyed(size_t bytes, uint32_t locks);
    void locked(int change) { counts_.live_locks += static_cast<uint32_t>(change); }

private:
    platform_faults faults_;
    platform_counts counts_;
};

fault_counter& fault_state();
