// targa_reader.cpp - reads Targa images into a DIB of 8 or 24 bits.
//
// Format: Truevision TGA 2.0, fields 1 to 8. Rows may be stored in either vertical order
// (field 5.6, bit 5). What lies behind the pixels - developer area, extension, footer - is
// not read, so that older files and those of version 2 are the same.

#include "formats/targa/targa_reader.h"

#include "core/byte_stream.h"
#include "core/dib_rows.h"
#include "core/row_convert.h"
#include "core/settings.h"
#include "formats/targa/targa_format.h"
#include "formats/targa/targa_runs.h"

#include <algorithm>

namespace {

int32_t read_header(byte_source& source, targa_header& header)
{
    uint8_t bytes[targa_header_bytes];
    if (source.read(bytes, sizeof bytes) != sizeof bytes) return err_corrupt;
    byte_reader in(bytes, sizeof bytes, byte_order::little);
    header.id_length = in.u8();
    header.map_type = in.u8();
    header.image_type = in.u8();
    header.map_first = in.u16();
    header.map_length = in.u16();
    header.map_entry_bits = in.u8();
    in.take(4); // origin
    header.width = in.u16();
    header.height = in.u16();
    header.depth = in.u8();
    header.descriptor = in.u8();
    return 0;
}

// Bytes of a pixel in the file, 0 where it is not read, and bits in the DIB.
struct targa_pixels {
    int32_t bytes, dib_bits;
};

targa_pixels pixels_of(const targa_header& header)
{
    const int type = header.image_type & ~targa_run_length;
    // INTENDED: classic mode goes by the depth alone and takes these for colours or nothing.
    if (interchange_mode()) {
        if (type == targa_grey && header.depth == 16) return {2, 8}; // grey, attribute
        // Eight pixels to a byte: not published, but several programs write it.
        if (type == targa_grey && header.depth == 1) return {1, 1};
        if (type == targa_mapped && header.depth != 8) return {0, 0};
    }
    switch (header.depth) {
    case 8: return {1, 8};
    case 15:
    case 16: return {2, 24};
    case 24: return {3, 24};
    case 32: return {4, 24};
    default: return {0, 0};
    }
}

int32_t alloc_for_tga(const targa_header& header, dib_header& dib)
{
    const targa_pixels pixels = pixels_of(header);
    if (pixels.bytes == 0) return err_unsupported;
    if (header.width == 0 || header.height == 0) return err_format;
    if (!dib_fits(header.width, header.height, pixels.dib_bits)) return err_memory;
    dib.set(header.width, header.height, pixels.dib_bits);
    return 0;
}

// INTENDED: classic mode leaves the low bits 0, so that white is 248; interchange mode repeats
// the high ones there.
uint32_t low_bits_of_555()
{
    return interchange_mode() ? 0x070707 : 0;
}

RGBQUAD map_color(const uint8_t* entry, int32_t entry_bits)
{
    if (entry_bits != 15 && entry_bits != 16)
        return {entry[0], entry[1], entry[2], entry_bits == 32 ? entry[3] : uint8_t{0}};
    const uint32_t color = targa_widen_555(load_u16le(entry), low_bits_of_555());
    return {static_cast<BYTE>(color), static_cast<BYTE>(color >> 8), static_cast<BYTE>(color >> 16),
            0};
}

// Reads image ID and colour map. Entries beyond the 256 that pixels can name are passed over.
void get_targa_color_map(const targa_header& header, dib_header& dib, byte_source& source)
{
    const int32_t bits = header.map_entry_bits;
    const size_t stored_bytes = bits == 24 ? 3 : bits == 32 ? 4 : 2;
    // INTENDED: in classic mode only 16-bit entries are taken apart; 15-bit ones, which are
    // stored the same way, are taken for blue, green and red bytes.
    const int32_t read_as = bits == 15 && !interchange_mode() ? 24 : bits;
    const size_t step = read_as == 32 ? 4 : read_as == 15 || read_as == 16 ? 2 : 3;
    const auto map_bytes = static_cast<uint32_t>(header.map_length * stored_bytes);

    uint8_t map[256 * 4] = {};
    source.skip(header.id_length);
    const auto wanted = std::min<uint32_t>(map_bytes, sizeof map);
    source.read(map, wanted);
    source.skip(map_bytes - wanted);

    // INTENDED: classic mode puts the first entry of the map at index 0 whatever its index.
    const int32_t first = interchange_mode() ? header.map_first : 0;
    for (int32_t i = 0; i < header.map_length && first + i < 256; ++i)
        dib.colors[first + i] = map_color(map + static_cast<size_t>(i) * step, read_as);
}

void drop_fourth_bytes(const uint8_t* from, uint8_t* to, int32_t width)
{
    int32_t x = 0;
    // Four pixels in three words.
    for (; x + 4 <= width; x += 4, from += 16, to += 12) {
        const uint32_t a = load_u32le(from) & 0xFFFFFF, b = load_u32le(from + 4) & 0xFFFFFF;
        const uint32_t c = load_u32le(from + 8) & 0xFFFFFF, d = load_u32le(from + 12);
        store_u32le(to, a | b << 24);
        store_u32le(to + 4, b >> 8 | c << 16);
        store_u32le(to + 8, c >> 16 | d << 8);
    }
    for (; x < width; ++x, from += 4, to += 3)
        std::memcpy(to, from, 3);
}

void take_first_of_pairs(const uint8_t* from, uint8_t* to, int32_t width)
{
    for (int32_t x = 0; x < width; ++x)
        to[x] = from[x * 2];
}

void widen_row_of_555(const uint8_t* from, uint8_t* to, int32_t width)
{
    const uint32_t low_bits = low_bits_of_555();
    for (int32_t x = 0; x < width; ++x) {
        const uint32_t color = targa_widen_555(load_u16le(from + x * 2), low_bits);
        store_u16le(to + x * 3, color);
        to[x * 3 + 2] = static_cast<uint8_t>(color >> 16);
    }
}

// Rows of the file, one after the other.
class targa_rows {
public:
    targa_rows(const targa_header& header, byte_source& source);
    bool ok() const { return line_ && dib_row_; }
    int32_t row_bytes() const { return dib_row_bytes_; }

