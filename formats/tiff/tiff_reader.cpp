// tiff_reader.cpp - opens a page: directory, header, strips, rows.
//
// Standard: TIFF 6.0. Strips of separate planes follow one another plane by plane.

#include "formats/tiff/tiff_reader.h"

#include "core/packbits.h"
#include "core/settings.h"
#include "formats/jpeg/jpeg_reader.h"
#include "formats/jpeg/jpeg_tiff.h"
#include "formats/tiff/ccitt_decoder.h"
#include "formats/tiff/tiff_lzw_decoder.h"
#include "formats/tiff/tiff_raster.h"
#include "formats/tiff/tiff_strips.h"

#include <algorithm>

namespace {

constexpr uint16_t order_word_big = 0x4D4D;     // "MM"
constexpr uint16_t order_word_little = 0x4949;  // "II"
constexpr int64_t read_piece_bytes = 32 * 1024; // stays in the nearest cache

// A strip's place in the page. Rows count on over the planes.
struct strip_rows {
    uint32_t strip;
    int32_t first_row;
    int32_t rows;
};

class tiff_page_reader {
public:
    tiff_page_reader(const tiff_source& source, const tiff_page& page, const row_sink& sink)
        : source_(source), page_(page), sink_(sink), strips_(source, page.strip_offsets),
          length_(
              static_cast<int32_t>(std::min<uint32_t>(page.description.image_length, INT32_MAX)))
    {
    }

    int32_t read();

private:
    int32_t read_rows();
    int32_t dispatch();
    int32_t tiff_decomp_none();
    int32_t read_strip_pieces(int32_t rows, int32_t first_row, const scratch_block& buffer);
    int32_t tiff_decomp_pack();
    int32_t unpack_row(byte_source& source, uint8_t* row, packbits_128 rule) const;
    int32_t tiff_decomp_g3();
    int32_t tiff_decomp_lzw();
    int32_t tiff_decomp_jpeg();

    bool is_refused() const;
    int32_t settle_fax_code();
    ccitt_options fax_options() const;
    int32_t rows_per_strip() const;
    bool next_strip(strip_rows& at) const;
    int32_t all_rows() const { return length_ * std::max(layout_.planes, 1); }

