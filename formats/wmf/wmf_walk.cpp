// wmf_walk.cpp - records of a metafile. Neither the stated size of the file nor that of its
// largest record is trusted; a missing end record does no harm.

#include "formats/wmf/wmf_walk.h"

#include "formats/wmf/wmf_dib.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace {

// Offsets of what counts in the records that draw a bitmap; 0: not there.
struct record_layout {
    uint8_t function; // low byte
    uint8_t raster, usage, row_count;
    uint8_t height, width, y, x;
    uint8_t bitmap;
    bool device;
};

// clang-format off
constexpr record_layout layouts[] = {
    // function                     raster usage rows height width  y   x  bitmap device
    {wmf_stretch_dib & 0xFF,        6,     10,   0,   20,    22,    24, 26, 28,   false},
    {wmf_dib_stretch_blt & 0xFF,    6,     0,    0,   18,    20,    22, 24, 26,   false},
    {wmf_dib_bit_blt & 0xFF,        6,     0,    0,   14,    16,    18, 20, 22,   false},
    {wmf_set_dib_to_device & 0xFF,  0,     6,    8,   16,    18,    20, 22, 24,   false},
    {wmf_stretch_blt & 0xFF,        6,     0,    0,   18,    20,    22, 24, 26,   true},
    {wmf_bit_blt & 0xFF,            6,     0,    0,   14,    16,    18, 20, 22,   true},
};
// clang-format on

constexpr size_t longest_front = 28;
constexpr int32_t palette_entries_at = 10; // behind the record's front, version and count

class record_walk {
public:
    record_walk(byte_source& in, int32_t end, wmf_list& list)
        : in_(in), end_(end < 0 ? INT32_MAX : end), list_(list)
    {
    }

    int32_t walk(int32_t start)
    {
        if (int32_t err = read_front(start); err < 0) return err;
        bool going = true;
        while (going)
            going = record();
        return result();
    }

private:
    int32_t read_front(int32_t start)
    {
        uint8_t bytes[wmf_placeable_bytes + wmf_header_bytes] = {};
        in_.seek(start);
        const size_t got = in_.read(bytes, sizeof bytes);
        const bool placeable = load_u32le(bytes) == wmf_placeable_key;
        const size_t at = placeable ? wmf_placeable_bytes : 0;
        if (in_.failed()) return err_corrupt;
        if (got < at + wmf_header_bytes) return err_format;
        byte_reader header(bytes + at, wmf_header_bytes, byte_order::little);
        const int type = header.u16(), words = header.u16(), version = header.u16();
        if (!placeable && type == 1 && words == 0) return err_unsupported; // enhanced metafile
        if ((type != 1 && type != 2) || words != wmf_header_words) return err_format;
        if (version != 0x0100 && version != 0x0300) return err_format;
        if (placeable) read_placement(bytes);
        next_ = start + static_cast<int32_t>(at) + wmf_header_bytes;
        return 0;
    }

    // The checksum is often wrong and proves nothing. Edges may be exchanged.
    void read_placement(const uint8_t* bytes)
    {
        byte_reader in(bytes + 6, 10, byte_order::little);
        const int32_t left = in.i16(), top = in.i16(), right = in.i16(), bottom = in.i16();
        list_.placement = {true, std::abs(right - left), std::abs(bottom - top), in.u16()};
    }

    bool record()
    {
        const int32_t start = next_;
        uint8_t front[longest_front] = {};
        in_.seek_near(start);
        const size_t got = in_.read(front, sizeof front);
        if (got < 2 * wmf_smallest_record) return false;
        const uint32_t words = load_u32le(front);
        const uint32_t function = load_u16le(front + 4);
        if (function == wmf_end) return false;
        if (words < wmf_smallest_record) {
            damaged_ = true; // would never end
            return false;
        }
        const int64_t next = start + 2 * int64_t{words};
        const auto record_end = static_cast<int32_t>(std::min<int64_t>(next, end_));
        if ((function & 0xFF) == (wmf_create_palette & 0xFF)) palette(start, front, record_end);
        // A pattern fill has no bitmap, which its length tells.
        const bool pattern = words == (function >> 8) + wmf_smallest_record;
        if (!pattern) bitmap(start, front, function, record_end);
        next_ = record_end;
        return next < end_;
    }

    void palette(int32_t start, const uint8_t* front, int32_t record_end)
    {
        const int64_t first = int64_t{start} + palette_entries_at;
        const int64_t fitting = (record_end - first) / 4;
        palette_ = static_cast<int32_t>(first);
        palette_count_ = static_cast<int32_t>(
            std::clamp<int64_t>(load_u16le(front + 8), 0, std::max<int64_t>(fitting, 0)));
    }

    void bitmap(int32_t start, const uint8_t* front, uint32_t function, int32_t record_end)
    {
        const auto layout =
            std::find_if(std::begin(layouts), std::end(layouts),
                         [=](const record_layout& l) { return l.function == (function & 0xFF); });
        if (layout == std::end(layouts) || start + layout->bitmap >= record_end) return;
        const auto field = [=](uint8_t at) {
            return int32_t{static_cast<int16_t>(load_u16le(front + at))};
        };
        wmf_bitmap b{};
        b.raster = layout->raster ? load_u32le(front + layout->raster) : wmf_source_copy;
        b.x = field(layout->x);
        b.y = field(layout->y);
        b.drawn_width = field(layout->width);
        b.drawn_height = field(layout->height);
        b.palette = palette_;
        b.palette_count = palette_count_;
        const wmf_dib_place place = {start + layout->bitmap, record_end,
                                     layout->usage ? load_u16le(front + layout->usage) : 0,
                                     layout->row_count ? load_u16le(front + layout->row_count)
                                                       : -1};
        const int32_t err = layout->device ? wmf_read_device_bitmap(in_, place, b.dib)
                                           : wmf_read_dib(in_, place, b.dib);
        if (err == 0 && list_.count < list_.most) list_.bitmaps[list_.count++] = b;
        if (err == err_format) damaged_ = true;
        if (err == err_memory) too_large_ = true;
    }

    int32_t result() const
    {
        if (in_.failed()) return err_corrupt;
        if (list_.count > 0) return 0;
        if (too_large_) return err_memory;
        return damaged_ ? err_format : err_unsupported;
    }

    byte_source& in_;
    int32_t end_;
    wmf_list& list_;
    int32_t next_ = 0;
    int32_t palette_ = -1, palette_count_ = 0;
    bool damaged_ = false, too_large_ = false;
};

} // namespace

int32_t wmf_list_bitmaps(byte_source& in, int32_t start, int32_t end, wmf_list& list)
{
    list.count = 0;
    list.placement = {};
    return record_walk(in, end, list).walk(start);
}
