// targa_format.h - the header of a Truevision Targa file, fields 1 to 5 of TGA 2.0, and
// pixels of 15 and 16 bits.
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr int32_t targa_header_bytes = 18;
inline constexpr int32_t targa_largest_side = 65535; // sizes have 16 bits

enum targa_image_type : uint8_t {
    targa_mapped = 1,
    targa_true_color = 2,
    targa_grey = 3,
    targa_run_length = 8 // added to the others
};

// Field 5.6, image descriptor.
inline constexpr uint8_t targa_right_to_left = 0x10;
inline constexpr uint8_t targa_top_first = 0x20;

// Run-length packets: this bit and the count less one, then one pixel or count pixels.
inline constexpr uint8_t targa_run_packet = 0x80;
inline constexpr size_t targa_packet_pixels = 128;

struct targa_header {
    uint8_t id_length;
    uint8_t map_type;
    uint8_t image_type;
    uint16_t map_first;
    uint16_t map_length;
    uint8_t map_entry_bits;
    uint16_t width;
    uint16_t height;
    uint8_t depth;
    uint8_t descriptor;
};

/// Five bits each of red, green and blue as blue, green, red bytes, blue lowest; low_bits:
/// those bits of each byte that repeat its highest ones.
inline constexpr uint32_t targa_widen_555(uint32_t v, uint32_t low_bits)
{
    const uint32_t high = (v & 0x1F) << 3 | (v & 0x3E0) << 6 | (v & 0x7C00) << 9;
    return high | (high >> 5 & low_bits);
}
