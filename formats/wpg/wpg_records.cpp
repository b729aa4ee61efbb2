// wpg_records.cpp - walks the records of a WPG file and picks the bitmap to deliver.

#include "formats/wpg/wpg_colors.h"
#include "formats/wpg/wpg_file.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr uint32_t widest_length = 5;

// Bits of the rotation word of a placed bitmap.
constexpr uint32_t mirrored_x = 0x8000, mirrored_y = 0x2000;

class record_walk {
public:
    record_walk(byte_source& in, int32_t end, wpg_bitmap& best) : in_(in), end_(end), best_(best) {}

    int32_t walk_1()
    {
        wpg1_default_colors(colors_);
        for (;;) {
            const int type = in_.get();
            if (type < 0 || type == wpg1_end || !open_record()) break;
            if (type == wpg1_color_map) color_map();
            if (type == wpg1_bitmap_1 || type == wpg1_bitmap_2) bitmap_1(type);
            if (!close_record()) break;
        }
        return result();
    }

    int32_t walk_2()
    {
        wpg2_default_colors(colors_);
        for (;;) {
            const int record_class = in_.get();
            const int type = in_.get();
            uint32_t children;
            if (record_class < 0 || type <= 0 || type == wpg2_end || type > wpg2_last_known) break;
            if (!wpg_read_length(in_, children) || !open_record()) break;
            if (type == wpg2_palette) palette_2(4);
            if (type == wpg2_palette_16) palette_2(8);
            if (type == wpg2_bitmap) bitmap_2();
            if (!close_record()) break;
        }
        return result();
    }

private:
    bool open_record()
    {
        if (!wpg_read_length(in_, length_)) return false;
        body_ = in_.tell();
        return true;
    }

    // The next record follows the stated length, whatever was read of this one.
    bool close_record()
    {
        const int64_t next = int64_t{body_} + length_;
        if (next > (end_ < 0 ? INT32_MAX : end_)) return false;
        in_.skip(static_cast<uint32_t>(next - in_.tell()));
        return true;
    }

    // Up to count bytes of the body's front.
    size_t read_body(uint8_t* bytes, size_t count)
    {
        return in_.read(bytes, std::min<size_t>(count, length_));
    }

    void color_map()
    {
        uint8_t bytes[4 + 3 * 256] = {};
        const size_t got = read_body(bytes, sizeof bytes);
        const size_t first = load_u16le(bytes);
        const size_t count = load_u16le(bytes + 2);
        const uint8_t* from = bytes + 4;
        for (size_t i = first; i < std::min<size_t>(first + count, 256); ++i, from += 3) {
            if (from + 3 > bytes + got) break;
            colors_[i] = {from[2], from[1], from[0], 0};
        }
        mapped_ = true;
    }

    // entry_bytes: 4 for components of a byte, 8 for components of 16 bits.
    void palette_2(size_t entry_bytes)
    {
        uint8_t bytes[4 + 8 * 256] = {};
        const size_t got = read_body(bytes, 4 + entry_bytes * 256);
        const size_t first = load_u16le(bytes);
        const size_t count = load_u16le(bytes + 2);
        const uint8_t* from = bytes + 4;
        const size_t step = entry_bytes / 4, high = step - 1;
        for (size_t i = first; i < std::min<size_t>(first + count, 256); ++i, from += entry_bytes) {
            if (from + entry_bytes > bytes + got) break;
            colors_[i] = {from[2 * step + high], from[step + high], from[high], 0};
        }
    }

    void bitmap_1(int type)
    {
        constexpr size_t head_bytes = 10, placement_bytes = 10;
        uint8_t bytes[placement_bytes + head_bytes] = {};
        const size_t needed = type == wpg1_bitmap_2 ? sizeof bytes : head_bytes;
        if (read_body(bytes, needed) != needed) {
            damaged_ = true;
            return;
        }
        byte_reader in(bytes, needed, byte_order::little);
        uint32_t rotation = 0;
        if (type == wpg1_bitmap_2) {
            // Where and at what angle it is drawn is the page's affair; mirroring is not.
            rotation = in.u16();
            in.take(8);
        }
        wpg_bitmap b{};
        b.width = in.u16();
        b.height = in.u16();
        b.bits = in.u16();
        b.x_dpi = in.u16();
        b.y_dpi = in.u16();
        b.coding = wpg_coding::runs_1;
        b.mirror_x = rotation & mirrored_x;
        b.mirror_y = rotation & mirrored_y;
        const bool known = b.bits == 1 || b.bits == 2 || b.bits == 4 || b.bits == 8;
        offer(b, known, static_cast<uint32_t>(needed));
    }