    tiff_source source_;
    tiff_page page_;
    row_sink sink_;
    tiff_strips strips_;
    int32_t length_;
    tiff_layout layout_{};
    tiff_raster* raster_ = nullptr;
};

int32_t tiff_page_reader::rows_per_strip() const
{
    const uint32_t rows = page_.description.rows_per_strip;
    return rows == 0 || rows > static_cast<uint32_t>(length_) ? length_
                                                              : static_cast<int32_t>(rows);
}

// Steps to the strip behind one, starting behind {0, 0, 0}. The last strip of every plane has
// what is left of the plane.
bool tiff_page_reader::next_strip(strip_rows& at) const
{
    at.first_row += at.rows;
    if (at.rows != 0) ++at.strip;
    if (at.first_row >= all_rows()) return false;
    at.rows = std::min(rows_per_strip(), length_ - at.first_row % length_);
    return true;
}

int32_t tiff_page_reader::tiff_decomp_none()
{
    const int64_t row_bytes = layout_.row_bytes;
    const int64_t rows_at_once = std::max<int64_t>(read_piece_bytes / row_bytes, 1);
    const int64_t bytes = std::min<int64_t>(rows_at_once, rows_per_strip()) * row_bytes;
    const scratch_block buffer(static_cast<size_t>(bytes) + tiff_raster::row_slack_bytes);
    if (!buffer) return err_memory;
    for (strip_rows at{}; next_strip(at);) {
        if (int32_t err = strips_.position_tiff_file(at.strip); err < 0) return err;
        if (int32_t err = read_strip_pieces(at.rows, at.first_row, buffer); err < 0) return err;
    }
    return 0;
}

// INTENDED: data that end early are noticed where a chunk of the standard buffer gets nothing
// at all; the rows of a chunk that is there in part are delivered, the missing bytes 0.
int32_t tiff_page_reader::read_strip_pieces(int32_t rows, int32_t first_row,
                                            const scratch_block& buffer)
{
    const int64_t row_bytes = layout_.row_bytes;
    const int64_t chunk_room = std::max<int64_t>(row_bytes, IBUFFSZ) + 200;
    const int64_t chunk_rows = std::min<int64_t>(rows, chunk_room / row_bytes);
    const auto buffer_rows = static_cast<int64_t>((buffer.size() - tiff_raster::row_slack_bytes) /
                                                  static_cast<size_t>(row_bytes));
    // A whole number of chunks is read at once, so that the seams stay where they are.
    const int64_t piece_rows = rows <= buffer_rows ? rows : buffer_rows / chunk_rows * chunk_rows;
    // In a block of memory the rows are there already, if all of them are.
    const int64_t strip_bytes = rows * row_bytes;
    const uint8_t* in_place = strip_bytes <= INT32_MAX
                                  ? img_take_mem(source_.file, static_cast<int32_t>(strip_bytes))
                                  : nullptr;
    for (int32_t i = 0; in_place && i < rows; ++i)
        if (int32_t err = raster_->put_unchanged(in_place + i * row_bytes, first_row + i); err < 0)
            return err;
    if (in_place) return 0;
    for (int64_t done = 0; done < rows; done += piece_rows) {
        const int64_t now = std::min<int64_t>(piece_rows, rows - done);
        const auto wanted = static_cast<int32_t>(now * row_bytes);
        const int32_t got = std::max(img_read_mem(source_.file, buffer.bytes(), wanted), 0);
        std::memset(buffer.bytes() + got, 0, static_cast<size_t>(wanted - got));
        for (int64_t i = 0; i < now; ++i) {
            if (i / chunk_rows * chunk_rows * row_bytes >= got) return err_corrupt;
            const auto index = static_cast<int32_t>(first_row + done + i);
            if (int32_t err = raster_->tiff_raster_to_dib(buffer.bytes() + i * row_bytes, index, 0);
                err < 0)
                return err;
        }
    }
    return 0;
}

// Every row starts with a packet of its own; what a run makes beyond the row is lost.
int32_t tiff_page_reader::unpack_row(byte_source& source, uint8_t* row, packbits_128 rule) const
{
    const auto room = static_cast<size_t>(layout_.row_bytes);
    size_t done = packbits_unpack(source.next, source.end, row, room, rule);
    while (done < room) {
        if (!source.refill()) return err_corrupt;
        done += packbits_unpack(source.next, source.end, row + done, room - done, rule);
    }
    return 0;
}

int32_t tiff_page_reader::tiff_decomp_pack()
{
    const scratch_block row(static_cast<size_t>(layout_.row_bytes) +
                            2 * tiff_raster::row_slack_bytes);
    byte_source source(source_.file);
    if (!row || !source.ok()) return err_memory;
    if (tiff_bits_reversed(page_.description)) source.reverse_bits();
    // INTENDED: control byte 128 is a run of 129. Interchange mode passes over it.
    const packbits_128 rule = interchange_mode() ? packbits_128::no_op : packbits_128::run_of_129;
    for (strip_rows at{}; next_strip(at);) {
        const int32_t position = strips_.position_tiff_file(at.strip);
        if (position < 0) return position;
        source.seek(position);
        for (int32_t i = 0; i < at.rows; ++i) {
            if (int32_t err = unpack_row(source, row.bytes(), rule); err < 0) return err;
            if (int32_t err = raster_->tiff_raster_to_dib(row.bytes(), at.first_row + i, 0);
                err < 0)
                return err;
        }
    }
    return 0;
}

ccitt_options tiff_page_reader::fax_options() const
{
    const tiff_struct& d = page_.description;
    return {.width = static_cast<int32_t>(d.image_width),
            .compression = d.compression,
            .fill_order = d.fill_order,
            .photometric = d.photometric,
            .interchange = interchange_mode()};
}

// Interchange mode: a page whose tag names the wrong fax code is decoded by the one that fits.
int32_t tiff_page_reader::settle_fax_code()
{
    if (!interchange_mode() || strips_.position_tiff_file(0) < 0) return 0;
    const int32_t code = ccitt_fitting_compression(source_.file, fax_options(), rows_per_strip());
    if (code > 0) page_.description.compression = static_cast<uint32_t>(code);
    return std::min(code, 0);
}

int32_t tiff_page_reader::tiff_decomp_g3()
{
    if (int32_t err = settle_fax_code(); err < 0) return err;
    ccitt_decoder decoder(fax_options());
    const bool is_one_strip = page_.description.compression == tiff_group3 && !interchange_mode();
    for (strip_rows at{}; next_strip(at);) {
        // INTENDED: one-dimensional Group 3 is one strip, whatever RowsPerStrip says.
        if (is_one_strip) at.rows = length_;
        if (int32_t err = strips_.position_tiff_file(at.strip); err < 0) return err;
        if (int32_t err =
                decoder.decode_strip(source_.file, at.rows, at.first_row, raster_->output());
            err < 0)
            return err;
    }
    return 0;
}

int32_t tiff_page_reader::tiff_decomp_lzw()
{
    tiff_lzw_decoder decoder;
    byte_source source(source_.file, 32 * 1024);
    if (!source.ok()) return err_memory;
    if (tiff_bits_reversed(page_.description)) source.reverse_bits();
    if (int32_t err = decoder.initlzw(); err < 0) return err;
    for (strip_rows at{}; next_strip(at);) {
        const int32_t position = strips_.position_tiff_file(at.strip);
        if (position < 0) return position;
        source.seek(position);
        if (int32_t err = decoder.decode_lzw_strip(source, at.first_row,
                                                   static_cast<uint32_t>(layout_.row_bytes),
                                                   at.rows, raster_->output());
            err < 0)
            return err;
    }
    return 0;
}

int32_t tiff_page_reader::tiff_decomp_jpeg()
{
    const tiff_struct& d = page_.description;
    jtif_decoder decoder;
    const jtif_page tables = {.header_offset = source_.header_offset,
                              .order = source_.order,
                              .width = d.image_width,
                              .samples_per_pixel = d.samples_per_pixel,
                              .photometric = d.photometric,
                              .q_tables = d.jpeg_q_tables,
                              .dc_tables = d.jpeg_dc_tables,
                              .ac_tables = d.jpeg_ac_tables,
                              .subsampling = d.ycbcr_subsampling,
                              .restart_interval = page_.jpeg_restart_interval};
    if (int32_t err = decoder.init_jtif(tables, source_.file); err < 0) return err;
    for (strip_rows at{}; next_strip(at);) {
        if (int32_t err = strips_.position_tiff_file(at.strip); err < 0) return err;
        if (int32_t err = decoder.decode_jpeg_strip(sink_, source_.file, at.first_row, at.rows);
            err < 0)
            return err;
    }
    return 0;
}

// INTENDED: a compression that is not known gives a header and no rows; interchange mode has
// refused it before (is_refused).
int32_t tiff_page_reader::dispatch()
{
    switch (page_.description.compression) {
    case tiff_uncompressed: return tiff_decomp_none();
    case tiff_packbits: return tiff_decomp_pack();
    case tiff_huffman:
    case tiff_group3:
    case tiff_group3_2d:
    case tiff_group4: return tiff_decomp_g3();
    case tiff_lzw: return tiff_decomp_lzw();
    case tiff_jpeg: return tiff_decomp_jpeg();
    default: return 0;
    }
}

bool tiff_page_reader::is_refused() const
{
    if (!interchange_mode()) return false;
    switch (page_.description.compression) {
    case tiff_uncompressed:
    case tiff_packbits:
    case tiff_huffman:
    case tiff_group3:
    case tiff_group4:
    case tiff_lzw:
    case tiff_jpeg: return page_.tiled;
    case tiff_group3_2d: return page_.tiled || !page_.has_t4_options;
    default: return true;
    }
}

int32_t tiff_page_reader::read_rows()
{
    if (int32_t err = tiff_plan_layout(page_, layout_); err < 0) return err;
    // Rows of all planes are numbered in 32 bits.
    if (int64_t{length_} * std::max(layout_.planes, 1) > INT32_MAX) return err_memory;
    dib_header header;
    tiff_make_header(source_, page_, layout_, header);
    if (int32_t err = sink_.begin(&header.info); err < 0) return err;
    tiff_raster raster(page_, layout_, source_.order, sink_);
    // The rows of JPEG strips pass it by, and the page may claim to be wider than any of them.
    if (page_.description.compression != tiff_jpeg)
        if (int32_t err = raster.open(); err < 0) return err;
    raster_ = &raster;
    if (int32_t err = dispatch(); err < 0) return err;
    if (int32_t err = raster.merge_planes(); err < 0) return err;
    return 1;
}

int32_t tiff_page_reader::read()
{
    if (is_refused()) return err_unsupported;
    const tiff_struct& d = page_.description;
    if (d.compression != tiff_jpeg || d.jpeg_interchange_format == 0) return read_rows();
    // The whole page is one JPEG stream, whose reader calls set_header.
    const uint64_t offset = uint64_t{source_.header_offset} + d.jpeg_interchange_format;
    if (offset > INT32_MAX) return err_corrupt;
    const jpeg_page page = {d.x_resolution, d.y_resolution,
                            d.photometric == photometric_white_is_zero};
    const int32_t result = open_jpg_at(static_cast<uint32_t>(offset), sink_, source_.file, &page);
    return result < 0 ? result : 1;
}

int32_t file_type_of(uint32_t compression)
{
    switch (compression) {
    case tiff_uncompressed: return 0;
    case tiff_huffman: return 7;
    case tiff_group3: return 8;
    case tiff_lzw: return 9;
    case tiff_group4: return 10;
    case tiff_packbits: return 16;
    case tiff_group3_2d: return 17;
    default: return err_unsupported;
    }
}

} // namespace

