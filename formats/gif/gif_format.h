// gif_format.h - the bytes of a GIF file that reader and writer share. GIF89a, sections 17
// to 27; GIF87a has the same screen and image descriptors.
#pragma once

#include <cstdint>

inline constexpr int32_t gif_header_bytes = 13;    // signature, version, screen descriptor
inline constexpr int32_t gif_descriptor_bytes = 9; // image descriptor behind its separator
inline constexpr int32_t gif_largest_side = 65535; // sizes have 16 bits

inline constexpr uint8_t gif_extension_introducer = 0x21; // "!"
inline constexpr uint8_t gif_image_separator = 0x2C;      // ","
inline constexpr uint8_t gif_trailer = 0x3B;              // ";"

// Flags of the screen descriptor (global table) and of an image descriptor (local table).
inline constexpr uint8_t gif_has_table = 0x80;
inline constexpr uint8_t gif_interlaced = 0x40;
inline constexpr uint8_t gif_table_size_mask = 0x07; // n: the table has 2^(n + 1) entries

inline constexpr int32_t gif_table_bytes(uint8_t flags)
{
    return 3 * (2 << (flags & gif_table_size_mask));
}

// LZW codes grow from one bit more than the minimum code size to 12 bits.
inline constexpr uint32_t gif_largest_code_size = 8;
inline constexpr uint32_t gif_widest_code = 12;
inline constexpr uint32_t gif_code_count = 1u << gif_widest_code;
