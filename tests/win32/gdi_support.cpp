// gdi_support.cpp - pictures, canvases and windows for the tests with a real GDI.

#include "tests/win32/gdi_support.h"

#include <algorithm>
#include <winspool.h>

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

test_picture::test_picture(int32_t width, int32_t height, int32_t bits)
    : dib(random_dib(width, height, bits, 1, static_cast<uint32_t>(width * height))),
      handle(dib.create()), copy(copy_image(handle))
{
}

byte_vector test_picture::packed() const
{
    const auto* bytes = static_cast<const uint8_t*>(dib.packed());
    return {bytes, bytes + sizeof(BITMAPINFOHEADER) + dib.table_bytes() +
                       test_stride(copy.width, copy.bits) * copy.height};
}

canvas::canvas(int32_t width, int32_t height, int32_t bits, color fill)
    : width_(width), height_(height), dc_(CreateCompatibleDC(nullptr))
{
    test_dib dib(1, 1, std::min(bits, 24));
    dib.header()->biWidth = width;
    dib.header()->biHeight = -height;
    dib.header()->biBitCount = static_cast<WORD>(bits);
    bitmap_ = CreateDIBSection(dc_, static_cast<const BITMAPINFO*>(dib.packed()), DIB_RGB_COLORS,
                               nullptr, nullptr, 0);
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

taken_gdi_handles::taken_gdi_handles(size_t leave)
{
    while (HBRUSH brush = CreateSolidBrush(RGB(1, 2, 3)))
        taken_.push_back(brush);
    for (; leave > 0 && !taken_.empty(); --leave, taken_.pop_back())
        DeleteObject(taken_.back());
}

taken_gdi_handles::~taken_gdi_handles()
{
    for (HBRUSH brush : taken_)
        DeleteObject(brush);
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
    for (int i = 0; i < 200; ++i, Sleep(50))
        if (condition()) return true;
    return false;
}

PROCESS_INFORMATION start_process(std::string command)
{
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                   &process);
    return process;
}

const char* postscript_printer()
{
    static char name[] = "Trevolan test printer", driver_file[] = "wineps.drv";
    static char port[] = "FILE:", processor[] = "WinPrint", type[] = "RAW";
    char description[MAX_PATH];
    GetFullPathNameA(TREVOLAN_TEST_DATA "/printer.ppd", MAX_PATH, description, nullptr);
    DRIVER_INFO_3A driver{};
    driver.cVersion = 3;
    driver.pName = name;
    driver.pDriverPath = driver.pConfigFile = driver_file;
    driver.pDataFile = description;
    AddPrinterDriverExA(nullptr, 3, reinterpret_cast<BYTE*>(&driver),
                        APD_COPY_NEW_FILES | APD_COPY_FROM_DIRECTORY);
    PRINTER_INFO_2A printer{};
    printer.pPrinterName = printer.pDriverName = name;
    printer.pPortName = port;
    printer.pPrintProcessor = processor;
    printer.pDatatype = type;
    HANDLE added = AddPrinterA(nullptr, 2, reinterpret_cast<BYTE*>(&printer));
    const bool there = added || GetLastError() == ERROR_PRINTER_ALREADY_EXISTS;
    if (added) ClosePrinter(added);
    return there && SetDefaultPrinterA(name) ? name : nullptr;
}

pixmap printed_page(const std::string& postscript)
{
    // Drive Z is the root of the file system that the other program sees.
    char path[MAX_PATH] = "  ";
    GetFullPathNameA(postscript.c_str(), MAX_PATH, path, nullptr);
    std::string there = path + 2;
    std::replace(there.begin(), there.end(), '\\', '/');
    const PROCESS_INFORMATION process =
        start_process("start.exe /unix /usr/bin/gs -q -dNOPAUSE -dBATCH -sDEVICE=ppmraw -r18 "
                      "-sOutputFile=" +
                      there + ".ppm " + there);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    pixmap page;
    wait_for([&] { return (page = read_pixmap(postscript + ".ppm")).width > 0; });
    std::remove((postscript + ".ppm").c_str());
    return page;
}
