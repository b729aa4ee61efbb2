// mono_diffusion.cpp - serpentine error diffusion to 1 bit with the weights
//                8 4
//        2 4 8 4 2
//        1 2 4 2 1   over 42.
//
// INTENDED: running values are unsigned 16-bit numbers. One that falls below zero wraps,
// reads as a large number, turns white and passes a large error on.

#include "color/mono_diffusion.h"

#include "color/grey_source.h"
#include "core/image.h"
#include "core/new_dib.h"

namespace {

// The four shares of one error, each truncated by itself.
struct error_shares {
    uint16_t a, b, c, d; // 8, 4, 2 and 1 parts of 42
};

error_shares share(int32_t error)
{
    return {static_cast<uint16_t>(8 * error / 42), static_cast<uint16_t>(4 * error / 42),
            static_cast<uint16_t>(error / 21), static_cast<uint16_t>(error / 42)};
}

void add(uint16_t& to, uint16_t value)
{
    to = static_cast<uint16_t>(to + value);
}

// direction is +1 or -1; the pointers stand at the pixel's column.
void spread(const error_shares& e, int32_t direction, uint16_t* row, uint16_t* next,
            uint16_t* after)
{
    add(row[direction], e.a);
    add(row[2 * direction], e.b);
    add(next[-2], e.c);
    add(next[-1], e.b);
    add(next[0], e.a);
    add(next[1], e.b);
    add(next[2], e.c);
    add(after[-2], e.d);
    add(after[-1], e.c);
    add(after[0], e.b);
    add(after[1], e.c);
    add(after[2], e.d);
}

} // namespace

int32_t mono_diffusion::begin(int32_t width, running_values values)
{
    width_ = width;
    values_ = values;
    const size_t entries = size_t(width) + 2 * size_t{guard};
    if (!block_.allocate(entries * 3 * sizeof(uint16_t))) return err_memory;
    std::memset(block_.bytes(), 0, block_.size());
    for (size_t k = 0; k < 3; ++k)
        rows_[k] = block_.as<uint16_t>() + k * entries;
    return 0;
}

void mono_diffusion::feed(int32_t ahead, const uint8_t* grey)
{
    uint16_t* row = pixels(ahead);
    for (int32_t x = 0; x < width_; ++x)
        row[x] = grey[x];
}

void mono_diffusion::dither(uint8_t* bits, int32_t row_number)
{
    uint16_t* row = pixels(0);
    std::memset(bits, 0, (size_t(width_) + 7) / 8);
    const int32_t direction = row_number & 1 ? -1 : 1;
    for (int32_t i = 0; i < width_; ++i) {
        const int32_t x = direction > 0 ? i : width_ - 1 - i;
        const int32_t value =
            values_ == running_values::wrap ? int32_t{row[x]} : static_cast<int16_t>(row[x]);
        const bool white = value > 127;
        if (white) bits[x / 8] |= static_cast<uint8_t>(0x80 >> (x & 7));
        const error_shares e = share(white ? value - 255 : value);
        spread(e, direction, row + x, pixels(1) + x, pixels(2) + x);
    }
    uint16_t* done = rows_[0];
    rows_[0] = rows_[1];
    rows_[1] = rows_[2];
    rows_[2] = done;
}

namespace {

int32_t diffusion_mono(int32_t handle)
{
    io_scope scope;
    dib_lock image(handle);
    if (image.error()) return image.error();
    if (image.header()->biBitCount == 1) return err_unsupported;
    const int32_t width = image->width;
    scratch_block grey{size_t(width)};
    mono_diffusion diffusion;
    new_dib target(image.header());
    target.set_size(width, image->height, 1);
    create_dib_palette(target.header(), "tiff");
    if (!grey || diffusion.begin(width) < 0 || target.create() < 0) return err_memory;

    const grey_source source(image.header(), grey_rule::percent);
    const auto feed = [&](int32_t ahead, int32_t r) {
        if (r >= image->height) return;
        source.fetch(image.row(r), grey.bytes(), width);
        diffusion.feed(ahead, grey.bytes());
    };
    for (int32_t r = 0; r < 3; ++r)
        feed(r, r);
    for (int32_t r = 0; r < image->height; ++r) {
        diffusion.dither(target.row(r), r);
        feed(2, r + 3);
    }
    target.install(image, saved_colors::forget);
    return 0;
}

} // namespace

int32_t IMG_STD IMG_diffusion_mono(int32_t handle)
{
    return diffusion_mono(handle);
}