    /// The next row in DIB layout, null where the data end.
    const uint8_t* next();

private:
    const uint8_t* next_file_row();
    bool read_plain_row();
    const uint8_t* to_dib_row(const uint8_t* file_row);

    const targa_header& header_;
    byte_source& source_;
    targa_pixels pixels_;
    int32_t file_row_pixels_; // of one bit: bytes
    int32_t file_row_bytes_;
    int32_t dib_row_bytes_;
    targa_run_reader runs_;
    scratch_block line_;    // a row as the file has it
    scratch_block dib_row_; // zeros behind its pixels
    int32_t rows_per_chunk_;
    int32_t rows_left_in_chunk_ = 0;
};

targa_rows::targa_rows(const targa_header& header, byte_source& source)
    : header_(header), source_(source), pixels_(pixels_of(header)),
      file_row_pixels_(pixels_.dib_bits == 1 ? (header.width + 7) / 8 : header.width),
      file_row_bytes_(file_row_pixels_ * pixels_.bytes),
      dib_row_bytes_(size_for_long(header.width, pixels_.dib_bits)), runs_(source, pixels_.bytes),
      line_(static_cast<size_t>(file_row_bytes_) + run_slack_bytes),
      dib_row_(static_cast<size_t>(dib_row_bytes_) + run_slack_bytes),
      rows_per_chunk_(std::max(IBUFFSZ / file_row_bytes_, 1))
{
    if (line_) std::memset(line_.bytes(), 0, line_.size());
    if (dib_row_) std::memset(dib_row_.bytes(), 0, dib_row_.size());
}

// INTENDED: uncompressed rows belong to chunks of IBUFFSZ bytes. A file may end inside a
// chunk, whose missing bytes count as 0; only a chunk without any byte is an error.
bool targa_rows::read_plain_row()
{
    if (rows_left_in_chunk_ == 0) {
        if (!source_.ensure(1)) return false;
        rows_left_in_chunk_ = rows_per_chunk_;
    }
    --rows_left_in_chunk_;
    const auto wanted = static_cast<size_t>(file_row_bytes_);
    const size_t got = source_.read(line_.bytes(), wanted);
    std::memset(line_.bytes() + got, 0, wanted - got);
    return !source_.failed();
}

const uint8_t* targa_rows::next_file_row()
{
    if (header_.image_type >= targa_run_length)
        return runs_.tga_get_rle_raster(line_.bytes(), file_row_pixels_) ? line_.bytes() : nullptr;
    const auto wanted = static_cast<size_t>(file_row_bytes_);
    if (wanted <= source_.capacity() && source_.ensure(wanted)) {
        if (rows_left_in_chunk_ == 0) rows_left_in_chunk_ = rows_per_chunk_;
        --rows_left_in_chunk_;
        const uint8_t* const row = source_.next;
        source_.next += wanted;
        return row;
    }
    return read_plain_row() ? line_.bytes() : nullptr;
}

const uint8_t* targa_rows::to_dib_row(const uint8_t* file_row)
{
    uint8_t* const row = dib_row_.bytes();
    switch (pixels_.bytes) {
    case 4: drop_fourth_bytes(file_row, row, header_.width); break;
    case 2:
        if (pixels_.dib_bits == 8)
            take_first_of_pairs(file_row, row, header_.width);
        else
            widen_row_of_555(file_row, row, header_.width);
        break;
    default:
        if (file_row_bytes_ == dib_row_bytes_ && pixels_.dib_bits != 1) return file_row;
        std::memcpy(row, file_row, static_cast<size_t>(file_row_bytes_));
        if (pixels_.dib_bits == 1) clear_row_padding(row, header_.width, 1);
    }
    return row;
}

const uint8_t* targa_rows::next()
{
    const uint8_t* const file_row = next_file_row();
    if (!file_row) return nullptr;
    const uint8_t* const row = to_dib_row(file_row);
    // Rows from right to left: classic mode takes them as they come.
    if (!(header_.descriptor & targa_right_to_left) || !interchange_mode()) return row;
    if (row != dib_row_.bytes())
        std::memcpy(dib_row_.bytes(), row, static_cast<size_t>(dib_row_bytes_));
    mirror_row(dib_row_.bytes(), header_.width, pixels_.dib_bits);
    return dib_row_.bytes();
}

int32_t put_rows(const targa_header& header, byte_source& source, const row_sink& sink)
{
    targa_rows rows(header, source);
    if (!rows.ok()) return err_memory;
    for (int32_t i = 0; i < header.height; ++i) {
        const uint8_t* const row = rows.next();
        if (!row) return err_corrupt;
        const int32_t row_index = header.descriptor & targa_top_first ? i : header.height - 1 - i;
        if (int32_t err = sink.put(row, row_index, rows.row_bytes()); err < 0) return err;
    }
    return 1;
}

} // namespace

int32_t open_tga(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                 IMG_SET_HEADER set_header, HFILE file)
{
    img_seek_mem(file, start_offset(start), seek_from_start);
    byte_source source(file);
    if (!source.ok()) return err_memory;
    targa_header header;
    if (int32_t err = read_header(source, header); err < 0) return err;
    dib_header dib;
    if (int32_t err = alloc_for_tga(header, dib); err < 0) return err;

    if (header.map_type != 0) {
        get_targa_color_map(header, dib, source);
    } else {
        create_dib_palette(&dib.info, "tiff");
        source.skip(header.id_length);
    }
    const row_sink sink{put_raster, set_header, private_data};
    if (int32_t err = sink.begin(&dib.info); err < 0) return err;
    return put_rows(header, source, sink);
}
