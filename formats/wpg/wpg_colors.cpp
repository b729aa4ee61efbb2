// wpg_colors.cpp - default colour tables of WordPerfect graphics.

#include "formats/wpg/wpg_colors.h"

namespace {

RGBQUAD rgb(uint32_t color)
{
    return {static_cast<BYTE>(color), static_cast<BYTE>(color >> 8), static_cast<BYTE>(color >> 16),
            0};
}

// A level of the VGA's converter, 0 to 63, as 0 to 255.
uint32_t widen_6(uint32_t level)
{
    return level << 2 | level >> 4;
}

RGBQUAD grey(uint32_t level)
{
    return rgb(level * 0x010101);
}

// clang-format off
constexpr uint32_t ega[16] = {
    0x000000, 0x0000AA, 0x00AA00, 0x00AAAA, 0xAA0000, 0xAA00AA, 0xAA5500, 0xAAAAAA,
    0x555555, 0x5555FF, 0x55FF55, 0x55FFFF, 0xFF5555, 0xFF55FF, 0xFFFF55, 0xFFFFFF,
};
constexpr uint8_t vga_greys[16] = {0, 5, 8, 11, 14, 17, 20, 24, 28, 32, 36, 40, 45, 50, 56, 63};

// Levels of nine rings of hues: three brightnesses, each in three saturations.
constexpr uint8_t vga_rings[9][5] = {
    {0, 16, 31, 47, 63}, {31, 39, 47, 55, 63}, {45, 49, 54, 58, 63},
    {0,  7, 14, 21, 28}, {14, 17, 21, 24, 28}, {20, 22, 24, 26, 28},
    {0,  4,  8, 12, 16}, { 8, 10, 12, 14, 16}, {11, 12, 13, 15, 16},
};

constexpr uint32_t wpg2_named[16] = {
    0x000000, 0xFFFFFF, 0x7F7F7F, 0xBFBFBF, 0x00007F, 0x007F00, 0x007F7F, 0x7F0000,
    0x7F007F, 0x7F7F00, 0x0000FF, 0x00FF00, 0x00FFFF, 0xFF0000, 0xFF00FF, 0xFFFF00,
};
// clang-format on

// A ring goes from blue over magenta, red, yellow, green and cyan back: in each sixth one
// component climbs or falls over four levels while the others stand at the ends.
void put_ring(const uint8_t (&level)[5], RGBQUAD* colors)
{
    enum { red = 16, green = 8, blue = 0 };
    constexpr struct {
        int moving, high, low;
        bool climbs;
    } sixths[6] = {{red, blue, green, true},  {blue, red, green, false}, {green, red, blue, true},
                   {red, green, blue, false}, {blue, green, red, true},  {green, blue, red, false}};
    for (const auto& sixth : sixths)
        for (int i = 0; i < 4; ++i) {
            const uint32_t moving = widen_6(level[sixth.climbs ? i : 4 - i]);
            *colors++ = rgb(moving << sixth.moving | widen_6(level[4]) << sixth.high |
                            widen_6(level[0]) << sixth.low);
        }
}

} // namespace

void wpg1_default_colors(RGBQUAD* colors)
{
    for (int i = 0; i < 16; ++i) {
        colors[i] = rgb(ega[i]);
        colors[16 + i] = grey(widen_6(vga_greys[i]));
    }
    for (int ring = 0; ring < 9; ++ring)
        put_ring(vga_rings[ring], colors + 32 + 24 * ring);
    for (int i = 248; i < 256; ++i)
        colors[i] = rgb(0);
}

void wpg1_four_colors(RGBQUAD* colors)
{
    constexpr uint32_t cga[4] = {0x000000, 0x00AAAA, 0xAA00AA, 0xAAAAAA};
    for (int i = 0; i < 4; ++i)
        colors[i] = rgb(cga[i]);
}

void wpg2_default_colors(RGBQUAD* colors)
{
    for (uint32_t i = 0; i < 16; ++i) {
        colors[i] = rgb(wpg2_named[i]);
        colors[16 + i] = grey(17 * i);
    }
    for (uint32_t i = 32; i < 256; ++i)
        colors[i] = grey((i - 32) * 255 / 223);
}
