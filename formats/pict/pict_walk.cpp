// pict_walk.cpp - passes over the operations of a picture by their lengths.

#include "formats/pict/pict_walk.h"

#include <algorithm>
#include <iterator>

namespace {

enum class length_rule : uint8_t {
    fixed,      // so many bytes
    counted_16, // 16 bits, then so many bytes
    counted_32, // 32 bits, then so many bytes
    region,     // 16 bits, which count themselves
    text,       // the last of so many bytes counts what follows
    comment,    // kind, 16 bits, so many bytes
    high_byte,  // twice the high byte of the operation
};

struct length_row {
    uint16_t first, last;
    length_rule rule;
    uint8_t bytes;
};

using enum length_rule;

// Every operation that is not read, in ascending order. Bitmaps, patterns of pixels, colours,
// header and end are handled by themselves.
// clang-format off
constexpr length_row lengths[] = {
    {0x0000, 0x0000, fixed, 0},   {0x0001, 0x0001, region, 0},  {0x0002, 0x0002, fixed, 8},
    {0x0003, 0x0003, fixed, 2},   {0x0004, 0x0004, fixed, 1},   {0x0005, 0x0005, fixed, 2},
    {0x0006, 0x0007, fixed, 4},   {0x0008, 0x0008, fixed, 2},   {0x0009, 0x000A, fixed, 8},
    {0x000B, 0x000C, fixed, 4},   {0x000D, 0x000D, fixed, 2},   {0x000E, 0x000F, fixed, 4},
    {0x0010, 0x0010, fixed, 8},   {0x0015, 0x0016, fixed, 2},   {0x0017, 0x0019, fixed, 0},
    {0x001C, 0x001C, fixed, 0},   {0x001D, 0x001D, fixed, 6},   {0x001E, 0x001E, fixed, 0},
    {0x001F, 0x001F, fixed, 6},   {0x0020, 0x0020, fixed, 8},   {0x0021, 0x0021, fixed, 4},
    {0x0022, 0x0022, fixed, 6},   {0x0023, 0x0023, fixed, 2},   {0x0024, 0x0027, counted_16, 0},
    {0x0028, 0x0028, text, 5},    {0x0029, 0x002A, text, 2},    {0x002B, 0x002B, text, 3},
    {0x002C, 0x002F, counted_16, 0}, {0x0030, 0x0037, fixed, 8}, {0x0038, 0x003F, fixed, 0},
    {0x0040, 0x0047, fixed, 8},   {0x0048, 0x004F, fixed, 0},   {0x0050, 0x0057, fixed, 8},
    {0x0058, 0x005F, fixed, 0},   {0x0060, 0x0067, fixed, 12},  {0x0068, 0x006F, fixed, 4},
    {0x0070, 0x0077, region, 0},  {0x0078, 0x007F, fixed, 0},   {0x0080, 0x0087, region, 0},
    {0x0088, 0x008F, fixed, 0},   {0x0092, 0x0097, counted_16, 0}, {0x009C, 0x009F, counted_16, 0},
    {0x00A0, 0x00A0, fixed, 2},   {0x00A1, 0x00A1, comment, 0}, {0x00A2, 0x00AF, counted_16, 0},
    {0x00B0, 0x00CF, fixed, 0},   {0x00D0, 0x00FE, counted_32, 0}, {0x0100, 0x7FFF, high_byte, 0},
    {0x8000, 0x80FF, fixed, 0},   {0x8100, 0xFFFF, counted_32, 0},
};
// clang-format on

constexpr uint32_t smallest_region = 10;

// Rows whose count some writers make one byte wide where two are due, or the other way.
bool count_is_doubtful(const pict_tile& tile)
{
    return tile.has_counts() && tile.row_bytes >= 150 && tile.row_bytes <= 300;
}

// Length of PackBits data when unpacked; UINT64_MAX where the data end inside an item.
uint64_t unpacked_length(const uint8_t* p, const uint8_t* end, uint32_t unit)
{
    uint64_t length = 0;
    while (p < end) {
        const uint32_t control = *p++;
        if (control == 128) continue;
        const uint32_t made = control < 128 ? control + 1 : 257 - control;
        const uint32_t stored = (control < 128 ? made : 1) * unit;
        if (static_cast<uint64_t>(end - p) < stored) return UINT64_MAX;
        p += stored;
        length += uint64_t{made} * unit;
    }
    return length;
}

// FNV-1a, 64 bits.
uint64_t hash_colors(const RGBQUAD* colors, int32_t count)
{
    uint64_t hash = 0xCBF29CE484222325u;
    const auto* bytes = reinterpret_cast<const uint8_t*>(colors);
    for (size_t i = 0; i < sizeof(RGBQUAD) * static_cast<size_t>(count); ++i)
        hash = (hash ^ bytes[i]) * 0x100000001B3u;
    return hash;
}

// The next byte of a version opcode: 1, or 2 behind a byte of 0.
bool has_version(const uint8_t* at)
{
    return (at[0] == 0x11 && at[1] == 0x01) ||
           (at[0] == 0x00 && at[1] == 0x11 && at[2] == 0x02 && at[3] == 0xFF);
}

} // namespace

