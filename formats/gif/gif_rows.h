// gif_rows.h - pixels of a GIF image to DIB rows, in the order in which the file has them.
#pragma once

#include "core/codec.h"

enum class gif_row_order { sequential, interlaced };

/// Packs one byte per pixel into 1 or 4 bits per pixel; packed may be the line itself. With
/// 4 bits and an odd width the last low nibble comes from the byte behind the row.
void gif_pack_bytes(const uint8_t* line, uint8_t* packed, int32_t width, int32_t bit_count);

/// Cuts pixels into rows and hands them to the client.
class gif_rows {
public:
    /// put reads, and for a moment changes, this many bytes behind the last row.
    static constexpr size_t padding = 8;

    gif_rows(const row_sink& sink, const BITMAPINFOHEADER& header, gif_row_order order);
    bool ok() const { return static_cast<bool>(packed_); }

    /// True when every row has been handed out.
    bool done() const { return rows_put_ == height_; }
    bool at_last_row() const { return rows_put_ == height_ - 1; }

    /// Hands out as many whole rows as the pixels hold; used tells how many pixels went.
    /// Returns 0, or the client's negative result.
    int32_t put_whole_rows(uint8_t* pixels, size_t count, size_t& used);

private:
    int32_t put_row(uint8_t* line);
    void next_row();

    row_sink sink_;
    scratch_block packed_; // one packed row
    int32_t width_, height_, bit_count_, row_bytes_;
    gif_row_order order_;
    int32_t rows_put_ = 0;
    int32_t row_ = 0; // picture row of the next row in the file
    int pass_ = 0;    // of an interlaced image
};
