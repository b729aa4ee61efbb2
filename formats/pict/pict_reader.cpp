// pict_reader.cpp - delivers the bitmap of a picture. Large images are recorded as bands or
// strips: bitmaps that fill a rectangle side by side are joined; else the largest counts.
//
// Format: Inside Macintosh, Imaging With QuickDraw, appendix A. What ends inside its rows
// gives the rows so far and index 0 for the rest; without one row there is no picture.

#include "formats/pict/pict_reader.h"

#include "core/byte_runs.h"
#include "core/row_convert.h"
#include "formats/pict/pict_rows.h"
#include "formats/pict/pict_walk.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int32_t most_tiles = 1024;
constexpr int32_t band_bytes = 512 * 1024;

class pict_reader {
public:
    pict_reader(byte_source& in, const row_sink& sink) : in_(in), sink_(sink) {}

    int32_t read(int32_t start, int32_t end)
    {
        scratch_block list(most_tiles * sizeof(pict_tile));
        if (!list) return err_memory;
        tiles_ = list.as<pict_tile>();
        pict_walk walk(in_, end, tiles_, most_tiles);
        if (int32_t err = walk.walk(start); err < 0) return err;
        count_ = walk.count();
        if (!walk.complete() || !arrange()) choose_largest();
        if (int32_t err = begin(walk); err < 0) return err;
        return deliver();
    }

private:
    // Sorts the tiles row by row; true when they fill a rectangle in rows of tiles of equal
    // height that can be put side by side without shifting bits.
    bool arrange()
    {
        const auto comes_first = [](const pict_tile& a, const pict_tile& b) {
            return a.place.top != b.place.top ? a.place.top < b.place.top
                                              : a.place.left < b.place.left;
        };
        std::sort(tiles_, tiles_ + count_, comes_first);
        frame_ = tiles_[0].place;
        for (int32_t i = 0; i < count_; ++i) {
            frame_.right = std::max(frame_.right, tiles_[i].place.right);
            frame_.bottom = std::max(frame_.bottom, tiles_[i].place.bottom);
        }
        int32_t x = frame_.left, y = frame_.top;
        for (int32_t i = 0; i < count_; ++i) {
            const pict_tile& t = tiles_[i];
            if (!goes_with_first(t) || t.place.top != y || t.place.left != x) return false;
            if (t.height != tiles_[i - (x > frame_.left)].height) return false;
            x = t.place.right;
            if (x < frame_.right && (x - frame_.left) * t.dib_bits() % 8 != 0) return false;
            if (x == frame_.right) {
                x = frame_.left;
                y = t.place.bottom;
            }
        }
        return x == frame_.left && y == frame_.bottom &&
               dib_fits(frame_.width(), frame_.height(), tiles_[0].dib_bits());
    }

    bool goes_with_first(const pict_tile& t) const
    {
        return count_ == 1 || (t.unscaled && t.dib_bits() == tiles_[0].dib_bits() &&
                               t.color_hash == tiles_[0].color_hash);
    }

    void choose_largest()
    {
        const auto smaller = [](const pict_tile& a, const pict_tile& b) {
            return int64_t{a.width} * a.height < int64_t{b.width} * b.height;
        };
        tiles_[0] = *std::max_element(tiles_, tiles_ + count_, smaller);
        count_ = 1;
    }

    int32_t begin(const pict_walk& walk)
    {
        const pict_tile& first = tiles_[0];
        const int32_t bits = first.dib_bits();
        // A single bitmap has the size that it is stored in, however it is drawn.
        width_ = count_ == 1 ? first.width : frame_.width();
        height_ = count_ == 1 ? first.height : frame_.height();
        stride_ = size_for_long(width_, bits);
        dib_.set(width_, height_, bits);
        const auto plausible = [](uint32_t dpi) { return dpi >= 1 && dpi <= 10000; };
        const bool stated = plausible(walk.x_dpi()) && plausible(walk.y_dpi());
        const bool own = plausible(first.x_dpi) && plausible(first.y_dpi);
        dib_.info.biXPelsPerMeter = static_cast<LONG>(stated ? walk.x_dpi()
                                                      : own  ? first.x_dpi
                                                             : pict_usual_dpi);
        dib_.info.biYPelsPerMeter = static_cast<LONG>(stated ? walk.y_dpi()
                                                      : own  ? first.y_dpi
                                                             : pict_usual_dpi);
        if (bits != 24) {
            RGBQUAD colors[256];
            if (!pict_read_colors(in_, first, colors)) return err_format;
            std::memcpy(dib_.colors, colors, static_cast<size_t>(Palette_Size(&dib_.info)));
        }
        if (bits == 1) inverted_ = order_black_white(dib_.colors);
        return 0;
    }