pict_rect pict_read_rect(byte_reader& in)
{
    pict_rect r;
    r.top = in.i16();
    r.left = in.i16();
    r.bottom = in.i16();
    r.right = in.i16();
    return r;
}

int32_t pict_tile::unpacked_bytes() const
{
    if (layout == pict_layout::unpacked_rgb) return row_bytes / 4 * 3;
    if (layout == pict_layout::packed_planes) return row_bytes / 4 * planes;
    return row_bytes;
}

bool pict_walk::u16(uint32_t& value)
{
    if (!in_.ensure(2)) return false;
    value = load_u16be(in_.next);
    in_.next += 2;
    return true;
}

bool pict_walk::u32(uint32_t& value)
{
    if (!in_.ensure(4)) return false;
    value = load_u32be(in_.next);
    in_.next += 4;
    return true;
}

bool pict_walk::skip(uint64_t count)
{
    const uint64_t target = static_cast<uint64_t>(in_.tell()) + count;
    if (target > static_cast<uint64_t>(end_ < 0 ? INT32_MAX : end_)) return false;
    in_.skip(static_cast<uint32_t>(count));
    return true;
}

// Pictures count as such by the version behind their preamble; those of a clipboard, which have
// none, are not told apart from other data.
bool pict_walk::read_start(int32_t start)
{
    start_ = start + pict_preamble_bytes;
    in_.seek(start_);
    uint8_t bytes[pict_frame_bytes + 4] = {};
    in_.read(bytes, sizeof bytes);
    byte_reader frame(bytes + 2, 8, byte_order::big);
    if (pict_read_rect(frame).empty() || !has_version(bytes + pict_frame_bytes)) return false;
    in_.seek(start_ + pict_frame_bytes);
    return true;
}

int32_t pict_walk::walk(int32_t start)
{
    if (!read_start(start)) return in_.failed() ? err_corrupt : err_format;
    walk_operations();
    if (in_.failed()) return err_corrupt;
    if (count_ > 0) return 0;
    if (too_large_) return err_memory;
    return damaged_ || !finished_ ? err_format : err_unsupported;
}

void pict_walk::walk_operations()
{
    // The walk starts as in version 1; a version 2 begins with an operation of one byte that
    // does nothing and the one that switches over.
    for (;;) {
        uint32_t opcode;
        if (wide_opcodes_) {
            if ((in_.tell() - start_) % 2 != 0) in_.get();
            if (!u16(opcode)) return;
        } else {
            const int byte = in_.get();
            if (byte < 0) return;
            opcode = static_cast<uint32_t>(byte);
        }
        if (opcode == op_end) {
            finished_ = true;
            return;
        }
        if (!operation(opcode)) {
            damaged_ = true;
            return;
        }
    }
}

bool pict_walk::operation(uint32_t opcode)
{
    if (opcode >= op_first_pattern && opcode <= op_last_pattern) return pixel_pattern();
    switch (opcode) {
    case op_version: {
        const int version = in_.get();
        wide_opcodes_ = version == 2;
        return version == 1 || version == 2;
    }
    case op_fore_color: return read_color(fore_);
    case op_back_color: return read_color(back_);
    case op_header: return read_header();
    case op_bits_rect:
    case op_bits_region:
    case op_pack_rect:
    case op_pack_region:
    case op_direct_rect:
    case op_direct_region: return bitmap(opcode);
    default: return skip_by_table(opcode);
    }
}

