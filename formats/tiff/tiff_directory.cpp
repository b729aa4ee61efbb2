// tiff_directory.cpp - walks the chain of directories and reads one as a page description.
//
// Standard: TIFF 6.0 sections 2 and 8; T4Options from section 11. Tags that are not in the
// description are passed over.

#include "formats/tiff/tiff_directory.h"

#include "core/settings.h"

#include <algorithm>

namespace {

constexpr int32_t header_bytes = 8;
constexpr uint32_t entry_bytes = 12;
constexpr uint32_t count_bytes = 2;
constexpr uint32_t next_field_bytes = 4;
constexpr uint32_t first_read_bytes = 512; // one read brings most directories whole

enum tiff_tag : uint16_t {
    tag_image_width = 256,
    tag_image_length = 257,
    tag_bits_per_sample = 258,
    tag_compression = 259,
    tag_photometric = 262,
    tag_fill_order = 266,
    tag_strip_offsets = 273,
    tag_samples_per_pixel = 277,
    tag_rows_per_strip = 278,
    tag_strip_byte_counts = 279,
    tag_x_resolution = 282,
    tag_y_resolution = 283,
    tag_planar_configuration = 284,
    tag_gray_response_unit = 290,
    tag_gray_response_curve = 291,
    tag_t4_options = 292,
    tag_resolution_unit = 296,
    tag_date_time = 306,
    tag_artist = 315,
    tag_predictor = 317,
    tag_color_map = 320,
    tag_tile_width = 322,
    tag_tile_offsets = 324,
    tag_jpeg_interchange_format = 513,
    tag_jpeg_restart_interval = 515,
    tag_jpeg_q_tables = 519,
    tag_jpeg_dc_tables = 520,
    tag_jpeg_ac_tables = 521,
    tag_ycbcr_subsampling = 530,
};

constexpr uint32_t resolution_unit_centimetre = 3;
constexpr uint32_t t4_two_dimensional = 1;

// The 4 bytes of a value field as a number of the machine's order.
uint32_t field_value(const tiff_source& source, uint16_t type, uint32_t count, const uint8_t* f)
{
    if (source.order == byte_order::little) return load_u32le(f);
    const bool inside_shorts = type == type_short && count < 3;
    if (inside_shorts) return load_u16be(f) | static_cast<uint32_t>(load_u16be(f + 2)) << 16;
    // INTENDED: the first two bytes trade places, so the low byte is the field's second one,
    // 0 for a single value. Interchange mode takes the first byte, as the standard has it.
    if (type == type_byte && count < 5)
        return interchange_mode() ? load_u32le(f)
                                  : load_u16be(f) | static_cast<uint32_t>(load_u16le(f + 2)) << 16;
    // Types that the reader does not know keep their bytes.
    if (type == 0 || type > type_rational) return load_u32le(f);
    return load_u32be(f);
}

uint32_t number_at(const tiff_source& source, uint32_t offset, int32_t bytes)
{
    uint8_t number[4] = {};
    if (source.read_at(offset, number, bytes) != bytes) return 0;
    if (bytes == 1) return number[0];
    return bytes == 2 ? source.u16(number) : source.u32(number);
}

// An entry's value where it is one number; of several the first.
uint32_t read_tiff_offset(const tiff_source& source, const tiff_entry& e)
{
    switch (e.type) {
    case type_byte: return e.count > 4 ? number_at(source, e.value, 1) : e.value & 0xFF;
    case type_ascii: return e.count > 1 ? number_at(source, e.value, 4) : e.value;
    case type_short:
        if (e.count > 2) return number_at(source, e.value, 2);
        // INTENDED: two SHORTs are taken as one number. Interchange mode takes the first,
        // but for the two subsampling factors, which are wanted together.
        if (e.count == 2 && (!interchange_mode() || e.tag == tag_ycbcr_subsampling)) return e.value;
        return e.value & 0xFFFF;
    case type_long: return e.count != 1 ? number_at(source, e.value, 4) : e.value;
    case type_rational: return number_at(source, e.value, 4);
    default: return 0;
    }
}

struct rational {
    uint32_t numerator = 0;
    uint32_t denominator = 0; // 0: the number is whole
};

rational read_rational(const tiff_source& source, const tiff_entry& e)
{
    uint8_t fields[8] = {};
    if (e.type != type_rational) return {read_tiff_offset(source, e), 0};
    source.read_at(e.value, fields, sizeof fields);
    return {source.u32(fields), source.u32(fields + 4)};
}

uint32_t whole_number(double value)
{
    return static_cast<uint32_t>(std::clamp(value, 0.0, 4294967295.0));
}

uint32_t dots_per_inch(const rational& r, uint32_t unit)
{
    const uint32_t whole = r.denominator ? r.numerator / r.denominator : r.numerator;
    if (unit != resolution_unit_centimetre) return whole;
    // Interchange mode: 2.54 and the fraction kept, so that 118.11 per centimetre are 300.
    if (interchange_mode())
        return whole_number(2.54 * r.numerator / (r.denominator ? r.denominator : 1) + 0.5);
    // INTENDED: 2.567, the factor of all files that were read before.
    return whole_number(whole * 2.567);
}

// What is settled only when all entries are read.
struct late_values {
    rational x_resolution, y_resolution;
    uint32_t resolution_unit = 0;
};

// The fields that take an entry's number, or its raw value field, as it is.
struct tag_field {
    uint16_t tag;
    uint32_t tiff_struct::*field;
    enum { number, raw } takes;
};
constexpr tag_field plain_fields[] = {
    {tag_image_width, &tiff_struct::image_width, tag_field::number},
    {tag_image_length, &tiff_struct::image_length, tag_field::number},
    {tag_bits_per_sample, &tiff_struct::bits_per_sample, tag_field::number},
    {tag_compression, &tiff_struct::compression, tag_field::number},
    {tag_photometric, &tiff_struct::photometric, tag_field::number},
    {tag_fill_order, &tiff_struct::fill_order, tag_field::number},
    {tag_strip_offsets, &tiff_struct::strip_offsets, tag_field::raw},
    {tag_samples_per_pixel, &tiff_struct::samples_per_pixel, tag_field::number},
    {tag_rows_per_strip, &tiff_struct::rows_per_strip, tag_field::number},
    {tag_strip_byte_counts, &tiff_struct::strip_byte_counts, tag_field::number},
    {tag_gray_response_unit, &tiff_struct::gray_response_unit, tag_field::number},
    {tag_gray_response_curve, &tiff_struct::gray_response_curve, tag_field::raw},
    {tag_predictor, &tiff_struct::predictor, tag_field::number},
    {tag_color_map, &tiff_struct::color_map, tag_field::raw},
    {tag_tile_offsets, &tiff_struct::strip_offsets, tag_field::raw},
    {tag_jpeg_interchange_format, &tiff_struct::jpeg_interchange_format, tag_field::number},
    {tag_jpeg_q_tables, &tiff_struct::jpeg_q_tables, tag_field::raw},
    {tag_jpeg_dc_tables, &tiff_struct::jpeg_dc_tables, tag_field::raw},
    {tag_jpeg_ac_tables, &tiff_struct::jpeg_ac_tables, tag_field::raw},
    {tag_ycbcr_subsampling, &tiff_struct::ycbcr_subsampling, tag_field::number},
};

void store_plain_field(const tiff_source& source, const tiff_entry& e, tiff_struct& description)
{
    for (const tag_field& f : plain_fields)
        if (f.tag == e.tag)
            description.*f.field =
                f.takes == tag_field::raw ? e.value : read_tiff_offset(source, e);
}

void store_special_field(const tiff_source& source, const tiff_entry& e, tiff_page& page,
                         late_values& late)
{
    tiff_struct& d = page.description;
    switch (e.tag) {
    case tag_photometric: page.has_photometric = true; break;
    case tag_strip_offsets: page.strip_offsets = e; break;
    case tag_tile_width: page.tiled = true; break;
    case tag_tile_offsets:
        // INTENDED: tiles are read as if they were strips; interchange mode refuses them.
        page.strip_offsets = e;
        page.tiled = true;
        break;
    case tag_x_resolution: late.x_resolution = read_rational(source, e); break;
    case tag_y_resolution: late.y_resolution = read_rational(source, e); break;
    case tag_resolution_unit: late.resolution_unit = read_tiff_offset(source, e); break;
    case tag_planar_configuration:
        // INTENDED: counts only for three or four samples, which the tag order puts before.
        if (d.samples_per_pixel == 3 || d.samples_per_pixel == 4 || interchange_mode())
            d.planar_configuration = read_tiff_offset(source, e);
        break;
    case tag_jpeg_restart_interval: page.jpeg_restart_interval = read_tiff_offset(source, e); break;
    case tag_t4_options:
        page.has_t4_options = true;
        if ((read_tiff_offset(source, e) & t4_two_dimensional) && d.compression == tiff_group3)
            d.compression = tiff_group3_2d;
        break;
    default: break;
    }
}

// Fax pages come out of the decoder with white pixels 1 when the description says 1.
void settle_fax_photometric(tiff_page& page)
{
    uint32_t& photometric = page.description.photometric;
    if (!tiff_is_fax(page.description.compression)) return;
    // Interchange mode: T.4's white is 0 in a WhiteIsZero page, which our 1 bits show; a
    // BlackIsZero page is the inverse.
    if (interchange_mode() && page.has_photometric)
        photometric = photometric == photometric_black_is_zero ? 0 : 1;
    // INTENDED: otherwise both count as one.
    else if (photometric == photometric_white_is_zero || interchange_mode())
        photometric = photometric_black_is_zero;
}

// The texts of the directories passed on the way to a page.
struct text_entries {
    tiff_entry date, name;

