// display_bench.cpp - the painter's own time: scaled rows into a memory band, as a
// full-window repaint makes them, without the display's cost.

#include "display/portable/row_scaler.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <memory>
#include <random>
#include <vector>

namespace {

// A4 at 600 dpi with text-like runs.
struct page {
    dib_header header;
    std::vector<uint8_t> rows;

    explicit page(int32_t bits)
    {
        header.set(4960, 7016, bits);
        header.colors[1] = {255, 255, 255, 0};
        rows.resize(header.info.biSizeImage);
        std::mt19937 random(1);
        uint8_t value = 255;
        for (uint8_t& b : rows) {
            if (random() % 6 == 0) value = static_cast<uint8_t>(random());
            b = value;
        }
    }
    source_image source() const
    {
        return {rows.data(),
                header.colors,
                header.info.biWidth,
                header.info.biHeight,
                header.info.biBitCount,
                static_cast<uint32_t>(size_for_long(header.info.biWidth, header.info.biBitCount))};
    }
};

// The part of the page from (0, 0) into a device rectangle at (0, 0).
void paint(benchmark::State& state, int32_t bits, int32_t width, int32_t height,
           int32_t device_width, int32_t device_height)
{
    const auto image = std::make_unique<page>(bits);
    const source_image source = image->source();
    stretch_plan plan{make_axis(0, width, source.width, 0, device_width),
                      make_axis(0, height, source.height, 0, device_height),
                      {},
                      {}};
    plan.columns = visible_pixels(plan.horizontal, {0, 1920});
    plan.rows = visible_pixels(plan.vertical, {0, 1080});
    size_t working_bytes = 0;
    for (auto _ : state) {
        row_scaler scaler;
        if (scaler.prepare(source, plan, shrink_method::grey_pages) < 0) break;
        const uint32_t stride = scaler.bytes_per_line();
        const int32_t rows = band_rows(stride);
        scratch_block band(size_t{stride} * static_cast<size_t>(rows));
        for (int32_t y = plan.rows.begin; y < plan.rows.end; ++y) {
            const int32_t in_band = (y - plan.rows.begin) % rows;
            if (in_band == 0) scaler.begin_band();
            scaler.scale(y, band.bytes() + static_cast<size_t>(in_band) * stride);
        }
        benchmark::DoNotOptimize(band.bytes()[0]);
        working_bytes = band.size() + scaler.working_bytes();
    }
    state.counters["working_KB"] = static_cast<double>(working_bytes) / 1024;
}

} // namespace

BENCHMARK_CAPTURE(paint, a4_600dpi_page_fit, 1, 4960, 7016, 763, 1080);
BENCHMARK_CAPTURE(paint, a4_600dpi_page_to_full_window, 1, 4960, 7016, 1920, 1080);
BENCHMARK_CAPTURE(paint, page_one_to_one, 1, 1920, 1080, 1920, 1080);
BENCHMARK_CAPTURE(paint, page_enlarged, 1, 480, 270, 1920, 1080);
BENCHMARK_CAPTURE(paint, photograph_8_bits_fit, 8, 4960, 7016, 763, 1080);
BENCHMARK_CAPTURE(paint, photograph_24_bits_to_full_window, 24, 4960, 7016, 1920, 1080);

BENCHMARK_MAIN();
