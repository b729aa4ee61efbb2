// tiff_writer.h - writes TIFF pages: the directory and its data that all compressions share,
// and the uncompressed, PackBits and LZW writers.
#pragma once

#include "core/byte_stream.h"
#include "core/codec.h"
#include "formats/tiff/tiff_struct.h"

/// One page being written. The order of calls: start_page, the image data through
/// img_write_mem (or a byte_sink that is flushed), finish_page.
class tiff_page_writer {
public:
    /// The header gives size, depth, resolution and colour table; it must outlive the page.
    tiff_page_writer(HFILE sink, const BITMAPINFOHEADER* header);

    /// Strips of the page; the default is one strip of all rows. Call before start_page.
    void set_rows_per_strip(int32_t rows);

    /// Puts a new page behind the pages of a little-endian TIFF that the sink already holds
    /// at its position, or writes a TIFF header there first. Then directory and its data, so
    /// that the sink stands where the image data begin.
    ///   width  to be recorded; fax pages can differ from the header
    /// Returns 0, err_format where the chain of the existing pages is broken, err_write,
    /// err_memory.
    int32_t start_page(tiff_compression compression, int32_t width);
    int32_t start_page(tiff_compression compression)
    {
        return start_page(compression, header_->biWidth);
    }

    /// The same, but always with a TIFF header of its own at the sink's position.
    int32_t start_file(tiff_compression compression);

    /// Tells how many bytes the next strip has: for pages of several strips, once for each.
    void add_strip(uint32_t bytes);

    /// Stores what is known only now (the true StripByteCounts), hangs the page into the chain
    /// of an existing file and leaves the sink at its end. A page that is not finished leaves
    /// the pages of an existing file as they are.  Returns 0 or err_write.
    int32_t finish_page();

    int32_t strips() const { return strips_; }
    int32_t rows_per_strip() const { return rows_per_strip_; }

private:
    int32_t tiff_set_page_offset(uint32_t first_ifd, uint32_t& base);
    int32_t write_tiff_tags(tiff_compression compression, int32_t width, uint32_t base);
    int32_t write_tiff_header();
    int32_t write_strip_arrays();
    int32_t store_u32(uint32_t offset, uint32_t value);
    int32_t position_of(uint32_t offset) const
    {
        return tiff_start_ + static_cast<int32_t>(offset);
    }

    HFILE sink_;
    const BITMAPINFOHEADER* header_;
    int32_t rows_per_strip_;
    int32_t strips_ = 1;
    int32_t tiff_start_ = 0;         // position of the TIFF header; offsets count from it
    uint32_t link_ = 0;              // offset of the next-offset field that is to name the page
    uint32_t base_ = 0;              // offset of the page's directory
    uint32_t tiff_strip_offset_ = 0; // offset of the value field of StripByteCounts
    uint32_t tiff_header_size_ = 0;  // offset where the image data begin
    scratch_block strip_arrays_;     // several strips: their offsets, then their byte counts
    int32_t strips_added_ = 0;
    uint32_t next_strip_offset_ = 0;
};

/// Uncompressed, every depth.
int32_t save_tiff_file(HFILE sink, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                       IMG_PRIVATE private_data);

/// PackBits, 1 bit; err_unsupported for other depths, before any byte.
int32_t save_tiff_file_packbits(HFILE sink, const BITMAPINFOHEADER* header,
                                IMG_GET_RASTER get_raster, IMG_PRIVATE private_data);

/// LZW, every depth. Classic mode writes a file of one page at the sink's position;
/// interchange mode adds a page like the others.
int32_t save_tiff_file_lzw(HFILE sink, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                           IMG_PRIVATE private_data);

/// Packs one row with PackBits the way classic pages have it.
///   row  run_slack_bytes behind it must be readable; the byte behind the row is looked at
///   to   packbits_bound(count) + run_slack_bytes bytes
/// Returns the bytes made.
size_t tiff_pack_row(const uint8_t* row, size_t count, uint8_t* to);
