// gdi_support.cpp - images, canvases and windows for the tests with a real GDI.

#include "tests/win32/gdi_support.h"

#include <cstring>
#include <random>

namespace {

struct bitmap_info {
    BITMAPINFOHEADER header{};
    RGBQUAD colors[256]{};

    bitmap_info(int32_t width, int32_t height, int32_t bits)
    {
        header.biSize = sizeof header;
        header.biWidth = width;
        header.biHeight = height;
        header.biPlanes = 1;
        header.biBitCount = static_cast<WORD>(bits);
    }
    const BITMAPINFO* get() const { return reinterpret_cast<const BITMAPINFO*>(this); }
};

color of_quad(const RGBQUAD& q)
{
    return static_cast<color>(q.rgbRed << 16 | q.rgbGreen << 8 | q.rgbBlue);
}

color of_colorref(COLORREF c)
{
    return static_cast<color>(GetRValue(c) << 16 | GetGValue(c) << 8 | GetBValue(c));
}

std::vector<color> read_pixels(HDC dc, int32_t width, int32_t height)
{
    const bitmap_info info(width, -height, 32);
    void* bits = nullptr;
    HDC memory = CreateCompatibleDC(dc);
    HBITMAP section = CreateDIBSection(memory, info.get(), DIB_RGB_COLORS, &bits, nullptr, 0);
    HGDIOBJ old = SelectObject(memory, section);
    BitBlt(memory, 0, 0, width, height, dc, 0, 0, SRCCOPY);
    GdiFlush();
    std::vector<color> pixels(static_cast<size_t>(width) * static_cast<size_t>(height));
    std::memcpy(pixels.data(), bits, pixels.size() * 4);
    for (color& p : pixels)
        p &= 0xFFFFFF;
    SelectObject(memory, old);
    DeleteObject(section);
    DeleteDC(memory);
    return pixels;
}

LRESULT CALLBACK window_procedure(HWND window, UINT message, WPARAM w, LPARAM l)
{
    if (message == WM_ERASEBKGND) return 1;
    // Left invalid, so that a test can ask for the paint structure itself.
    if (message == WM_PAINT) return 0;
    return DefWindowProcA(window, message, w, l);
}

} // namespace

test_picture::test_picture(int32_t width, int32_t height, int32_t bits)
    : width_(width), height_(height), bits_(bits)
{
    bitmap_info info(width, height, bits);
    std::mt19937 random(static_cast<uint32_t>(width * 7 + height * 3 + bits));
    for (RGBQUAD& c : info.colors)
        c = {static_cast<BYTE>(random()), static_cast<BYTE>(random()), static_cast<BYTE>(random()),
             0};
    if (bits == 1) {
        info.colors[0] = {0, 0, 0, 0};
        info.colors[1] = {255, 255, 255, 0};
    }
    stride_ = (static_cast<size_t>(width) * static_cast<size_t>(bits) + 31) / 32 * 4;
    rows_at_ = sizeof info.header + (bits == 24 ? 0 : sizeof(RGBQUAD) << bits);
    packed_.resize(rows_at_ + stride_ * static_cast<size_t>(height));
    std::memcpy(packed_.data(), &info, rows_at_);
    for (size_t i = rows_at_; i < packed_.size(); ++i)
        packed_[i] = static_cast<uint8_t>(random());
    handle_ = IMG_create_handle(packed_.data());
    EXPECT_GE(handle_, 0);
}

test_picture::~test_picture()
{
    IMG_delete_bitmap(handle_);
}

color test_picture::at(int32_t x, int32_t y) const
{
    const uint8_t* row = packed_.data() + rows_at_ + stride_ * static_cast<size_t>(height_ - 1 - y);
    if (bits_ == 24) {
        const uint8_t* p = row + 3 * x;
        return static_cast<color>(p[2] << 16 | p[1] << 8 | p[0]);
    }
    const int32_t per_byte = 8 / bits_;
    const int32_t shift = (per_byte - 1 - x % per_byte) * bits_;
    const int32_t index = row[x / per_byte] >> shift & ((1 << bits_) - 1);
    RGBQUAD quad;
    std::memcpy(&quad, packed_.data() + sizeof(BITMAPINFOHEADER) + 4 * index, 4);
    return of_quad(quad);
}

