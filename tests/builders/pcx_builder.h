// pcx_builder.h - makes PCX and DCX bytes field by field, with runs of the test's choosing.
#pragma once

#include "tests/support/codec.h"

struct pcx_builder {
    int version = 5, encoding = 1, bits = 8, planes = 1;
    int x = 0, y = 0, width = 1, height = 1;
    int x_dpi = 0, y_dpi = 0;
    int plane_bytes = -1; // -1: as many as the width needs
    int palette_info = 1;
    byte_vector palette; // of the header, filled up with zeros
    byte_vector data;    // as stored
    byte_vector tail;    // behind the data

    int plane() const { return plane_bytes < 0 ? (width * bits + 7) / 8 : plane_bytes; }

    operator byte_vector() const
    {
        byte_vector f = {10, uint8_t(version), uint8_t(encoding), uint8_t(bits)};
        add_le(f, {x, y, x + width - 1, y + height - 1, x_dpi, y_dpi}, 2);
        add_bytes(f, palette);
        f.resize(65);
        f.push_back(uint8_t(planes));
        add_le(f, {plane(), palette_info}, 2);
        f.resize(128);
        add_bytes(f, data);
        add_bytes(f, tail);
        return f;
    }
};

/// 0x0C and 256 colours: entry i is (i, 255 - i, salt).
inline byte_vector vga_palette(int salt)
{
    byte_vector colors = {12};
    for (int i = 0; i < 256; ++i)
        add_bytes(colors, {uint8_t(i), uint8_t(255 - i), uint8_t(salt)});
    return colors;
}

/// Pages behind a table with the given entries; the offsets are filled in.
inline byte_vector build_dcx(const std::vector<byte_vector>& pages, size_t table_entries)
{
    byte_vector f = {0xB1, 0x68, 0xDE, 0x3A};
    size_t at = 4 + 4 * table_entries;
    for (const byte_vector& page : pages) {
        add_le(f, at, 4);
        at += page.size();
    }
    f.resize(4 + 4 * table_entries);
    for (const byte_vector& page : pages)
        add_bytes(f, page);
    return f;
}
