// gif_reader.cpp - reads GIF images into a DIB of 1, 4 or 8 bits.
//
// Format: GIF87a and GIF89a. Every picture has its own size; an animation's pictures are
// delivered as they are stored, not laid over one another. Interchange mode takes the blocks,
// the local tables and the code stream as GIF89a has them; classic mode has rules of its
// own, each marked below.

#include "formats/gif/gif_reader.h"

#include "core/byte_stream.h"
#include "core/dib_rows.h"
#include "core/settings.h"
#include "formats/gif/gif_format.h"
#include "formats/gif/gif_lzw_decoder.h"
#include "formats/gif/gif_rows.h"

#include <algorithm>

namespace {

// Pixels are decoded in portions of at least this many, so that rows go out in groups.
constexpr size_t portion_pixels = 16 * 1024;

struct gif_file {
    explicit gif_file(HFILE file) : source(file) {}

    byte_source source;
    uint8_t version[2] = {}; // "87" or "89"
    uint8_t screen_flags = 0;
    uint8_t palette[256 * 3] = {}; // of the picture, as stored
    bool has_palette = false;

    bool has_global_table() const { return screen_flags & gif_has_table; }
};

struct gif_picture {
    int32_t width = 0, height = 0;
    uint8_t flags = 0; // the size bits are those that decide the depth
    uint32_t code_size = 0;

    gif_row_order order() const
    {
        return flags & gif_interlaced ? gif_row_order::interlaced : gif_row_order::sequential;
    }
};

// A table that is cut short keeps zeros; what follows it is missed soon enough.
void gif_get_palette(gif_file& gif, uint8_t flags)
{
    gif.source.read(gif.palette, static_cast<size_t>(gif_table_bytes(flags)));
    gif.has_palette = true;
}

int32_t read_screen(gif_file& gif)
{
    uint8_t header[gif_header_bytes];
    if (gif.source.read(header, sizeof header) != sizeof header) return err_corrupt;
    std::memcpy(gif.version, header + 3, sizeof gif.version);
    gif.screen_flags = header[10];
    if (gif.has_global_table()) gif_get_palette(gif, gif.screen_flags);
    return 0;
}

// Passes over counted blocks up to the empty one; false when the data end before.
bool skip_sub_blocks(byte_source& source)
{
    int count;
    while ((count = source.get()) > 0)
        source.skip(static_cast<uint32_t>(count));
    return count == 0;
}

// Passes over the extensions before the first picture.
int32_t find_first_picture(gif_file& gif)
{
    byte_source& source = gif.source;
    int byte = source.get();
    if (std::memcmp(gif.version, "89", 2) == 0 && byte == gif_extension_introducer) {
        while (byte == gif_extension_introducer) {
            source.get(); // label
            if (!skip_sub_blocks(source)) return err_format;
            byte = source.get();
            if (byte < 0) return err_format;
        }
        // INTENDED: the byte that ends the extensions is taken for a separator unseen.
        return 0;
    }
    while (byte != gif_image_separator) {
        if (byte < 0) return err_format;
        byte = source.get();
    }
    return 0;
}

// Goes to the next image separator as the blocks lead there; bytes that begin no block are
// passed over. False at the trailer and where the data end.
bool find_next_picture(byte_source& source)
{
    for (;;) {
        const int byte = source.get();
        if (byte == gif_image_separator) return true;
        if (byte < 0 || byte == gif_trailer) return false;
        if (byte != gif_extension_introducer) continue;
        source.get(); // label
        if (!skip_sub_blocks(source)) return false;
    }
}

// Passes over a picture behind its separator; false when the data end within.
bool skip_picture(byte_source& source)
{
    uint8_t fields[gif_descriptor_bytes];
    if (source.read(fields, sizeof fields) != sizeof fields) return false;
    if (fields[8] & gif_has_table) source.skip(static_cast<uint32_t>(gif_table_bytes(fields[8])));
    return source.get() >= 0 && skip_sub_blocks(source);
}

int32_t find_picture(gif_file& gif, uint32_t page)
{
    if (!interchange_mode()) return find_first_picture(gif);
    for (uint32_t i = 0; i < page; ++i)
        if (!find_next_picture(gif.source) || !skip_picture(gif.source)) return err_page;
    if (find_next_picture(gif.source)) return 0;
    return page == 0 ? err_format : err_page;
}

// Leaves in flags the size bits that decide the depth.
void read_local_table(gif_file& gif, uint8_t& flags)
{
    // INTENDED: in classic mode a global table always wins, and both tables' size bits
    // together decide the depth and how much of a local table is passed over.
    if (gif.has_global_table() && !interchange_mode()) {
        flags |= gif.screen_flags & gif_table_size_mask;
        if (flags & gif_has_table) gif.source.skip(static_cast<uint32_t>(gif_table_bytes(flags)));
    } else if (flags & gif_has_table) {
        std::memset(gif.palette, 0, sizeof gif.palette);
        gif_get_palette(gif, flags);
    } else if (gif.has_global_table()) {
        flags = static_cast<uint8_t>((flags & ~gif_table_size_mask) |
                                     (gif.screen_flags & gif_table_size_mask));
    }
}

int32_t read_descriptor(gif_file& gif, gif_picture& picture)
{
    uint8_t fields[gif_descriptor_bytes];
    if (gif.source.read(fields, sizeof fields) != sizeof fields) return err_corrupt;
    picture.width = load_u16le(fields + 4);
    picture.height = load_u16le(fields + 6);
    picture.flags = fields[8];
    read_local_table(gif, picture.flags);

    const int code_size = gif.source.get();
    if (code_size < 0) return err_corrupt;
    picture.code_size = static_cast<uint32_t>(code_size);
    if (code_size == 0 || picture.code_size > gif_largest_code_size)
        picture.code_size = (picture.flags & gif_table_size_mask) + 1u;
    // Without any table only the code size tells the depth.
    if (!gif.has_palette && interchange_mode())
        picture.flags =
            static_cast<uint8_t>((picture.flags & ~gif_table_size_mask) | (picture.code_size - 1));
    return 0;
}

int32_t alloc_for_gif(const gif_file& gif, const gif_picture& picture, dib_header& dib)
{
    if (picture.width == 0 || picture.height == 0) return err_format;
    const int colors = 2 << (picture.flags & gif_table_size_mask);
    const int bit_count = colors > 16 ? 8 : colors == 2 ? 1 : 4;
    if (!dib_fits(picture.width, picture.height, bit_count)) return err_memory;
    dib.set(picture.width, picture.height, bit_count);
    if (!gif.has_palette) {
        create_dib_palette(&dib.info, "tiff");
        return 0;
    }
    const uint8_t* entry = gif.palette;
    for (int32_t i = 0; i < palette_entries(bit_count); ++i, entry += 3)
        dib.colors[i] = {entry[2], entry[1], entry[0], 0};
    return 0;
}

// An end code where pixels are still missing. Our classic writer leaves out the last pixel of
// many pictures, and others' files are cut like that too: the row is completed with the last
// pixel that there was.
int32_t complete_row(gif_rows& rows, uint8_t* pixels, size_t count, uint8_t last_pixel,
                     int32_t width)
{
    if (count == 0 && !rows.at_last_row()) return 1;
    std::memset(pixels + count, last_pixel, static_cast<size_t>(width) - count + 1);
    size_t used;
    const int32_t result = rows.put_whole_rows(pixels, static_cast<size_t>(width), used);
    return result < 0 ? result : 1;
}

int32_t decode_gif_lzw_strip(gif_code_reader& codes, const gif_picture& picture, gif_rows& rows)
{
    const auto rules = interchange_mode() ? gif_stream_rules::published : gif_stream_rules::classic;
    gif_lzw_decoder decoder(codes, picture.code_size, rules);
    const auto width = static_cast<size_t>(picture.width);
    const size_t portion = width + portion_pixels;
    scratch_block line(portion + gif_lzw_decoder::longest_string + gif_lzw_decoder::overshoot +
                       gif_rows::padding);
    if (!decoder.ok() || !rows.ok() || !line) return err_memory;

    uint8_t* const pixels = line.bytes();
    uint8_t last_pixel = 0;
    for (size_t held = 0;;) {
        uint8_t* out = pixels + held;
        const gif_lzw_decoder::status status = decoder.decode(out, pixels + portion);
        held = static_cast<size_t>(out - pixels);
        if (held > 0) last_pixel = out[-1];
        *out = 0; // what gif_pack_bytes finds behind an odd row that comes last

        size_t used;
        if (int32_t err = rows.put_whole_rows(pixels, held, used); err < 0) return err;
        if (rows.done()) return 1; // what follows the last row is not looked at
        held -= used;
        std::memmove(pixels, pixels + used, held);

        if (status == gif_lzw_decoder::status::damaged) return err_format;
        if (status == gif_lzw_decoder::status::ended)
            return complete_row(rows, pixels, held, last_pixel, picture.width);
    }
}

} // namespace

