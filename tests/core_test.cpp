// core_test.cpp - the image table, the settings and the pipelines through the exports.

#include "core/image.h"

#include <gtest/gtest.h>

TEST(image_table, refuses_dead_handles)
{
    EXPECT_EQ(IMG_delete_bitmap(-1), -1);
    EXPECT_EQ(IMG_delete_bitmap(-5), -13);
    EXPECT_EQ(IMG_delete_bitmap(7), -13);
}
