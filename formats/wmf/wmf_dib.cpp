// wmf_dib.cpp - reads the bitmaps of metafile records.

#include "formats/wmf/wmf_dib.h"

#include "core/byte_runs.h"
#include "formats/bmp/bmp_rle.h"

#include <algorithm>
#include <bit>

namespace {

constexpr uint32_t core_header_bytes = 12;
constexpr uint32_t header_with_masks_bytes = 52;
constexpr int32_t device_bitmap_bytes = 10;

bool depth_is_known(const wmf_dib& d, uint32_t header_bytes)
{
    if (header_bytes == core_header_bytes && (d.bits == 16 || d.bits == 32)) return false;
    switch (d.bits) {
    case 1:
    case 24: return d.compression == wmf_plain;
    case 4: return d.compression == wmf_plain || d.compression == wmf_rle4;
    case 8: return d.compression == wmf_plain || d.compression == wmf_rle8;
    case 16:
    case 32: return d.compression == wmf_plain || d.compression == wmf_masks;
    default: return false;
    }
}

void set_default_masks(wmf_dib& d)
{
    const uint32_t green = d.bits == 16 ? 0x3E0 : 0xFF00;
    d.masks[0] = d.bits == 16 ? 0x7C00 : 0xFF0000;
    d.masks[1] = green;
    d.masks[2] = d.bits == 16 ? 0x1F : 0xFF;
}

// A component of a pixel, widened to 8 bits.
uint8_t component(uint32_t pixel, uint32_t mask)
{
    if (mask == 0) return 0;
    const int width = std::popcount(mask);
    const uint32_t value = (pixel & mask) >> std::countr_zero(mask);
    if (width >= 8) return static_cast<uint8_t>(value >> (width - 8));
    return static_cast<uint8_t>(value * 255 / ((1u << width) - 1));
}

void unmask_row(const wmf_dib& d, const uint8_t* from, uint8_t* to)
{
    for (int32_t x = 0; x < d.width; ++x, to += 3) {
        const uint32_t pixel = d.bits == 16 ? load_u16le(from + 2 * x) : load_u32le(from + 4 * x);
        for (int i = 0; i < 3; ++i)
            to[i] = component(pixel, d.masks[2 - i]);
    }
}

// Stored bytes must be there; of run-length data, enough for a picture of that size: a skip
// of four bytes passes over 255 x 255 pixels at most.
bool data_suffice(const wmf_dib& d, int32_t end)
{
    const uint64_t there = end > d.pixels ? static_cast<uint64_t>(end - d.pixels) : 0;
    if (d.compression == wmf_rle8 || d.compression == wmf_rle4)
        return static_cast<uint64_t>(d.width) * static_cast<uint64_t>(d.height) <= there * 65536;
    return static_cast<uint64_t>(d.stride) * static_cast<uint64_t>(d.height) <= there;
}

struct header_fields {
    int64_t width, height;
    uint32_t planes, colors_used;
};

header_fields read_fields(byte_reader& in, uint32_t size, wmf_dib& d)
{
    header_fields f{};
    if (size == core_header_bytes) {
        f.width = in.u16();
        f.height = in.u16();
        f.planes = in.u16();
        d.bits = in.u16();
        return f;
    }
    f.width = in.i32();
    f.height = in.i32();
    f.planes = in.u16();
    d.bits = in.u16();
    d.compression = in.u32();
    in.take(12); // image size and resolution
    f.colors_used = in.u32();
    in.u32();
    return f;
}

// Sets where the colours are; returns the bytes that they take.
uint64_t place_colors(wmf_dib& d, uint32_t size, uint32_t colors_used, int32_t usage)
{
    const bool core = size == core_header_bytes;
    const uint64_t whole = d.bits <= 8 ? uint64_t{1} << d.bits : 0;
    const uint64_t stored = core || colors_used == 0 ? whole : colors_used;
    d.color_count = static_cast<int32_t>(std::min(stored, whole));
    d.color_source = usage == 2   ? wmf_colors::palette
                     : usage == 1 ? wmf_colors::palette_entries
                     : core       ? wmf_colors::triples
                                  : wmf_colors::quads;
    return usage == 2 ? 0 : stored * (usage == 1 ? 2 : core ? 3 : 4);
}

} // namespace

int32_t wmf_read_dib(byte_source& in, const wmf_dib_place& place, wmf_dib& d)
{
    uint8_t bytes[header_with_masks_bytes] = {};
    in.seek_near(place.position);
    const size_t got = in.read(bytes, sizeof bytes);
    byte_reader fields(bytes, sizeof bytes, byte_order::little);
    const uint32_t size = fields.u32();
    d = {};
    if (size != core_header_bytes && size < wmf_info_header_bytes) return err_format;
    if (got < std::min<uint32_t>(size, wmf_info_header_bytes)) return err_format;
    const header_fields f = read_fields(fields, size, d);
    if (f.planes != 1 || f.width <= 0 || f.height == 0 || f.height == INT32_MIN) return err_format;
    if (!depth_is_known(d, size)) return err_unsupported;
    d.top_down = f.height < 0;
    const int64_t height = d.top_down ? -f.height : f.height;
    if (d.top_down && (d.compression == wmf_rle8 || d.compression == wmf_rle4)) return err_format;
    const int64_t rows = place.rows >= 0 && place.rows < height ? int64_t{place.rows} : height;
    if (rows == 0) return err_format;
    if (!dib_fits(f.width, rows, d.dib_bits()) || f.width * d.bits > INT32_MAX) return err_memory;
    d.width = static_cast<int32_t>(f.width);
    d.height = static_cast<int32_t>(rows);
    d.stride = static_cast<int32_t>((f.width * d.bits + 31) / 32 * 4);

    uint64_t position = static_cast<uint64_t>(place.position) + size;
    set_default_masks(d);
    if (d.compression == wmf_masks) {
        for (uint32_t& mask : d.masks)
            mask = fields.u32();
        if (size < header_with_masks_bytes) position += 12;
    }
    d.color_table = static_cast<int32_t>(std::min<uint64_t>(position, INT32_MAX));
    position += place_colors(d, size, f.colors_used, place.usage);
    if (position > static_cast<uint64_t>(place.end)) return err_format;
    d.pixels = static_cast<int32_t>(position);
    return data_suffice(d, place.end) ? 0 : err_format;
}