    void note(const tiff_chain& chain)
    {
        for (uint32_t i = 0; i < chain.entries(); ++i) {
            const tiff_entry e = chain.entry(i);
            if (e.tag == tag_date_time) date = e;
            if (e.tag == tag_artist) name = e;
        }
    }
};

// A text of an entry; of a classic file always as many bytes as the text can have, whatever
// the entry's count.
int32_t read_text(const tiff_source& source, const tiff_entry& e, char* text, int32_t room)
{
    if (!interchange_mode()) return source.read_at(e.value, text, room);
    if (e.count > 4) return source.read_at(e.value, text, std::min<int64_t>(e.count, room));
    for (uint32_t i = 0; i < e.count; ++i) {
        const uint32_t place = source.order == byte_order::big ? 3 - i : i;
        text[i] = static_cast<char>(e.value >> 8 * place);
    }
    return static_cast<int32_t>(e.count);
}

void take_texts(const tiff_source& source, const text_entries& texts)
{
    char text[img_name_bytes];
    if (texts.date.tag)
        if (const int32_t got = read_text(source, texts.date, text, img_date_bytes); got > 0)
            set_img_date(text, static_cast<size_t>(got));
    if (texts.name.tag)
        if (const int32_t got = read_text(source, texts.name, text, img_name_bytes); got > 0)
            set_img_name(text, static_cast<size_t>(got));
}

} // namespace

