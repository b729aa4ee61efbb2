// mock_dib.h - the packed DIB of a test page.
#pragma once

#include "tests/win32/twain/mock_manager.h"

#include <cstring>
#include <windows.h>

inline HGLOBAL mock_make_page(int page)
{
    constexpr int stride = (mock_width + 31) / 32 * 4;
    HGLOBAL block = GlobalAlloc(GHND, sizeof(BITMAPINFOHEADER) + 8 + stride * mock_height);
    auto* bytes = static_cast<uint8_t*>(GlobalLock(block));
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = mock_width;
    header.biHeight = mock_height;
    header.biPlanes = 1;
    header.biBitCount = 1;
    std::memcpy(bytes, &header, sizeof header);
    std::memset(bytes + sizeof header + 4, 0xFF, 3);
    uint8_t* rows = bytes + sizeof header + 8;
    for (int y = 0; y < mock_height; ++y)
        for (int x = 0; x < mock_width; ++x)
            if (mock_pixel(page, x, y))
                rows[(mock_height - 1 - y) * stride + x / 8] |= static_cast<uint8_t>(0x80 >> x % 8);
    GlobalUnlock(block);
    return block;
}
