// jpeg_tiff.cpp - tables from a TIFF page's tags, strips through the common scan engine.

#include "formats/jpeg/jpeg_tiff.h"

#include "core/settings.h"
#include "formats/jpeg/jpeg_segments.h"
#include "formats/jpeg/jpeg_tables.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int32_t table_sets = 3;
constexpr uint32_t max_width = 0xFFFF; // of any JPEG data; keeps the planes small
constexpr uint32_t photometric_is_white_zero = 0;
constexpr uint32_t photometric_is_rgb = 2;
constexpr uint32_t photometric_is_ycbcr = 6;

struct jtif_state {
    jpeg_scan_plan plan;
    jpeg_tables tables;
};

// INTENDED: classic mode skips eight bytes before the entropy-coded data of a strip.
constexpr int32_t classic_strip_prefix = 8;

struct sampling {
    uint32_t h, v;
};

// INTENDED: classic mode takes the horizontal factor from the high half of the value, and
// 1x1 when there is no tag. TIFF 6.0 section 21 stores the horizontal one first, and 2x2
// holds when the tag is missing.
sampling luminance_sampling(const jtif_page& page, jpeg_rules rules)
{
    const uint32_t low = page.subsampling & 0xFFFF, high = page.subsampling >> 16;
    if (rules == jpeg_rules::classic)
        return page.subsampling == 0 ? sampling{1, 1} : sampling{high, low};
    if (page.samples_per_pixel != 3 || page.photometric != photometric_is_ycbcr) return {1, 1};
    return page.subsampling == 0 ? sampling{2, 2} : sampling{low, high};
}

// Goes to table index of an array of table offsets; false when its offset cannot be read.
// INTENDED: the offsets are little-endian in classic mode, whatever the file's order, and an
// array is looked for even where one offset would stand in the tag itself.
bool jtif_position_tiff_file(byte_source& source, const jtif_page& page, jpeg_rules rules,
                             uint32_t array, int32_t index)
{
    uint64_t offset = array;
    const bool in_tag = rules == jpeg_rules::interchange && page.samples_per_pixel == 1;
    if (!in_tag) {
        const uint64_t at = uint64_t{page.header_offset} + array + 4 * static_cast<uint64_t>(index);
        if (at > INT32_MAX) return false;
        source.seek(static_cast<int32_t>(at));
        uint8_t bytes[4] = {};
        source.read(bytes, 4);
        const bool big = rules == jpeg_rules::interchange && page.order == byte_order::big;
        offset = big ? load_u32be(bytes) : load_u32le(bytes);
    }
    if (offset + page.header_offset > INT32_MAX) return false;
    source.seek(static_cast<int32_t>(offset + page.header_offset));
    return true;
}

bool read_huffman(byte_source& source, const jtif_page& page, jpeg_rules rules, uint32_t array,
                  int32_t index, jpeg_huffman_spec& spec)
{
    return jtif_position_tiff_file(source, page, rules, array, index) &&
           jpeg_read_huffman_spec(source, spec);
}

// INTENDED: of all tables only the last AC table's absence is an error; what cannot be read
// of the others stays 0. Classic mode reads three of each kind for any number of components.
int32_t read_tables(byte_source& source, const jtif_page& page, jpeg_rules rules,
                    jpeg_tables& tables)
{
    const int32_t count =
        rules == jpeg_rules::classic ? table_sets : static_cast<int32_t>(page.samples_per_pixel);
    for (int32_t i = 0; i < count; ++i) {
        if (!jtif_position_tiff_file(source, page, rules, page.q_tables, i)) continue;
        uint8_t bytes[block_size] = {};
        source.read(bytes, sizeof bytes);
        std::copy(std::begin(bytes), std::end(bytes), tables.quantisation[i]);
    }
    for (int32_t i = 0; i < count; ++i)
        read_huffman(source, page, rules, page.dc_tables, i, tables.dc[i]);
    bool last_read = false;
    for (int32_t i = 0; i < count; ++i)
        last_read = read_huffman(source, page, rules, page.ac_tables, i, tables.ac[i]);
    return last_read ? 0 : err_format;
}

