// gdi_support.h - pictures, canvases and windows for the tests with a real GDI, and ways to
// play the device's part.
#pragma once

#include "tests/support/peer_tools.h"

#include <functional>

/// 0xRRGGBB.
using color = uint32_t;

inline constexpr color background = 0x204060;

inline color color_of(COLORREF c)
{
    return static_cast<color>(GetRValue(c) << 16 | GetGValue(c) << 8 | GetBValue(c));
}

/// Base of what stands for something of the system's.
struct uncopied {
    uncopied() = default;
    uncopied(const uncopied&) = delete;
    uncopied& operator=(const uncopied&) = delete;
};

/// An image of random pixels, with random colours at 4 and 8 bits.
struct test_picture : picture {
    test_picture(int32_t w, int32_t h, int32_t b)
        : picture(random_picture(w, h, b, 1, uint32_t(w * h))), handle(create())
    {
    }
    const image_guard handle;
};

/// A memory device context with a DIB section of 1, 4, 8 (grey ramp) or 32 bits.
class canvas : uncopied {
public:
    canvas(int32_t width, int32_t height, int32_t bits = 32, color fill = background)
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
    ~canvas()
    {
        SelectObject(dc_, old_);
        DeleteObject(bitmap_);
        DeleteDC(dc_);
    }

    HDC dc() const { return dc_; }
    HBITMAP bitmap() const { return bitmap_; }
    color at(int32_t x, int32_t y) const { return color_of(GetPixel(dc_, x, y)); }
    /// All pixels, row by row.
    values pixels() const { return pixels_of(dc_, width_, height_); }
    /// Those of any device context.
    static values pixels_of(HDC dc, int32_t width, int32_t height)
    {
        const canvas copy(width, height);
        BitBlt(copy.dc_, 0, 0, width, height, dc, 0, 0, SRCCOPY);
        BITMAP section;
        GetObjectA(copy.bitmap_, sizeof section, &section);
        GdiFlush();
        const auto* bits = static_cast<const color*>(section.bmBits);
        values pixels(bits, bits + width * height);
        for (color& p : pixels)
            p &= 0xFFFFFF;
        return pixels;
    }
    /// Compares every pixel with expected(x, y).
    void expect(const std::function<color(int32_t, int32_t)>& expected) const
    {
        const values seen = pixels();
        for (int32_t y = 0; y < height_; ++y)
            for (int32_t x = 0; x < width_; ++x)
                ASSERT_EQ(seen[size_t(y * width_ + x)], expected(x, y)) << x << "," << y;
    }

private:
    int32_t width_, height_;
    HDC dc_;
    HBITMAP bitmap_ = nullptr;
    HGDIOBJ old_ = nullptr;
};

/// A visible window with scroll bars and a client area of the given size while they hide.
class test_window : uncopied {
public:
    test_window(int32_t client_width, int32_t client_height)
    {
        settle();
        set_client(client_width, client_height);
    }
    ~test_window()
    {
        for (const int bar : {SB_HORZ, SB_VERT})
            SetScrollRange(window_, bar, 0, 0, FALSE);
        settle();
    }

