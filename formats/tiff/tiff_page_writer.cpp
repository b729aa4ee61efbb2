// tiff_page_writer.cpp - headers, directories and the chain of pages.
//
// Standard: TIFF 6.0 sections 2 and 8, always little-endian. The order of the entries and of
// the data behind them is the one that all files of this library have.

#include "core/dib_rows.h"
#include "core/row_convert.h"
#include "core/settings.h"
#include "formats/tiff/tiff_chain_end.h"
#include "formats/tiff/tiff_date.h"
#include "formats/tiff/tiff_directory.h"
#include "formats/tiff/tiff_writer.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr uint32_t first_base = 8;
constexpr uint32_t most_entries = 21;
constexpr uint32_t longest_block =
    2 + 12 * most_entries + 4 + 16 + 6 * 256 + img_date_bytes + img_name_bytes;

enum class map_kind { none, colors, bits_per_sample };

// Which table stands behind the resolutions. Interchange mode gives a 1-bit page whose colours
// are not black and white a map, where the compression allows it.
map_kind map_of(const BITMAPINFOHEADER& header, tiff_compression compression)
{
    if (header.biBitCount == 24) return map_kind::bits_per_sample;
    if (header.biBitCount != 1) return map_kind::colors;
    const bool has_colors = !is_black_white(dib_colors(&header));
    return interchange_mode() && has_colors && !tiff_is_fax(compression) ? map_kind::colors
                                                                         : map_kind::none;
}

uint32_t photometric_of(const BITMAPINFOHEADER& header, tiff_compression compression)
{
    switch (map_of(header, compression)) {
    case map_kind::bits_per_sample: return photometric_rgb;
    case map_kind::colors: return photometric_palette;
    case map_kind::none: break;
    }
    const RGBQUAD* colors = dib_colors(&header);
    // Interchange mode: white may be the first of the two colours. Fax pages have no map, so the
    // lighter colour of any two is their white.
    const auto grey = [](const RGBQUAD& c) {
        return weighted_grey(c.rgbRed, c.rgbGreen, c.rgbBlue);
    };
    const bool white_first = interchange_mode() && grey(colors[0]) > grey(colors[1]);
    return static_cast<uint32_t>(tiff_is_fax(compression) == white_first);
}

struct resolution {
    uint32_t numerator, denominator;
};

void resolutions_of(const BITMAPINFOHEADER& header, tiff_compression compression, resolution& x,
                    resolution& y)
{
    const auto given_x = static_cast<uint32_t>(header.biXPelsPerMeter);
    const auto given_y = static_cast<uint32_t>(header.biYPelsPerMeter);
    x = {given_x, 1};
    y = {given_y, 1};
    if (given_x != 0 && given_y != 0) return;
    const bool is_group3 = compression == tiff_group3 && header.biBitCount == 1;
    if (is_group3 && given_x == 0 && given_y == 0) {
        x = y = {200, 1};
    } else {
        x = {640, 9};
        y = {480, 7};
    }
}

// Puts one directory together in memory.
class block_builder {
public:
    explicit block_builder(uint8_t* block) : start_(block), next_(block) {}

    void u16(uint32_t value)
    {
        store_u16le(next_, value);
        next_ += 2;
    }
    void u32(uint32_t value)
    {
        store_u32le(next_, value);
        next_ += 4;
    }
    // SHORT values stand in the low half of the field.
    void entry(uint32_t tag, uint32_t type, uint32_t count, uint32_t value)
    {
        u16(tag);
        u16(type);
        u32(count);
        u32(value);
    }
    void text(const char* bytes, size_t count)
    {
        std::memcpy(next_, bytes, count);
        next_ += count;
    }
    // INTENDED: components in the high byte alone, so white is a little grey to readers that
    // scale 16 bits. Interchange mode reaches 65535, as the standard has it.
    void color_map(const RGBQUAD* colors, int32_t entries)
    {
        const uint32_t scale = interchange_mode() ? 257 : 256;
        for (BYTE RGBQUAD::*component : {&RGBQUAD::rgbRed, &RGBQUAD::rgbGreen, &RGBQUAD::rgbBlue})
            for (int32_t i = 0; i < entries; ++i)
                u16(colors[i].*component * scale);
    }
    uint32_t size() const { return static_cast<uint32_t>(next_ - start_); }

private:
    uint8_t* start_;
    uint8_t* next_;
};

// INTENDED: widths and heights are SHORTs as long as they fit.
uint32_t size_type(int32_t size)
{
    return size > 0xFFFF ? type_long : type_short;
}

// INTENDED: the length without the zero. Interchange mode counts the zero, as the standard
// has it.
uint32_t artist_count()
{
    const auto length = static_cast<uint32_t>(std::strlen(img_name));
    return interchange_mode() ? length + 1 : length;
}

