// clipboard.cpp - saves the clipboard's bitmap as a BMP file.

#include "core/byte_stream.h"
#include "core/settings.h"
#include "core/win32/device_bitmaps.h"
#include "core/win32/gdi_owners.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr uint32_t bmp_file_header_bytes = 14;

class clipboard {
public:
    explicit clipboard(HWND window) : open_(OpenClipboard(window) != 0) {}
    ~clipboard()
    {
        if (open_) CloseClipboard();
    }
    clipboard(const clipboard&) = delete;
    clipboard& operator=(const clipboard&) = delete;
    bool is_open() const { return open_; }

private:
    bool open_;
};

// A packed DIB locked for reading. Nothing past the block's end is read: those bytes are 0.
class packed_dib {
public:
    explicit packed_dib(HANDLE memory) : memory_(memory)
    {
        bytes_ = static_cast<const uint8_t*>(GlobalLock(memory));
        size_ = bytes_ ? GlobalSize(memory) : 0;
        if (size_ >= sizeof header_) std::memcpy(&header_, bytes_, sizeof header_);
    }
    ~packed_dib()
    {
        if (bytes_) GlobalUnlock(memory_);
    }
    packed_dib(const packed_dib&) = delete;
    packed_dib& operator=(const packed_dib&) = delete;

    bool has_header() const
    {
        return size_ >= sizeof header_ && header_.biSize >= sizeof header_ &&
               header_.biSize <= size_;
    }
    const BITMAPINFOHEADER& header() const { return header_; }
    const uint8_t* bytes() const { return bytes_; }
    void copy(uint64_t offset, void* to, size_t count) const
    {
        const size_t there =
            offset < size_ ? std::min(count, size_ - static_cast<size_t>(offset)) : 0;
        if (there) std::memcpy(to, bytes_ + offset, there);
        std::memset(static_cast<uint8_t*>(to) + there, 0, count - there);
    }
    bool holds(uint64_t offset, uint64_t count) const
    {
        return offset <= size_ && count <= size_ - offset;
    }

private:
    HANDLE memory_;
    const uint8_t* bytes_ = nullptr;
    size_t size_ = 0;
    BITMAPINFOHEADER header_{};
};

void put_file_header(byte_sink& out, const BITMAPINFOHEADER& header)
{
    const auto table_bytes = static_cast<uint32_t>(Palette_Size(&header));
    const auto stride = static_cast<uint32_t>(size_for_long(header.biWidth, header.biBitCount));
    const uint32_t head = bmp_file_header_bytes + sizeof header + table_bytes;
    out.put("BM", 2);
    out.put_u32le(static_cast<uint32_t>(header.biHeight) * stride + head);
    out.put_u32le(0);
    out.put_u32le(head);
}

void put_header_and_colors(byte_sink& out, const dib_header& header)
{
    out.put(&header, sizeof header.info + static_cast<size_t>(Palette_Size(&header.info)));
}

// Entries that a packed DIB's own colour table has.
uint32_t stored_entries(const BITMAPINFOHEADER& header)
{
    if (header.biClrUsed != 0) return header.biClrUsed;
    return static_cast<uint32_t>(palette_entries(header.biBitCount));
}

// INTENDED: the colour table is copied in its full size also where the packed DIB has fewer
// entries and rows follow; interchange mode leaves the entries that are not there black.
void copy_colors(const packed_dib& dib, dib_header& header)
{
    const auto full = static_cast<size_t>(Palette_Size(&header.info));
    const size_t own = std::min<uint64_t>(full, uint64_t{stored_entries(dib.header())} * 4);
    dib.copy(dib.header().biSize, header.colors, interchange_mode() ? own : full);
}

// A DIB whose pixels are stored as the image's are: bottom-up is not asked for.
bool is_plain(const BITMAPINFOHEADER& header)
{
    const int64_t height = header.biHeight;
    return header.biCompression == BI_RGB &&
           dib_fits(header.biWidth, height < 0 ? -height : height, header.biBitCount);
}

