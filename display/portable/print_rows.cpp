// print_rows.cpp - scaled rows as dots: grey, tone, dither.

#include "display/portable/print_rows.h"

#include "color/grey_source.h"

#include <cstring>

namespace {

// Pixel x of a row of 1, 4 or 8 bits.
uint8_t index_at(const uint8_t* row, int32_t x, int32_t bits)
{
    if (bits == 8) return row[x];
    if (bits == 4) return x & 1 ? row[x / 2] & 15 : row[x / 2] >> 4;
    return row[x / 8] >> (7 - (x & 7)) & 1;
}

// The matrix moved, so that its origin falls on the left edge of the whole picture although
// the rows start at column.
threshold_matrix moved(const threshold_matrix& matrix, int32_t column)
{
    threshold_matrix result{};
    for (int32_t x = 0; x < 8; ++x)
        for (int32_t y = 0; y < 8; ++y)
            result.values[8 * x + y] = matrix.at(x + column, y);
    return result;
}

} // namespace

int32_t print_rows::prepare(const source_image& image, const stretch_plan& plan,
                            const tone_table& tone, print_dither dither)
{
    plan_ = plan;
    dither_ = dither;
    tone_ = tone;
    done_ = 0;
    if (int32_t err = scaler_.prepare(image, plan, shrink_method::grey_pages); err < 0) return err;
    width_ = plan.columns.end - plan.columns.begin;
    bytes_per_line_ = static_cast<uint32_t>(size_for_long(width_, 1));
    // The thresholds are compared 32 at a time.
    const size_t padded = (static_cast<size_t>(width_) + 31) & ~size_t{31};
    if (!scaled_.allocate(scaler_.bytes_per_line()) || !grey_.allocate(padded)) return err_memory;
    std::memset(grey_.bytes(), 0, padded);

    if (scaler_.bits_per_pixel() <= 8) {
        RGBQUAD colors[256] = {};
        scaler_.get_colors(colors);
        for (size_t i = 0; i < 256; ++i)
            of_index_[i] =
                tone[grey_percent(colors[i].rgbBlue, colors[i].rgbGreen, colors[i].rgbRed)];
    }
    matrix_ = moved(dither == print_dither::ordered ? bayer_matrix : halftone_matrix,
                    plan.columns.begin - plan.horizontal.device_start);
    if (dither != print_dither::diffusion) return 0;
    if (int32_t err = diffusion_.begin(width_, running_values::keep_sign); err < 0) return err;
    for (int32_t ahead = 0; ahead < 3; ++ahead)
        if (ahead < plan.rows.end - plan.rows.begin) {
            fetch(plan.rows.end - 1 - ahead);
            diffusion_.feed(ahead, grey_.bytes());
        }
    return 0;
}

// Fills the grey row.
void print_rows::fetch(int32_t device_row)
{
    const uint8_t* row = scaled_.bytes();
    uint8_t* grey = grey_.bytes();
    scaler_.scale(device_row, scaled_.bytes());
    const int32_t bits = scaler_.bits_per_pixel();
    if (bits == 24) {
        for (int32_t x = 0; x < width_; ++x, row += 3)
            grey[x] = tone_[grey_percent(row[0], row[1], row[2])];
        return;
    }
    for (int32_t x = 0; x < width_; ++x)
        grey[x] = of_index_[index_at(row, x, bits)];
}

void print_rows::next_ordered(const threshold_matrix& matrix, uint8_t* dots)
{
    const int32_t device_row = plan_.rows.end - 1 - done_;
    const int32_t lowest = plan_.vertical.device_start + plan_.vertical.device_extent - 1;
    fetch(device_row);
    threshold_row(matrix, grey_.bytes(), width_, lowest - device_row, dots);
}

void print_rows::next_diffused(uint8_t* dots)
{
    std::memset(dots, 0, bytes_per_line_);
    diffusion_.dither_raster(dots, done_);
    const int32_t ahead = plan_.rows.end - 1 - (done_ + 3);
    if (ahead < plan_.rows.begin) return;
    fetch(ahead);
    diffusion_.feed(2, grey_.bytes());
}

void print_rows::next(uint8_t* dots)
{
    if (dither_ == print_dither::diffusion)
        next_diffused(dots);
    else
        next_ordered(matrix_, dots);
    ++done_;
}