bool pict_walk::skip_by_table(uint32_t opcode)
{
    const auto row = std::find_if(std::begin(lengths), std::end(lengths), [=](const length_row& r) {
        return r.first <= opcode && opcode <= r.last;
    });
    if (row == std::end(lengths)) return false;
    uint32_t value = 0;
    switch (row->rule) {
    case fixed: return skip(row->bytes);
    case counted_16: return u16(value) && skip(value);
    case counted_32: return u32(value) && skip(value);
    case region: return u16(value) && value >= smallest_region && skip(value - 2);
    case comment: return skip(2) && u16(value) && skip(value);
    case high_byte: return skip(2 * uint64_t{opcode >> 8});
    case text: {
        if (!skip(row->bytes - 1)) return false;
        const int count = in_.get();
        return count >= 0 && skip(static_cast<uint64_t>(count));
    }
    }
    return false;
}

bool pict_walk::read_color(RGBQUAD& color)
{
    uint8_t bytes[6];
    if (in_.read(bytes, sizeof bytes) != sizeof bytes) return false;
    color = {bytes[4], bytes[2], bytes[0], 0};
    return true;
}

// The extended form states a resolution.
bool pict_walk::read_header()
{
    uint8_t bytes[24];
    if (in_.read(bytes, sizeof bytes) != sizeof bytes) return false;
    if (load_u16be(bytes) != 0xFFFE) return true;
    x_dpi_ = load_u32be(bytes + 4) >> 16;
    y_dpi_ = load_u32be(bytes + 8) >> 16;
    return true;
}

bool pict_walk::pixel_pattern()
{
    uint32_t type, row_word;
    if (!u16(type) || !skip(8)) return false;
    if (type == 2) return skip(6);
    pict_tile tile{};
    return u16(row_word) && read_pixmap(tile, row_word | pict_pixmap_flag, false) &&
           skip_colors(tile) && settle_rows(tile);
}

bool pict_walk::bitmap(uint32_t opcode)
{
    const bool direct = opcode >= op_direct_rect;
    const bool with_region = opcode & 1;
    uint32_t row_word, value;
    if (direct && !skip(4)) return false;
    pict_tile tile{};
    if (!u16(row_word) || !read_pixmap(tile, row_word, direct)) return false;
    const bool indexed_pixmap = (row_word & pict_pixmap_flag) && !direct;
    tile.color_table = -1;
    if (indexed_pixmap && !skip_colors(tile)) return false;

    uint8_t bytes[18];
    if (in_.read(bytes, sizeof bytes) != sizeof bytes) return false;
    byte_reader in(bytes, sizeof bytes, byte_order::big);
    const pict_rect source = pict_read_rect(in);
    tile.place = pict_read_rect(in);
    tile.unscaled = source.width() == tile.width && source.height() == tile.height &&
                    tile.place.width() == tile.width && tile.place.height() == tile.height;
    if (with_region && (!u16(value) || value < smallest_region || !skip(value - 2))) return false;

    tile.back = back_;
    tile.fore = fore_;
    const bool sound = tile.row_bytes * 8 >= tile.width * tile.bits;
    const int32_t before = in_.tell();
    // A packed row takes at least a byte, so a tall picture needs some data to be believed.
    if (end_ >= 0 && end_ - before < tile.height) return false;
    const bool went_through = settle_rows(tile);
    if (sound) keep(tile);
    if (!sound) damaged_ = true;
    return went_through;
}

// From the row's length on. What is not told is that of a bitmap of one bit.
bool pict_walk::read_pixmap(pict_tile& tile, uint32_t row_word, bool direct)
{
    uint8_t bytes[8 + 36] = {};
    const bool pixmap = row_word & pict_pixmap_flag;
    if (direct && !pixmap) return false;
    const size_t count = pixmap ? sizeof bytes : 8;
    if (in_.read(bytes, count) != count) return false;
    byte_reader in(bytes, sizeof bytes, byte_order::big);
    const pict_rect bounds = pict_read_rect(in);
    if (bounds.empty()) return false;
    tile.row_bytes = static_cast<int32_t>(row_word) & pict_length_mask;
    tile.width = bounds.width();
    tile.height = bounds.height();
    in.u16(); // version
    const uint32_t pack_type = in.u16();
    in.u32(); // packed size
    tile.x_dpi = in.u32() >> 16;
    tile.y_dpi = in.u32() >> 16;
    in.u16(); // kind of pixel
    tile.bits = in.u16();
    tile.planes = in.u16();
    if (!pixmap) tile.bits = 1;
    return choose_layout(tile, pack_type, direct);
}

