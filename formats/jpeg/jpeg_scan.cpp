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

int32_t decode_block(jpeg_bit_reader& reader, jpeg_block_coding& coding, int8_t* samples,
                     int32_t stride)
{
    jpeg_coefficients block;
    const int32_t err = jpeg_get_block(reader, coding, block);
    if (err < 0) return reader.end_seen() ? int32_t{err_corrupt} : err;
    if (reader.overrun()) return err_corrupt;
    jpeg_idct(block, samples, stride);
    reader.top_up();
    return 0;
}

// Blocks over one side of a component that is not interleaved (A.1.1, A.2.2/T.81).
int32_t blocks_over(int32_t pixels, int32_t factor, int32_t largest_factor)
{
    const int32_t samples = (pixels * factor + largest_factor - 1) / largest_factor;
    return (samples + 7) / 8;
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
    const size_t input_bytes = static_cast<size_t>(plan_.part_count) *
                               jpeg_bit_reader::buffer_bytes(input_span(plan_.rules));
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
    row_ = input_ + static_cast<size_t>(plan_.part_count) *
                        jpeg_bit_reader::buffer_bytes(input_span(plan_.rules));
    auto* expanded = reinterpret_cast<int8_t*>(row_ + 3 * padded_width + 2 * jpeg_row_slack);
    auto* samples = plane_memory_.as<int8_t>();
    for (int32_t i = 0; i < plan_.plane_count; ++i) {
        planes_[i].samples = samples;
        planes_[i].expanded = expanded;
        samples += planes_[i].stride * 8 * plan_.components[i].v + jpeg_row_slack;
        expanded += padded_width + jpeg_row_slack;
    }
}

int32_t jpeg_scan::decode_component(jpeg_bit_reader& reader, jpeg_scan_component& component,
                                    plane& to)
{
    for (int32_t v = 0; v < component.v; ++v) {
        int8_t* samples = to.samples + 8 * v * to.stride + to.column;
        for (int32_t h = 0; h < component.h; ++h, samples += 8)
            if (int32_t err = decode_block(reader, component.coding, samples, to.stride); err < 0)
                return err;
    }
    to.column += 8 * component.h;
    return 0;
}

int32_t jpeg_scan::decode_mcu(int32_t part)
{
    const jpeg_scan_part& scan = plan_.parts[part];
    jpeg_bit_reader& reader = states_[part].reader;
    for (int32_t i = 0; i < scan.component_count; ++i) {
        const int32_t c = scan.components[i];
        if (int32_t err = decode_component(reader, plan_.components[c], planes_[c]); err < 0)
            return err;
    }
    return 0;
}

int32_t jpeg_scan::restart_if_due(int32_t part, bool last_mcu)
{
    const jpeg_scan_part& scan = plan_.parts[part];
    part_state& state = states_[part];
    ++state.mcus_since_restart;
    if (scan.restart_interval == 0 || state.mcus_since_restart < scan.restart_interval) return 0;
    // Nothing follows the last MCU, so its marker, EOI as a rule, may be missing.
    if (!last_mcu && !state.reader.restart()) return err_corrupt;
    state.mcus_since_restart = 0;
    for (int32_t i = 0; i < scan.component_count; ++i)
        plan_.components[scan.components[i]].coding.predictor = 0;
    return 0;
}

// The rows of one component from a scan of its own: each block is an MCU, and there are only
// those that the component's samples reach.
int32_t jpeg_scan::decode_blocks_alone(int32_t part, int32_t first_row)
{
    const int32_t c = plan_.parts[part].components[0];
    jpeg_scan_component& component = plan_.components[c];
    const plane& to = planes_[c];
    const int32_t columns = blocks_over(plan_.width, component.h, plan_.h_max);
    const int32_t first = first_row / (8 * plan_.v_max) * component.v;
    const int32_t left = blocks_over(plan_.height, component.v, plan_.v_max) - first;
    for (int32_t v = 0; v < std::min(component.v, left); ++v)
        for (int32_t x = 0; x < columns; ++x) {
            int8_t* const samples = to.samples + 8 * v * to.stride + 8 * x;
            if (int32_t err =
                    decode_block(states_[part].reader, component.coding, samples, to.stride);
                err < 0)
                return err;
            const bool last = v + 1 == left && x + 1 == columns;
            if (int32_t err = restart_if_due(part, last); err < 0) return err;
        }
    return 0;
}

int32_t jpeg_scan::decode_band(int32_t part, int32_t first_row)
{
    if (plan_.part_count > 1 && plan_.parts[part].component_count == 1)
        return decode_blocks_alone(part, first_row);
    const bool last_row = plan_.height - first_row <= 8 * plan_.v_max;
    for (int32_t mcu = 0; mcu < mcus_per_row_; ++mcu) {
        if (int32_t err = decode_mcu(part); err < 0) return err;
        if (int32_t err = restart_if_due(part, last_row && mcu + 1 == mcus_per_row_); err < 0)
            return err;
    }
    return 0;
}

bool jpeg_scan::start_parts(HFILE file)
{
    const data_end end =
        plan_.rules == jpeg_rules::classic ? data_end::stale_bytes : data_end::stops;
    const int32_t span = input_span(plan_.rules);
    uint8_t* input = input_;
    for (int32_t i = 0; i < plan_.part_count; ++i) {
        states_[i].mcus_since_restart = 0;
        if (!states_[i].reader.start(file, plan_.parts[i].position, input, span, end,
                                     plan_.skipped_bytes))
            return false;
        input += jpeg_bit_reader::buffer_bytes(span);
    }
    return true;
}

int32_t jpeg_scan::decompress(HFILE file, const row_sink& sink)
{
    if (!start_parts(file)) return err_corrupt;
    for (int32_t row = 0; row < plan_.height; row += 8 * plan_.v_max) {
        for (plane& p : planes_)
            p.column = 0;
        for (int32_t part = 0; part < plan_.part_count; ++part)
            if (int32_t err = decode_band(part, row); err < 0) return err;
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
    case jpeg_color_model::grey:
        jpeg_grey_row(full(0), grey_sense::black_is_zero, row_, width);
        break;
    case jpeg_color_model::inverted_grey:
        jpeg_grey_row(full(0), grey_sense::white_is_zero, row_, width);
        break;
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
    const bool grey =
        plan_.model == jpeg_color_model::grey || plan_.model == jpeg_color_model::inverted_grey;
    std::memset(row_ + (grey ? width : 3 * width), 0, 4);
}