    int32_t deliver()
    {
        int32_t widest_row_bytes = 0;
        for (int32_t i = 0; i < count_; ++i)
            widest_row_bytes = std::max(widest_row_bytes, tiles_[i].row_bytes);
        pict_rows rows(in_);
        // Bands of rows, so that tiles side by side need not be read in turns for each row. A
        // tile alone needs one for rows that are not there.
        const int32_t most_rows = count_ == 1 ? 1 : std::max(band_bytes / stride_, 1);
        scratch_block band(static_cast<size_t>(most_rows) * static_cast<size_t>(stride_) +
                           run_slack_bytes);
        if (!band || !rows.allocate(widest_row_bytes, width_)) return err_memory;
        if (int32_t err = sink_.begin(&dib_.info); err < 0) return err;
        std::memset(band.bytes(), 0, band.size());
        if (count_ == 1) return deliver_alone(rows, band.bytes());

        int32_t y = 0;
        for (int32_t first = 0; first < count_;) {
            const int32_t last = row_of_tiles_end(first);
            const int32_t height = tiles_[first].height;
            for (int32_t done = 0; done < height;) {
                const int32_t piece = std::min(most_rows, height - done);
                if (int32_t err = decode(rows, first, last, piece, band.bytes()); err < 0)
                    return err;
                if (y + done == 0 && got_rows_ == 0) return err_format;
                if (int32_t err = put(band.bytes(), y + done, piece); err < 0) return err;
                done += piece;
            }
            y += height;
            first = last;
        }
        return 1;
    }

    // Rows go out as they are decoded, without the way through a band.
    int32_t deliver_alone(pict_rows& rows, uint8_t* no_row)
    {
        rows.start(tiles_[0], tiles_[0].data);
        for (int32_t y = 0; y < height_; ++y) {
            uint8_t* row = rows.next();
            if (in_.failed()) return err_corrupt;
            if (!row && y == 0) return err_format;
            if (!row) {
                std::memset(no_row, 0, static_cast<size_t>(stride_));
                row = no_row;
            }
            if (int32_t err = put(row, y, 1); err < 0) return err;
        }
        return 1;
    }

    int32_t row_of_tiles_end(int32_t first) const
    {
        int32_t last = first + 1;
        while (last < count_ && tiles_[last].place.top == tiles_[first].place.top)
            ++last;
        return last;
    }

    // The next rows of tiles first to last; each tile's data position moves on.
    int32_t decode(pict_rows& rows, int32_t first, int32_t last, int32_t count, uint8_t* band)
    {
        const bool alone = last - first == 1;
        for (int32_t i = first; i < last; ++i) {
            pict_tile& tile = tiles_[i];
            const int32_t bits = tile.dib_bits();
            const int32_t x = tile.place.left - frame_.left;
            const auto bytes = static_cast<size_t>((int64_t{tile.width} * bits + 7) / 8);
            uint8_t* to = band + static_cast<size_t>(int64_t{x} * bits / 8);
            if (!alone || started_ != i) rows.start(tile, tile.data);
            started_ = i;
            for (int32_t r = 0; r < count; ++r, to += stride_) {
                const uint8_t* row = rows.next();
                if (row) ++got_rows_;
                if (in_.failed()) return err_corrupt;
                if (row)
                    std::memcpy(to, row, bytes);
                else
                    std::memset(to, 0, bytes);
            }
            tile.data = rows.position();
        }
        return 0;
    }

    int32_t put(uint8_t* band, int32_t y, int32_t count)
    {
        for (int32_t r = 0; r < count; ++r, band += stride_) {
            if (inverted_)
                for (int32_t i = 0; i < stride_; ++i)
                    band[i] = static_cast<uint8_t>(~band[i]);
            clear_row_padding(band, width_, dib_.info.biBitCount);
            if (int32_t err = sink_.put(band, y + r, stride_); err < 0) return err;
        }
        return 0;
    }

    byte_source& in_;
    row_sink sink_;
    pict_tile* tiles_ = nullptr;
    int32_t count_ = 0;
    pict_rect frame_{};
    int32_t width_ = 0, height_ = 0, stride_ = 0;
    int32_t started_ = -1; // tile that the source stands in
    int64_t got_rows_ = 0;
    bool inverted_ = false;
    dib_header dib_;
};

} // namespace

int32_t open_pict(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                  IMG_SET_HEADER set_header, HFILE file)
{
    img_seek_mem(file, start_offset(start), seek_from_start);
    byte_source in(file);
    if (!in.ok()) return err_memory;
    return pict_reader(in, {put_raster, set_header, private_data})
        .read(start_offset(start), img_data_end(file));
}
