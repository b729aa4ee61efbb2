// jpeg_reader.cpp - open_jpg: headers, the plan of the scan, the DIB header, the scan.

#include "formats/jpeg/jpeg_reader.h"

#include "core/dib_rows.h"
#include "core/settings.h"
#include "formats/jpeg/jpeg_segments.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr uint32_t header_buffer_bytes = 16 * 1024;

struct table_numbers {
    int32_t quantisation, dc, ac;
};

// INTENDED: classic mode knows two tables of each kind and any selector but 0 means the
// second. The third and fourth component take both Huffman tables from the AC selector, and
// the fourth has the third one's quantisation table.
table_numbers classic_tables(const jpeg_headers& headers, int32_t i)
{
    const uint8_t selectors = headers.scan_header[2 + 2 * i];
    const int32_t ac = (selectors & 15) != 0;
    return {headers.components[std::min(i, 2)].table != 0, i < 2 ? selectors >> 4 != 0 : ac, ac};
}

table_numbers interchange_tables(const jpeg_headers& headers, int32_t i)
{
    const uint8_t selectors = headers.scan_header[2 + 2 * i];
    return {headers.components[i].table, selectors >> 4, selectors & 15};
}

// Fills the tables of the scan's components.
int32_t jpg_set_component_params(const jpeg_headers& headers, jpeg_tables& tables,
                                 jpeg_scan_plan& plan)
{
    for (int32_t i = 0; i < plan.component_count; ++i) {
        const table_numbers numbers = plan.rules == jpeg_rules::classic
                                          ? classic_tables(headers, i)
                                          : interchange_tables(headers, i);
        if (numbers.quantisation > 3 || numbers.dc > 3 || numbers.ac > 3) return err_format;
        // B.2.4.1/T.81: no divisor is 0, so a 0 means that the table never came.
        if (plan.rules == jpeg_rules::interchange &&
            tables.quantisation[numbers.quantisation][0] == 0)
            return err_format;
        jpeg_block_coding& coding = plan.components[i].coding;
        coding.quantisation = tables.quantisation[numbers.quantisation];
        coding.dc = &tables.dc_lookup[numbers.dc];
        coding.ac = &tables.ac_lookup[numbers.ac];
        coding.predictor = 0;
        tables.dc_lookup[numbers.dc].build(tables.dc[numbers.dc], coefficient_kind::dc);
        tables.ac_lookup[numbers.ac].build(tables.ac[numbers.ac], coefficient_kind::ac);
    }
    return 0;
}

// Classic mode: the first component's factors make the MCU, and chroma samples are laid over
// the pixels as if their own factors were 1x1.
void place_classic(jpeg_scan_plan& plan)
{
    plan.h_max = plan.components[0].h;
    plan.v_max = plan.components[0].v;
    for (int32_t i = 0; i < plan.plane_count; ++i) {
        jpeg_scan_component& c = plan.components[i];
        const bool chroma = i == 1 || i == 2;
        c.placed_h = chroma ? 1 : std::min(c.h, plan.h_max);
        c.placed_v = chroma ? 1 : std::min(c.v, plan.v_max);
    }
}

// Interchange mode, A.1.1/T.81: samples lie by the ratio of their factors to the largest; a
// scan of one component has MCUs of one block (A.2.2).
void place_by_standard(jpeg_scan_plan& plan)
{
    if (plan.component_count == 1) plan.components[0].h = plan.components[0].v = 1;
    plan.h_max = plan.v_max = 1;
    for (int32_t i = 0; i < plan.plane_count; ++i) {
        plan.h_max = std::max(plan.h_max, plan.components[i].h);
        plan.v_max = std::max(plan.v_max, plan.components[i].v);
    }
    for (jpeg_scan_component& c : plan.components) {
        c.placed_h = c.h;
        c.placed_v = c.v;
    }
}

jpeg_color_model color_model(const jpeg_headers& headers, jpeg_rules rules)
{
    const bool adobe = rules == jpeg_rules::interchange && headers.has_adobe;
    if (headers.component_count == 1) return jpeg_color_model::grey;
    if (headers.component_count == 3)
        return adobe && headers.adobe_transform == 0 ? jpeg_color_model::rgb
                                                     : jpeg_color_model::ycc;
    if (!adobe) return jpeg_color_model::ycck;
    return headers.adobe_transform == 2 ? jpeg_color_model::adobe_ycck
                                        : jpeg_color_model::adobe_cmyk;
}

// Frames that the decoder cannot do justice to. Classic mode decodes them all the same.
bool beyond_interchange(const jpeg_headers& headers)
{
    return headers.precision != 8 ||
           (headers.scan_header_bytes > 0 && headers.scan_header[0] != headers.component_count);
}

int32_t check_frame(const jpeg_headers& headers, jpeg_rules rules)
{
    const int32_t count = headers.component_count;
    if (!headers.has_frame || count == 0) return err_format;
    if (count == 2 || count > jpeg_max_components) return err_unsupported;
    if (rules == jpeg_rules::interchange && beyond_interchange(headers)) return err_unsupported;
    if (headers.width == 0 || headers.height == 0) return err_format;
    return dib_fits(headers.width, headers.height, count == 1 ? 8 : 24) ? 0 : err_memory;
}