int32_t open_gif(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                 IMG_SET_HEADER set_header, HFILE file)
{
    img_seek_mem(file, start_offset(start), seek_from_start);
    gif_file gif(file);
    if (!gif.source.ok()) return err_memory;
    if (int32_t err = read_screen(gif); err < 0) return err;
    if (int32_t err = find_picture(gif, start_page(start)); err < 0) return err;
    gif_picture picture;
    if (int32_t err = read_descriptor(gif, picture); err < 0) return err;
    dib_header dib;
    if (int32_t err = alloc_for_gif(gif, picture, dib); err < 0) return err;

    const row_sink sink{put_raster, set_header, private_data};
    const int32_t begun = sink.begin(&dib.info);
    if (begun < 0) return begun;
    gif_code_reader codes(gif.source);
    // INTENDED: in classic mode the result is the client's own when there is no memory for
    // the data, so that the load counts as done with an empty picture.
    if (!codes.ok()) return interchange_mode() ? int32_t{err_memory} : begun;
    gif_rows rows(sink, dib.info, picture.order());
    return decode_gif_lzw_strip(codes, picture, rows);
}

int32_t get_gif_pages(HFILE file)
{
    if (!interchange_mode()) return 1;
    gif_file gif(file);
    if (!gif.source.ok()) return err_memory;
    if (int32_t err = read_screen(gif); err < 0) return 1;
    int32_t pages = 0;
    while (find_next_picture(gif.source)) {
        ++pages;
        if (!skip_picture(gif.source)) break;
    }
    return std::max(pages, 1);
}
