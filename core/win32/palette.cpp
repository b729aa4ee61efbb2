// palette.cpp - the logical palette of an image.

#include "core/image_object.h"

namespace {

PALETTEENTRY cube_entry(int i)
{
    return {static_cast<BYTE>(((i & 0xE0) >> 5) * 255 / 7),
            static_cast<BYTE>(((i & 0x1C) >> 2) * 255 / 7), static_cast<BYTE>((i & 3) * 85), 0};
}

PALETTEENTRY table_entry(const RGBQUAD& color)
{
    return {color.rgbRed, color.rgbGreen, color.rgbBlue, 0};
}

// 2, 16 or 256 entries; a 24-bit image gets the 3-3-2 cube, an 8-bit one all 256 entries
// whatever its header says is used.
void fill_palette(LOGPALETTE* palette, const BITMAPINFOHEADER* header)
{
    const int count = header->biBitCount == 24 ? 256 : palette_entries(header->biBitCount);
    palette->palVersion = 0x300;
    palette->palNumEntries = static_cast<WORD>(count);
    for (int i = 0; i < count; ++i)
        palette->palPalEntry[i] =
            header->biBitCount == 24 ? cube_entry(i) : table_entry(dib_colors(header)[i]);
}

} // namespace

int32_t IMG_STD IMG_bitmap_palette(int32_t handle, HDC dc)
{
    dib_lock image(handle);
    if (image.error()) return image.error();
    alignas(LOGPALETTE) unsigned char block[4 * 256 + 8];
    auto* entries = reinterpret_cast<LOGPALETTE*>(block);
    fill_palette(entries, image.header());
    HPALETTE palette = CreatePalette(entries);
    if (!palette) return err_memory;
    // Selected before the old one is deleted, which may still be in the device context.
    SelectPalette(dc, palette, FALSE);
    RealizePalette(dc);
    if (image->palette) DeleteObject(image->palette);
    image->palette = palette;
    return 0;
}