canvas::canvas(int32_t width, int32_t height, int32_t bits, color fill)
    : width_(width), height_(height), dc_(CreateCompatibleDC(nullptr))
{
    bitmap_info info(width, -height, bits);
    const int entries = bits <= 8 ? 1 << bits : 0;
    for (int i = 0; i < entries; ++i) {
        const auto v = static_cast<BYTE>(255 * i / (entries - 1));
        info.colors[i] = {v, v, v, 0};
    }
    void* pixels = nullptr;
    bitmap_ = CreateDIBSection(dc_, info.get(), DIB_RGB_COLORS, &pixels, nullptr, 0);
    old_ = SelectObject(dc_, bitmap_);
    const RECT all{0, 0, width, height};
    HBRUSH brush = CreateSolidBrush(RGB(fill >> 16, fill >> 8 & 255, fill & 255));
    FillRect(dc_, &all, brush);
    DeleteObject(brush);
}

canvas::~canvas()
{
    SelectObject(dc_, old_);
    DeleteObject(bitmap_);
    DeleteDC(dc_);
}

color canvas::at(int32_t x, int32_t y) const
{
    return of_colorref(GetPixel(dc_, x, y));
}

std::vector<color> canvas::pixels() const
{
    return read_pixels(dc_, width_, height_);
}

// One window serves all tests: showing a new one takes seconds.
test_window::test_window(int32_t client_width, int32_t client_height)
{
    static HWND shared = nullptr;
    if (!shared) {
        WNDCLASSA window_class{};
        window_class.lpfnWndProc = window_procedure;
        window_class.hInstance = GetModuleHandleA(nullptr);
        window_class.lpszClassName = "trevolan_test";
        RegisterClassA(&window_class);
        shared = CreateWindowExA(WS_EX_TOPMOST, "trevolan_test", "", WS_POPUP | WS_VISIBLE, 10, 10,
                                 client_width, client_height, nullptr, nullptr,
                                 window_class.hInstance, nullptr);
    }
    window_ = shared;
    settle();
    set_client(client_width, client_height);
}

test_window::~test_window()
{
    for (const int bar : {SB_HORZ, SB_VERT})
        SetScrollRange(window_, bar, 0, 0, FALSE);
    settle();
}

int32_t test_window::client_width() const
{
    RECT client{};
    GetClientRect(window_, &client);
    return client.right;
}

int32_t test_window::client_height() const
{
    RECT client{};
    GetClientRect(window_, &client);
    return client.bottom;
}

void test_window::set_client(int32_t width, int32_t height)
{
    RECT frame{};
    GetWindowRect(window_, &frame);
    SetWindowPos(window_, HWND_TOPMOST, 0, 0, frame.right - frame.left + width - client_width(),
                 frame.bottom - frame.top + height - client_height(), SWP_NOMOVE);
    settle();
}

std::vector<color> test_window::pixels() const
{
    HDC dc = GetDC(window_);
    std::vector<color> pixels = read_pixels(dc, client_width(), client_height());
    ReleaseDC(window_, dc);
    return pixels;
}

void test_window::settle() const
{
    for (int i = 0; i < 5; ++i) {
        MSG message;
        while (PeekMessageA(&message, nullptr, 0, WM_PAINT - 1, PM_REMOVE) ||
               PeekMessageA(&message, nullptr, WM_PAINT + 1, 0xFFFF, PM_REMOVE))
            DispatchMessageA(&message);
        Sleep(5);
    }
}

int32_t free_gdi_handles()
{
    std::vector<HBRUSH> taken;
    while (HBRUSH brush = CreateSolidBrush(RGB(1, 2, 3)))
        taken.push_back(brush);
    for (HBRUSH brush : taken)
        DeleteObject(brush);
    return static_cast<int32_t>(taken.size());
}

no_gdi_handles::no_gdi_handles(int32_t leave)
{
    while (HBRUSH brush = CreateSolidBrush(RGB(1, 2, 3)))
        taken_.push_back(brush);
    for (; leave > 0 && !taken_.empty(); --leave) {
        DeleteObject(taken_.back());
        taken_.pop_back();
    }
}

no_gdi_handles::~no_gdi_handles()
{
    for (HBRUSH brush : taken_)
        DeleteObject(brush);
}
