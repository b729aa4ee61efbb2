// row_scaler.h - makes scaled rows of an image for a device, one row at a time.
#pragma once

#include "core/image_object.h"
#include "display/portable/page_shrinker.h"
#include "display/portable/stretch.h"

/// The pixels of a locked DIB.
struct source_image {
    const uint8_t* rows; // bottom row first
    const RGBQUAD* colors;
    int32_t width, height;
    int32_t bits_per_pixel;
    uint32_t bytes_per_line;
};

/// The pixels of a locked image.
source_image source_of(const dib_lock& image);

enum class shrink_method { nearest_pixel, grey_pages };

/// A crop rectangle on its way to a device rectangle: the axes and what is visible of them.
struct stretch_plan {
    stretch_axis horizontal, vertical;
    pixel_span columns, rows; // device pixels to paint
    bool empty() const { return columns.empty() || rows.empty(); }
};

class row_scaler {
public:
    /// Gets ready.  0 or err_memory. The plan must not be empty.
    ///   grey_pages  1-bit images that shrink come out in 8 bits
    int32_t prepare(const source_image& image, const stretch_plan& plan, shrink_method method);

    /// Depth and bytes of the scaled rows.
    int32_t bits_per_pixel() const { return bits_per_pixel_; }
    uint32_t bytes_per_line() const { return bytes_per_line_; }
    /// Working memory held, the band not counted.
    size_t working_bytes() const { return columns_.size() + shrinker_.working_bytes(); }
    /// Their colour table, as many entries as the depth has.
    void get_colors(RGBQUAD* colors) const;

    /// Makes one visible device row. Rows of one band lie in one block: a row that shows the
    /// same image row as the one before is copied from it.
    void scale(int32_t device_row, uint8_t* out);
    /// Forgets the row before.
    void begin_band() { last_out_ = nullptr; }

private:
    int32_t prepare_columns();
    void scale_nearest(const uint8_t* row, uint8_t* out) const;
    void copy_packed(const uint8_t* row, uint8_t* out) const;

    source_image image_{};
    stretch_plan plan_{};
    bool shrinks_page_ = false;
    int32_t bits_per_pixel_ = 0;
    uint32_t bytes_per_line_ = 0;
    page_shrinker shrinker_;
    scratch_block columns_; // image column of each device column
    const uint8_t* last_out_ = nullptr;
    int32_t last_source_ = -1;
};
