// tiff_writer.h - writes TIFF pages: the directory and its data that all compressions share,
// and the uncompressed and PackBits writers.
#pragma once

#include "core/codec.h"
#include "formats/tiff/tiff_struct.h"

/// One page being written. The order of calls: start_page, the image data through
/// img_write_mem (or a byte_sink that is flushed), finish_page.
class tiff_page_writer {
public:
    /// The header gives size, depth, resolution and colour table; it must outlive the page.
    tiff_page_writer(HFILE sink, const BITMAPINFOHEADER* header) : sink_(sink), header_(header) {}

    /// Strips of the page; the default is one strip of all rows. Call before start_page.
    void set_rows_per_strip(int32_t rows);

    /// Puts a new page behind the pages of a little-endian TIFF that the sink already holds
    /// at its position, or writes a TIFF header there first. Then directory and its data, so
    /// that the sink stands where the image data begin.
    ///   width  to be recorded; fax pages can differ from the header
    /// Returns 0, err_format where the chain of the existing pages is broken, err_write.
    int32_t start_page(tiff_compression compression, int32_t width);
    int32_t start_page(tiff_compression compression)
    {
        return start_page(compression, header_->biWidth);
    }

    /// The same, but always with a TIFF header of its own at the sink's position.
    int32_t start_file(tiff_compression compression);

    /// Tells that the data of the strip with this number begin here, and that they end here:
    /// for pages of several strips, in order of strips.
    int32_t begin_strip(int32_t strip);
    int32_t end_strip(int32_t strip);

    /// Stores the true StripByteCounts of a page of one strip and leaves the sink at its end.
    /// Returns 0 or err_write.
    int32_t finish_page();

    int32_t strips() const { return strips_; }
    int32_t rows_per_strip() const { return rows_per_strip_; }

private:
    int32_t tiff_set_page_offset(uint32_t first_ifd);
    int32_t write_tiff_tags(tiff_compression compression, int32_t width, uint32_t base);
    int32_t write_header();
    int32_t store_u32(int32_t position, uint32_t value);

    HFILE sink_;
    const BITMAPINFOHEADER* header_;
    int32_t rows_per_strip_ = 0; // 0: all rows
    int32_t strips_ = 1;
    int32_t tiff_start_ = 0;        // position of the TIFF header; offsets count from it
    int32_t tiff_strip_offset_ = 0; // position of the value field of StripByteCounts
    int32_t tiff_header_size_ = 0;  // position where the image data begin
    int32_t strip_arrays_ = 0;      // position of the offset array, several strips only
    int32_t strip_begin_ = 0;       // position where the current strip begins
};

/// Uncompressed, every depth.
int32_t save_tiff_file(HFILE sink, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                       IMG_PRIVATE private_data);

/// PackBits, 1 bit; err_unsupported for other depths, before any byte.
int32_t save_tiff_file_packbits(HFILE sink, const BITMAPINFOHEADER* header,
                                IMG_GET_RASTER get_raster, IMG_PRIVATE private_data);