int32_t plan_scan(const jpeg_headers& headers, jpeg_rules rules, jpeg_tables& tables,
                  jpeg_scan_plan& plan)
{
    plan.rules = rules;
    plan.width = headers.width;
    plan.height = headers.height;
    plan.model = color_model(headers, rules);
    plan.restart_interval = headers.restart_interval;
    plan.component_count = headers.scan_header[0];
    if (plan.component_count < 1 || plan.component_count > jpeg_max_components) return err_format;
    plan.plane_count = std::max(plan.component_count, headers.component_count);
    for (int32_t i = 0; i < plan.plane_count; ++i) {
        const jpeg_frame_component& from = headers.components[i];
        if (from.h < 1 || from.h > jpeg_max_factor || from.v < 1 || from.v > jpeg_max_factor)
            return err_format;
        plan.components[i].h = from.h;
        plan.components[i].v = from.v;
    }
    if (rules == jpeg_rules::classic)
        place_classic(plan);
    else
        place_by_standard(plan);
    return jpg_set_component_params(headers, tables, plan);
}

// JFIF density in dots per inch; 0 when there is none.
int32_t dots_per_inch(uint16_t density, uint8_t unit)
{
    if (unit == 1) return density;
    return unit == 2 ? (density * 254 + 50) / 100 : 0;
}

int32_t begin_image(const jpeg_headers& headers, jpeg_rules rules, const row_sink& sink,
                    const jpeg_page_resolution* resolution)
{
    scratch_block memory(sizeof(dib_header));
    if (!memory) return err_memory;
    auto& header = *memory.as<dib_header>();
    header.set(headers.width, headers.height, headers.component_count == 1 ? 8 : 24);
    create_dib_palette(&header.info, "tiff");
    if (resolution) {
        header.info.biXPelsPerMeter = static_cast<LONG>(resolution->x);
        header.info.biYPelsPerMeter = static_cast<LONG>(resolution->y);
    } else if (rules == jpeg_rules::interchange) {
        header.info.biXPelsPerMeter = dots_per_inch(headers.density_x, headers.density_unit);
        header.info.biYPelsPerMeter = dots_per_inch(headers.density_y, headers.density_unit);
    }
    return sink.begin(&header.info);
}

int32_t read_headers(HFILE file, int32_t position, jpeg_rules rules, jpeg_headers& headers,
                     jpeg_tables& tables)
{
    img_seek_mem(file, position, seek_from_start);
    byte_source source(file, header_buffer_bytes);
    if (!source.ok()) return err_memory;
    const int32_t err = jpeg_read_headers(source, rules, headers, tables);
    source.sync();
    return err;
}

// Finds the stream and reads up to its entropy-coded data; memory gets the tables.
int32_t open_stream(uint32_t offset, HFILE file, jpeg_rules rules, jpeg_headers& headers,
                    scratch_block& memory)
{
    const int32_t start = jpeg_find_stream(file, offset);
    if (start < 0) return start;
    if (!memory.allocate(sizeof(jpeg_tables))) return err_memory;
    std::memset(memory.bytes(), 0, sizeof(jpeg_tables));
    return read_headers(file, start + 2, rules, headers, *memory.as<jpeg_tables>());
}

} // namespace

int32_t open_jpg_at(uint32_t offset, const row_sink& sink, HFILE file,
                    const jpeg_page_resolution* resolution)
{
    const jpeg_rules rules = interchange_mode() ? jpeg_rules::interchange : jpeg_rules::classic;
    scratch_block memory;
    jpeg_headers headers{};
    if (int32_t err = open_stream(offset, file, rules, headers, memory); err < 0) return err;
    auto& tables = *memory.as<jpeg_tables>();
    if (int32_t err = check_frame(headers, rules); err < 0) return err;

    jpeg_scan_plan plan{};
    const bool has_scan_header = headers.scan_header_bytes > 0;
    if (has_scan_header)
        if (int32_t err = plan_scan(headers, rules, tables, plan); err < 0) return err;
    plan.row_bytes = size_for_long(headers.width, headers.component_count == 1 ? 8 : 24);

    if (int32_t err = begin_image(headers, rules, sink, resolution); err < 0) return err;
    if (!has_scan_header) return err_corrupt;
    jpeg_scan scan(plan);
    if (int32_t err = scan.allocate(); err < 0) return err;
    return scan.decompress(file, sink);
}

int32_t open_jpg(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                 IMG_SET_HEADER set_header, HFILE file)
{
    return open_jpg_at(static_cast<uint32_t>(start_offset(start)),
                       {put_raster, set_header, private_data}, file, nullptr);
}

int32_t jpeg_describe(HFILE file, start_value start, IMGX_PAGE_INFO& info)
{
    scratch_block memory;
    jpeg_headers headers{};
    const auto offset = static_cast<uint32_t>(start_offset(start));
    const int32_t err = open_stream(offset, file, jpeg_rules::classic, headers, memory);
    if (err < 0) return err;
    info.components = headers.component_count;
    for (int32_t i = 0; i < std::min(info.components, jpeg_max_components); ++i)
        info.sampling[i] = headers.components[i].h << 4 | headers.components[i].v;
    return 0;
}