int32_t wmf_read_device_bitmap(byte_source& in, const wmf_dib_place& place, wmf_dib& d)
{
    uint8_t bytes[device_bitmap_bytes] = {};
    in.seek_near(place.position);
    if (in.read(bytes, sizeof bytes) != sizeof bytes) return err_format;
    d = {};
    d.width = load_u16le(bytes + 2);
    d.height = load_u16le(bytes + 4);
    d.stride = load_u16le(bytes + 6);
    d.bits = 1;
    d.top_down = true;
    d.color_source = wmf_colors::black_white;
    d.pixels = place.position + device_bitmap_bytes;
    if (bytes[8] != 1 || bytes[9] != 1) return err_unsupported;
    if (d.width == 0 || d.height == 0 || d.stride < (d.width + 7) / 8) return err_format;
    return data_suffice(d, place.end) ? 0 : err_format;
}

bool wmf_read_colors(byte_source& in, const wmf_bitmap& bitmap, RGBQUAD* colors)
{
    const wmf_dib& d = bitmap.dib;
    // Without a palette numbers of entries stand for shades of grey.
    RGBQUAD palette[256];
    for (int i = 0; i < 256; ++i)
        palette[i] = {static_cast<BYTE>(i), static_cast<BYTE>(i), static_cast<BYTE>(i), 0};
    uint8_t bytes[4 * 256];
    const bool from_palette =
        d.color_source == wmf_colors::palette || d.color_source == wmf_colors::palette_entries;
    if (from_palette && bitmap.palette >= 0) {
        const auto size = static_cast<size_t>(std::min(bitmap.palette_count, 256)) * 4;
        in.seek(bitmap.palette);
        if (in.read(bytes, size) != size) return false;
        for (size_t i = 0; i < size; i += 4)
            palette[i / 4] = {bytes[i + 2], bytes[i + 1], bytes[i], 0};
    }
    std::fill_n(colors, 256, RGBQUAD{});
    if (d.color_source == wmf_colors::black_white) {
        colors[1] = {255, 255, 255, 0};
        return true;
    }
    if (d.color_source == wmf_colors::palette) {
        std::copy_n(palette, 256, colors);
        return true;
    }
    const size_t entry = d.color_source == wmf_colors::triples ? 3
                         : d.color_source == wmf_colors::quads ? 4
                                                               : 2;
    const size_t size = entry * static_cast<size_t>(d.color_count);
    in.seek(d.color_table);
    if (in.read(bytes, size) != size) return false;
    for (size_t i = 0; i < static_cast<size_t>(d.color_count); ++i) {
        const uint8_t* p = bytes + i * entry;
        if (entry == 2)
            colors[i] = palette[load_u16le(p) & 0xFF];
        else
            colors[i] = {p[0], p[1], p[2], 0};
    }
    return true;
}

int32_t wmf_deliver_rows(HFILE file, byte_source& in, const wmf_dib& d, const row_sink& sink)
{
    if (d.compression == wmf_rle8 || d.compression == wmf_rle4) {
        dib_header header;
        header.set(d.width, d.height, d.bits);
        img_seek_mem(file, d.pixels, seek_from_start);
        return d.compression == wmf_rle8 ? decode_bmp_rle8(file, header.info, sink)
                                         : decode_bmp_rle4(file, header.info, sink);
    }
    const int32_t delivered = size_for_long(d.width, d.dib_bits());
    scratch_block stored(static_cast<size_t>(std::max(d.stride, delivered)) + run_slack_bytes);
    scratch_block converted(
        d.bits == 16 || d.bits == 32 ? static_cast<size_t>(delivered) + run_slack_bytes : 1);
    if (!stored || !converted) return err_memory;
    in.seek(d.pixels);
    for (int32_t i = 0; i < d.height; ++i) {
        const auto stride = static_cast<size_t>(d.stride);
        if (in.read(stored.bytes(), stride) != stride)
            return in.failed() ? err_corrupt : err_format;
        uint8_t* row = stored.bytes();
        if (d.bits == 16 || d.bits == 32) {
            row = converted.bytes();
            unmask_row(d, stored.bytes(), row);
        }
        const int32_t index = d.top_down ? i : d.height - 1 - i;
        if (int32_t err = sink.put(row, index, delivered); err < 0) return err;
    }
    return 1;
}
