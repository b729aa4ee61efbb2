// bmp_header.h - the headers and colours of a bitmap file, checked and in one plain struct.
#pragma once

#include "core/codec.h"

#include <array>

/// How a stored pixel becomes a delivered one.
enum class bmp_pixels {
    as_stored,
    inverted,    // 1 bit, stored with white as entry 0
    from_fields, // 16 or 32 bits, delivered as 24
};

/// One colour of a 16- or 32-bit pixel.
struct bmp_field {
    uint32_t mask = 0;
    int32_t shift = 0;
    uint32_t highest = 0; // largest value, mask >> shift
};

struct bmp_header {
    dib_header dib;       // as delivered
    uint32_t data_offset; // of the rows from the image's start
    uint32_t compression; // BI_…
    bmp_pixels pixels;
    int32_t stored_row_bytes;        // of an uncompressed file
    bool top_down;                   // rows stored from the top; interchange mode only
    std::array<bmp_field, 3> fields; // blue, green, red
};

/// Compression values beside those of every Windows header.
inline constexpr uint32_t bmp_bit_fields = 3, bmp_alpha_bit_fields = 6;

/// Reads file header, info header and colours at start.
/// 0, err_format where the header is cut or a size is not positive, err_unsupported for a
/// depth (in interchange mode also a compression) that is not read, err_memory for a picture
/// beyond 2^31 bytes.
int32_t bmp_read_header(bmp_header& bmp, HFILE file, int32_t start);
