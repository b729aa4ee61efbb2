// pict_builder.h - makes Macintosh pictures operation by operation.
#pragma once

#include "tests/support/codec.h"

#include <array>

inline void add_box(byte_vector& to, int left, int top, int width, int height)
{
    add_be(to, {top, left, top + height, left + width}, 2);
}

/// What a bitmap operation holds.
struct pict_bits {
    int width = 1, height = 1, bits = 1, row_bytes = 8;
    bool pixmap = true;
    int pack_type = 0, planes = 1;
    int left = 0, top = 0;   // where it is drawn
    int drawn_width = -1;    // -1: as wide as it is
    byte_vector region = {}; // of an operation with a region
    int table_flags = 0;
    std::vector<std::array<int, 4>> colors = {}; // value, red, green, blue
    byte_vector rows = {};                       // as stored, counts included

    operator byte_vector() const
    {
        const bool direct = bits > 8;
        byte_vector b;
        if (direct) add_be(b, 0xFF, 4);
        add_be(b, {row_bytes | (pixmap ? 0x8000 : 0)}, 2);
        add_box(b, 0, 0, width, height);
        if (pixmap) {
            add_be(b, {0, pack_type, 0, 0, 100, 0, 100, 0, direct ? 16 : 0, bits, planes, 8}, 2);
            add_be(b, 0, 12);
        }
        if (pixmap && !direct) {
            add_be(b, {0, 0, table_flags, int(colors.size()) - 1}, 2);
            for (const auto& [value, red, green, blue] : colors)
                add_be(b, {value, red * 257, green * 257, blue * 257}, 2);
        }
        add_box(b, 0, 0, width, height);
        add_box(b, left, top, drawn_width < 0 ? width : drawn_width, height);
        add_be(b, 0, 2);
        add_bytes(b, region);
        add_bytes(b, rows);
        return b;
    }
};

struct pict_builder : byte_vector {
    explicit pict_builder(int version = 2) : byte_vector(514), version_(version)
    {
        add_box(*this, 0, 0, 100, 100);
        add_be(*this, version == 1 ? 0x1101 : 0x001102FF, 2 * version);
    }
    pict_builder& op(int opcode, const byte_vector& data = {})
    {
        if (version_ == 2) resize((size() + 1) / 2 * 2);
        add_be(*this, uint64_t(opcode), version_);
        add_bytes(*this, data);
        return *this;
    }
    pict_builder& header(int x_dpi, int y_dpi)
    {
        byte_vector b;
        add_be(b, {0xFFFE, 0, x_dpi, 0, y_dpi, 0, 0, 0, 0, 0, 0, 0}, 2);
        return op(0x0C00, b);
    }

private:
    int version_;
};