int32_t open_tiff_at(uint32_t header_offset, uint32_t page, const row_sink& sink, HFILE file)
{
    tiff_source source{file, header_offset};
    uint32_t first_ifd = 0;
    uint16_t order_word = 0;
    if (int32_t err = tiff_read_header(source, first_ifd, order_word); err < 0) return err;
    if (order_word != order_word_big && order_word != order_word_little) return err_unsupported;
    tiff_chain chain(source);
    if (int32_t err = tiff_find_page(source, chain, first_ifd, page); err < 0) return err;
    return tiff_page_reader(source, fill_tiff_struct(source, chain), sink).read();
}

int32_t open_tiff(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                  IMG_SET_HEADER set_header, HFILE file)
{
    return open_tiff_at(static_cast<uint32_t>(start_offset(start)), start_page(start),
                        {put_raster, set_header, private_data}, file);
}

int32_t get_tiff_pages(HFILE file)
{
    tiff_source source{file, static_cast<uint32_t>(std::max(img_tell(file), 0))};
    uint32_t offset = 0;
    uint16_t order_word = 0;
    if (tiff_read_header(source, offset, order_word) < 0) return 1;
    tiff_chain chain(source);
    int32_t pages = 0;
    do {
        const int32_t found = chain.pass(offset);
        if (found < 0) return found;
        if (found == 0) break;
        ++pages;
        offset = chain.next_offset();
    } while (offset != 0);
    return std::max(pages, 1);
}

