// wmf_builder.h - makes Windows metafiles record by record.
#pragma once

#include "tests/support/codec.h"

/// A packed bitmap as a record holds it.
struct wmf_test_dib {
    int width = 1, height = 1, bits = 8, compression = 0, colors_used = 0;
    bool core = false;
    byte_vector table; // masks or colours
    byte_vector data;

    operator byte_vector() const
    {
        byte_vector b;
        add_le(b, core ? 12 : 40, 4);
        add_le(b, {width, height}, core ? 2 : 4);
        add_le(b, {1, bits}, 2);
        if (!core) add_le(b, {compression, 0, 0, 0, colors_used, 0}, 4);
        add_bytes(b, table);
        add_bytes(b, data);
        return b;
    }
};

/// Three pixels of 9 as one run.
inline wmf_test_dib wmf_runs_of_nine()
{
    return {.width = 3, .compression = 1, .table = byte_vector(1024), .data = {3, 9, 0, 1}};
}

struct wmf_builder : byte_vector {
    explicit wmf_builder(bool placeable = true, int kind = 1, int version = 0x0300)
    {
        if (placeable) // with a wrong checksum
            add_le(*this, {0xCDD7, 0x9AC6, 0, 0, 0, 100, 50, 200, 0, 0, 0x1234}, 2);
        add_le(*this, {kind, 9, version, 0, 0, 0, 0, 0, 0}, 2); // sizes are not trusted
    }
    wmf_builder& record(int function, const byte_vector& parameters, int words = -1)
    {
        add_le(*this, words < 0 ? 3 + (parameters.size() + 1) / 2 : uint64_t(words), 4);
        add_le(*this, uint64_t(function), 2);
        add_bytes(*this, parameters);
        resize((size() + 1) / 2 * 2);
        return *this;
    }
    /// One of the records that draw a bitmap.
    wmf_builder& draw(int function, const byte_vector& bitmap, int x = 0, int y = 0, int width = 1,
                      int height = 1, uint32_t raster = 0x00CC0020, int usage = 0, int rows = 0)
    {
        byte_vector p;
        if (function != 0x0D33) add_le(p, raster, 4);
        if (function == 0x0F43 || function == 0x0D33) add_le(p, uint64_t(usage), 2);
        if (function == 0x0D33) add_le(p, uint64_t(rows), 4);
        if (function == 0x0F43 || function == 0x0B41 || function == 0x0B23) add_le(p, 0, 4);
        add_le(p, {0, 0, height, width, y, x}, 2); // the source's corner first
        add_bytes(p, bitmap);
        return record(function, p);
    }
    wmf_builder& finish() { return record(0, {}); }
};