// INTENDED: classic mode takes no notice of the photometric value.
jpeg_color_model color_model(const jtif_page& page, jpeg_rules rules)
{
    const bool interchange = rules == jpeg_rules::interchange;
    if (page.samples_per_pixel != 3)
        return interchange && page.photometric == photometric_is_white_zero
                   ? jpeg_color_model::inverted_grey
                   : jpeg_color_model::grey;
    return interchange && page.photometric == photometric_is_rgb ? jpeg_color_model::rgb
                                                                 : jpeg_color_model::ycc;
}

int32_t plan_page(const jtif_page& page, jpeg_rules rules, jtif_state& state)
{
    jpeg_scan_plan& plan = state.plan;
    const sampling luminance = luminance_sampling(page, rules);
    if (luminance.h < 1 || luminance.h > jpeg_max_factor || luminance.v < 1 ||
        luminance.v > jpeg_max_factor)
        return err_format;
    plan.rules = rules;
    plan.width = static_cast<int32_t>(page.width);
    plan.h_max = static_cast<int32_t>(luminance.h);
    plan.v_max = static_cast<int32_t>(luminance.v);
    plan.plane_count = static_cast<int32_t>(page.samples_per_pixel);
    plan.part_count = 1;
    plan.parts[0] = {jpeg_bit_reader::read_on, plan.plane_count, {0, 1, 2}, 0};
    plan.model = color_model(page, rules);
    plan.row_bytes = size_for_long(plan.width, page.samples_per_pixel == 3 ? 24 : 8);
    if (rules == jpeg_rules::interchange)
        plan.parts[0].restart_interval = static_cast<int32_t>(page.restart_interval & 0xFFFF);
    for (int32_t i = 0; i < plan.plane_count; ++i) {
        jpeg_scan_component& component = plan.components[i];
        component.h = component.placed_h = i == 0 ? plan.h_max : 1;
        component.v = component.placed_v = i == 0 ? plan.v_max : 1;
        state.tables.dc_lookup[i].build(state.tables.dc[i]);
        state.tables.ac_lookup[i].build(state.tables.ac[i]);
        component.coding = {state.tables.quantisation[i], &state.tables.dc_lookup[i],
                            &state.tables.ac_lookup[i], 0};
    }
    return 0;
}

// In interchange mode a strip starts with its data, or with a stream's or scan's header
// before them as some writers put it; goes behind that.
void skip_strip_headers(HFILE file)
{
    const int32_t start = img_tell(file);
    int32_t position = start;
    for (int32_t segments = 0; segments < 64; ++segments) {
        uint8_t bytes[4] = {};
        img_seek_mem(file, position, seek_from_start);
        if (img_read_mem(file, bytes, 4) < 4 || bytes[0] != 0xFF || bytes[1] < 0xC0) break;
        const uint32_t marker = load_u16be(bytes);
        position += marker == marker_soi ? 2 : 2 + load_u16be(bytes + 2);
        if (marker == marker_sos) break;
    }
    img_seek_mem(file, position, seek_from_start);
}

} // namespace

int32_t jtif_decoder::init_jtif(const jtif_page& page, HFILE file)
{
    if (page.width == 0 || page.samples_per_pixel == 0) return err_format;
    if (page.samples_per_pixel > table_sets) return err_unsupported;
    if (page.width > max_width) return err_memory;
    if (!memory_.allocate(sizeof(jtif_state))) return err_memory;
    auto& state = *memory_.as<jtif_state>();
    std::memset(memory_.bytes(), 0, sizeof(jtif_state));

    const jpeg_rules rules = interchange_mode() ? jpeg_rules::interchange : jpeg_rules::classic;
    byte_source source(file, IBUFFSZ);
    if (!source.ok()) return err_memory;
    if (int32_t err = read_tables(source, page, rules, state.tables); err < 0) return err;
    return plan_page(page, rules, state);
}

int32_t jtif_decoder::decode_jpeg_strip(const row_sink& sink, HFILE file, int32_t first_row,
                                        int32_t row_count)
{
    if (!memory_) return err_memory;
    jpeg_scan_plan plan = memory_.as<jtif_state>()->plan;
    plan.height = row_count;
    plan.first_row = first_row;
    if (plan.rules == jpeg_rules::classic)
        plan.skipped_bytes = classic_strip_prefix;
    else
        skip_strip_headers(file);
    jpeg_scan scan(plan);
    if (int32_t err = scan.allocate(); err < 0) return err;
    return scan.decompress(file, sink);
}
