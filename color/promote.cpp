// promote.cpp - the same picture with more bits per pixel.

#include "core/image.h"
#include "core/new_dib.h"

namespace {

int32_t index_of_pixel(const uint8_t* row, int32_t x, int32_t bits_per_pixel)
{
    if (bits_per_pixel == 1) return row[x / 8] >> (7 - (x & 7)) & 1;
    if (bits_per_pixel == 4) return x & 1 ? row[x / 2] & 15 : row[x / 2] >> 4;
    return row[x];
}

// Each byte of a row as the bytes of its pixels, for rows of 1 and 4 bits (8 and 2 pixels a
// byte) turned into indices or colours of up to 24 bytes.
class byte_expander {
public:
    byte_expander(const BITMAPINFOHEADER* header, int32_t to_bits)
        : header_(header), to_bits_(to_bits)
    {
        if (header->biBitCount == 8) return;
        for (int32_t value = 0; value < 256; ++value) {
            const auto byte = static_cast<uint8_t>(value);
            convert_pixels(&byte, pixels_[value], 8 / header->biBitCount);
        }
    }

    void convert_to_8bit(const uint8_t* from, uint8_t* to) const
    {
        const int32_t width = header_->biWidth;
        switch (header_->biBitCount) {
        case 1: return expand<8, 8>(from, to, width);
        case 4: return expand<2, 2>(from, to, width);
        default: std::memcpy(to, from, size_t(size_for_long(width, 8)));
        }
    }

    void convert_to_24bit(const uint8_t* from, uint8_t* to) const
    {
        const int32_t width = header_->biWidth;
        switch (header_->biBitCount) {
        case 1: return expand<8, 24>(from, to, width);
        case 4: return expand<2, 6>(from, to, width);
        default: look_up(from, to, width);
        }
    }

private:
    void convert_pixels(const uint8_t* from, uint8_t* to, int32_t count) const
    {
        for (int32_t x = 0; x < count; ++x) {
            const int32_t index = index_of_pixel(from, x, header_->biBitCount);
            if (to_bits_ == 8)
                *to++ = static_cast<uint8_t>(index);
            else
                to = static_cast<uint8_t*>(std::memcpy(to, &dib_colors(header_)[index], 3)) + 3;
        }
    }

    template <int32_t pixels, int32_t bytes>
    void expand(const uint8_t* from, uint8_t* to, int32_t width) const
    {
        for (int32_t x = 0; x + pixels <= width; x += pixels, to += bytes)
            std::memcpy(to, pixels_[*from++], bytes);
        convert_pixels(from, to, width % pixels);
    }

    // Four colours of three bytes make a word of eight bytes and one of four.
    void look_up(const uint8_t* from, uint8_t* to, int32_t width) const
    {
        uint32_t colors[256];
        std::memcpy(colors, dib_colors(header_), sizeof colors);
        for (uint32_t& c : colors)
            c &= 0xFFFFFF;
        for (; width >= 4; width -= 4, from += 4, to += 12) {
            const uint32_t c = colors[from[2]];
            const uint64_t first =
                colors[from[0]] | uint64_t{colors[from[1]]} << 24 | uint64_t{c} << 48;
            const uint32_t rest = c >> 16 | colors[from[3]] << 8;
            std::memcpy(to, &first, sizeof first);
            std::memcpy(to + sizeof first, &rest, sizeof rest);
        }
        convert_pixels(from, to, width);
    }

    const BITMAPINFOHEADER* header_;
    int32_t to_bits_;
    uint8_t pixels_[256][24];
};

int32_t promote(int32_t handle, int32_t bits_per_pixel)
{
    dib_lock image(handle);
    if (image.error()) return image.error();
    if (image.header()->biBitCount == 24) return err_unsupported;
    new_dib target(image.header());
    target.set_size(image->width, image->height, bits_per_pixel);
    if (int32_t err = target.create(); err < 0) return err;
    const byte_expander expander(image.header(), bits_per_pixel);
    for (int32_t r = 0; r < image->height; ++r)
        if (bits_per_pixel == 8)
            expander.convert_to_8bit(image.row(r), target.row(r));
        else
            expander.convert_to_24bit(image.row(r), target.row(r));
    target.install(image, saved_colors::forget);
    return 0;
}

} // namespace

// INTENDED: an 8-bit image is taken too and comes out the same in a new block.
int32_t IMG_STD IMG_promote_8(int32_t handle)
{
    return promote(handle, 8);
}

int32_t IMG_STD IMG_promote_24(int32_t handle)
{
    return promote(handle, 24);
}
