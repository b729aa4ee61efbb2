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
table_numbers classic_tables(const jpeg_headers& headers, int32_t component, uint8_t selectors)
{
    const int32_t ac = (selectors & 15) != 0;
    return {headers.components[std::min(component, 2)].table != 0,
            component < 2 ? selectors >> 4 != 0 : ac, ac};
}

table_numbers interchange_tables(const jpeg_headers& headers, int32_t component, uint8_t selectors)
{
    return {headers.components[component].table, selectors >> 4, selectors & 15};
}

// Fills the tables of a component of the scan.
int32_t jpg_set_component_params(const jpeg_headers& headers, int32_t component, uint8_t selectors,
                                 jpeg_tables& tables, jpeg_scan_plan& plan)
{
    const table_numbers numbers = plan.rules == jpeg_rules::classic
                                      ? classic_tables(headers, component, selectors)
                                      : interchange_tables(headers, component, selectors);
    if (numbers.quantisation > 3 || numbers.dc > 3 || numbers.ac > 3) return err_format;
    // B.2.4.1/T.81: no divisor is 0, so a 0 means that the table never came.
    if (plan.rules == jpeg_rules::interchange && tables.quantisation[numbers.quantisation][0] == 0)
        return err_format;
    tables.dc_lookup[numbers.dc].build(tables.dc[numbers.dc]);
    tables.ac_lookup[numbers.ac].build(tables.ac[numbers.ac]);
    plan.components[component].coding = {tables.quantisation[numbers.quantisation],
                                         &tables.dc_lookup[numbers.dc],
                                         &tables.ac_lookup[numbers.ac], 0};
    return 0;
}

// True where the scan is one of several.
bool is_one_of_several(const jpeg_headers& headers, jpeg_rules rules)
{
    return rules == jpeg_rules::interchange && headers.scan_header[0] < headers.component_count;
}

// The frame's component that a scan of several names, and that no scan had before; -1 none.
int32_t component_named(const jpeg_headers& headers, uint8_t id, const jpeg_scan_plan& plan)
{
    for (int32_t i = 0; i < headers.component_count; ++i)
        if (headers.components[i].id == id && !plan.components[i].coding.dc) return i;
    return -1;
}

