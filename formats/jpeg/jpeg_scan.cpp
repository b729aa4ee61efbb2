// jpeg_scan.cpp - MCUs to sample planes, sample planes to rows.

#include "formats/jpeg/jpeg_scan.h"

#include "formats/jpeg/jpeg_color.h"
#include "formats/jpeg/jpeg_idct.h"

#include <algorithm>
#include <cstring>

namespace {

// INTENDED: classic mode refuses pictures whose component buffer would reach this.
constexpr int64_t classic_buffer_limit = 65280;

int32_t input_span(jpeg_rules rules)
{
    return rules == jpeg_rules::classic ? jpeg_bit_reader::classic_span
                                        : jpeg_bit_reader::wide_span;
}

} // namespace

int32_t jpeg_scan::allocate()
{
    const int32_t mcu_width = 8 * plan_.h_max;
    mcus_per_row_ = (plan_.width + mcu_width - 1) / mcu_width;
    const int64_t padded_width = int64_t{mcus_per_row_} * mcu_width;
    if (plan_.rules == jpeg_rules::classic &&
        plan_.v_max * padded_width * 8 + 200 >= classic_buffer_limit)
        return err_memory;

    size_t plane_bytes = 0;
    for (int32_t i = 0; i < plan_.plane_count; ++i) {
        const jpeg_scan_component& component = plan_.components[i];
        planes_[i].stride = 8 * mcus_per_row_ * component.h;
        plane_bytes +=
            static_cast<size_t>(planes_[i].stride) * 8 * static_cast<size_t>(component.v) +
            jpeg_row_slack;
    }
    const size_t expanded_bytes = static_cast<size_t>(padded_width) + jpeg_row_slack;
    const size_t input_bytes = jpeg_bit_reader::buffer_bytes(input_span(plan_.rules));
    const size_t work_bytes = input_bytes + 3 * static_cast<size_t>(padded_width) +
                              2 * jpeg_row_slack + expanded_bytes * jpeg_max_components;
    if (!plane_memory_.allocate(plane_bytes) || !work_memory_.allocate(work_bytes))
        return err_memory;
    std::memset(plane_memory_.bytes(), 0, plane_bytes);
    std::memset(work_memory_.bytes(), 0, work_bytes);
    lay_out_planes();
    return 0;
}

void jpeg_scan::lay_out_planes()
{
    const int32_t padded_width = mcus_per_row_ * 8 * plan_.h_max;
    input_ = work_memory_.bytes();
    row_ = input_ + jpeg_bit_reader::buffer_bytes(input_span(plan_.rules));
    auto* expanded = reinterpret_cast<int8_t*>(row_ + 3 * padded_width + 2 * jpeg_row_slack);
    auto* samples = plane_memory_.as<int8_t>();
    for (int32_t i = 0; i < plan_.plane_count; ++i) {
        planes_[i].samples = samples;
        planes_[i].expanded = expanded;
        samples += planes_[i].stride * 8 * plan_.components[i].v + jpeg_row_slack;
        expanded += padded_width + jpeg_row_slack;
    }
}

int32_t jpeg_scan::decode_component(jpeg_scan_component& component, plane& to)
{
    jpeg_coefficients block;
    for (int32_t v = 0; v < component.v; ++v) {
        int8_t* samples = to.samples + 8 * v * to.stride + to.column;
        for (int32_t h = 0; h < component.h; ++h, samples += 8) {
            const int32_t err = jpeg_get_block(reader_, component.coding, block);
            if (err < 0) return reader_.end_seen() ? err_corrupt : err;
            if (reader_.overrun()) return err_corrupt;
            jpeg_idct(block, samples, to.stride);
            reader_.top_up();
        }
    }
    to.column += 8 * component.h;
    return 0;
}

int32_t jpeg_scan::decode_mcu()
{
    for (int32_t i = 0; i < plan_.component_count; ++i)
        if (int32_t err = decode_component(plan_.components[i], planes_[i]); err < 0) return err;
    return 0;
}

