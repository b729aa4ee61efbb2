// device_bitmaps.cpp - images from GDI bitmaps, GDI bitmaps from images, and drawing them.

#include "core/win32/device_bitmaps.h"
#include "core/load.h"
#include "core/win32/gdi_owners.h"
#include "display/painter.h"

#include <cstring>

namespace {

// A palette in a device context as long as it lives.
class selected_palette {
public:
    selected_palette(HDC dc, HPALETTE palette) : dc_(dc)
    {
        if (!palette) return;
        old_ = SelectPalette(dc, palette, FALSE);
        RealizePalette(dc);
    }
    ~selected_palette()
    {
        if (!old_) return;
        SelectPalette(dc_, old_, FALSE);
        RealizePalette(dc_);
    }
    selected_palette(const selected_palette&) = delete;
    selected_palette& operator=(const selected_palette&) = delete;

private:
    HDC dc_;
    HPALETTE old_ = nullptr;
};

int32_t read_rows(HDC dc, HBITMAP bitmap, BITMAPINFOHEADER* header)
{
    // GetDIBits fills header and colour table again; only the colours are of use.
    dib_header described;
    described.info = *header;
    const int lines =
        GetDIBits(dc, bitmap, 0, static_cast<UINT>(header->biHeight), dib_rows(header),
                  reinterpret_cast<BITMAPINFO*>(&described.info), DIB_RGB_COLORS);
    if (lines == 0) return err_clipboard;
    std::memcpy(dib_colors(header), described.colors, static_cast<size_t>(Palette_Size(header)));
    return 1;
}

int32_t read_into_new_image(HDC dc, HBITMAP bitmap, const dib_header& header)
{
    return load_new_image([&](load_context& context) -> int32_t {
        if (int32_t err = fill_dib_struct(&header.info, reinterpret_cast<IMG_PRIVATE>(&context));
            err < 0)
            return err;
        return read_rows(dc, bitmap, find_image(context.handle)->dib);
    });
}

} // namespace

bool describe_bitmap(HBITMAP bitmap, dib_header& header)
{
    BITMAP record;
    if (!GetObjectA(bitmap, sizeof record, &record)) return false;
    const int32_t bits = record.bmPlanes * record.bmBitsPixel;
    const int32_t image_bits = bits == 1 || bits == 4 || bits == 8 ? bits : 24;
    if (!dib_fits(record.bmWidth, record.bmHeight, image_bits)) return false;
    header.set(record.bmWidth, record.bmHeight, image_bits);
    return true;
}

int32_t IMG_STD IMG_create_handle_ddb(HBITMAP bitmap, HPALETTE palette)
{
    dib_header header;
    if (!describe_bitmap(bitmap, header)) return err_clipboard;
    const window_dc screen(nullptr);
    if (!screen.get()) return err_memory;
    const selected_palette selected(screen.get(), palette);
    return read_into_new_image(screen.get(), bitmap, header);
}

int32_t IMG_STD IMG_dib_to_ddb(int32_t handle, int32_t width, int32_t height)
{
    const io_scope scope;
    dib_lock image(handle);
    if (image.error()) return image.error();
    // GDI would make a bitmap of one pixel of a size of 0.
    if (width <= 0 || height <= 0) return err_unsupported;
    const window_dc window(GetActiveWindow());
    if (!window.get()) return err_memory;
    gdi_object<HBITMAP> bitmap(CreateCompatibleBitmap(window.get(), width, height));
    if (!bitmap) return err_memory;
    {
        const memory_dc memory(window.get(), bitmap.get());
        if (!memory.holds_bitmap()) return err_memory;
        if (int32_t err = IMG_bitmap_palette(handle, memory.get()); err < 0) return err;
        // The palette locked and unlocked the DIB, which is still locked by us.
        if (int32_t err = paint_in_logical_units(image, memory.get(), 0, 0, width, height); err < 0)
            return err;
    }
    return static_cast<int32_t>(reinterpret_cast<intptr_t>(bitmap.release()));
}

int32_t IMG_STD IMG_display_ddb(HBITMAP bitmap, HDC dc, int32_t x, int32_t y)
{
    BITMAP record;
    if (!GetObjectA(bitmap, sizeof record, &record)) return err_clipboard;
    const memory_dc memory(dc, bitmap);
    if (!memory.get()) return err_memory;
    if (!memory.holds_bitmap()) return err_clipboard;
    const BOOL drawn =
        BitBlt(dc, x, y, record.bmWidth, record.bmHeight, memory.get(), 0, 0, SRCCOPY);
    return drawn ? 0 : err_clipboard;
}
