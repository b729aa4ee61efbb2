// wmf_file.h - the layout of Windows metafiles: an optional placement header, a header, then
// recorded drawing calls. Everything is little-endian; sizes count 16-bit words.
#pragma once

#include "core/byte_stream.h"
#include "core/codec.h"

inline constexpr uint32_t wmf_placeable_key = 0x9AC6CDD7;
inline constexpr int32_t wmf_placeable_bytes = 22;
inline constexpr int32_t wmf_header_bytes = 18;
inline constexpr int32_t wmf_header_words = 9;
inline constexpr uint32_t wmf_smallest_record = 3;
inline constexpr uint32_t wmf_source_copy = 0x00CC0020;
inline constexpr int32_t wmf_info_header_bytes = 40;

// The low byte of a function names the record; the high byte counts parameters.
enum wmf_function : uint16_t {
    wmf_end = 0x0000,
    wmf_create_palette = 0x00F7,
    wmf_set_stretch_mode = 0x0107,
    wmf_set_window_origin = 0x020B,
    wmf_set_window_extent = 0x020C,
    wmf_bit_blt = 0x0922,
    wmf_dib_bit_blt = 0x0940,
    wmf_stretch_blt = 0x0B23,
    wmf_dib_stretch_blt = 0x0B41,
    wmf_set_dib_to_device = 0x0D33,
    wmf_stretch_dib = 0x0F43,
};

// biCompression of an embedded bitmap.
enum wmf_compression : uint32_t { wmf_plain = 0, wmf_rle8 = 1, wmf_rle4 = 2, wmf_masks = 3 };

/// Where the colours of an embedded bitmap come from.
enum class wmf_colors : uint8_t {
    triples,         // blue, green, red behind the header
    quads,           // blue, green, red, 0 behind the header
    palette_entries, // 16-bit numbers of entries of the metafile's palette
    palette,         // pixels are numbers of entries of the metafile's palette
    black_white,     // a device's own bitmap
};

/// An embedded bitmap, checked against its record.
struct wmf_dib {
    int32_t width, height;
    int32_t bits; // stored: 1, 4, 8, 16, 24 or 32
    uint32_t compression;
    bool top_down;
    int32_t stride;
    int32_t pixels; // position
    wmf_colors color_source;
    int32_t color_table; // position
    int32_t color_count;
    uint32_t masks[3]; // red, green, blue of 16 and 32 bits

    int32_t dib_bits() const { return bits > 8 ? 24 : bits; }
};

/// A record that draws a bitmap.
struct wmf_bitmap {
    wmf_dib dib;
    uint32_t raster;     // operation
    int32_t x, y;        // where it is drawn
    int32_t drawn_width; // negative: mirrored
    int32_t drawn_height;
    int32_t palette; // position of the palette's entries in force, -1 without
    int32_t palette_count;
};

/// The placement header, as far as it counts.
struct wmf_placement {
    bool present;
    int32_t width, height; // of the bounding box
    int32_t units_per_inch;
};
