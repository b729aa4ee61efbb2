// tiff_raster.h - decoded rows become DIB rows: the funnel between every strip decoder and
// the client.
#pragma once

#include "formats/tiff/tiff_layout.h"
#include "formats/tiff/tiff_planes.h"

class tiff_raster {
public:
    /// Bytes behind a row that put may use.
    static constexpr size_t row_slack_bytes = 64;

    tiff_raster(const tiff_page& page, const tiff_layout& layout, byte_order order,
                const row_sink& sink)
        : page_(page), layout_(layout), order_(order), sink_(sink),
          dib_row_(size_for_long(static_cast<int32_t>(page.description.image_width), layout.depth))
    {
    }

    /// Takes working memory.  Returns 0, err_memory, or err_create for the plane file.
    int32_t open();

    /// One decoded row; for separate planes of plane row_index / length, in order. Changes the
    /// row and, for a moment, up to row_slack_bytes behind it.
    int32_t tiff_raster_to_dib(uint8_t* row, int32_t row_index, int32_t byte_count);

    /// The same for a row that stays as it is.
    int32_t put_unchanged(const uint8_t* row, int32_t row_index);

    /// Joins separate planes and delivers their rows; nothing to do without planes.
    int32_t merge_planes();

    row_output output() { return {put_row, this}; }

private:
    static int32_t put_row(void* self, uint8_t* row, int32_t row_index, int32_t byte_count)
    {
        return static_cast<tiff_raster*>(self)->tiff_raster_to_dib(row, row_index, byte_count);
    }
    int32_t width() const { return static_cast<int32_t>(page_.description.image_width); }
    uint32_t stored_plane_bytes() const;
    void restore_samples(uint8_t* row) const;
    int32_t deliver(uint8_t* row, int32_t row_index);
    int32_t deliver_padded(uint8_t* row, int32_t row_index, int64_t filled);
    int64_t cmyk_in_place(uint8_t* row) const;
    void expand_nibbles(const uint8_t* row);
    void expand_bits(const uint8_t* row);
    uint32_t sample(const uint8_t* row, size_t index) const;
    void collect_samples(const uint8_t* row);
    void tiff_build_raster(const uint8_t* planes, size_t plane_bytes);
    void interleave_samples(const uint8_t* planes, size_t plane_bytes);

    const tiff_page& page_;
    const tiff_layout& layout_;
    byte_order order_;
    row_sink sink_;
    int32_t dib_row_; // bytes of a DIB row
    bool by_standard_ = false;
    bool reverses_bits_ = false; // of uncompressed rows
    bool keeps_samples_ = false; // a decoded row needs no inversion, sums or planes
    tiff_planes planes_;
    scratch_block wide_row_; // a DIB row where the decoded row is narrower
    scratch_block row_copy_; // of a row that must stay as it is
};
