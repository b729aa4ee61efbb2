// fault_sweep.h - drives one operation through a failure at every allocation, lock, read and
// write that it makes, and holds it to leaving nothing behind.
#pragma once

#include "core/image.h"
#include "platform/posix/faults.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <initializer_list>

enum class fault_kind { allocation, lock, failed_read, short_read, failed_write, short_write };

/// How the calls of each kind are made to fail, and how they are counted.
struct fault_row {
    const char* name;
    uint32_t platform_faults::*number;
    uint32_t platform_counts::*places;
};
inline constexpr fault_row fault_rows[] = {
    {"allocation", &platform_faults::fail_allocation, &platform_counts::allocations},
    {"lock", &platform_faults::fail_lock, &platform_counts::locks},
    {"failed read", &platform_faults::fail_read, &platform_counts::reads},
    {"short read", &platform_faults::short_read, &platform_counts::reads},
    {"failed write", &platform_faults::fail_write, &platform_counts::writes},
    {"short write", &platform_faults::short_write, &platform_counts::writes},
};

inline const fault_row& row_of(fault_kind kind)
{
    return fault_rows[int(kind)];
}
inline platform_faults fault_at(fault_kind kind, uint32_t number)
{
    platform_faults faults;
    faults.moving_heap = true;
    faults.*row_of(kind).number = number;
    return faults;
}
inline bool is_memory_fault(fault_kind kind)
{
    return kind == fault_kind::allocation || kind == fault_kind::lock;
}

inline constexpr std::initializer_list<fault_kind> memory_faults = {fault_kind::allocation,
                                                                    fault_kind::lock};
inline constexpr std::initializer_list<fault_kind> read_faults = {
    fault_kind::allocation, fault_kind::lock, fault_kind::failed_read, fault_kind::short_read};
inline constexpr std::initializer_list<fault_kind> write_faults = {
    fault_kind::allocation, fault_kind::lock, fault_kind::failed_write, fault_kind::short_write};

/// The counts of an operation up to its release_image, which resets them.
inline platform_counts& sweep_used()
{
    static platform_counts used;
    return used;
}

/// Deletes an image outside the faults in force, so that a sweep strikes only what it is
/// about; its locks and allocations are not counted as places.
inline int32_t release_image(int32_t handle)
{
    const platform_counts used = platform_get_counts();
    platform_set_faults({});
    IMG_delete_bitmap(handle);
    sweep_used() = used;
    return 0;
}

/// Runs operation() without a fault, then once for each place where one of kinds can strike.
///   operation   makes its own input and takes everything down again; returns the code of
///               the call under test
///   check       gets (kind, result) after each faulty run and holds the code to what is
///               documented; runs without faults in force
/// Operations with more places than most_points are sampled evenly.
template <class Operation, class Check>
void sweep_faults(std::initializer_list<fault_kind> kinds, Operation operation, Check check,
                  uint32_t most_points = 400)
{
    const auto run = [&](const platform_faults& faults) {
        const platform_counts before = platform_get_counts();
        sweep_used() = {};
        platform_set_faults(faults);
        const int32_t result = operation();
        const platform_counts after = platform_get_counts();
        platform_set_faults({});
        EXPECT_EQ(after.live_blocks, before.live_blocks) << "a block leaked";
        EXPECT_EQ(after.live_locks, before.live_locks) << "a lock leaked";
        return std::pair(result, sweep_used().locks ? sweep_used() : after);
    };
    operation(); // tables that grow once have grown
    const auto [clean_result, counts] = run(fault_at(kinds.begin()[0], 0));
    EXPECT_GE(clean_result, 0) << "the operation fails without a fault";
    for (const fault_kind kind : kinds) {
        const uint32_t points = counts.*row_of(kind).places;
        const uint32_t step = std::max(1u, points / most_points);
        for (uint32_t n = 1; n <= points; n += step) {
            SCOPED_TRACE(testing::Message()
                         << row_of(kind).name << " number " << n << " of " << points);
            check(kind, run(fault_at(kind, n)).first);
            if (testing::Test::HasFailure()) return;
        }
    }
}

/// Loads a file by name with every place failing: -1 where memory was at fault, else a code
/// for bad data, or a picture where the reader can do without.
inline void sweep_load(const char* name)
{
    sweep_faults(
        read_faults,
        [&] {
            const int32_t handle = IMG_decompress_bitmap(name);
            return handle < 0 ? handle : release_image(handle);
        },
        [](fault_kind kind, int32_t result) {
            if (is_memory_fault(kind))
                EXPECT_EQ(result, -1);
            else
                EXPECT_TRUE(result == 0 || result == -3 || result == -7 || result == -12) << result;
        });
}

/// Saves an image by name with every place failing: -1 where memory was at fault, else -9.
inline void sweep_save(int32_t image, const char* name, int32_t type)
{
    sweep_faults(
        write_faults, [&] { return IMG_save_bitmap(image, name, type); },
        [](fault_kind kind, int32_t result) {
            EXPECT_EQ(result, is_memory_fault(kind) ? -1 : -9);
        });
}
