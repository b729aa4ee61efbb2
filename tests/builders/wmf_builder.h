// wmf_builder.h - makes Windows metafiles record by record.
#pragma once

#include "tests/support/codec.h"

/// A packed bitmap as a record holds it.
struct wmf_test_dib {
    int width = 1, height = 1, bits = 8, compression = 0, colors_used = 0;
    bool core = false;
    byte_vector table; // masks or colours
    byte_vector data;

    byte_vector build() const
    {
        byte_vector b;
        add_le(b, core ? 12 : 40, 4);
        add_le(b, uint64_t(width), core ? 2 : 4);
        add_le(b, uint64_t(int64_t{height}), core ? 2 : 4);
        add_le(b, 1, 2);
        add_le(b, uint64_t(bits), 2);
        if (!core) {
            add_le(b, uint64_t(compression), 4);
            add_le(b, 0, 12);
            add_le(b, uint64_t(colors_used), 4);
            add_le(b, 0, 4);
        }
        add_bytes(b, table);
        add_bytes(b, data);
        return b;
    }
};

struct wmf_builder {
    explicit wmf_builder(bool placeable = true, int kind = 1, int version = 0x0300)
    {
        if (placeable) {
            bytes = {0xD7, 0xCD, 0xC6, 0x9A};
            for (int v : {0, 0, 0, 100, 50, 200, 0, 0, 0x1234}) // a wrong checksum
                add_le(bytes, uint64_t(v), 2);
        }
        add_le(bytes, uint64_t(kind), 2);
        add_le(bytes, 9, 2);
        add_le(bytes, uint64_t(version), 2);
        add_le(bytes, 0, 12); // sizes are not trusted
    }
    wmf_builder& record(int function, const byte_vector& parameters, int words = -1)
    {
        add_le(bytes, words < 0 ? 3 + (parameters.size() + 1) / 2 : uint64_t(words), 4);
        add_le(bytes, uint64_t(function), 2);
        add_bytes(bytes, parameters);
        if (parameters.size() % 2) bytes.push_back(0);
        return *this;
    }
    /// One of the records that draw a bitmap.
    wmf_builder& draw(int function, const byte_vector& bitmap, int x = 0, int y = 0, int width = 1,
                      int height = 1, uint32_t raster = 0x00CC0020, int usage = 0, int rows = 0)
    {
        byte_vector p;
        if (function != 0x0D33) add_le(p, raster, 4);
        if (function == 0x0F43 || function == 0x0D33) add_le(p, uint64_t(usage), 2);
        if (function == 0x0D33) {
            add_le(p, uint64_t(rows), 2);
            add_le(p, 0, 2);
        }
        if (function == 0x0F43 || function == 0x0B41 || function == 0x0B23) add_le(p, 0, 4);
        add_le(p, 0, 4); // source corner
        for (int v : {height, width, y, x})
            add_le(p, uint64_t(v), 2);
        add_bytes(p, bitmap);
        return record(function, p);
    }
    wmf_builder& end() { return record(0, {}); }

    byte_vector bytes;
};
