// bmp_file.h - the layout of Windows 3 and OS/2 bitmap files.
#pragma once

#include <cstdint>

inline constexpr int32_t bmp_file_header_bytes = 14;
inline constexpr int32_t bmp_info_header_bytes = 40; // BITMAPINFOHEADER; OS/2's has 12

// Second byte of an RLE pair that starts with 0.
enum bmp_rle_escape : uint8_t { rle_end_of_line = 0, rle_end_of_bitmap = 1, rle_delta = 2 };
