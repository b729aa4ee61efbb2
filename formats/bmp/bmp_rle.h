// bmp_rle.h - the run-length codes of bitmap files, both ways.
#pragma once

#include "core/byte_runs.h"
#include "core/byte_stream.h"
#include "core/codec.h"

/// Decode from the source's position to the sink.  1, also where the data end early; the
/// sink's negative result; err_memory.
///
/// INTENDED: outside interchange mode the row buffer is not cleared between rows, so pixels
/// that a delta or an early end of line passes over repeat the row below.
int32_t decode_bmp_rle8(HFILE file, const BITMAPINFOHEADER& info, const row_sink& sink);
int32_t decode_bmp_rle4(HFILE file, const BITMAPINFOHEADER& info, const row_sink& sink);

/// Encode one row and its end of line. The row has bmp_rle_row_slack bytes behind it that can
/// be read, and the first of them written: it is made to differ from the last pixel, so that
/// no run goes on behind the row.
void save_bmp8_raster(byte_sink& out, uint8_t* row, int32_t width);
void save_bmp4_raster(byte_sink& out, uint8_t* row, int32_t width);

inline constexpr size_t bmp_rle_row_slack = run_slack_bytes;

/// Most bytes that a row of either code can need, its end of line included.
inline constexpr size_t bmp_rle_row_bytes(int32_t width)
{
    return 2 * static_cast<size_t>(width) + 16;
}