int32_t put_plain_rows(byte_sink& out, const packed_dib& dib, const BITMAPINFOHEADER& header)
{
    const auto stride = static_cast<uint32_t>(size_for_long(header.biWidth, header.biBitCount));
    const uint64_t rows = dib.header().biSize + uint64_t{stored_entries(dib.header())} * 4;
    const bool top_down = dib.header().biHeight < 0;
    scratch_block row(size_t{stride} + 10);
    if (!row) return err_memory;
    for (int32_t r = 0; r < header.biHeight; ++r) {
        const int32_t stored = top_down ? header.biHeight - 1 - r : r;
        dib.copy(rows + uint64_t{stride} * static_cast<uint32_t>(stored), row.bytes(), stride);
        out.put(row.bytes(), stride);
    }
    return 0;
}

// Lets GDI turn a DIB of another depth or compression into 24 bits.
int32_t put_converted_rows(byte_sink& out, const packed_dib& dib, const dib_header& header)
{
    void* pixels = nullptr;
    const window_dc screen(nullptr);
    const gdi_object<HBITMAP> section(
        CreateDIBSection(screen.get(), reinterpret_cast<const BITMAPINFO*>(&header.info),
                         DIB_RGB_COLORS, &pixels, nullptr, 0));
    if (!section) return err_memory;
    const BITMAPINFOHEADER& from = dib.header();
    const bool has_masks = from.biCompression == BI_BITFIELDS && from.biSize == sizeof from;
    const uint32_t entries =
        from.biBitCount <= 8 && from.biClrUsed == 0 ? 1U << from.biBitCount : from.biClrUsed;
    const uint64_t offset = uint64_t{from.biSize} + (has_masks ? 12 : 0) + uint64_t{entries} * 4;
    const uint64_t stride =
        (uint64_t{static_cast<uint32_t>(from.biWidth)} * from.biBitCount + 31) / 32 * 4;
    const bool compressed = from.biCompression == BI_RLE4 || from.biCompression == BI_RLE8;
    const uint64_t bytes =
        compressed ? from.biSizeImage : stride * static_cast<uint32_t>(header.info.biHeight);
    if (!dib.holds(offset, bytes)) return err_clipboard;
    const int lines = SetDIBits(screen.get(), section.get(), 0,
                                static_cast<UINT>(header.info.biHeight), dib.bytes() + offset,
                                reinterpret_cast<const BITMAPINFO*>(dib.bytes()), DIB_RGB_COLORS);
    if (lines == 0) return err_clipboard;
    GdiFlush();
    out.put(pixels, header.info.biSizeImage);
    return 0;
}

// True on displays whose colours are in a palette.
bool get_system_colors(HDC dc, dib_header& header)
{
    PALETTEENTRY entries[256];
    const int count = palette_entries(header.info.biBitCount);
    if (count == 0 || !(GetDeviceCaps(dc, RASTERCAPS) & RC_PALETTE)) return false;
    if (GetSystemPaletteEntries(dc, 0, static_cast<UINT>(count), entries) == 0) return false;
    for (int i = 0; i < count; ++i)
        header.colors[i] = {entries[i].peBlue, entries[i].peGreen, entries[i].peRed, 0};
    return true;
}

int32_t put_bitmap_rows(byte_sink& out, HDC dc, HBITMAP bitmap, const dib_header& header)
{
    const auto stride =
        static_cast<uint32_t>(size_for_long(header.info.biWidth, header.info.biBitCount));
    scratch_block row(stride);
    if (!row) return err_memory;
    // GetDIBits fills in a colour table; the one that was written stays as it is.
    dib_header described = header;
    for (int32_t r = 0; r < header.info.biHeight; ++r) {
        if (!GetDIBits(dc, bitmap, static_cast<UINT>(r), 1, row.bytes(),
                       reinterpret_cast<BITMAPINFO*>(&described.info), DIB_RGB_COLORS))
            return err_clipboard;
        out.put(row.bytes(), stride);
    }
    return 0;
}

