// gif_rows.cpp - packing and row order.

#include "formats/gif/gif_rows.h"

#include <cstring>

namespace {

// GIF89a, appendix E: every 8th row from row 0, every 8th from 4, every 4th from 2, every
// 2nd from 1.
constexpr struct {
    int32_t start, step;
} passes[] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};
constexpr int last_pass = 3;

uint64_t load_eight(const uint8_t* p)
{
    uint64_t eight;
    std::memcpy(&eight, p, sizeof eight); // first pixel lowest: both targets are little-endian
    return eight;
}

void pack_nibbles(const uint8_t* line, uint8_t* packed, int32_t width)
{
    int32_t x = 0;
    for (; x + 8 <= width; x += 8, packed += 4) {
        const uint64_t eight = load_eight(line + x);
        // Even bytes take both nibbles; then the even bytes close up.
        uint64_t pairs = (eight << 4 & 0x00F000F000F000F0) | (eight >> 8 & 0x000F000F000F000F);
        pairs = (pairs | pairs >> 8) & 0x0000FFFF0000FFFF;
        const auto four = static_cast<uint32_t>(pairs | pairs >> 16);
        std::memcpy(packed, &four, sizeof four);
    }
    for (; x < width; x += 2)
        *packed++ = static_cast<uint8_t>(line[x] << 4 | (line[x + 1] & 15));
}

void pack_bits(const uint8_t* line, uint8_t* packed, int32_t width)
{
    int32_t x = 0;
    // The product brings the lowest bit of byte i to bit 63 - i.
    for (; x + 8 <= width; x += 8)
        *packed++ = static_cast<uint8_t>(
            ((load_eight(line + x) & 0x0101010101010101) * 0x8040201008040201) >> 56);
    if (x == width) return;
    unsigned last = 0;
    for (int32_t bit = 0; bit < width - x; ++bit)
        last |= (line[x + bit] & 1u) << (7 - bit);
    *packed = static_cast<uint8_t>(last);
}

} // namespace

void gif_pack_bytes(const uint8_t* line, uint8_t* packed, int32_t width, int32_t bit_count)
{
    if (bit_count == 4) pack_nibbles(line, packed, width);
    if (bit_count == 1) pack_bits(line, packed, width);
}

gif_rows::gif_rows(const row_sink& sink, const BITMAPINFOHEADER& header, gif_row_order order)
    : sink_(sink), width_(header.biWidth), height_(header.biHeight), bit_count_(header.biBitCount),
      row_bytes_(size_for_long(width_, bit_count_)), order_(order)
{
    if (packed_.allocate(static_cast<size_t>(row_bytes_)))
        std::memset(packed_.bytes(), 0, packed_.size());
}

// A pass without rows, as in pictures of less than five rows, is passed over.
void gif_rows::next_row()
{
    ++rows_put_;
    if (order_ == gif_row_order::sequential) {
        row_ = rows_put_;
        return;
    }
    row_ += passes[pass_].step;
    while (row_ >= height_ && pass_ < last_pass)
        row_ = passes[++pass_].start;
}

int32_t gif_rows::put_row(uint8_t* line)
{
    if (bit_count_ < 5) {
        gif_pack_bytes(line, packed_.bytes(), width_, bit_count_);
        return sink_.put(packed_.bytes(), row_, row_bytes_);
    }
    // The row goes out from where it lies, with zeros for the pixels that follow it.
    uint8_t* const behind = line + width_;
    const auto padded = static_cast<size_t>(row_bytes_ - width_);
    uint8_t kept[4];
    std::memcpy(kept, behind, sizeof kept);
    std::memset(behind, 0, padded);
    const int32_t result = sink_.put(line, row_, row_bytes_);
    std::memcpy(behind, kept, sizeof kept);
    return result;
}

int32_t gif_rows::put_whole_rows(uint8_t* pixels, size_t count, size_t& used)
{
    const auto width = static_cast<size_t>(width_);
    for (used = 0; count - used >= width && !done(); used += width) {
        if (int32_t err = put_row(pixels + used); err < 0) return err;
        next_row();
    }
    return 0;
}
