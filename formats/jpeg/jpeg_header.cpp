// jpeg_header.cpp - marker segments of the writer.

#include "formats/jpeg/jpeg_header.h"

#include "formats/jpeg/jpeg_quality.h"
#include "formats/jpeg/jpeg_tables.h"

#include <span>

namespace {

constexpr int32_t default_density = 96;
constexpr uint8_t dots_per_inch = 1;

void put_all(byte_sink& sink, std::initializer_list<uint8_t> bytes)
{
    for (uint8_t byte : bytes)
        sink.put(byte);
}

void put_segment_start(byte_sink& sink, jpeg_marker marker, uint32_t length)
{
    sink.put_u16be(marker);
    sink.put_u16be(length);
}

uint32_t density(LONG picture, LONG other, jpeg_layout layout)
{
    const bool known = picture > 0 && picture <= 0xFFFF && other > 0 && other <= 0xFFFF;
    return static_cast<uint32_t>(layout == jpeg_layout::standard && known ? picture
                                                                          : default_density);
}

void put_jfif(byte_sink& sink, const BITMAPINFOHEADER& header, jpeg_layout layout)
{
    put_segment_start(sink, marker_app0, 16);
    put_all(sink, {'J', 'F', 'I', 'F', 0, 1, 0, dots_per_inch});
    sink.put_u16be(density(header.biXPelsPerMeter, header.biYPelsPerMeter, layout));
    sink.put_u16be(density(header.biYPelsPerMeter, header.biXPelsPerMeter, layout));
    put_all(sink, {0, 0}); // no thumbnail
}

void put_quantisation(byte_sink& sink, uint8_t number, const std::array<uint8_t, 64>& table)
{
    sink.put(number);
    for (uint8_t position : jpeg_zigzag)
        sink.put(table[position]);
}

void put_huffman(byte_sink& sink, uint8_t class_and_number, std::span<const uint8_t> table)
{
    put_segment_start(sink, marker_dht, static_cast<uint32_t>(3 + table.size()));
    sink.put(class_and_number);
    sink.put(table.data(), table.size());
}

void put_frame(byte_sink& sink, const BITMAPINFOHEADER& header, int32_t components,
               jpeg_layout layout)
{
    const bool color = components == 3;
    const int32_t listed = layout == jpeg_layout::classic ? 3 : components;
    put_segment_start(sink, marker_sof0, static_cast<uint32_t>(8 + 3 * listed));
    sink.put(uint8_t{8});
    sink.put_u16be(static_cast<uint32_t>(header.biHeight));
    sink.put_u16be(static_cast<uint32_t>(header.biWidth));
    sink.put(static_cast<uint8_t>(components));
    put_all(sink, {1, static_cast<uint8_t>(color ? 0x21 : 0x11), 0});
    if (listed == 3) put_all(sink, {2, 0x11, 1, 3, 0x11, 1});
}

void put_scan(byte_sink& sink, int32_t components, jpeg_layout layout)
{
    const bool classic = layout == jpeg_layout::classic;
    const int32_t listed = classic ? 3 : components;
    put_segment_start(sink, marker_sos, static_cast<uint32_t>(6 + 2 * listed + (classic ? 2 : 0)));
    put_all(sink, {static_cast<uint8_t>(components), 1, 0x00});
    if (listed == 3) put_all(sink, {2, 0x11, 3, 0x11});
    if (classic) put_all(sink, {0, 0});
    put_all(sink, {0, 63, 0});
}

} // namespace

void jpeg_write_header(byte_sink& sink, const BITMAPINFOHEADER& header, int32_t components,
                       jpeg_layout layout)
{
    const jpeg_quantisation& tables = jpeg_working_tables();
    sink.put_u16be(marker_soi);
    put_jfif(sink, header, layout);
    put_segment_start(sink, marker_dqt, 132); // both tables even for grey
    put_quantisation(sink, 0, tables.luminance);
    put_quantisation(sink, 1, tables.chrominance);
    put_frame(sink, header, components, layout);
    put_huffman(sink, 0x00, jpeg_dc_luminance);
    put_huffman(sink, 0x10, jpeg_ac_luminance);
    if (components == 3) {
        put_huffman(sink, 0x01, jpeg_dc_chrominance);
        put_huffman(sink, 0x11, jpeg_ac_chrominance);
    }
    put_scan(sink, components, layout);
}
