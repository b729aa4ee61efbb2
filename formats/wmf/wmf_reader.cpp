// wmf_reader.cpp - delivers the bitmap that a metafile draws, whole, whatever part of it is
// drawn: players read the source rectangle in different ways. Bands of one picture are joined.

#include "formats/wmf/wmf_reader.h"

#include "core/row_convert.h"
#include "formats/wmf/wmf_dib.h"
#include "formats/wmf/wmf_walk.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int32_t most_bitmaps = 512;
constexpr uint32_t raster_and = 0x008800C6, raster_or = 0x00EE0086, raster_xor = 0x00660046;

class wmf_reader {
public:
    wmf_reader(HFILE file, byte_source& in, const row_sink& sink)
        : file_(file), in_(in), sink_(sink)
    {
    }

    int32_t read(int32_t start, int32_t end)
    {
        scratch_block block(most_bitmaps * sizeof(wmf_bitmap));
        if (!block) return err_memory;
        wmf_list list{block.as<wmf_bitmap>(), most_bitmaps, 0, {}};
        if (int32_t err = wmf_list_bitmaps(in_, start, end, list); err < 0) return err;
        first_ = list.bitmaps;
        count_ = collect_bands(list);
        if (int32_t err = begin(list.placement); err < 0) return err;
        return deliver();
    }

private:
    // A plain copy before the image half of a transparent pair before anything else. The half
    // that is drawn last is the image: a mask clears its place by "and" before the image comes
    // by "or", or fills it by "or" before the image comes by "and". Between two "xor", the
    // image is what is drawn by those.
    static int32_t choose(const wmf_list& list)
    {
        const wmf_bitmap *const begin = list.bitmaps, *const end = begin + list.count;
        const auto with = [=](uint32_t raster, const wmf_bitmap* from) {
            return std::find_if(from, end, [=](const wmf_bitmap& b) { return b.raster == raster; });
        };
        const wmf_bitmap* chosen = with(wmf_source_copy, begin);
        if (chosen == end) chosen = with(raster_xor, begin);
        if (chosen == end) {
            const wmf_bitmap* const filled = with(raster_or, begin);
            chosen = filled == end ? end : with(raster_and, filled);
            // Drawn more than once, a pair by "or" has a mask behind it too, but also before it.
            const wmf_bitmap* const cleared = with(raster_and, begin);
            const bool image_by_and = chosen != end && same_place(*filled, *chosen) &&
                                      (cleared > filled || !same_place(*filled, *cleared));
            if (!image_by_and) chosen = filled;
        }
        return chosen == end ? 0 : static_cast<int32_t>(chosen - begin);
    }

    static bool same_place(const wmf_bitmap& a, const wmf_bitmap& b)
    {
        return a.x == b.x && a.y == b.y && a.drawn_width == b.drawn_width &&
               a.drawn_height == b.drawn_height;
    }

    // Moves the chosen bitmap and the bands that go on below and above it to the front, in
    // the order in which they are drawn from the top. Returns how many there are.
    int32_t collect_bands(wmf_list& list)
    {
        std::swap(list.bitmaps[0], list.bitmaps[choose(list)]);
        if (!wmf_read_colors(in_, first_[0], colors_)) return 1;
        int32_t bands = 1;
        for (bool grew = true; grew;) {
            grew = false;
            for (int32_t i = bands; i < list.count; ++i) {
                const wmf_bitmap candidate = list.bitmaps[i];
                // Colours are read last: hundreds of bitmaps may lie far apart in the file.
                const bool below = candidate.y == bottom(first_[bands - 1]);
                if (!below && bottom(candidate) != first_[0].y) continue;
                if (!is_band_of(candidate, first_[0])) continue;
                if (!fits(bands, candidate)) continue;
                std::swap(list.bitmaps[i], list.bitmaps[bands]);
                if (!below) std::rotate(first_, first_ + bands, first_ + bands + 1);
                ++bands;
                grew = true;
            }
        }
        return bands;
    }

    static int32_t bottom(const wmf_bitmap& b) { return b.y + b.drawn_height; }

    bool fits(int32_t bands, const wmf_bitmap& more) const
    {
        int64_t height = more.dib.height;
        for (int32_t i = 0; i < bands; ++i)
            height += first_[i].dib.height;
        return dib_fits(more.dib.width, height, more.dib.dib_bits());
    }

