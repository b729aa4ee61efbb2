// dib_rows.cpp - rows of a DIB and the library's fixed colour tables.

#include "core/dib_rows.h"

#include <cstring>

namespace {

bool same_name(const char* a, const char* b)
{
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    for (; *a && *b; ++a, ++b)
        if (lower(*a) != lower(*b)) return false;
    return *a == *b;
}

RGBQUAD make_color(int32_t blue, int32_t green, int32_t red)
{
    return {static_cast<BYTE>(blue), static_cast<BYTE>(green), static_cast<BYTE>(red), 0};
}

void grey_ramp(RGBQUAD* colors, int32_t entries)
{
    const int32_t step = 256 / entries;
    for (int32_t i = 0; i < entries; ++i)
        colors[i] = make_color(i * step, i * step, i * step);
}

void color_cube(RGBQUAD* colors, int32_t entries)
{
    for (int32_t i = 0; i < entries; ++i)
        colors[i] = make_color((i & 3) * 85, ((i & 28) >> 2) * 255 / 7, ((i & 224) >> 5) * 255 / 7);
}

// Entries 8 to 15 repeat the bits at full level, so entry 8 is black again.
void sixteen_colors(RGBQUAD* colors, int32_t half_level)
{
    for (int32_t i = 0; i < 16; ++i) {
        const int32_t level = i < 8 ? half_level : 255;
        colors[i] = make_color(i & 4 ? level : 0, i & 2 ? level : 0, i & 1 ? level : 0);
    }
}

void put_color(uint16_t* to, const RGBQUAD& color, uint16_t grey)
{
    to[0] = color.rgbBlue;
    to[1] = color.rgbGreen;
    to[2] = color.rgbRed;
    to[3] = grey;
}

} // namespace

void get_dib_raster(const void* pixels, void* destination, int32_t stored_row,
                    int32_t bytes_per_line)
{
    std::memcpy(destination,
                static_cast<const uint8_t*>(pixels) + size_t(stored_row) * size_t(bytes_per_line),
                size_t(bytes_per_line));
}

void put_dib_raster(const void* source, void* pixels, int32_t stored_row, int32_t bytes_per_line)
{
    std::memcpy(static_cast<uint8_t*>(pixels) + size_t(stored_row) * size_t(bytes_per_line), source,
                size_t(bytes_per_line));
}

bool has_color(const BITMAPINFOHEADER* header)
{
    if (header->biBitCount == 24) return true;
    const RGBQUAD* colors = dib_colors(header);
    for (int32_t i = 0; i < palette_entries(header->biBitCount); ++i)
        if (colors[i].rgbBlue != colors[i].rgbGreen || colors[i].rgbGreen != colors[i].rgbRed)
            return true;
    return false;
}

int32_t is_color(int32_t handle)
{
    dib_lock image(handle);
    if (image.error()) return image.error();
    return has_color(image.header());
}

void create_dib_palette(BITMAPINFOHEADER* header, const char* type_name)
{
    RGBQUAD* colors = dib_colors(header);
    if (header->biBitCount == 24) return;
    if (header->biBitCount == 1) {
        colors[0] = make_color(0, 0, 0);
        colors[1] = make_color(255, 255, 255);
        return;
    }
    const int32_t entries = palette_entries(header->biBitCount);
    if (same_name(type_name, "tiff"))
        grey_ramp(colors, entries);
    else if (same_name(type_name, "targa"))
        color_cube(colors, entries);
    else
        sixteen_colors(colors, same_name(type_name, "dither") ? 200 : 128);
}

int32_t fetch_color_raster(const image_object& object, uint16_t* color_row, uint8_t* row_buffer,
                           const BITMAPINFOHEADER* header, int32_t stored_row)
{
    if (stored_row >= object.height) stored_row = object.height - 1;
    get_dib_raster(dib_rows(header), row_buffer, stored_row,
                   static_cast<int32_t>(object.bytes_per_line));
    const RGBQUAD* colors = dib_colors(header);
    for (int32_t x = 0; x < object.width; ++x, color_row += 4) {
        if (header->biBitCount == 4) {
            const int index = x & 1 ? row_buffer[x / 2] & 15 : row_buffer[x / 2] >> 4;
            const RGBQUAD& c = colors[index];
            put_color(color_row, c, weighted_grey(c.rgbRed, c.rgbGreen, c.rgbBlue));
        } else if (header->biBitCount == 8) {
            const RGBQUAD& c = colors[row_buffer[x]];
            put_color(color_row, c, grey_of_entry(c));
        } else if (header->biBitCount == 24) {
            const uint8_t* p = row_buffer + size_t(x) * 3;
            put_color(color_row, {p[0], p[1], p[2], 0}, grey_of_pixel(p[0], p[1], p[2]));
        }
    }
    return 0;
}
