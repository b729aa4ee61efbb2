// pcx_header.h - the 128 bytes in front of a PCX image, and its colour tables.
#pragma once

#include "core/byte_stream.h"
#include "core/codec.h"

inline constexpr size_t pcx_header_bytes = 128;
inline constexpr size_t pcx_palette_bytes = 48;      // 16 x red, green, blue
inline constexpr size_t pcx_vga_palette_bytes = 769; // a marker, 256 x red, green, blue
inline constexpr uint8_t pcx_manufacturer = 0x0A;
inline constexpr uint8_t pcx_vga_marker = 0x0C;

enum pcx_encoding : uint8_t { pcx_plain = 0, pcx_rle = 1 };

struct pcx_header {
    uint8_t version;  // 0 and 3: fixed colours; 2, 4, 5: colours in the header
    uint8_t encoding; // pcx_encoding
    uint8_t bits;     // per pixel and plane: 1, 2, 4 or 8
    uint8_t planes;   // 1 to 4
    uint8_t palette[pcx_palette_bytes];
    int32_t width, height; // 1 to 65536
    uint16_t x_dpi, y_dpi; // unreliable
    uint16_t plane_bytes;  // bytes of one plane of a row; padding included
    uint16_t palette_info; // 0 in old files

    /// Bytes of a stored row, all planes.
    uint32_t row_bytes() const { return uint32_t{planes} * plane_bytes; }
    /// Bytes of the whole picture without coding.
    uint64_t total_bytes() const { return uint64_t{row_bytes()} * static_cast<uint32_t>(height); }
    /// Depth of the DIB.
    int32_t dib_bits() const;
};

/// Reads and checks the header.  0; err_format for another file or impossible fields,
/// err_unsupported for planes and bits that do not go together, err_memory for a picture
/// too large for a DIB.
int32_t pcx_read_header(byte_source& in, pcx_header& header);

/// Resolution for a DIB; leaves it 0 where the fields hold something else.
void pcx_set_resolution(const pcx_header& header, BITMAPINFOHEADER& info);

/// The colour table of all organisations but 8 bits in one plane.
void pcx_header_colors(const pcx_header& header, RGBQUAD* colors);

/// count entries of red, green, blue.
void pcx_copy_colors(const uint8_t* rgb, int32_t count, RGBQUAD* colors);
