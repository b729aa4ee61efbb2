// pict_rows.cpp - unpacks the rows of a bitmap and turns their pixels into those of a DIB.

#include "formats/pict/pict_rows.h"

#include "core/byte_runs.h"
#include "core/row_convert.h"

#include <algorithm>
#include <cstring>

namespace {

// 5 bits of red, green, blue; the top bit is not used.
void widen_555(const uint8_t* from, uint8_t* to, int32_t pixels)
{
    const auto widen = [](uint32_t c) { return static_cast<uint8_t>(c << 3 | c >> 2); };
    for (int32_t i = 0; i < pixels; ++i, from += 2, to += 3) {
        const uint32_t v = load_u16be(from);
        to[0] = widen(v & 31);
        to[1] = widen(v >> 5 & 31);
        to[2] = widen(v >> 10 & 31);
    }
}

// A byte that is not used, red, green, blue.
void drop_first_byte(const uint8_t* from, uint8_t* to, int32_t pixels)
{
    for (int32_t i = 0; i < pixels; ++i, from += 4, to += 3) {
        to[0] = from[3];
        to[1] = from[2];
        to[2] = from[1];
    }
}

} // namespace

bool pict_rows::allocate(int32_t widest_row_bytes, int32_t widest)
{
    // The planes of a row take as much as its pixels, and a DIB row is no longer.
    const auto room =
        std::max(static_cast<size_t>(widest_row_bytes), static_cast<size_t>(widest) * 3);
    return stored_.allocate(room + run_slack_bytes + 4) &&
           converted_.allocate(room + run_slack_bytes + 4);
}

void pict_rows::start(const pict_tile& tile, int32_t position)
{
    tile_ = &tile;
    in_.seek(position);
}

bool pict_rows::read_packed()
{
    uint32_t count;
    if (tile_->wide_count) {
        if (!in_.ensure(2)) return false;
        count = load_u16be(in_.next);
        in_.next += 2;
    } else {
        const int byte = in_.get();
        if (byte < 0) return false;
        count = static_cast<uint32_t>(byte);
    }
    if (!in_.ensure(count)) {
        in_.next = in_.end; // what is left of the row is not the start of another
        return false;
    }
    const uint8_t* from = in_.next;
    const uint8_t* const end = from + count;
    const auto wanted = static_cast<size_t>(tile_->unpacked_bytes());
    const size_t made =
        tile_->layout == pict_layout::packed_pairs
            ? packbits_unpack_pairs(from, end, stored_.bytes(), wanted & ~size_t{1})
            : packbits_unpack(from, end, stored_.bytes(), wanted, packbits_128::no_op);
    in_.next = end;
    std::memset(stored_.bytes() + made, 0, wanted - made);
    return true;
}

bool pict_rows::read_stored()
{
    if (tile_->has_counts()) return read_packed();
    const auto wanted = static_cast<size_t>(tile_->unpacked_bytes());
    return in_.read(stored_.bytes(), wanted) == wanted;
}

uint8_t* pict_rows::convert()
{
    uint8_t* from = stored_.bytes();
    uint8_t* to = converted_.bytes();
    const auto width = static_cast<size_t>(tile_->width);
    if (tile_->layout == pict_layout::packed_planes) {
        const auto plane = static_cast<size_t>(tile_->row_bytes / 4);
        if (tile_->planes == 4) from += plane; // opacity
        interleave_planes(from, from + plane, from + 2 * plane, to, width);
    } else if (tile_->layout == pict_layout::unpacked_rgb) {
        swap_red_blue(from, to, width);
    } else if (tile_->bits == 32) {
        drop_first_byte(from, to, tile_->width);
    } else if (tile_->bits == 16) {
        widen_555(from, to, tile_->width);
    } else if (tile_->bits == 2) {
        widen_2_to_4(from, to, width);
    } else {
        return from;
    }
    return to;
}

uint8_t* pict_rows::next()
{
    return read_stored() ? convert() : nullptr;
}
