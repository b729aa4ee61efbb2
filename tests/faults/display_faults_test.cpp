// display_faults_test.cpp - scaled rows and printer dots with every allocation failing in turn.

#include "display/portable/print_rows.h"

#include "tests/support/fault_sweep.h"

#include <vector>

TEST(display_faults, rows_and_dots_run_out_of_memory)
{
    const auto expect_out_of_memory = [](fault_kind, int32_t result) {
        EXPECT_EQ(result, err_memory);
    };
    const stretch_plan plan{
        make_axis(0, 100, 100, 0, 30), make_axis(0, 80, 80, 0, 20), {0, 30}, {0, 20}};
    const std::vector<uint8_t> rows(300 * 80, 0x35);
    for (const int32_t bits : {1, 8, 24}) {
        const dib_header header{};
        const source_image image{rows.data(), header.colors,
                                 100,         80,
                                 bits,        static_cast<uint32_t>(size_for_long(100, bits))};
        const auto prepare_rows = [&] {
            return row_scaler().prepare(image, plan, shrink_method::grey_pages);
        };
        sweep_faults(memory_faults, prepare_rows, expect_out_of_memory);
        for (const auto dither : {print_dither::halftone, print_dither::diffusion})
            sweep_faults(
                memory_faults,
                [&] {
                    print_rows printed;
                    const int32_t result = printed.prepare(image, plan, tone_table{}, dither);
                    uint8_t dots[4];
                    for (int32_t row = 0; row < 20 && result == 0; ++row)
                        printed.next(dots);
                    return result;
                },
                expect_out_of_memory);
    }
}