// Where the text lies; one of up to four bytes stands in the entry itself (interchange mode).
uint32_t artist_value(uint32_t offset)
{
    if (!interchange_mode() || artist_count() > 4) return offset;
    return load_u32le(reinterpret_cast<const uint8_t*>(img_name));
}

} // namespace

tiff_page_writer::tiff_page_writer(HFILE sink, const BITMAPINFOHEADER* header)
    : sink_(sink), header_(header), rows_per_strip_(header->biHeight)
{
}

void tiff_page_writer::set_rows_per_strip(int32_t rows)
{
    rows_per_strip_ = std::clamp(rows, 1, int32_t{header_->biHeight});
    strips_ = (header_->biHeight - 1) / rows_per_strip_ + 1;
}

int32_t tiff_page_writer::write_tiff_header()
{
    constexpr uint8_t header[8] = {'I', 'I', 42, 0, first_base, 0, 0, 0};
    return img_write_mem(sink_, header, 8) == 8 ? 0 : int32_t{err_write};
}

int32_t tiff_page_writer::start_page(tiff_compression compression, int32_t width)
{
    tiff_start_ = img_tell(sink_);
    uint8_t header[8] = {};
    const int32_t got = std::max(img_read_mem(sink_, header, 8), 0);
    uint32_t base = first_base;
    if (got == 8 && header[0] == 'I' && header[1] == 'I') {
        if (int32_t err = tiff_set_page_offset(load_u32le(header + 4), base); err < 0) return err;
    } else {
        // INTENDED: anything else is written over, also a big-endian TIFF.
        img_seek_mem(sink_, tiff_start_, seek_from_start);
        if (int32_t err = write_tiff_header(); err < 0) return err;
    }
    return write_tiff_tags(compression, width, base);
}

int32_t tiff_page_writer::start_file(tiff_compression compression)
{
    tiff_start_ = img_tell(sink_);
    if (int32_t err = write_tiff_header(); err < 0) return err;
    return write_tiff_tags(compression, header_->biWidth, first_base);
}

// Finds the end of the chain and of the file, where the sink is left.
int32_t tiff_page_writer::tiff_set_page_offset(uint32_t first_ifd, uint32_t& base)
{
    const tiff_source source{sink_, static_cast<uint32_t>(tiff_start_)};
    tiff_chain chain(source);
    uint32_t ifd = first_ifd;
    for (;;) {
        const int32_t found = chain.pass(ifd);
        if (found < 0) return found;
        if (found == 0 || !chain.has_next_field()) return err_format;
        link_ = ifd + 2 + 12 * chain.entries();
        if (chain.next_offset() == 0) break;
        ifd = chain.next_offset();
    }
    if (int32_t err = tiff_chain_end(source, first_ifd, base); err < 0) return err;
    if (source.seek(base) < 0) return err_format;
    // Directories start on an even offset, as the standard has it (interchange mode).
    if (interchange_mode() && base % 2 != 0) {
        if (img_write_mem(sink_, "", 1) != 1) return err_write;
        ++base;
    }
    return 0;
}

