// main.cpp - runs the tests, each with the library's settings as they are at the start, so
// that none depends on what ran before it.

#include "core/image.h"

#include <gtest/gtest.h>

namespace {

class fresh_settings : public testing::EmptyTestEventListener {
public:
    fresh_settings() { IMGLOW_get_bitmap_name(name_, date_); }

    void OnTestStart(const testing::TestInfo&) override
    {
        IMGX_set_interchange(0);
        IMGX_set_true_tones(0);
        IMGLOW_set_comp_quality(50);
        IMGLOW_set_bitmap_name(name_, date_);
        IMG_set_statusbar(0, nullptr, 0);
    }

private:
    char name_[200], date_[40];
};

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new fresh_settings);
    return RUN_ALL_TESTS();
}
