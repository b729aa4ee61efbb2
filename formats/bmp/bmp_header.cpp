// bmp_header.cpp - the headers and colours of a bitmap file. Classic reading knows the 40-byte
// Windows header and takes every other one for OS/2's 12 bytes; interchange mode also takes
// the longer Windows and OS/2 headers, rows from the top, and bit fields.

#include "formats/bmp/bmp_header.h"

#include "core/byte_stream.h"
#include "core/settings.h"
#include "formats/bmp/bmp_file.h"

#include <algorithm>
#include <bit>

namespace {

// The fields of either header in file order, before anything is made of them.
struct raw_info {
    uint32_t header_bytes;
    bool core; // OS/2's short header, 3-byte colours
    int64_t width, height;
    int32_t bits;
    uint32_t compression;
    int32_t x_per_metre, y_per_metre;
    uint32_t colors_used;
};

bool is_core_header(uint32_t header_bytes)
{
    if (!interchange_mode()) return header_bytes != bmp_info_header_bytes;
    return header_bytes < 16;
}

raw_info read_fields(const uint8_t* bytes)
{
    byte_reader in(bytes, bmp_info_header_bytes, byte_order::little);
    raw_info raw{};
    raw.header_bytes = in.u32();
    raw.core = is_core_header(raw.header_bytes);
    raw.width = raw.core ? in.u16() : in.i32();
    raw.height = raw.core ? in.u16() : in.i32();
    in.u16(); // planes
    raw.bits = in.u16();
    if (raw.core) return raw;
    // OS/2's second header may end after any field from here on.
    const size_t present = std::min<size_t>(raw.header_bytes, bmp_info_header_bytes);
    byte_reader rest(bytes + 16, present - 16, byte_order::little);
    raw.compression = rest.u32();
    rest.u32(); // image size
    raw.x_per_metre = rest.i32();
    raw.y_per_metre = rest.i32();
    raw.colors_used = rest.u32();
    return raw;
}

bmp_field make_field(uint32_t mask)
{
    if (mask == 0) return {};
    const int32_t shift = std::countr_zero(mask);
    return {mask, shift, mask >> shift};
}

// The masks lie behind the 40 bytes, inside a longer header or as an addition to a short one.
int32_t set_fields(bmp_header& bmp, const raw_info& raw, const uint8_t* masks)
{
    bmp.pixels = bmp_pixels::from_fields;
    if (raw.compression == BI_RGB) {
        const bool wide = raw.bits == 32;
        bmp.fields = {make_field(wide ? 0xFF : 0x1F), make_field(wide ? 0xFF00 : 0x3E0),
                      make_field(wide ? 0xFF0000 : 0x7C00)};
        return 0;
    }
    bmp.fields = {make_field(load_u32le(masks + 8)), make_field(load_u32le(masks + 4)),
                  make_field(load_u32le(masks))};
    bmp.compression = BI_RGB;
    return 0;
}

int32_t to_dots_per_inch(int32_t per_metre)
{
    return static_cast<int32_t>(per_metre * 0.0254);
}

void set_resolution(BITMAPINFOHEADER& info, const raw_info& raw)
{
    const bool both = raw.x_per_metre != 0 && raw.y_per_metre != 0;
    info.biXPelsPerMeter = both ? to_dots_per_inch(raw.x_per_metre) : raw.x_per_metre;
    info.biYPelsPerMeter = both ? to_dots_per_inch(raw.y_per_metre) : raw.y_per_metre;
}

bool depth_is_read(const raw_info& raw)
{
    return dib_fits(1, 1, raw.bits) || raw.bits == 16 || (raw.bits == 32 && interchange_mode());
}

bool compression_is_read(const raw_info& raw)
{
    switch (raw.compression) {
    case BI_RGB: return true;
    case BI_RLE8: return raw.bits == 8;
    case BI_RLE4: return raw.bits == 4;
    case bmp_bit_fields:
    case bmp_alpha_bit_fields: return raw.bits == 16 || raw.bits == 32;
    default: return false;
    }
}

int32_t set_geometry(bmp_header& bmp, raw_info& raw, const uint8_t* masks)
{
    bmp.top_down = interchange_mode() && raw.height < 0;
    if (bmp.top_down) raw.height = -raw.height;
    if (raw.width <= 0 || raw.height <= 0) return err_format;
    if (!depth_is_read(raw)) return err_unsupported;
    if (interchange_mode() && !compression_is_read(raw)) return err_unsupported;
    const bool fields = raw.bits == 16 || raw.bits == 32;
    const int32_t bits = fields ? 24 : raw.bits;
    if (!dib_fits(raw.width, raw.height, bits) || (raw.bits == 32 && raw.width > INT32_MAX / 4))
        return err_memory;

    bmp.compression = raw.compression;
    bmp.dib.set(static_cast<int32_t>(raw.width), static_cast<int32_t>(raw.height), bits);
    bmp.stored_row_bytes = size_for_long(bmp.dib.info.biWidth, bits);
    if (!fields) return 0;
    // INTENDED: classic reading takes 16-bit rows unpadded.
    bmp.stored_row_bytes = bmp.dib.info.biWidth * (raw.bits / 8);
    if (interchange_mode()) bmp.stored_row_bytes = (bmp.stored_row_bytes + 3) & ~3;
    if (!interchange_mode() && raw.compression != BI_RGB) return 0; // no rows will be decoded
    return set_fields(bmp, raw, masks);
}

// Classic reading takes a full table whatever the header says is used. A table that is cut
// short leaves the missing colours black.
void read_colors(bmp_header& bmp, const raw_info& raw, HFILE file, int32_t start)
{
    int32_t entries = palette_entries(bmp.dib.info.biBitCount);
    const int32_t entry_bytes = raw.core ? 3 : 4;
    const int32_t header_bytes =
        raw.core ? 12 : static_cast<int32_t>(std::min<uint32_t>(raw.header_bytes, 0x10000));
    if (interchange_mode() && raw.colors_used != 0)
        entries = static_cast<int32_t>(
            std::min<uint32_t>(raw.colors_used, static_cast<uint32_t>(entries)));
    uint8_t table[256 * 4] = {};
    img_seek_mem(file, start + bmp_file_header_bytes + header_bytes, seek_from_start);
    img_read_mem(file, table, entries * entry_bytes);
    for (int32_t i = 0; i < entries; ++i) {
        const uint8_t* entry = table + i * entry_bytes;
        bmp.dib.colors[i] = {entry[0], entry[1], entry[2], raw.core ? BYTE{0} : entry[3]};
    }
}

bool is_level(const RGBQUAD& color, BYTE level)
{
    return color.rgbBlue == level && color.rgbGreen == level && color.rgbRed == level;
}

// Black must be entry 0 of a 1-bit image. INTENDED: classic reading takes every table whose
// first colour has no zero component for white and black; interchange mode keeps colours.
bool is_white_first(const RGBQUAD* colors)
{
    if (interchange_mode()) return is_level(colors[0], 255) && is_level(colors[1], 0);
    return colors[0].rgbBlue && colors[0].rgbGreen && colors[0].rgbRed;
}

void normalise_mono(bmp_header& bmp)
{
    if (bmp.dib.info.biBitCount != 1 || !is_white_first(bmp.dib.colors)) return;
    bmp.pixels = bmp_pixels::inverted;
    bmp.dib.colors[0] = {0, 0, 0, 0};
    bmp.dib.colors[1] = {255, 255, 255, 0};
}

} // namespace

int32_t bmp_read_header(bmp_header& bmp, HFILE file, int32_t start)
{
    constexpr int32_t mask_bytes = 12;
    uint8_t bytes[bmp_file_header_bytes + bmp_info_header_bytes + mask_bytes] = {};
    img_seek_mem(file, start, seek_from_start);
    // A short file may end right behind the 12 bytes of a core header.
    if (img_read_mem(file, bytes, sizeof bytes) < bmp_file_header_bytes + 12) return err_format;
    bmp.data_offset = load_u32le(bytes + 10);
    bmp.pixels = bmp_pixels::as_stored;
    raw_info raw = read_fields(bytes + bmp_file_header_bytes);
    const uint8_t* masks = bytes + bmp_file_header_bytes + bmp_info_header_bytes;
    if (int32_t err = set_geometry(bmp, raw, masks); err < 0) return err;
    set_resolution(bmp.dib.info, raw);
    read_colors(bmp, raw, file, start);
    normalise_mono(bmp);
    return 0;
}