bool pict_walk::choose_layout(pict_tile& tile, uint32_t pack_type, bool direct) const
{
    using enum pict_layout;
    tile.wide_count = tile.row_bytes > pict_widest_short_count;
    if (!direct) {
        // The kind of packing counts for direct pixels only.
        tile.layout = tile.row_bytes < 8 ? unpacked : packed_bytes;
        return tile.bits == 1 || tile.bits == 2 || tile.bits == 4 || tile.bits == 8;
    }
    if (tile.bits != 16 && tile.bits != 32) return false;
    if (tile.planes != 4) tile.planes = 3;
    if (tile.row_bytes < 8 || pack_type == 1)
        tile.layout = unpacked;
    else if (tile.bits == 16)
        tile.layout = packed_pairs;
    else
        tile.layout = pack_type == 2 ? unpacked_rgb : packed_planes;
    tile.maybe_unpacked = tile.layout == packed_planes && pack_type == 0;
    return pack_type <= 4;
}

bool pict_walk::skip_colors(pict_tile& tile)
{
    tile.color_table = in_.tell();
    uint32_t last;
    if (!skip(6) || !u16(last)) return false;
    return skip(8 * (uint64_t{last} + 1));
}

// Finds the end of the rows, and with it which size their counts have where writers differ.
bool pict_walk::settle_rows(pict_tile& tile)
{
    tile.data = in_.tell();
    if (tile.maybe_unpacked || count_is_doubtful(tile)) {
        const pict_tile stated = tile;
        if (walk_rows(tile, true)) return true;
        in_.seek(tile.data);
        if (tile.maybe_unpacked)
            tile.layout = pict_layout::unpacked_rgb;
        else
            tile.wide_count = !tile.wide_count;
        if (walk_rows(tile, true)) return true;
        tile = stated;
        in_.seek(tile.data);
    }
    return walk_rows(tile, false);
}

bool pict_walk::walk_rows(const pict_tile& tile, bool strictly)
{
    if (!tile.has_counts())
        return skip(static_cast<uint64_t>(tile.unpacked_bytes()) *
                    static_cast<uint64_t>(tile.height));
    for (int32_t y = 0; y < tile.height; ++y) {
        uint32_t count;
        if (tile.wide_count) {
            if (!u16(count)) return false;
        } else {
            const int byte = in_.get();
            if (byte < 0) return false;
            count = static_cast<uint32_t>(byte);
        }
        if (strictly && !row_unpacks(tile, count)) return false;
        if (!skip(count)) return false;
    }
    return true;
}

bool pict_walk::row_unpacks(const pict_tile& tile, uint32_t count)
{
    if (!in_.ensure(count)) return false;
    const uint32_t unit = tile.layout == pict_layout::packed_pairs ? 2 : 1;
    return unpacked_length(in_.next, in_.next + count, unit) ==
           static_cast<uint64_t>(tile.unpacked_bytes());
}

void pict_walk::keep(const pict_tile& tile)
{
    if (!dib_fits(tile.width, tile.height, tile.dib_bits())) {
        too_large_ = true;
        return;
    }
    if (count_ < most_) {
        pict_tile& kept = tiles_[count_];
        kept = tile;
        if (tile.dib_bits() != 24) {
            RGBQUAD colors[256];
            const int32_t here = in_.tell();
            if (!pict_read_colors(in_, tile, colors)) return;
            in_.seek(here);
            kept.color_hash = hash_colors(colors, 256);
        }
    }
    ++count_;
}

bool pict_read_colors(byte_source& in, const pict_tile& tile, RGBQUAD* colors)
{
    std::fill_n(colors, 256, RGBQUAD{});
    if (tile.color_table < 0) {
        colors[0] = tile.back;
        colors[1] = tile.fore;
        return true;
    }
    uint8_t bytes[8 + 8 * 256] = {};
    in.seek(tile.color_table);
    if (in.read(bytes, 8) != 8) return false;
    const uint32_t flags = load_u16be(bytes + 4);
    const uint32_t count = std::min(load_u16be(bytes + 6) + 1u, 256u);
    if (in.read(bytes + 8, 8 * count) != 8 * count) return false;
    // Entries name the value that they define, unless they stand for a device; some writers
    // leave all the names 0.
    bool by_position = flags & 0x8000;
    if (!by_position) {
        by_position = true;
        for (uint32_t i = 0; i < count; ++i)
            if (load_u16be(bytes + 8 + 8 * i) != 0) by_position = false;
    }
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t* entry = bytes + 8 + 8 * i;
        const uint32_t value = by_position ? i : load_u16be(entry);
        if (value < 1u << tile.bits) colors[value] = {entry[6], entry[4], entry[2], 0};
    }
    return true;
}
