// wpg_file.h - the layout of WordPerfect graphics: a prefix, then records. Version 1 is read
// and written, version 2 read. Everything is little-endian.
#pragma once

#include "core/byte_stream.h"
#include "core/codec.h"

inline constexpr uint32_t wpg_prefix_bytes = 16;
inline constexpr uint8_t wpg_signature[4] = {0xFF, 'W', 'P', 'C'};
inline constexpr uint8_t wpg_graphics_type = 0x16;

enum wpg1_record : uint8_t {
    wpg1_bitmap_1 = 0x0B,
    wpg1_color_map = 0x0E,
    wpg1_start = 0x0F,
    wpg1_end = 0x10,
    wpg1_bitmap_2 = 0x14,
};

enum wpg2_record : uint8_t {
    wpg2_end = 0x02,
    wpg2_palette = 0x0C,
    wpg2_palette_16 = 0x0D,
    wpg2_bitmap = 0x0E,
    wpg2_last_known = 0x3F,
};

/// The size of a record, in 1, 3 or 5 bytes. The long form has its high word first.
bool wpg_read_length(byte_source& in, uint32_t& length);

enum class wpg_coding : uint8_t { runs_1, runs_2, plain };

/// A bitmap record that can be read, with the colours in force where it stands.
struct wpg_bitmap {
    int32_t position; // of its pixel data
    uint32_t size;    // of its pixel data
    int32_t width, height;
    int32_t bits; // stored: 1, 2, 4, 8 or 24
    wpg_coding coding;
    bool mirror_x, mirror_y;
    int32_t x_dpi, y_dpi; // 0: not known
    RGBQUAD colors[256];

    int32_t dib_bits() const { return bits == 2 ? 4 : bits; }
    size_t row_bytes() const
    {
        return (static_cast<size_t>(width) * static_cast<size_t>(bits) + 7) / 8;
    }
};

/// Finds the bitmap of the largest area, the first of equals.
///   end   where the file's data end; -1 when that is not known
/// 0; err_unsupported without one, or where the file is encrypted or none of them can be
/// read; err_format for another file or only damaged ones.
int32_t wpg_find_bitmap(byte_source& in, int32_t base, int32_t end, wpg_bitmap& best);
