// jpeg_header.h - everything that a JPEG file holds before its entropy-coded data.
#pragma once

#include "core/byte_stream.h"
#include "platform/win32.h"

/// INTENDED: classic files have three component specifications in the frame header even of
/// one component, a scan header of 14 bytes with two spare ones, and 96 dots per inch.
enum class jpeg_layout { classic, standard };

/// Segments from SOI to the scan header for the working quantisation tables.
///   components  3 (luminance 2x1) or 1
void jpeg_write_header(byte_sink& sink, const BITMAPINFOHEADER& header, int32_t components,
                       jpeg_layout layout);
