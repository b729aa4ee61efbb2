// display_faults_test.cpp - scaled rows and printer dots with every allocation failing in turn.

#include "display/portable/print_rows.h"

#include "tests/support/fault_sweep.h"

#include <vector>

namespace {

struct shown_image {
    dib_header header;
    std::vector<uint8_t> rows;
    source_image source;
    stretch_plan plan;

    explicit shown_image(int32_t bits)
    {
        header.set(100, 80, bits);
        rows.resize(header.info.biSizeImage, 0x35);
        source = {rows.data(), header.colors, 100,
                  80,          bits,          static_cast<uint32_t>(size_for_long(100, bits))};
        plan = {make_axis(0, 100, 100, 0, 30), make_axis(0, 80, 80, 0, 20), {0, 30}, {0, 20}};
    }
};

void expect_out_of_memory(fault_kind, int32_t result)
{
    EXPECT_EQ(result, err_memory);
}

} // namespace

TEST(display_faults, rows_and_dots_run_out_of_memory)
{
    for (const int32_t bits : {1, 8, 24}) {
        const shown_image image(bits);
        sweep_faults(
            memory_faults,
            [&] {
                row_scaler scaler;
                return scaler.prepare(image.source, image.plan, shrink_method::grey_pages);
            },
            expect_out_of_memory);
        for (const auto dither : {print_dither::halftone, print_dither::diffusion})
            sweep_faults(
                memory_faults,
                [&] {
                    print_rows rows;
                    return rows.prepare(image.source, image.plan, tone_table{}, dither);
                },
                expect_out_of_memory);
    }
}
