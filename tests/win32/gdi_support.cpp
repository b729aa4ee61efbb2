// gdi_support.cpp - pictures, canvases and windows for the tests with a real GDI.

#include "tests/win32/gdi_support.h"

#include <algorithm>

namespace {

std::vector<color> read_pixels(HDC dc, int32_t width, int32_t height)
{
    const canvas copy(width, height);
    BitBlt(copy.dc(), 0, 0, width, height, dc, 0, 0, SRCCOPY);
    BITMAP section;
    GetObjectA(copy.bitmap(), sizeof section, &section);
    GdiFlush();
    const auto* bits = static_cast<const color*>(section.bmBits);
    std::vector<color> pixels(bits, bits + width * height);
    for (color& p : pixels)
        p &= 0xFFFFFF;
    return pixels;
}

LRESULT CALLBACK window_procedure(HWND window, UINT message, WPARAM w, LPARAM l)
{
    if (message == WM_ERASEBKGND) return 1;
    // Left invalid, so that a test can ask for the paint structure itself.
    if (message == WM_PAINT) return 0;
    return DefWindowProcA(window, message, w, l);
}

HWND create_window()
{
    WNDCLASSA window_class{};
    window_class.lpfnWndProc = window_procedure;
    window_class.lpszClassName = "trevolan_test";
    RegisterClassA(&window_class);
    return CreateWindowExA(WS_EX_TOPMOST, "trevolan_test", "", WS_POPUP | WS_VISIBLE, 10, 10, 100,
                           100, nullptr, nullptr, nullptr, nullptr);
}

} // namespace

canvas::canvas(int32_t width, int32_t height, int32_t bits, color fill)
    : width_(width), height_(height), dc_(CreateCompatibleDC(nullptr))
{
    picture dib(1, 1, std::min(bits, 24));
    dib.header()->biWidth = width;
    dib.header()->biHeight = -height;
    dib.header()->biBitCount = static_cast<WORD>(bits);
    bitmap_ = CreateDIBSection(dc_, reinterpret_cast<const BITMAPINFO*>(dib.header()),
                               DIB_RGB_COLORS, nullptr, nullptr, 0);
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

std::vector<color> canvas::pixels() const
{
    return read_pixels(dc_, width_, height_);
}

void canvas::expect(const std::function<color(int32_t, int32_t)>& expected) const
{
    const std::vector<color> seen = pixels();
    for (int32_t y = 0; y < height_; ++y)
        for (int32_t x = 0; x < width_; ++x)
            ASSERT_EQ(seen[static_cast<size_t>(y * width_ + x)], expected(x, y)) << x << "," << y;
}

// One window serves all tests: showing a new one takes seconds.
test_window::test_window(int32_t client_width, int32_t client_height)
{
    static HWND shared = create_window();
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

SIZE test_window::client() const
{
    RECT client{};
    GetClientRect(window_, &client);
    return {client.right, client.bottom};
}

void test_window::set_client(int32_t width, int32_t height) const
{
    RECT frame{};
    GetWindowRect(window_, &frame);
    const SIZE now = client();
    SetWindowPos(window_, HWND_TOPMOST, 0, 0, frame.right - frame.left + width - now.cx,
                 frame.bottom - frame.top + height - now.cy, SWP_NOMOVE);
    settle();
}

std::vector<color> test_window::pixels() const
{
    HDC dc = GetDC(window_);
    std::vector<color> pixels = read_pixels(dc, client().cx, client().cy);
    ReleaseDC(window_, dc);
    return pixels;
}

void test_window::settle() const
{
    MSG message;
    for (int i = 0; i < 5; ++i, Sleep(5))
        while (PeekMessageA(&message, nullptr, 0, WM_PAINT - 1, PM_REMOVE) ||
               PeekMessageA(&message, nullptr, WM_PAINT + 1, 0xFFFF, PM_REMOVE))
            DispatchMessageA(&message);
}

replaced_call::replaced_call(const char* system_dll, const char* name, void* replacement)
    : original_(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA(system_dll), name)))
{
    auto* base = reinterpret_cast<uint8_t*>(GetModuleHandleA("trevolan.dll"));
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* pe = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const auto& table = pe->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IAT];
    auto** begin = reinterpret_cast<void**>(base + table.VirtualAddress);
    auto** end = begin + table.Size / sizeof(void*);
    slot_ = std::find(begin, end, original_);
    if (slot_ == end) slot_ = nullptr;
    EXPECT_TRUE(slot_) << name;
    set(replacement);
}

void replaced_call::set(void* function) const
{
    DWORD old = 0;
    if (!slot_ || !VirtualProtect(slot_, sizeof(void*), PAGE_READWRITE, &old)) return;
    *slot_ = function;
    VirtualProtect(slot_, sizeof(void*), old, &old);
}

bool wait_for(const std::function<bool()>& condition)
{
    const DWORD start = GetTickCount();
    for (; GetTickCount() - start < 20000; Sleep(5))
        if (condition()) return true;
    return false;
}

child_process::child_process(std::string command)
{
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    EXPECT_TRUE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                               nullptr, &startup, &process_))
        << command;
}

child_process::~child_process()
{
    TerminateProcess(handle(), 1);
    CloseHandle(handle());
    CloseHandle(process_.hThread);
}

DWORD child_process::exit_code() const
{
    DWORD code = 1;
    WaitForSingleObject(handle(), 20000);
    GetExitCodeProcess(handle(), &code);
    return code;
}
