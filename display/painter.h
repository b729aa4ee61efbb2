// painter.h - paints images into device contexts, band by band.
#pragma once

#include "core/print_tone.h"
#include "display/portable/row_scaler.h"

/// Bits per pixel of a device context; of a memory context, those of its bitmap.
int32_t device_depth(HDC dc);

/// Device units (MM_TEXT, origins 0) as long as it lives; then the old mapping again.
class device_units {
public:
    explicit device_units(HDC dc);
    ~device_units();
    device_units(const device_units&) = delete;
    device_units& operator=(const device_units&) = delete;

private:
    HDC dc_;
    int mode_;
    SIZE window_extent_{}, viewport_extent_{};
    POINT window_origin_{}, viewport_origin_{};
};

/// The record's palette in a device context that has one, as long as it lives.
class palette_in_use {
public:
    palette_in_use(HDC dc, HPALETTE palette);
    ~palette_in_use();
    palette_in_use(const palette_in_use&) = delete;
    palette_in_use& operator=(const palette_in_use&) = delete;

private:
    HDC dc_;
    HPALETTE old_ = nullptr;
};

/// A header with its colour table and the rows behind a StretchDIBits, all of one size.
struct dib_band {
    dib_header header;
    scratch_block rows;
    int32_t row_count = 0; // that fit

    /// Room for up to `most` rows.  0 or err_memory.
    int32_t allocate(int32_t width, int32_t bits_per_pixel, int32_t most);
    /// Address of row r of a band of count rows, r = 0 the uppermost; stored bottom-up.
    uint8_t* row(int32_t r, int32_t count) const;
    /// Puts count rows at (x, y) of the device.  0, or err_unsupported when it refused.
    int32_t put(HDC dc, int32_t x, int32_t y, int32_t count, uint32_t raster_operation);

private:
    uint32_t bytes_per_line_ = 0;
};

/// The device rectangle of a logical one. Its edges are in falling order where an axis of the
/// device context runs the other way.
RECT device_rectangle(HDC dc, int32_t x, int32_t y, int32_t width, int32_t height);

/// The stretch of an image's crop rectangle into a device rectangle, and what the device
/// context's clip box lets see of it.
stretch_plan plan_painting(const image_object& object, HDC dc, const RECT& target);

/// How rows reach the device.
struct paint_style {
    shrink_method method = shrink_method::nearest_pixel;
    uint32_t raster_operation = SRCCOPY;
    const tone_table* tone = nullptr; // null: colours as they are
    bool sixteen_colors = false;      // ordered dither of 8- and 24-bit images
};

/// Paints a plan that is not empty, in bands.  0, err_memory, or err_unsupported when the
/// device refuses.
int32_t paint_bands(const dib_lock& image, HDC dc, const stretch_plan& plan,
                    const paint_style& style);

/// Paints the crop rectangle into the display rectangle, both of the record; the device
/// context is in device units. The parts of a crop rectangle outside the image are not
/// painted.  0, err_memory, or err_unsupported when the device refuses.
int32_t paint_image_object_band(const dib_lock& image, HDC dc);

/// Stores the display rectangle of a record.
void set_display_rectangle(image_object& object, int32_t x, int32_t y, int32_t width,
                           int32_t height);

/// Sets the record's display rectangle, in logical units, and paints into it.
int32_t paint_in_logical_units(const dib_lock& image, HDC dc, int32_t x, int32_t y, int32_t width,
                               int32_t height);
