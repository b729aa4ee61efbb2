// pict_builder.h - makes Macintosh pictures operation by operation.
#pragma once

#include "tests/support/codec.h"

#include <array>

inline byte_vector pict_box(int left, int top, int width, int height)
{
    byte_vector bytes;
    for (int v : {top, left, top + height, left + width})
        add_be(bytes, uint64_t(v), 2);
    return bytes;
}

/// What a bitmap operation holds.
struct pict_bits {
    int width = 1, height = 1, bits = 1, row_bytes = 8;
    bool pixmap = true;
    int pack_type = 0, planes = 1;
    int left = 0, top = 0; // where it is drawn
    int drawn_width = -1;  // -1: as wide as it is
    byte_vector region;    // of an operation with a region
    int table_flags = 0;
    std::vector<std::array<int, 4>> colors; // value, red, green, blue
    byte_vector rows;                       // as stored, counts included

    byte_vector build() const
    {
        const bool direct = bits > 8;
        byte_vector b;
        if (direct) add_be(b, 0xFF, 4);
        add_be(b, uint64_t(row_bytes) | (pixmap ? 0x8000 : 0), 2);
        add_bytes(b, pict_box(0, 0, width, height));
        if (pixmap) {
            add_be(b, 0, 2);
            add_be(b, uint64_t(pack_type), 2);
            add_be(b, 0, 4);
            add_be(b, 100u << 16, 4);
            add_be(b, 100u << 16, 4);
            add_be(b, direct ? 16 : 0, 2);
            for (int v : {bits, planes, 8})
                add_be(b, uint64_t(v), 2);
            add_be(b, 0, 12);
        }
        if (pixmap && !direct) {
            add_be(b, 0, 4);
            add_be(b, uint64_t(table_flags), 2);
            add_be(b, colors.size() - 1, 2);
            for (const auto& color : colors)
                for (int i = 0; i < 4; ++i)
                    add_be(b, uint64_t(i == 0 ? color[0] : color[size_t(i)] * 257), 2);
        }
        add_bytes(b, pict_box(0, 0, width, height));
        add_bytes(b, pict_box(left, top, drawn_width < 0 ? width : drawn_width, height));
        add_be(b, 0, 2);
        add_bytes(b, region);
        add_bytes(b, rows);
        return b;
    }
};

struct pict_builder {
    explicit pict_builder(int version = 2) : version_(version)
    {
        bytes.resize(512);
        add_be(bytes, 0, 2);
        add_bytes(bytes, pict_box(0, 0, 100, 100));
        if (version == 1)
            add_bytes(bytes, {0x11, 0x01});
        else
            add_bytes(bytes, {0x00, 0x11, 0x02, 0xFF});
    }
    pict_builder& op(int opcode, const byte_vector& data = {})
    {
        if (version_ == 2 && bytes.size() % 2 != 0) bytes.push_back(0);
        add_be(bytes, uint64_t(opcode), version_);
        add_bytes(bytes, data);
        return *this;
    }
    pict_builder& header(int x_dpi, int y_dpi)
    {
        byte_vector b = {0xFF, 0xFE, 0, 0};
        add_be(b, uint64_t(x_dpi) << 16, 4);
        add_be(b, uint64_t(y_dpi) << 16, 4);
        add_be(b, 0, 12);
        return op(0x0C00, b);
    }

    byte_vector bytes;

private:
    int version_;
};
