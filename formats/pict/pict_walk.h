// pict_walk.h - goes through the operations of a picture and lists its bitmaps.
#pragma once

#include "formats/pict/pict_file.h"

class pict_walk {
public:
    /// Tiles beyond the most are counted but not kept.
    pict_walk(byte_source& in, int32_t end, pict_tile* tiles, int32_t most)
        : in_(in), end_(end), tiles_(tiles), most_(most)
    {
    }

    /// Walks the picture that starts at start.  0 with at least one tile; err_format,
    /// err_unsupported or err_corrupt without.
    int32_t walk(int32_t start);

    int32_t count() const { return count_ < most_ ? count_ : most_; }
    bool complete() const { return count_ <= most_; }
    uint32_t x_dpi() const { return x_dpi_; } // 0: not stated
    uint32_t y_dpi() const { return y_dpi_; }

private:
    bool read_start(int32_t start);
    void walk_operations();
    bool operation(uint32_t opcode);
    bool skip_by_table(uint32_t opcode);
    bool pixel_pattern();
    bool bitmap(uint32_t opcode);
    bool read_pixmap(pict_tile& tile, uint32_t row_word, bool direct);
    bool skip_colors(pict_tile& tile);
    bool choose_layout(pict_tile& tile, uint32_t pack_type, bool direct) const;
    bool settle_rows(pict_tile& tile);
    bool walk_rows(const pict_tile& tile, bool strictly);
    bool row_unpacks(const pict_tile& tile, uint32_t count);
    void keep(const pict_tile& tile);
    bool read_color(RGBQUAD& color);
    bool read_header();

    bool u16(uint32_t& value);
    bool u32(uint32_t& value);
    bool skip(uint64_t count);

    byte_source& in_;
    int32_t end_;
    pict_tile* tiles_;
    int32_t most_;
    int32_t count_ = 0;
    int32_t start_ = 0;
    bool wide_opcodes_ = false; // version 2
    bool finished_ = false;     // the end operation was met
    bool damaged_ = false;
    bool too_large_ = false;
    RGBQUAD fore_{0, 0, 0, 0}, back_{255, 255, 255, 0};
    uint32_t x_dpi_ = 0, y_dpi_ = 0;
};