    HWND get() const { return window_; }
    SIZE client() const
    {
        RECT client{};
        GetClientRect(window_, &client);
        return {client.right, client.bottom};
    }
    /// Grows or shrinks the frame until the client area has this size.
    void set_client(int32_t width, int32_t height) const
    {
        RECT frame{};
        GetWindowRect(window_, &frame);
        const SIZE now = client();
        SetWindowPos(window_, HWND_TOPMOST, 0, 0, frame.right - frame.left + width - now.cx,
                     frame.bottom - frame.top + height - now.cy, SWP_NOMOVE);
        settle();
    }
    /// What is on the screen in the client area.
    values pixels() const
    {
        HDC dc = GetDC(window_);
        values pixels = canvas::pixels_of(dc, client().cx, client().cy);
        ReleaseDC(window_, dc);
        return pixels;
    }
    /// Runs waiting messages; paint requests stay with the window.
    void settle() const
    {
        MSG message;
        for (int i = 0; i < 5; ++i, Sleep(5))
            while (PeekMessageA(&message, nullptr, 0, WM_PAINT - 1, PM_REMOVE) ||
                   PeekMessageA(&message, nullptr, WM_PAINT + 1, 0xFFFF, PM_REMOVE))
                DispatchMessageA(&message);
    }

private:
    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM w, LPARAM l)
    {
        if (message == WM_ERASEBKGND) return 1;
        // Left invalid, so that a test can ask for the paint structure itself.
        if (message == WM_PAINT) return 0;
        return DefWindowProcA(window, message, w, l);
    }
    static HWND create()
    {
        WNDCLASSA window_class{};
        window_class.lpfnWndProc = procedure;
        window_class.lpszClassName = "trevolan_test";
        RegisterClassA(&window_class);
        return CreateWindowExA(WS_EX_TOPMOST, "trevolan_test", "", WS_POPUP | WS_VISIBLE, 10, 10,
                               100, 100, nullptr, nullptr, nullptr, nullptr);
    }
    // One window serves all tests: showing a new one takes seconds.
    static HWND shared()
    {
        static HWND window = create();
        return window;
    }
    const HWND window_ = shared();
};

/// What IMG_dib_to_ddb makes, deleted at the end.
struct made_bitmap : uncopied {
    made_bitmap(int32_t handle, int32_t width, int32_t height)
        : result(IMG_dib_to_ddb(handle, width, height))
    {
    }
    ~made_bitmap() { DeleteObject(get()); }
    // Codes are the small negative numbers.
    bool ok() const { return result >= 0 || result < -100; }
    HBITMAP get() const { return ok() ? reinterpret_cast<HBITMAP>(result) : nullptr; }

    const int32_t result;
};

/// Holds every GDI handle but some as long as it lives.
class taken_gdi_handles : uncopied {
public:
    explicit taken_gdi_handles(size_t leave = 0)
    {
        while (HBRUSH brush = CreateSolidBrush(RGB(1, 2, 3)))
            taken_.push_back(brush);
        for (; leave > 0 && !taken_.empty(); --leave, taken_.pop_back())
            DeleteObject(taken_.back());
    }
    ~taken_gdi_handles()
    {
        for (HBRUSH brush : taken_)
            DeleteObject(brush);
    }
    size_t count() const { return taken_.size(); }

private:
    std::vector<HBRUSH> taken_;
};

/// Puts a function in the place of a system's one that trevolan.dll calls, as long as it lives.
class replaced_call : uncopied {
public:
    replaced_call(const char* system_dll, const char* name, void* replacement)
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
    ~replaced_call() { set(original_); }

private:
    void set(void* function) const
    {
        DWORD old = 0;
        if (!slot_ || !VirtualProtect(slot_, sizeof(void*), PAGE_READWRITE, &old)) return;
        *slot_ = function;
        VirtualProtect(slot_, sizeof(void*), old, &old);
    }
    void** slot_ = nullptr;
    void* original_;
};

/// Asks again and again for up to 20 s; false when it never came true.
inline bool wait_for(const std::function<bool()>& condition)
{
    const DWORD start = GetTickCount();
    for (; GetTickCount() - start < 20000; Sleep(5))
        if (condition()) return true;
    return false;
}

/// A program that is started and that ends with this object, by force if it must be.
class child_process : uncopied {
public:
    explicit child_process(std::string command)
    {
        STARTUPINFOA startup{};
        startup.cb = sizeof startup;
        EXPECT_TRUE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                   nullptr, &startup, &process_))
            << command;
    }
    ~child_process()
    {
        TerminateProcess(handle(), 1);
        CloseHandle(handle());
        CloseHandle(process_.hThread);
    }

    HANDLE handle() const { return process_.hProcess; }
    DWORD id() const { return process_.dwProcessId; }
    /// Waits for its end.  Its exit code, or STILL_ACTIVE when it does not end.
    DWORD exit_code() const
    {
        DWORD code = 1;
        WaitForSingleObject(handle(), 20000);
        GetExitCodeProcess(handle(), &code);
        return code;
    }

private:
    PROCESS_INFORMATION process_{};
};