    void bitmap_2()
    {
        uint8_t bytes[6] = {};
        if (read_body(bytes, sizeof bytes) != sizeof bytes) {
            damaged_ = true;
            return;
        }
        wpg_bitmap b{};
        b.width = load_u16le(bytes);
        b.height = load_u16le(bytes + 2);
        // Formats 5 to 11 but 8 have more than 8 bits a component, or opacity.
        constexpr int8_t bits_of_format[13] = {0, 1, 2, 4, 8, 0, 0, 0, 24, 0, 0, 0, 8};
        b.bits = bytes[4] < 13 ? bits_of_format[bytes[4]] : 0;
        grey_format_ = bytes[4] == 12;
        b.coding = bytes[5] == 1 ? wpg_coding::runs_2 : wpg_coding::plain;
        offer(b, b.bits != 0 && bytes[5] <= 1, sizeof bytes);
        grey_format_ = false;
    }

    void offer(wpg_bitmap& b, bool known, uint32_t head_bytes)
    {
        if (!known) return;
        b.position = body_ + static_cast<int32_t>(head_bytes);
        b.size = length_ - head_bytes;
        if (end_ >= 0)
            b.size = std::min(b.size, static_cast<uint32_t>(std::max(end_ - b.position, 0)));
        if (b.width == 0 || b.height == 0 || b.size < smallest_size(b)) {
            damaged_ = true;
            return;
        }
        if (!dib_fits(b.width, b.height, b.dib_bits())) {
            too_large_ = true;
            return;
        }
        const int64_t area = int64_t{b.width} * b.height;
        if (area <= best_area_) return;
        best_area_ = area;
        set_colors(b);
        best_ = b;
    }

    // What the best compression needs: 255 bytes of a row, or 256 whole rows, in two bytes.
    static uint64_t smallest_size(const wpg_bitmap& b)
    {
        if (b.coding == wpg_coding::plain) return 1;
        return 2 * ((static_cast<uint64_t>(b.height) + 255) / 256);
    }

    void set_colors(wpg_bitmap& b) const
    {
        std::memcpy(b.colors, colors_, sizeof b.colors);
        if (grey_format_)
            for (int i = 0; i < 256; ++i)
                b.colors[i] = {static_cast<BYTE>(i), static_cast<BYTE>(i), static_cast<BYTE>(i), 0};
        if (b.coding != wpg_coding::runs_1) return;
        // A 1-bit bitmap of version 1 is black and white whatever the map says.
        if (b.bits == 1) {
            b.colors[0] = {0, 0, 0, 0};
            b.colors[1] = {255, 255, 255, 0};
        }
        if (b.bits == 2 && !mapped_) wpg1_four_colors(b.colors);
    }

    int32_t result() const
    {
        if (in_.failed()) return err_corrupt; // the rest may hold a larger one
        if (best_area_ > 0) return 0;
        if (too_large_) return err_memory;
        return damaged_ ? err_format : err_unsupported;
    }

    byte_source& in_;
    int32_t end_;
    wpg_bitmap& best_;
    int64_t best_area_ = 0;
    uint32_t length_ = 0;
    int32_t body_ = 0;
    bool mapped_ = false, damaged_ = false, too_large_ = false, grey_format_ = false;
    RGBQUAD colors_[256];
};

} // namespace

bool wpg_read_length(byte_source& in, uint32_t& length)
{
    if (!in.ensure(widest_length) && in.available() == 0) return false;
    const uint8_t* p = in.next;
    size_t used = 1;
    length = *p;
    if (length == 0xFF) {
        length = load_u16le(p + 1);
        used = 3;
        if (length & 0x8000) {
            length = (length & 0x7FFF) << 16 | load_u16le(p + 3);
            used = 5;
        }
    }
    if (used > in.available()) return false;
    in.next += used;
    return true;
}

int32_t wpg_find_bitmap(byte_source& in, int32_t base, int32_t end, wpg_bitmap& best)
{
    uint8_t bytes[wpg_prefix_bytes];
    if (in.read(bytes, sizeof bytes) != sizeof bytes) return in.failed() ? err_corrupt : err_format;
    byte_reader prefix(bytes, sizeof bytes, byte_order::little);
    const uint8_t* signature = prefix.take(4);
    const uint32_t records = prefix.u32();
    prefix.u8(); // product
    const uint8_t type = prefix.u8();
    const uint8_t version = prefix.u8();
    prefix.u8();
    const uint16_t encryption_key = prefix.u16();
    if (std::memcmp(signature, wpg_signature, 4) != 0) return err_format;
    if (type != wpg_graphics_type || version < 1 || version > 2 || encryption_key != 0)
        return err_unsupported;
    const int64_t first = int64_t{base} + records;
    if (records < wpg_prefix_bytes || first > (end < 0 ? INT32_MAX : end)) return err_format;
    in.skip(records - wpg_prefix_bytes);
    record_walk walk(in, end, best);
    return version == 1 ? walk.walk_1() : walk.walk_2();
}