int32_t tiff_source::seek(uint64_t offset) const
{
    const uint64_t position = header_offset + offset;
    if (position > INT32_MAX) return err_corrupt;
    if (img_seek_mem(file, static_cast<int32_t>(position), seek_from_start) < 0) return err_corrupt;
    return static_cast<int32_t>(position);
}

int32_t tiff_source::read_at(uint64_t offset, void* destination, int32_t count) const
{
    if (seek(offset) < 0) return 0;
    return std::max(img_read_mem(file, destination, count), 0);
}

int32_t tiff_chain::step(uint32_t offset)
{
    if (steps_ == 0) bytes_allowed_ = img_extent(source_.file);
    // Brent's way to find a circle: the offset at steps 1, 2, 4, 8, … is remembered, and the
    // chain that comes back to it turns in a circle. Directories that together are larger than
    // the source lie over one another: a walk through them could take the square of its size.
    if (steps_ != 0 && (offset == mark_ || bytes_ > bytes_allowed_)) return err_format;
    if (++steps_ == mark_step_) {
        mark_ = offset;
        mark_step_ *= 2;
    }
    if (!block_ && !block_.allocate(first_read_bytes)) return err_memory;
    read_ = static_cast<uint32_t>(source_.read_at(offset, block_.bytes(), first_read_bytes));
    if (read_ < count_bytes) return 0;
    count_ = source_.u16(block_.bytes());
    bytes_ += directory_bytes();
    return 1;
}

