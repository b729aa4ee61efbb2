// byte_io_test.cpp - the memory stream and the row arithmetic.

#include "core/byte_io.h"

#include <gtest/gtest.h>

TEST(dib_geometry, rows_are_padded_to_four_bytes)
{
    EXPECT_EQ(size_for_long(1, 1), 4);
    EXPECT_EQ(size_for_long(33, 1), 8);
    EXPECT_EQ(size_for_long(3, 24), 12);
    EXPECT_EQ(size_for_long(5, 4), 4);
    EXPECT_EQ(size_for_long(10, 8), 12);
}
