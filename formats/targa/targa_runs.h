// targa_runs.h - run-length packets of Targa, both directions.
#pragma once

#include "core/byte_runs.h"
#include "core/byte_stream.h"
#include "formats/targa/targa_format.h"

/// Decodes packets row by row; a packet may go on into the next row.
class targa_run_reader {
public:
    targa_run_reader(byte_source& source, int32_t bytes_per_pixel)
        : source_(source), bytes_per_pixel_(static_cast<size_t>(bytes_per_pixel))
    {
    }

    /// Fills a row, which has run_slack_bytes behind it. False where the data end first.
    bool tga_get_rle_raster(uint8_t* row, int32_t width);

private:
    bool begin_packet();
    template <size_t bytes_per_pixel> size_t unpack_whole(uint8_t*& row, size_t left);
    template <size_t bytes_per_pixel> bool unpack_row(uint8_t* row, size_t left);

    byte_source& source_;
    size_t bytes_per_pixel_;
    size_t pixels_left_ = 0; // of the packet
    bool is_run_ = false;
    uint8_t pixel_[4] = {}; // of a run
};

/// Appends one row as packets, none of which leaves the row. bytes_per_pixel is 1 or 3; the
/// row has run_slack_bytes behind it.
void targa_put_runs(byte_sink& sink, const uint8_t* row, int32_t width, int32_t bytes_per_pixel);
