// jpeg_segments.h - the segments before entropy-coded data (B.2/T.81): tables, frame and scan
// header.
#pragma once

#include "core/byte_stream.h"
#include "formats/jpeg/jpeg_scan.h"

/// Tables as they come in; what is missing is 0. It lies in working memory.
struct jpeg_tables {
    uint16_t quantisation[4][64]; // zig-zag order
    jpeg_huffman_spec dc[4], ac[4];
    jpeg_decode_table dc_lookup[4], ac_lookup[4];
};

struct jpeg_frame_component {
    uint8_t id, h, v, table;
};

struct jpeg_headers {
    bool has_frame;
    uint16_t frame_marker;
    uint8_t precision;
    int32_t width, height;
    int32_t component_count;
    jpeg_frame_component components[jpeg_max_components];
    int32_t restart_interval;
    bool has_jfif, has_adobe;
    uint16_t density_x, density_y; // of the JFIF header; 0 none
    uint8_t density_unit;          // 1 per inch, 2 per centimetre
    uint8_t adobe_transform;
    // Scan header: component count, then selector and tables of each, as far as it was there.
    int32_t scan_header_bytes;
    uint8_t scan_header[9];
    int32_t data_position; // where the entropy-coded data start
};

/// Position of the stream's SOI among the first 1001 bytes from offset, or a code.
int32_t jpeg_find_stream(HFILE file, uint32_t offset);

/// Reads all segments behind SOI up to and with the scan header; the source then stands at
/// the entropy-coded data.  0, err_format, or in interchange mode err_unsupported.
int32_t jpeg_read_headers(byte_source& source, jpeg_rules rules, jpeg_headers& headers,
                          jpeg_tables& tables);

/// Goes from entropy-coded data to the next marker but RSTn. False at EOI and at the end.
bool jpeg_find_marker(byte_source& source);

/// Lines that a DNL segment behind the first scan's data names (B.2.5/T.81); 0 none.
int32_t jpeg_lines_behind_scan(byte_source& source, const jpeg_headers& headers);

/// Reads counts and symbols of a Huffman table.  False when not a byte of the counts came.
bool jpeg_read_huffman_spec(byte_source& source, jpeg_huffman_spec& spec);