int32_t tiff_chain::pass(uint32_t offset)
{
    if (const int32_t found = step(offset); found <= 0) return found;
    const uint32_t bytes = directory_bytes();
    if (bytes > first_read_bytes) {
        // A later directory may be larger than those before it.
        if (block_.size() < bytes && !block_.allocate(bytes)) return err_memory;
        read_ = static_cast<uint32_t>(
            source_.read_at(offset, block_.bytes(), static_cast<int32_t>(bytes)));
    }
    // A file that ends right behind the entries has no further directory.
    has_next_field_ = read_ >= bytes;
    next_offset_ = has_next_field_ ? source_.u32(block_.bytes() + bytes - next_field_bytes) : 0;
    return 1;
}

int32_t tiff_chain::load(uint32_t offset)
{
    const int32_t found = pass(offset);
    return found > 0 && read_ < directory_bytes() - next_field_bytes ? err_format : found;
}

uint32_t tiff_chain::directory_bytes() const
{
    return count_bytes + count_ * entry_bytes + next_field_bytes;
}

tiff_entry tiff_chain::entry(uint32_t index) const
{
    const uint8_t* p = block_.bytes() + count_bytes + index * entry_bytes;
    tiff_entry e;
    e.tag = source_.u16(p);
    e.type = source_.u16(p + 2);
    e.count = source_.u32(p + 4);
    e.value = field_value(source_, e.type, e.count, p + 8);
    return e;
}

int32_t tiff_read_header(tiff_source& source, uint32_t& first_ifd, uint16_t& order_word)
{
    uint8_t header[header_bytes];
    if (source.read_at(0, header, header_bytes) != header_bytes) return err_format;
    order_word = load_u16le(header);
    source.order = order_word == 0x4D4D ? byte_order::big : byte_order::little;
    first_ifd = source.u32(header + 4);
    return 0;
}

int32_t tiff_find_page(const tiff_source& source, tiff_chain& chain, uint32_t first_ifd,
                       uint32_t page)
{
    text_entries texts;
    uint32_t offset = first_ifd;
    for (uint32_t index = 0;; ++index) {
        const int32_t found = chain.load(offset);
        if (found < 0) return found;
        if (found == 0 && index > 0) {
            take_texts(source, texts);
            return err_page;
        }
        if (found == 0 || (index == 0 && chain.entries() > tiff_most_first_entries))
            return err_format;
        texts.note(chain);
        if (index == page) break;
        offset = chain.next_offset();
        if (offset == 0) {
            take_texts(source, texts);
            return err_page;
        }
    }
    take_texts(source, texts);
    return 0;
}

tiff_page fill_tiff_struct(const tiff_source& source, const tiff_chain& chain)
{
    tiff_page page;
    page.header_offset = source.header_offset;
    late_values late;
    for (uint32_t i = 0; i < chain.entries(); ++i) {
        const tiff_entry e = chain.entry(i);
        store_plain_field(source, e, page.description);
        store_special_field(source, e, page, late);
    }
    page.description.x_resolution = dots_per_inch(late.x_resolution, late.resolution_unit);
    page.description.y_resolution = dots_per_inch(late.y_resolution, late.resolution_unit);
    settle_fax_photometric(page);
    return page;
}