int32_t tiff_get_filetype(HFILE file)
{
    tiff_source source{file, static_cast<uint32_t>(std::max(img_tell(file), 0))};
    uint32_t first_ifd = 0;
    uint16_t order_word = 0;
    if (int32_t err = tiff_read_header(source, first_ifd, order_word); err < 0) return err;
    tiff_chain chain(source);
    const int32_t found = chain.load(first_ifd);
    if (found < 0) return found;
    if (found == 0 || chain.entries() > tiff_most_first_entries) return err_format;
    return file_type_of(fill_tiff_struct(source, chain).description.compression);
}

int32_t tiff_describe(HFILE file, start_value start, IMGX_PAGE_INFO& info)
{
    tiff_source source{file, static_cast<uint32_t>(start_offset(start))};
    uint32_t offset = 0;
    uint16_t order_word = 0;
    if (int32_t err = tiff_read_header(source, offset, order_word); err < 0) return err;
    tiff_chain chain(source);
    for (uint32_t page = start_page(start);; --page) {
        const int32_t found = page == 0 ? chain.load(offset) : chain.pass(offset);
        if (found < 0) return found;
        if (found == 0) return err_page;
        if (page == 0) break;
        offset = chain.next_offset();
        if (offset == 0) return err_page;
    }
    const uint32_t compression = fill_tiff_struct(source, chain).description.compression;
    info.compression = static_cast<int32_t>(compression);
    info.type = file_type_of(compression);
    return 0;
}