int32_t tiff_page_writer::write_tiff_tags(tiff_compression compression, int32_t width,
                                          uint32_t base)
{
    const auto bits = uint32_t{header_->biBitCount};
    const map_kind map = map_of(*header_, compression);
    const bool is_rgb = map == map_kind::bits_per_sample;
    const auto colors = map == map_kind::colors ? 1u << bits : 0u;
    const uint32_t map_bytes = is_rgb ? 6 : 6 * colors;
    const uint32_t entries =
        18 + (map == map_kind::colors ? 1 : 0) + (compression == tiff_group3 ? 1 : 0);
    const uint32_t values = base + 2 + 12 * entries + 4; // where the data of the tags begin
    const uint32_t map_offset = values + 16;
    const uint32_t date_offset = map_offset + map_bytes;
    const uint32_t name_offset = date_offset + img_date_bytes;
    const uint32_t arrays = name_offset + img_name_bytes;
    const bool is_one_strip = strips_ == 1;
    const auto strips = static_cast<uint32_t>(strips_);
    const bool fills_from_below = compression == tiff_group3 || compression == tiff_group4;
    // Positions in a sink have 31 bits.
    if (uint64_t{static_cast<uint32_t>(tiff_start_)} + arrays + uint64_t{8} * strips > INT32_MAX)
        return err_write;
    const uint64_t strip_bytes = (uint64_t{bits} * static_cast<uint32_t>(width) + 7) / 8 *
                                 static_cast<uint32_t>(header_->biHeight);
    resolution x, y;
    resolutions_of(*header_, compression, x, y);
    base_ = base;

    uint8_t block[longest_block];
    block_builder out(block);
    out.u16(entries);
    out.entry(254, type_long, 1, 0);
    out.entry(256, size_type(width), 1, static_cast<uint32_t>(width));
    out.entry(257, size_type(header_->biHeight), 1, static_cast<uint32_t>(header_->biHeight));
    out.entry(258, type_short, is_rgb ? 3 : 1, is_rgb ? map_offset : bits);
    out.entry(259, type_short, 1, compression);
    out.entry(262, type_short, 1, photometric_of(*header_, compression));
    out.entry(266, type_short, 1, fills_from_below ? 2 : 1);
    out.entry(273, type_long, strips, arrays);
    out.entry(274, type_short, 1, 1);
    out.entry(277, type_short, 1, is_rgb ? 3 : 1);
    out.entry(278, type_long, 1, static_cast<uint32_t>(rows_per_strip_));
    tiff_strip_offset_ = base + out.size() + 8;
    out.entry(279, type_long, strips,
              is_one_strip ? static_cast<uint32_t>(strip_bytes) : arrays + 4 * strips);
    out.entry(282, type_rational, 1, values);
    out.entry(283, type_rational, 1, values + 8);
    out.entry(284, type_short, 1, 1);
    if (compression == tiff_group3) out.entry(292, type_long, 1, 4); // fill bits before an EOL
    out.entry(296, type_short, 1, 2);
    // INTENDED: 20 bytes are counted and 40 are stored.
    out.entry(306, type_ascii, 20, date_offset);
    out.entry(315, type_ascii, artist_count(), artist_value(name_offset));
    if (map == map_kind::colors) out.entry(320, type_short, 3 * colors, map_offset);
    out.u32(0);
    for (const resolution& r : {x, y}) {
        out.u32(r.numerator);
        out.u32(r.denominator);
    }
    if (is_rgb)
        for (int i = 0; i < 3; ++i)
            out.u16(8);
    else
        out.color_map(dib_colors(header_), static_cast<int32_t>(colors));
    char date[img_date_bytes];
    tiff_date_text(date);
    out.text(date, sizeof date);
    out.text(img_name, img_name_bytes);
    const auto bytes = static_cast<int32_t>(out.size());
    if (img_write_mem(sink_, block, bytes) != bytes) return err_write;
    tiff_header_size_ = arrays + (is_one_strip ? 0 : 8 * strips);
    next_strip_offset_ = tiff_header_size_;
    return is_one_strip ? 0 : write_strip_arrays();
}

// Keeps the place of the arrays, which are filled at the end.
int32_t tiff_page_writer::write_strip_arrays()
{
    const auto bytes = size_t{8} * static_cast<uint32_t>(strips_);
    if (!strip_arrays_.allocate(bytes)) return err_memory;
    std::memset(strip_arrays_.bytes(), 0, bytes);
    const auto count = static_cast<int32_t>(bytes);
    return img_write_mem(sink_, strip_arrays_.bytes(), count) == count ? 0 : int32_t{err_write};
}

void tiff_page_writer::add_strip(uint32_t bytes)
{
    if (!strip_arrays_ || strips_added_ >= strips_) return;
    uint8_t* offset = strip_arrays_.bytes() + size_t{4} * static_cast<uint32_t>(strips_added_);
    store_u32le(offset, next_strip_offset_);
    store_u32le(offset + size_t{4} * static_cast<uint32_t>(strips_), bytes);
    next_strip_offset_ += bytes;
    ++strips_added_;
}

int32_t tiff_page_writer::store_u32(uint32_t offset, uint32_t value)
{
    uint8_t field[4];
    store_u32le(field, value);
    img_seek_mem(sink_, position_of(offset), seek_from_start);
    return img_write_mem(sink_, field, 4) == 4 ? 0 : int32_t{err_write};
}

int32_t tiff_page_writer::finish_page()
{
    const int32_t end = img_tell(sink_);
    int32_t err = 0;
    if (strip_arrays_) {
        const auto bytes = static_cast<int32_t>(strip_arrays_.size());
        img_seek_mem(sink_, position_of(tiff_header_size_) - bytes, seek_from_start);
        if (img_write_mem(sink_, strip_arrays_.bytes(), bytes) != bytes) err = err_write;
    } else {
        const auto data_bytes = static_cast<uint32_t>(end - position_of(tiff_header_size_));
        err = store_u32(tiff_strip_offset_, data_bytes);
    }
    // The page comes into the chain last, when all of it is there.
    if (err == 0 && link_ != 0) err = store_u32(link_, base_);
    img_seek_mem(sink_, end, seek_from_start);
    return err;
}
