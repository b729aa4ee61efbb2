// bmp_rle_decoder.cpp - RLE8 and RLE4 rows. The two codes differ only in how pixels lie in
// a row and, INTENDED, in what a delta delivers.

#include "formats/bmp/bmp_rle.h"

#include "core/settings.h"
#include "formats/bmp/bmp_file.h"

#include <algorithm>

namespace {

// The longest item: an absolute run of 255 bytes with its two leading bytes and a pad byte.
constexpr size_t longest_item = 2 + 255 + 1;

// Short fills without a call: two stores that overlap.
inline void fill(uint8_t* to, uint8_t value, size_t count)
{
    const uint64_t wide = value * 0x0101010101010101u;
    if (count >= 32) {
        std::memset(to, value, count);
    } else if (count >= 8) {
        for (size_t i = 0; i + 8 < count; i += 8)
            std::memcpy(to + i, &wide, 8);
        std::memcpy(to + count - 8, &wide, 8);
    } else if (count >= 4) {
        std::memcpy(to, &wide, 4);
        std::memcpy(to + count - 4, &wide, 4);
    } else {
        for (size_t i = 0; i < count; ++i)
            to[i] = value;
    }
}

// Columns behind the row are counted but not stored.
struct row8 {
    uint8_t* bytes;
    int32_t width; // as far as the delivered bytes go, where the header's depth is another

    void run(int32_t column, int32_t count, uint8_t value) const
    {
        if (column < width)
            fill(bytes + column, value, static_cast<size_t>(std::min(count, width - column)));
    }
    void copy(int32_t column, int32_t count, const uint8_t* from) const
    {
        if (column < width)
            std::memcpy(bytes + column, from, static_cast<size_t>(std::min(count, width - column)));
    }
    static constexpr int32_t pixels_per_byte = 1;
};

// INTENDED: a pixel in an even column clears its neighbour's nibble, one in an odd column is
// or-ed onto what is there.
struct row4 {
    uint8_t* bytes;
    int32_t width;

    void run(int32_t column, int32_t count, uint8_t pair) const
    {
        count = std::min(count, width - column);
        if (count <= 0) return;
        const auto swapped = static_cast<uint8_t>(pair << 4 | pair >> 4);
        uint8_t* to = bytes + column / 2;
        if (column & 1) {
            *to++ |= pair >> 4;
            --count;
            pair = swapped;
        }
        fill(to, pair, static_cast<size_t>(count / 2));
        if (count & 1) to[count / 2] = pair & 0xF0;
    }
    void copy(int32_t column, int32_t count, const uint8_t* from) const
    {
        count = std::min(count, width - column);
        uint8_t* to = bytes + column / 2;
        for (int32_t i = 0; i < count; ++i) {
            const uint8_t pixel = i & 1 ? from[i / 2] & 15 : from[i / 2] >> 4;
            if ((column + i) & 1)
                *to++ |= pixel;
            else
                *to = static_cast<uint8_t>(pixel << 4);
        }
    }
    static constexpr int32_t pixels_per_byte = 2;
};

enum class delta_rule {
    every_row, // RLE8: the row buffer goes to each row that the delta leaves
    first_row, // RLE4: only to the row that it starts from
};

template <class Row, delta_rule rule> class rle_decoder {
public:
    rle_decoder(HFILE file, const BITMAPINFOHEADER& info, const row_sink& sink)
        : in_(file), sink_(sink), stride_(size_for_long(info.biWidth, info.biBitCount)),
          buffer_(static_cast<size_t>(stride_) + 1),
          row_{buffer_.bytes(), std::min<int32_t>(info.biWidth, stride_ * Row::pixels_per_byte)},
          row_index_(info.biHeight - 1)
    {
    }

    int32_t decode()
    {
        if (!in_.ok() || !buffer_) return err_memory;
        std::memset(buffer_.bytes(), 0, buffer_.size());
        while (row_index_ >= 0) {
            if (!in_.ensure(longest_item) && in_.available() < 2) return 1;
            const uint8_t first = *in_.next++;
            const uint8_t second = *in_.next++;
            if (first != 0) {
                row_.run(column_, first, second);
                advance(first);
            } else if (second == rle_end_of_bitmap) {
                deliver();
                return 1;
            } else if (int32_t err = escape(second); err < 0) {
                return err;
            }
        }
        return 1;
    }

private:
    // Behind the row nothing is stored, so the column need not grow further.
    void advance(int32_t count) { column_ = std::min(column_ + count, row_.width); }

    int32_t deliver()
    {
        const int32_t result = sink_.put(buffer_.bytes(), row_index_, stride_);
        if (clear_rows_) std::memset(buffer_.bytes(), 0, buffer_.size());
        return result;
    }

    int32_t escape(uint8_t code)
    {
        if (code == rle_end_of_line) {
            const int32_t result = deliver();
            --row_index_;
            column_ = 0;
            return result;
        }
        if (code == rle_delta) return delta();
        copy_absolute(code);
        return 0;
    }

    // Runs of an odd number of bytes are followed by a pad byte.
    void copy_absolute(int32_t count)
    {
        const auto left = static_cast<int32_t>(in_.available());
        count = std::min(count, left * Row::pixels_per_byte);
        row_.copy(column_, count, in_.next);
        advance(count);
        const int32_t stored = (count + Row::pixels_per_byte - 1) / Row::pixels_per_byte;
        in_.next += std::min(stored + (stored & 1), left);
    }

    int32_t delta()
    {
        const int dx = in_.get();
        const int dy = in_.get();
        if (dy < 0) {
            row_index_ = -1; // the data end here
            return 0;
        }
        advance(dx);
        const int32_t deliveries = rule == delta_rule::every_row ? dy : std::min(dy, 1);
        for (int32_t i = 0; i < deliveries && row_index_ >= 0; ++i) {
            if (int32_t err = deliver(); err < 0) return err;
            if (rule == delta_rule::every_row) --row_index_;
        }
        if (rule == delta_rule::first_row) row_index_ -= dy;
        return 0;
    }

    byte_source in_;
    row_sink sink_;
    int32_t stride_;
    scratch_block buffer_;
    Row row_;
    int32_t row_index_;
    int32_t column_ = 0;
    bool clear_rows_ = interchange_mode(); // the format leaves such pixels background
};

} // namespace

int32_t decode_bmp_rle8(HFILE file, const BITMAPINFOHEADER& info, const row_sink& sink)
{
    return rle_decoder<row8, delta_rule::every_row>(file, info, sink).decode();
}

int32_t decode_bmp_rle4(HFILE file, const BITMAPINFOHEADER& info, const row_sink& sink)
{
    return rle_decoder<row4, delta_rule::first_row>(file, info, sink).decode();
}