int32_t finish(byte_sink& out, int32_t result)
{
    const int32_t flushed = out.flush();
    if (result < 0) return result;
    return flushed < 0 ? flushed : 1;
}

} // namespace

/// Writes a packed DIB (CF_DIB) as a BMP file.  1, err_memory, err_write, or err_clipboard
/// when the block holds no DIB.
int32_t get_dib_clip_bitmap(HANDLE memory, HFILE file)
{
    const packed_dib dib(memory);
    if (!dib.bytes()) return err_memory;
    if (!dib.has_header()) return err_clipboard;
    byte_sink out(file);
    if (!out.ok()) return err_memory;
    const int64_t height = dib.header().biHeight;
    const int64_t rows = height < 0 ? -height : height;
    dib_header header{};
    if (is_plain(dib.header())) {
        header.info = dib.header();
        header.info.biSize = sizeof header.info;
        header.info.biHeight = static_cast<LONG>(rows);
        copy_colors(dib, header);
        put_file_header(out, header.info);
        put_header_and_colors(out, header);
        return finish(out, put_plain_rows(out, dib, header.info));
    }
    if (!dib_fits(dib.header().biWidth, rows, 24)) return err_clipboard;
    header.set(dib.header().biWidth, static_cast<int32_t>(rows), 24);
    put_file_header(out, header.info);
    put_header_and_colors(out, header);
    return finish(out, put_converted_rows(out, dib, header));
}

/// Writes a GDI bitmap (CF_BITMAP) as a BMP file. INTENDED: on displays with a palette the
/// colour table is the first entries of the system's, in interchange mode and on other
/// displays the bitmap's own.  1, err_memory, err_write, or err_clipboard.
int32_t get_clip_hbitmap(HBITMAP bitmap, HFILE file)
{
    dib_header header;
    if (!describe_bitmap(bitmap, header)) return err_clipboard;
    byte_sink out(file);
    if (!out.ok()) return err_memory;
    const window_dc window(GetActiveWindow());
    if (interchange_mode() || !get_system_colors(window.get(), header)) {
        dib_header described = header;
        if (!GetDIBits(window.get(), bitmap, 0, 0, nullptr,
                       reinterpret_cast<BITMAPINFO*>(&described.info), DIB_RGB_COLORS))
            return err_clipboard;
        std::memcpy(header.colors, described.colors, sizeof header.colors);
    }
    put_file_header(out, header.info);
    put_header_and_colors(out, header);
    return finish(out, put_bitmap_rows(out, window.get(), bitmap, header));
}

/// Creates the file and writes the clipboard data of a format into it.  The writer's result,
/// or err_memory when the file cannot be created.
int32_t open_clp(const char* file_name, HANDLE data, UINT format)
{
    OFSTRUCT opened;
    const HFILE file = OpenFile(file_name, &opened, OF_CREATE | OF_WRITE);
    if (file == HFILE_ERROR) return err_memory;
    const int32_t result = format == CF_DIB ? get_dib_clip_bitmap(data, file)
                                            : get_clip_hbitmap(static_cast<HBITMAP>(data), file);
    _lclose(file);
    return result;
}

int32_t IMG_STD IMG_save_clipboard(const char* file_name, HWND window)
{
    if (!file_name || !*file_name) return err_memory;
    const io_scope scope;
    const clipboard board(window);
    if (!board.is_open()) return err_clipboard;
    for (const UINT format : {UINT{CF_DIB}, UINT{CF_BITMAP}}) {
        if (!IsClipboardFormatAvailable(format)) continue;
        HANDLE data = GetClipboardData(format);
        return data ? open_clp(file_name, data, format) : err_clipboard;
    }
    return err_clipboard;
}
