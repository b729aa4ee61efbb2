// process_faults_test.cpp - every operation with each of its allocations and locks failing in
// turn: -1, nothing leaked, the image as it was.

#include "tests/reference/operations.h"
#include "tests/support/fault_sweep.h"

namespace {

/// Strikes at place number n.  False when the operation has fewer places.
bool strike(const operation& operation, const picture& p, fault_kind kind, uint32_t n)
{
    const image_guard image(create_image(p));
    IMG_set_croprect(image, 3, 4, 20, 10);
    model m{p, {}};
    const int32_t clean_result = operation.plain(m);
    const platform_counts held = platform_get_counts();
    platform_set_faults(fault_at(kind, n));
    const int32_t result = operation.run(image);
    const platform_counts after = platform_get_counts();
    platform_set_faults({});
    const bool struck = n <= after.*row_of(kind).places;
    EXPECT_EQ(result, struck ? -1 : clean_result);
    if (!struck) return false;
    EXPECT_EQ(after.live_blocks, held.live_blocks) << "a block leaked";
    EXPECT_EQ(after.live_locks, held.live_locks) << "a lock leaked";
    int32_t crop[4] = {};
    IMG_get_croprect(image, &crop[0], &crop[1], &crop[2], &crop[3]);
    EXPECT_TRUE(crop[0] == 3 && crop[1] == 4 && crop[2] == 20 && crop[3] == 10);
    expect_image(image, p);
    return true;
}

} // namespace

TEST(process_faults, leave_the_image_as_it_was)
{
    for (const operation& operation : all_operations())
        for (int bits : {1, 4, 8, 24})
            for (auto colors : {test_colors::random, test_colors::grey})
                for (fault_kind kind : memory_faults)
                    for (uint32_t n = 1; n < 100; ++n) {
                        SCOPED_TRACE(testing::Message() << operation.name << " x " << bits << ", "
                                                        << row_of(kind).name << " " << n);
                        if (!strike(operation, contrasting_picture(45, 30, bits, n, colors), kind,
                                    n))
                            break;
                        if (HasFailure()) return;
                    }
}