// Adds the scan whose header was read last. The components of an only scan are matched by
// their positions.
int32_t plan_part(const jpeg_headers& headers, jpeg_tables& tables, jpeg_scan_plan& plan)
{
    const bool several = is_one_of_several(headers, plan.rules);
    jpeg_scan_part& part = plan.parts[plan.part_count];
    part.position = several ? headers.data_position : jpeg_bit_reader::read_on;
    part.component_count = headers.scan_header[0];
    part.restart_interval = headers.restart_interval;
    for (int32_t i = 0; i < part.component_count; ++i) {
        const uint8_t* const selectors = headers.scan_header + 1 + 2 * i;
        const int32_t component = several ? component_named(headers, selectors[0], plan) : i;
        if (component < 0) return err_format;
        part.components[i] = component;
        const int32_t err =
            jpg_set_component_params(headers, component, selectors[1], tables, plan);
        if (err < 0) return err;
    }
    ++plan.part_count;
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
// picture of one component has MCUs of one block (A.2.2).
void place_by_standard(jpeg_scan_plan& plan)
{
    if (plan.plane_count == 1) plan.components[0].h = plan.components[0].v = 1;
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

// JFIF knows no red, green, blue. Without it the Adobe marker decides, and where there is
// none either, the letters that name the components.
bool is_rgb(const jpeg_headers& headers)
{
    if (headers.has_jfif) return false;
    if (headers.has_adobe) return headers.adobe_transform == 0;
    const jpeg_frame_component* const c = headers.components;
    return c[0].id == 'R' && c[1].id == 'G' && c[2].id == 'B';
}

jpeg_color_model color_model(const jpeg_headers& headers, jpeg_rules rules, const jpeg_page* page)
{
    const bool interchange = rules == jpeg_rules::interchange;
    if (headers.component_count == 1)
        return interchange && page && page->white_is_zero ? jpeg_color_model::inverted_grey
                                                          : jpeg_color_model::grey;
    if (headers.component_count == 3)
        return interchange && is_rgb(headers) ? jpeg_color_model::rgb : jpeg_color_model::ycc;
    if (!interchange || !headers.has_adobe) return jpeg_color_model::ycck;
    return headers.adobe_transform == 2 ? jpeg_color_model::adobe_ycck
                                        : jpeg_color_model::adobe_cmyk;
}

// Frames that the decoder cannot do justice to. Classic mode decodes them all the same.
bool beyond_interchange(const jpeg_headers& headers)
{
    return headers.precision != 8 ||
           (headers.scan_header_bytes > 0 && headers.scan_header[0] > headers.component_count);
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

int32_t plan_scan(const jpeg_headers& headers, jpeg_rules rules, const jpeg_page* page,
                  jpeg_tables& tables, jpeg_scan_plan& plan)
{
    plan.rules = rules;
    plan.width = headers.width;
    plan.height = headers.height;
    plan.model = color_model(headers, rules, page);
    const int32_t in_scan = headers.scan_header[0];
    if (in_scan < 1 || in_scan > jpeg_max_components) return err_format;
    plan.plane_count = std::max(in_scan, headers.component_count);
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
    return plan_part(headers, tables, plan);
}

// Tables for each scan: they may be redefined between scans, and all scans are read at once.
struct scan_tables {
    scratch_block memory[jpeg_max_components];
};

// Adds the scans of the components that the first one left out; err_corrupt when there are
// no such scans.
int32_t plan_other_parts(HFILE file, jpeg_headers headers, scan_tables& tables,
                         jpeg_scan_plan& plan)
{
    byte_source source(file, header_buffer_bytes);
    if (!source.ok()) return err_memory;
    for (int32_t planned = headers.scan_header[0]; planned < plan.plane_count;) {
        source.seek(headers.data_position);
        if (!jpeg_find_marker(source)) return err_corrupt;
        scratch_block& memory = tables.memory[plan.part_count];
        if (!memory.allocate(sizeof(jpeg_tables))) return err_memory;
        std::memcpy(memory.bytes(), tables.memory[plan.part_count - 1].bytes(),
                    sizeof(jpeg_tables));
        auto& own = *memory.as<jpeg_tables>();
        if (int32_t err = jpeg_read_headers(source, plan.rules, headers, own); err < 0) return err;
        planned += headers.scan_header[0];
        if (headers.scan_header_bytes == 0 || headers.scan_header[0] == 0) return err_corrupt;
        if (planned > plan.plane_count) return err_format;
        if (int32_t err = plan_part(headers, own, plan); err < 0) return err;
    }
    return 0;
}

// JFIF density in dots per inch; 0 when there is none.
int32_t dots_per_inch(uint16_t density, uint8_t unit)
{
    if (unit == 1) return density;
    return unit == 2 ? (density * 254 + 50) / 100 : 0;
}

int32_t begin_image(const jpeg_headers& headers, jpeg_rules rules, const row_sink& sink,
                    const jpeg_page* page)
{
    scratch_block memory(sizeof(dib_header));
    if (!memory) return err_memory;
    auto& header = *memory.as<dib_header>();
    header.set(headers.width, headers.height, headers.component_count == 1 ? 8 : 24);
    create_dib_palette(&header.info, "tiff");
    if (page) {
        header.info.biXPelsPerMeter = static_cast<LONG>(page->x_resolution);
        header.info.biYPelsPerMeter = static_cast<LONG>(page->y_resolution);
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
    if (err == 0 && rules == jpeg_rules::interchange && headers.height == 0) {
        headers.height = jpeg_lines_behind_scan(source, headers);
        source.seek(headers.data_position);
    }
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

int32_t open_jpg_at(uint32_t offset, const row_sink& sink, HFILE file, const jpeg_page* page)
{
    const jpeg_rules rules = interchange_mode() ? jpeg_rules::interchange : jpeg_rules::classic;
    scan_tables memory;
    jpeg_headers headers{};
    if (int32_t err = open_stream(offset, file, rules, headers, memory.memory[0]); err < 0)
        return err;
    auto& tables = *memory.memory[0].as<jpeg_tables>();
    if (int32_t err = check_frame(headers, rules); err < 0) return err;

    jpeg_scan_plan plan{};
    const bool has_scan_header = headers.scan_header_bytes > 0;
    if (has_scan_header)
        if (int32_t err = plan_scan(headers, rules, page, tables, plan); err < 0) return err;
    if (has_scan_header && is_one_of_several(headers, rules))
        if (int32_t err = plan_other_parts(file, headers, memory, plan); err < 0) return err;
    plan.row_bytes = size_for_long(headers.width, headers.component_count == 1 ? 8 : 24);

    if (int32_t err = begin_image(headers, rules, sink, page); err < 0) return err;
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
