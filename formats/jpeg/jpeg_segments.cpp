// jpeg_segments.cpp - parsing of marker segments.
//
// Each segment starts where the length of the one before it points, whatever was read of it.

#include "formats/jpeg/jpeg_segments.h"

#include "formats/jpeg/jpeg_tables.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int32_t max_leading_bytes = 1000;

// True for the frame headers (table B.1/T.81).
bool is_frame(uint32_t marker)
{
    return marker >= marker_sof0 && marker <= marker_sof15 && marker != marker_dht &&
           marker != marker_jpg && marker != marker_dac;
}

// Markers without a length field: TEM, RST0 to RST7, SOI.
bool stands_alone(uint32_t marker)
{
    return marker == 0xFF01 || (marker >= marker_rst0 && marker <= marker_soi);
}

int32_t jpeg_get_quant_table(byte_source& source, int32_t length, jpeg_tables& tables)
{
    int32_t table = 0;
    for (int32_t remaining = length - 2; remaining >= 1;) {
        const int selector = source.get();
        if (selector < 0) return err_format;
        const int precision = selector >> 4;
        if (precision > 1) return err_format;
        if ((selector & 15) < 4) table = selector & 15; // others: the last one again
        uint8_t bytes[128] = {};
        const size_t count = precision == 0 ? 64 : 128;
        source.read(bytes, count);
        for (size_t i = 0; i < 64; ++i)
            tables.quantisation[table][i] = precision == 0 ? bytes[i] : load_u16be(bytes + 2 * i);
        remaining -= 1 + static_cast<int32_t>(count);
    }
    return 0;
}

// Tables 2 and 3 exist only for interchange mode; classic mode knows DC 0, DC 1, AC 0, AC 1
// and keeps the table selected last for any other selector.
jpeg_huffman_spec* select_huffman(int selector, jpeg_rules rules, jpeg_tables& tables,
                                  jpeg_huffman_spec* last)
{
    const int count = rules == jpeg_rules::classic ? 2 : 4;
    const int number = selector & 15;
    if (number >= count || selector >> 4 > 1) return last;
    return selector >> 4 == 0 ? &tables.dc[number] : &tables.ac[number];
}

void jpeg_get_huff_table(byte_source& source, int32_t length, jpeg_rules rules, jpeg_tables& tables)
{
    jpeg_huffman_spec* spec = &tables.dc[0];
    for (int32_t remaining = length - 2; remaining > 0;) {
        const int selector = source.get();
        if (selector < 0) return;
        spec = select_huffman(selector, rules, tables, spec);
        if (!jpeg_read_huffman_spec(source, *spec)) return;
        int32_t symbols = 0;
        for (uint8_t count : spec->counts)
            symbols += count;
        remaining -= symbols + 17;
    }
}

void read_frame(byte_source& source, uint32_t marker, jpeg_headers& headers)
{
    uint8_t bytes[18] = {};
    source.read(bytes, sizeof bytes);
    byte_reader in(bytes, sizeof bytes, byte_order::big);
    headers.has_frame = true;
    headers.frame_marker = static_cast<uint16_t>(marker);
    headers.precision = in.u8();
    headers.height = in.u16();
    headers.width = in.u16();
    headers.component_count = in.u8();
    for (jpeg_frame_component& component : headers.components) {
        component.id = in.u8();
        const uint8_t factors = in.u8();
        component.h = factors >> 4;
        component.v = factors & 15;
        component.table = in.u8();
    }
}

// The first bytes of an APPn segment; false when it is another application's or shorter.
bool read_application(byte_source& source, int32_t length, const char* name, uint8_t (&bytes)[12])
{
    if (length < 14 || source.read(bytes, sizeof bytes) != sizeof bytes) return false;
    return std::memcmp(bytes, name, 5) == 0;
}

void read_jfif(byte_source& source, int32_t length, jpeg_headers& headers)
{
    uint8_t bytes[12];
    if (!read_application(source, length, "JFIF", bytes)) return;
    headers.has_jfif = true;
    headers.density_unit = bytes[7];
    headers.density_x = load_u16be(bytes + 8);
    headers.density_y = load_u16be(bytes + 10);
}

void read_adobe(byte_source& source, int32_t length, jpeg_headers& headers)
{
    uint8_t bytes[12];
    if (!read_application(source, length, "Adobe", bytes)) return;
    headers.has_adobe = true;
    headers.adobe_transform = bytes[11];
}

