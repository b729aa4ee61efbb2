// fixed_palette.cpp - 256 fixed colours, 8 levels of red and green and 4 of blue, with
// serpentine error diffusion.
//
// INTENDED: the export is called median cut, but it splits no boxes: the fixed palette and
// the diffusion are what it does.

#include "color/color_diffusion.h"
#include "core/image.h"
#include "core/new_dib.h"

#include <algorithm>
#include <array>

namespace {

// The level of a channel that is chosen by its leading bits and its palette component.
// INTENDED: levels are truncated and not rounded, and a value that wrapped below zero reads
// as more than 255 and takes the highest level.
template <int32_t levels, running_values mode> struct channel_quantiser {
    static constexpr int32_t level_of(int32_t value)
    {
        return std::clamp(value, 0, 255) * levels / 256;
    }
    // Shares of the error, with the level in the highest word.
    static constexpr uint64_t compute(int32_t value)
    {
        const int32_t level = level_of(value);
        const int32_t error = value - level * 255 / (levels - 1);
        return color_shares<mode>(error) | static_cast<uint64_t>(level) << 48;
    }

    // Values outside the table come from wrapping only.
    static constexpr int32_t table_from = mode == running_values::wrap ? 0 : -256;
    static constexpr int32_t table_size = 1024;
    static constexpr auto table = [] {
        std::array<uint64_t, table_size> t{};
        for (int32_t i = 0; i < table_size; ++i)
            t[static_cast<size_t>(i)] = compute(i + table_from);
        return t;
    }();
    static uint64_t find(int32_t value)
    {
        const auto place = static_cast<uint32_t>(value - table_from);
        return place < table_size ? table[place] : compute(value);
    }
};

template <running_values mode>
quantised_color quantise_332(int32_t blue, int32_t green, int32_t red)
{
    const uint64_t b = channel_quantiser<4, mode>::find(blue),
                   g = channel_quantiser<8, mode>::find(green),
                   r = channel_quantiser<8, mode>::find(red);
    return {b, g, r, static_cast<int32_t>(r >> 48 << 5 | g >> 48 << 2 | b >> 48)};
}

// One row of indices.
template <running_values mode>
void dither_color_raster8(color_diffusion& rows, int32_t row_number, uint8_t* indices)
{
    const auto put = [indices](int32_t x, int32_t index) {
        indices[x] = static_cast<uint8_t>(index);
    };
    using travel = color_diffusion::travel;
    if (row_number & 1)
        rows.dither<mode>(travel::right_to_left, quantise_332<mode>, put);
    else
        rows.dither<mode>(travel::left_to_right, quantise_332<mode>, put);
}

int32_t mediancut_color(int32_t handle)
{
    io_scope scope;
    dib_lock image(handle);
    if (image.error()) return image.error();
    if (image.header()->biBitCount == 1) return err_unsupported;
    color_diffusion rows;
    new_dib target(image.header());
    target.set_size(image->width, image->height, 8);
    create_dib_palette(target.header(), "targa");
    if (rows.begin(image.object()) < 0 || target.create() < 0) return err_memory;

    rows.feed(image.object(), 0, 0);
    rows.feed(image.object(), 1, 1);
    const auto dither_row = present_running_values() == running_values::wrap
                                ? dither_color_raster8<running_values::wrap>
                                : dither_color_raster8<running_values::keep_sign>;
    for (int32_t r = 0; r < image->height; ++r) {
        dither_row(rows, r, target.row(r));
        rows.feed(image.object(), 1, r + 2);
    }
    target.install(image, saved_colors::forget);
    return 0;
}

} // namespace

int32_t IMG_STD IMG_mediancut_color(int32_t handle)
{
    return mediancut_color(handle);
}
