// wpg_reader.cpp - delivers the largest bitmap of a WPG file; lines and text are passed over.
// Data that end early give the rows so far and index 0 for the rest.

#include "formats/wpg/wpg_reader.h"

#include "core/row_convert.h"
#include "formats/wpg/wpg_file.h"
#include "formats/wpg/wpg_runs.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

class wpg_reader {
public:
    wpg_reader(byte_source& in, const row_sink& sink) : in_(in), sink_(sink) {}

    int32_t read(int32_t base, int32_t end)
    {
        if (int32_t err = wpg_find_bitmap(in_, base, end, bitmap_); err < 0) return err;
        const int32_t bits = bitmap_.dib_bits();
        dib_.set(bitmap_.width, bitmap_.height, bits);
        if (bits != 24)
            std::memcpy(dib_.colors, bitmap_.colors, static_cast<size_t>(Palette_Size(&dib_.info)));
        if (bitmap_.bits == 2) std::memset(dib_.colors + 4, 0, 12 * sizeof(RGBQUAD));
        if (bits == 1) inverted_ = order_black_white(dib_.colors);
        set_resolution();

        stride_ = size_for_long(bitmap_.width, bits);
        row_bytes_ = bitmap_.row_bytes();
        const size_t row_room =
            std::max(row_bytes_, static_cast<size_t>(stride_)) + run_slack_bytes;
        scratch_block row(row_room), above(row_room), converted(row_room);
        if (!row || !above || !converted) return err_memory;
        if (int32_t err = sink_.begin(&dib_.info); err < 0) return err;
        row_ = row.bytes();
        above_ = above.bytes();
        converted_ = converted.bytes();
        std::memset(row_, 0, row_room);
        std::memset(above_, 0, row_room);
        in_.seek(bitmap_.position);
        return bitmap_.coding == wpg_coding::runs_1   ? read_runs_1()
               : bitmap_.coding == wpg_coding::runs_2 ? read_runs_2()
                                                      : read_plain();
    }

private:
    void set_resolution()
    {
        const auto plausible = [](int32_t dpi) { return dpi >= 1 && dpi <= 4800; };
        if (!plausible(bitmap_.x_dpi) || !plausible(bitmap_.y_dpi)) return;
        dib_.info.biXPelsPerMeter = bitmap_.x_dpi;
        dib_.info.biYPelsPerMeter = bitmap_.y_dpi;
    }

    int32_t read_runs_1()
    {
        wpg1_decoder decoder(in_, bitmap_.size);
        const uint8_t* ready = nullptr; // what was delivered for the row above
        for (int32_t y = 0; y < bitmap_.height; ++y) {
            if (ready && decoder.repeats(row_bytes_)) {
                if (int32_t err = put(ready, y); err < 0) return err;
                continue;
            }
            if (int32_t err = deliver(decoder.decode(row_, above_, row_bytes_), y, ready); err < 0)
                return err;
        }
        return 1;
    }

    int32_t read_runs_2()
    {
        wpg2_decoder decoder(in_, bitmap_.size);
        const uint8_t* ready = nullptr;
        for (int32_t y = 0; y < bitmap_.height; ++y)
            if (int32_t err = deliver(decoder.decode(row_, above_, row_bytes_), y, ready); err < 0)
                return err;
        return 1;
    }

    int32_t read_plain()
    {
        const uint8_t* ready = nullptr;
        size_t left = bitmap_.size;
        for (int32_t y = 0; y < bitmap_.height; ++y) {
            const size_t got = in_.read(row_, std::min(row_bytes_, left));
            left -= got;
            if (int32_t err = deliver(got, y, ready); err < 0) return err;
        }
        return 1;
    }

    // Hands on the row of which got bytes were decoded, and makes it the row above.
    int32_t deliver(size_t got, int32_t y, const uint8_t*& ready)
    {
        if (got < row_bytes_) {
            if (in_.failed()) return err_corrupt;
            if (y == 0) return err_format;
            std::memset(row_ + got, 0, row_bytes_ - got);
        }
        ready = convert();
        const int32_t result = put(ready, y);
        std::swap(row_, above_);
        return result;
    }

    int32_t put(const uint8_t* row, int32_t y) const
    {
        return sink_.put(row, bitmap_.mirror_y ? bitmap_.height - 1 - y : y, stride_);
    }

    // The padding of a stored row is nobody's, so it can be cleared in place; whatever changes
    // pixels needs a copy, because the next row may refer to this one.
    const uint8_t* convert()
    {
        const auto width = static_cast<size_t>(bitmap_.width);
        uint8_t* row = row_;
        if (bitmap_.bits == 2 || bitmap_.bits == 24 || bitmap_.mirror_x || inverted_) {
            row = converted_;
            if (bitmap_.bits == 2)
                widen_2_to_4(row_, row, width);
            else if (bitmap_.bits == 24)
                swap_red_blue(row_, row, width);
            else
                std::memcpy(row, row_, row_bytes_);
        }
        if (inverted_)
            for (size_t i = 0; i < row_bytes_; ++i)
                row[i] = static_cast<uint8_t>(~row[i]);
        if (bitmap_.mirror_x) mirror_row(row, bitmap_.width, bitmap_.dib_bits());
        clear_row_padding(row, bitmap_.width, bitmap_.dib_bits());
        return row;
    }

    byte_source& in_;
    row_sink sink_;
    wpg_bitmap bitmap_{};
    dib_header dib_;
    int32_t stride_ = 0;
    size_t row_bytes_ = 0;
    uint8_t *row_ = nullptr, *above_ = nullptr, *converted_ = nullptr;
    bool inverted_ = false;
};

} // namespace

int32_t open_wpg(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                 IMG_SET_HEADER set_header, HFILE file)
{
    const int32_t base = start_offset(start);
    img_seek_mem(file, base, seek_from_start);
    byte_source in(file);
    if (!in.ok()) return err_memory;
    return wpg_reader(in, {put_raster, set_header, private_data}).read(base, img_data_end(file));
}
