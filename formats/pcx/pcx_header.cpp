// pcx_header.cpp - the PCX header and the colour tables that it holds or implies.

#include "formats/pcx/pcx_header.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr int combine(int bits, int planes)
{
    return bits * 16 + planes;
}

// The colours of an EGA at power-up, red, green, blue.
// clang-format off
constexpr uint8_t ega_colors[16][3] = {
    {0x00, 0x00, 0x00}, {0x00, 0x00, 0xAA}, {0x00, 0xAA, 0x00}, {0x00, 0xAA, 0xAA},
    {0xAA, 0x00, 0x00}, {0xAA, 0x00, 0xAA}, {0xAA, 0x55, 0x00}, {0xAA, 0xAA, 0xAA},
    {0x55, 0x55, 0x55}, {0x55, 0x55, 0xFF}, {0x55, 0xFF, 0x55}, {0x55, 0xFF, 0xFF},
    {0xFF, 0x55, 0x55}, {0xFF, 0x55, 0xFF}, {0xFF, 0xFF, 0x55}, {0xFF, 0xFF, 0xFF},
};
// clang-format on

bool all_zero(const uint8_t* bytes, size_t count)
{
    return std::all_of(bytes, bytes + count, [](uint8_t b) { return b == 0; });
}

// The window's corners are inclusive and unsigned; where it lies does not matter.
bool set_window(pcx_header& h, byte_reader& in)
{
    const int32_t x_min = in.u16(), y_min = in.u16();
    const int32_t x_max = in.u16(), y_max = in.u16();
    h.width = x_max - x_min + 1;
    h.height = y_max - y_min + 1;
    return h.width > 0 && h.height > 0;
}

// The colour settings of a CGA, which four-colour files without a palette carry instead.
void cga_colors(const pcx_header& h, RGBQUAD* colors)
{
    const uint8_t* p = h.palette;
    bool mono = false, green_set, bright;
    if (h.palette_info == 0) {
        mono = p[3] & 0x80; // colour burst off
        green_set = !(p[3] & 0x40);
        bright = p[3] & 0x20;
    } else { // a later convention, told by the components of entry 1
        green_set = p[4] > p[5];
        bright = std::max(p[4], p[5]) > 200;
    }
    const int base = bright ? 8 : 0;
    const int first = mono || !green_set ? 3 : 2;
    const int indices[4] = {p[0] >> 4, base + first, base + (mono ? 4 : first + 2),
                            base + (mono ? 7 : first + 4)};
    for (int i = 0; i < 4; ++i)
        pcx_copy_colors(ega_colors[indices[i]], 1, colors + i);
}

// Left-over colours are common in 1-bit files, where they mean nothing: two entries count
// only when nothing stands behind them.
void mono_colors(const pcx_header& h, RGBQUAD* colors)
{
    constexpr uint8_t black_white[6] = {0, 0, 0, 255, 255, 255};
    const bool own = !std::equal(h.palette, h.palette + 3, h.palette + 3) &&
                     all_zero(h.palette + 6, pcx_palette_bytes - 6);
    pcx_copy_colors(own ? h.palette : black_white, 2, colors);
}

bool is_screen_size(int x, int y)
{
    constexpr struct {
        int width, height;
    } sizes[] = {{320, 200}, {640, 200}, {640, 350},  {640, 400},
                 {640, 480}, {800, 600}, {1024, 768}, {1280, 1024}};
    return std::any_of(std::begin(sizes), std::end(sizes),
                       [=](const auto& s) { return s.width == x && s.height == y; });
}

} // namespace

int32_t pcx_header::dib_bits() const
{
    switch (combine(bits, planes)) {
    case combine(1, 1): return 1;
    case combine(1, 2):
    case combine(1, 3):
    case combine(1, 4):
    case combine(2, 1):
    case combine(4, 1): return 4;
    case combine(8, 1): return 8;
    case combine(8, 3):
    case combine(8, 4): return 24; // the fourth plane is opacity, which a DIB has not
    default: return 0;
    }
}

int32_t pcx_read_header(byte_source& in, pcx_header& h)
{
    uint8_t bytes[pcx_header_bytes];
    if (in.read(bytes, sizeof bytes) != sizeof bytes) return in.failed() ? err_corrupt : err_format;
    byte_reader fields(bytes, sizeof bytes, byte_order::little);
    const uint8_t manufacturer = fields.u8();
    h.version = fields.u8();
    h.encoding = fields.u8();
    h.bits = fields.u8();
    const bool window_sound = set_window(h, fields);
    h.x_dpi = fields.u16();
    h.y_dpi = fields.u16();
    std::copy_n(fields.take(pcx_palette_bytes), pcx_palette_bytes, h.palette);
    fields.u8(); // reserved; the video mode in old files
    h.planes = fields.u8();
    h.plane_bytes = fields.u16();
    h.palette_info = fields.u16();

    if (manufacturer != pcx_manufacturer || h.version > 5 || h.version == 1) return err_format;
    if (h.encoding > pcx_rle || !window_sound) return err_format;
    if ((h.bits != 1 && h.bits != 2 && h.bits != 4 && h.bits != 8) || h.planes < 1 || h.planes > 4)
        return err_format;
    if (h.dib_bits() == 0) return err_unsupported;
    if (h.plane_bytes < (h.width * h.bits + 7) / 8) return err_format;
    return dib_fits(h.width, h.height, h.dib_bits()) ? 0 : err_memory;
}

void pcx_set_resolution(const pcx_header& h, BITMAPINFOHEADER& info)
{
    const auto plausible = [](int dpi) { return dpi >= 10 && dpi <= 4800; };
    if (!plausible(h.x_dpi) || !plausible(h.y_dpi) || is_screen_size(h.x_dpi, h.y_dpi)) return;
    if (h.x_dpi == h.width && h.y_dpi == h.height) return;
    info.biXPelsPerMeter = h.x_dpi;
    info.biYPelsPerMeter = h.y_dpi;
}

void pcx_copy_colors(const uint8_t* rgb, int32_t count, RGBQUAD* colors)
{
    for (int32_t i = 0; i < count; ++i, rgb += 3)
        colors[i] = {rgb[2], rgb[1], rgb[0], 0};
}

void pcx_header_colors(const pcx_header& h, RGBQUAD* colors)
{
    const int depth = h.bits * h.planes;
    if (depth == 1) {
        mono_colors(h, colors);
    } else if (h.bits == 2 && all_zero(h.palette + 6, 6)) {
        cga_colors(h, colors);
    } else if (h.bits != 2 &&
               (h.version == 0 || h.version == 3 || all_zero(h.palette, pcx_palette_bytes))) {
        pcx_copy_colors(ega_colors[0], 1 << depth, colors);
    } else {
        pcx_copy_colors(h.palette, 1 << depth, colors);
    }
}