void read_scan_header(byte_source& source, int32_t length, int32_t position, jpeg_headers& headers)
{
    uint8_t* const bytes = headers.scan_header;
    const auto wanted = static_cast<size_t>(
        std::clamp<int32_t>(length - 2, 0, static_cast<int32_t>(sizeof headers.scan_header)));
    headers.scan_header_bytes = static_cast<int32_t>(source.read(bytes, wanted));
    headers.data_position = position + std::max(length - 2, 0);
    source.seek(headers.data_position);
}

int32_t read_segment(byte_source& source, uint32_t marker, int32_t length, jpeg_rules rules,
                     jpeg_headers& headers, jpeg_tables& tables)
{
    uint8_t interval[2] = {};
    switch (marker) {
    case marker_sof0:
    case marker_sof1:
        if (headers.data_position > 0) return err_unsupported; // a second frame behind a scan
        read_frame(source, marker, headers);
        return 0;
    case marker_dqt: return jpeg_get_quant_table(source, length, tables);
    case marker_dht: jpeg_get_huff_table(source, length, rules, tables); return 0;
    case marker_dri:
        source.read(interval, sizeof interval);
        headers.restart_interval = load_u16be(interval);
        return 0;
    case marker_app0: read_jfif(source, length, headers); return 0;
    case marker_app14: read_adobe(source, length, headers); return 0;
    default:
        // INTENDED: classic mode passes over progressive and other frames and decodes what
        // follows with the frame it has.
        return rules == jpeg_rules::interchange && is_frame(marker) ? err_unsupported : 0;
    }
}

} // namespace

bool jpeg_read_huffman_spec(byte_source& source, jpeg_huffman_spec& spec)
{
    const size_t got = source.read(spec.counts, sizeof spec.counts);
    if (got == 0) return false;
    std::memset(spec.counts + got, 0, sizeof spec.counts - got);
    uint32_t total = 0;
    for (uint8_t count : spec.counts)
        total += count;
    const auto kept = std::min<uint32_t>(total, jpeg_huffman_spec::max_symbols);
    spec.total = static_cast<int32_t>(source.read(spec.symbols, kept));
    source.skip(total - kept);
    return true;
}

int32_t jpeg_find_stream(HFILE file, uint32_t offset)
{
    if (offset > INT32_MAX - 2 * max_leading_bytes) return err_corrupt;
    const auto first = static_cast<int32_t>(offset);
    img_seek_mem(file, first, seek_from_start);
    uint8_t bytes[max_leading_bytes + 2];
    int32_t count = 0;
    while (count < static_cast<int32_t>(sizeof bytes)) {
        const int32_t got =
            img_read_mem(file, bytes + count, static_cast<int32_t>(sizeof bytes) - count);
        if (got <= 0) break;
        count += got;
    }
    if (count == 0) return err_corrupt;
    for (int32_t i = 0; i + 1 < count; ++i)
        if (load_u16be(bytes + i) == marker_soi) return first + i;
    return err_format;
}

bool jpeg_find_marker(byte_source& source)
{
    for (int byte = source.get(); byte >= 0;) {
        const bool prefix = byte == 0xFF;
        byte = source.get();
        const bool stuffing = byte == 0 || (byte & 0xF8) == 0xD0;
        if (!prefix || byte < 0 || byte == 0xFF || stuffing) continue;
        source.seek(source.tell() - 2);
        return byte != (marker_eoi & 0xFF);
    }
    return false;
}

int32_t jpeg_lines_behind_scan(byte_source& source, const jpeg_headers& headers)
{
    source.seek(headers.data_position);
    if (!jpeg_find_marker(source)) return 0;
    uint8_t bytes[6] = {};
    source.read(bytes, sizeof bytes);
    return load_u16be(bytes) == marker_dnl ? load_u16be(bytes + 4) : 0;
}

int32_t jpeg_read_headers(byte_source& source, jpeg_rules rules, jpeg_headers& headers,
                          jpeg_tables& tables)
{
    for (int64_t position = source.tell();;) {
        if (position > INT32_MAX - 70000) return err_format;
        source.seek(static_cast<int32_t>(position));
        uint8_t bytes[4] = {};
        if (source.read(bytes, 4) < 3) return err_format; // not a byte of the length
        const uint32_t marker = load_u16be(bytes);
        const int32_t length = load_u16be(bytes + 2);
        // Fill bytes (B.1.1.2/T.81) and markers without a length.
        if (rules == jpeg_rules::interchange && (marker == 0xFFFF || stands_alone(marker))) {
            position += marker == 0xFFFF ? 1 : 2;
            continue;
        }
        const auto body = static_cast<int32_t>(position + 4);
        if (marker == marker_sos) {
            read_scan_header(source, length, body, headers);
            return 0;
        }
        if (int32_t err = read_segment(source, marker, length, rules, headers, tables); err < 0)
            return err;
        position += length + 2;
    }
}