    bool is_band_of(const wmf_bitmap& b, const wmf_bitmap& chosen) const
    {
        if (b.raster != wmf_source_copy || chosen.raster != wmf_source_copy) return false;
        if (b.dib.width != chosen.dib.width || b.dib.bits != chosen.dib.bits) return false;
        if (b.x != chosen.x || b.drawn_height <= 0 || chosen.drawn_height <= 0) return false;
        if (b.dib.dib_bits() == 24) return true;
        RGBQUAD colors[256];
        return wmf_read_colors(in_, b, colors) && std::memcmp(colors, colors_, sizeof colors) == 0;
    }

    int32_t begin(const wmf_placement& placement)
    {
        const wmf_bitmap& b = first_[0];
        const int32_t bits = b.dib.dib_bits();
        int32_t height = 0, drawn_height = 0;
        for (int32_t i = 0; i < count_; ++i) {
            height += first_[i].dib.height;
            drawn_height += first_[i].drawn_height;
        }
        dib_header dib;
        dib.set(b.dib.width, height, bits);
        if (bits != 24) {
            if (!wmf_read_colors(in_, b, colors_)) return err_format;
            std::memcpy(dib.colors, colors_, static_cast<size_t>(Palette_Size(&dib.info)));
        }
        if (bits == 1) inverted_ = order_black_white(dib.colors);
        mirror_x_ = b.drawn_width < 0;
        mirror_y_ = count_ == 1 && b.drawn_height < 0;
        const int32_t drawn_width = std::abs(b.drawn_width);
        drawn_height = std::abs(drawn_height);
        // Where the bitmap fills the picture, the picture's size tells its resolution.
        if (placement.present && placement.units_per_inch > 0 && drawn_width > 0 &&
            drawn_height > 0 && drawn_width == placement.width &&
            drawn_height == placement.height) {
            dib.info.biXPelsPerMeter = dots_per_inch(b.dib.width, drawn_width, placement);
            dib.info.biYPelsPerMeter = dots_per_inch(height, drawn_height, placement);
        }
        return sink_.begin(&dib.info);
    }

    static LONG dots_per_inch(int32_t pixels, int32_t drawn, const wmf_placement& placement)
    {
        const int64_t dots = (int64_t{pixels} * placement.units_per_inch + drawn / 2) / drawn;
        return static_cast<LONG>(std::min<int64_t>(dots, INT32_MAX));
    }

    int32_t deliver()
    {
        for (int32_t i = 0; i < count_; ++i) {
            band_ = &first_[i].dib;
            const row_sink rows{put_band_row, nullptr, reinterpret_cast<IMG_PRIVATE>(this)};
            if (int32_t err = wmf_deliver_rows(file_, in_, *band_, rows); err < 0) return err;
            rows_above_ += band_->height;
        }
        return 1;
    }

    static int32_t IMG_C put_band_row(const void* row, IMG_PRIVATE reader, int32_t index,
                                      int32_t byte_count)
    {
        return reinterpret_cast<wmf_reader*>(reader)->put(
            static_cast<uint8_t*>(const_cast<void*>(row)), index, byte_count);
    }

    // The row is one that this reader asked for; it may be changed only where the decoder does
    // not go on from it, which run-length decoders do: they get it back as it was.
    int32_t put(uint8_t* row, int32_t index, int32_t byte_count)
    {
        const int32_t bits = band_->dib_bits();
        clear_row_padding(row, band_->width, bits);
        if (inverted_) invert(row, byte_count);
        if (mirror_x_) mirror_row(row, band_->width, bits);
        const int32_t y = rows_above_ + (mirror_y_ ? band_->height - 1 - index : index);
        const int32_t result = sink_.put(row, y, byte_count);
        if (mirror_x_) mirror_row(row, band_->width, bits);
        return result;
    }

    void invert(uint8_t* row, int32_t byte_count) const
    {
        for (int32_t i = 0; i < byte_count; ++i)
            row[i] = static_cast<uint8_t>(~row[i]);
        clear_row_padding(row, band_->width, 1);
    }

    HFILE file_;
    byte_source& in_;
    row_sink sink_;
    wmf_bitmap* first_ = nullptr;
    int32_t count_ = 0;
    const wmf_dib* band_ = nullptr;
    int32_t rows_above_ = 0;
    bool inverted_ = false, mirror_x_ = false, mirror_y_ = false;
    RGBQUAD colors_[256];
};

} // namespace

int32_t open_wmf(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                 IMG_SET_HEADER set_header, HFILE file)
{
    img_seek_mem(file, start_offset(start), seek_from_start);
    byte_source in(file);
    if (!in.ok()) return err_memory;
    return wmf_reader(file, in, {put_raster, set_header, private_data})
        .read(start_offset(start), img_data_end(file));
}
