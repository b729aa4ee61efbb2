// pict_file.h - the layout of Macintosh pictures: recorded drawing operations, of which those
// that draw a bitmap are read and written. Everything is big-endian.
#pragma once

#include "core/byte_stream.h"
#include "core/codec.h"

inline constexpr int32_t pict_preamble_bytes = 512; // an application's own
inline constexpr int32_t pict_frame_bytes = 10;     // size and bounding box, then the version
inline constexpr int32_t pict_length_mask = 0x3FFF; // of a row's length; the top bit is a flag
inline constexpr int32_t pict_pixmap_flag = 0x8000;
inline constexpr int32_t pict_widest_short_count = 250; // rows up to this have a count of one byte
inline constexpr uint32_t pict_usual_dpi = 72;

enum pict_opcode : uint16_t {
    op_clip = 0x0001,
    op_version = 0x0011,
    op_first_pattern = 0x0012,
    op_last_pattern = 0x0014,
    op_fore_color = 0x001A,
    op_back_color = 0x001B,
    op_bits_rect = 0x0090,
    op_bits_region = 0x0091,
    op_pack_rect = 0x0098,
    op_pack_region = 0x0099,
    op_direct_rect = 0x009A,
    op_direct_region = 0x009B,
    op_long_comment = 0x00A1,
    op_end = 0x00FF,
    op_header = 0x0C00,
    op_quicktime = 0x8200,
};

struct pict_rect {
    int32_t top, left, bottom, right; // the last two lie outside

    int32_t width() const { return right - left; }
    int32_t height() const { return bottom - top; }
    bool empty() const { return width() <= 0 || height() <= 0; }
};

pict_rect pict_read_rect(byte_reader& in);

/// How the rows of a bitmap are stored.
enum class pict_layout : uint8_t {
    unpacked,      // row_bytes each
    unpacked_rgb,  // red, green, blue, without the pad byte of a 32-bit pixel
    packed_bytes,  // a count and PackBits
    packed_pairs,  // the same over units of 16 bits
    packed_planes, // a count and PackBits; the planes of a row follow one another
};

/// One bitmap of a picture.
struct pict_tile {
    int32_t data;      // position of the first row
    int32_t row_bytes; // as stated
    int32_t width, height;
    int32_t bits;   // 1, 2, 4, 8, 16 or 32
    int32_t planes; // of packed_planes: 3, or 4 with opacity in front
    pict_layout layout;
    bool wide_count;     // rows have a count of two bytes
    bool maybe_unpacked; // 32 bits without a stated packing: one writer leaves them unpacked_rgb
    bool unscaled;       // drawn whole and in its own size
    pict_rect place;     // where it is drawn
    int32_t color_table; // its position; -1: a bitmap in the two colours below
    RGBQUAD back, fore;
    uint64_t color_hash; // equal for equal colour tables
    uint32_t x_dpi, y_dpi;

    int32_t dib_bits() const { return bits == 2 ? 4 : bits > 8 ? 24 : bits; }
    bool has_counts() const { return layout >= pict_layout::packed_bytes; }
    /// Bytes of a row when it is unpacked.
    int32_t unpacked_bytes() const;
};

/// The colour table of a tile of up to 8 bits; 256 entries.  False when it cannot be read.
bool pict_read_colors(byte_source& in, const pict_tile& tile, RGBQUAD* colors);
