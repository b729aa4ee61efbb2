// process_faults_test.cpp - colour and processing operations with every allocation and every
// lock failing in turn: -1, and the image is byte for byte what it was.

#include "tests/reference/picture.h"
#include "tests/support/fault_sweep.h"

namespace {

struct operation_case {
    const char* name;
    int bits;
    test_colors colors;
    int32_t (*run)(int32_t handle);
};

constexpr signed char kernel[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};

const operation_case operations[] = {
    {"gray", 24, test_colors::random, [](int32_t h) { return IMG_color_gray(h); }},
    {"bayer", 8, test_colors::random, [](int32_t h) { return IMG_bayer_mono(h); }},
    {"halftone", 4, test_colors::random, [](int32_t h) { return IMG_halftone_mono(h); }},
    {"diffusion", 24, test_colors::random, [](int32_t h) { return IMG_diffusion_mono(h); }},
    {"fixed palette", 8, test_colors::random, [](int32_t h) { return IMG_mediancut_color(h); }},
    {"popularity", 24, test_colors::random, [](int32_t h) { return IMG_popularity_color(h); }},
    {"bayer of 16", 24, test_colors::random, [](int32_t h) { return IMG_bayer_color(h); }},
    {"diffusion of 16", 8, test_colors::random, [](int32_t h) { return IMG_diffusion_color(h); }},
    {"promote to 8", 1, test_colors::random, [](int32_t h) { return IMG_promote_8(h); }},
    {"promote to 24", 4, test_colors::random, [](int32_t h) { return IMG_promote_24(h); }},
    {"turn", 1, test_colors::random, [](int32_t h) { return IMG_rotate_bitmap(h, 90); }},
    {"half turn", 4, test_colors::random, [](int32_t h) { return IMG_rotate_bitmap(h, 180); }},
    {"turn back", 24, test_colors::random, [](int32_t h) { return IMG_rotate_bitmap(h, 270); }},
    {"transpose", 8, test_colors::random, [](int32_t h) { return IMG_rotate_bitmap(h, 1); }},
    {"flip x", 1, test_colors::random, [](int32_t h) { return IMG_flip_bitmapx(h); }},
    {"flip y", 8, test_colors::random, [](int32_t h) { return IMG_flip_bitmapy(h); }},
    {"resize", 24, test_colors::random, [](int32_t h) { return IMG_resize_bitmap(h, 70, 9); }},
    {"resize bits", 1, test_colors::random, [](int32_t h) { return IMG_resize_bitmap(h, 70, 9); }},
    {"tone of a table", 8, test_colors::random, [](int32_t h) { return IMG_set_lut(h, 9, 9); }},
    {"tone of pixels", 24, test_colors::random, [](int32_t h) { return IMG_set_lut(h, 9, 9); }},
    {"invert", 1, test_colors::random, [](int32_t h) { return IMG_invert_bitmap(h); }},
    {"sharpen", 8, test_colors::grey, [](int32_t h) { return IMG_sharpen_bitmap(h, 50); }},
    {"kernel", 24, test_colors::random, [](int32_t h) { return IMG_process_bitmap(h, 0, kernel); }},
    {"kernel on colours", 8, test_colors::random,
     [](int32_t h) { return IMG_process_bitmap(h, 7, nullptr); }},
};

struct image_state {
    image_copy copy;
    int32_t crop[4];

    explicit image_state(int32_t handle) : copy(copy_image(handle))
    {
        IMG_get_croprect(handle, &crop[0], &crop[1], &crop[2], &crop[3]);
    }
    bool operator==(const image_state& other) const
    {
        return copy.head == other.copy.head && copy.bmp == other.copy.bmp &&
               std::equal(crop, crop + 4, other.crop);
    }
};

/// Strikes at place number n.  False when the operation has fewer places.
bool strike(const operation_case& operation, fault_kind kind, uint32_t n)
{
    const image_guard image(
        create_image(random_picture(45, 30, operation.bits, n, operation.colors)));
    IMG_set_croprect(image, 3, 4, 20, 10);
    const image_state before(image);
    const platform_counts held = platform_get_counts();
    platform_set_faults(fault_at(kind, n));
    const int32_t result = operation.run(image);
    const platform_counts after = platform_get_counts();
    platform_set_faults({});
    if (n > fault_points(kind, after)) {
        EXPECT_EQ(result, 0);
        return false;
    }
    EXPECT_EQ(result, -1);
    EXPECT_EQ(after.live_blocks, held.live_blocks) << "a block leaked";
    EXPECT_EQ(after.live_locks, held.live_locks) << "a lock leaked";
    EXPECT_TRUE(image_state(image) == before) << "the image changed";
    return true;
}

} // namespace

TEST(process_faults, leave_the_image_as_it_was)
{
    for (const operation_case& operation : operations)
        for (fault_kind kind : memory_faults)
            for (uint32_t n = 1; n < 100; ++n) {
                SCOPED_TRACE(testing::Message()
                             << operation.name << ", " << fault_name(kind) << " " << n);
                if (!strike(operation, kind, n)) break;
                if (HasFailure()) return;
            }
}