int32_t jpeg_scan::restart_if_due(bool last_mcu)
{
    ++mcus_since_restart_;
    if (plan_.restart_interval == 0 || mcus_since_restart_ < plan_.restart_interval) return 0;
    // Nothing follows the last MCU, so its marker, EOI as a rule, may be missing.
    if (!last_mcu && !reader_.restart()) return err_corrupt;
    mcus_since_restart_ = 0;
    for (jpeg_scan_component& component : plan_.components)
        component.coding.predictor = 0;
    return 0;
}

int32_t jpeg_scan::decompress(HFILE file, const row_sink& sink)
{
    const data_end end =
        plan_.rules == jpeg_rules::classic ? data_end::stale_bytes : data_end::stops;
    if (!reader_.start(file, input_, input_span(plan_.rules), end, plan_.skipped_bytes))
        return err_corrupt;
    const int32_t rows_per_mcu = 8 * plan_.v_max;
    for (int32_t row = 0; row < plan_.height; row += rows_per_mcu) {
        const bool last_row = plan_.height - row <= rows_per_mcu;
        for (plane& p : planes_)
            p.column = 0;
        for (int32_t mcu = 0; mcu < mcus_per_row_; ++mcu) {
            if (int32_t err = decode_mcu(); err < 0) return err;
            if (int32_t err = restart_if_due(last_row && mcu + 1 == mcus_per_row_); err < 0)
                return err;
        }
        if (int32_t err = deliver_rows(row, sink); err < 0) return err;
    }
    return 0;
}

int32_t jpeg_scan::deliver_rows(int32_t first, const row_sink& sink)
{
    const int32_t count = std::min(8 * plan_.v_max, plan_.height - first);
    for (int32_t row = 0; row < count; ++row) {
        convert_row(row);
        const int32_t err = sink.put(row_, plan_.first_row + first + row, plan_.row_bytes);
        if (err < 0) return err;
    }
    return 0;
}

// The row of a plane that lies over row of the MCU row. Rows lie where their blocks were
// stored, so that factors like 1x2 place them right.
const int8_t* jpeg_scan::sample_row(int32_t component, int32_t row) const
{
    const int32_t stored = row * plan_.components[component].placed_v / plan_.v_max;
    return planes_[component].samples + stored * planes_[component].stride;
}

// The same with one sample per pixel.
const int8_t* jpeg_scan::full_row(int32_t component, int32_t row) const
{
    const int8_t* from = sample_row(component, row);
    const int32_t placed = plan_.components[component].placed_h;
    if (placed == plan_.h_max) return from;
    int8_t* const to = planes_[component].expanded;
    for (int32_t x = 0, phase = 0; x < plan_.width; ++x) {
        to[x] = *from;
        phase += placed;
        if (phase >= plan_.h_max) {
            phase -= plan_.h_max;
            ++from;
        }
    }
    return to;
}

void jpeg_scan::convert_row(int32_t row)
{
    const jpeg_scan_component* const c = plan_.components;
    const int32_t width = plan_.width;
    const bool halved = c[0].placed_h == plan_.h_max && 2 * c[1].placed_h == plan_.h_max &&
                        2 * c[2].placed_h == plan_.h_max;
    const auto full = [&](int32_t i) { return full_row(i, row); };
    switch (plan_.model) {
    case jpeg_color_model::grey: jpeg_grey_row(full(0), row_, width); break;
    case jpeg_color_model::ycc:
        if (halved)
            jpeg_ycc_row(sample_row(0, row), sample_row(1, row), sample_row(2, row),
                         chroma_step::two, row_, width);
        else
            jpeg_ycc_row(full(0), full(1), full(2), chroma_step::one, row_, width);
        break;
    case jpeg_color_model::rgb: jpeg_rgb_row(full(0), full(1), full(2), row_, width); break;
    case jpeg_color_model::ycck:
        jpeg_ycck_row(full(0), full(1), full(2), full(3), row_, width);
        break;
    case jpeg_color_model::adobe_cmyk:
        jpeg_cmyk_row(full(0), full(1), full(2), full(3), row_, width);
        break;
    case jpeg_color_model::adobe_ycck:
        jpeg_adobe_ycck_row(full(0), full(1), full(2), full(3), row_, width);
        break;
    }
    // The conversions run over the row's end; a row's padding is 0.
    const int32_t pixel_bytes = plan_.model == jpeg_color_model::grey ? width : 3 * width;
    std::memset(row_ + pixel_bytes, 0, 4);
}
