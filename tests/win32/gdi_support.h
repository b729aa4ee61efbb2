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
    canvas(int32_t width, int32_t height, int32_t bits = 32, color fill = background);
    ~canvas();

    HDC dc() const { return dc_; }
    HBITMAP bitmap() const { return bitmap_; }
    color at(int32_t x, int32_t y) const { return color_of(GetPixel(dc_, x, y)); }
    /// All pixels, row by row.
    std::vector<color> pixels() const;
    /// Compares every pixel with expected(x, y).
    void expect(const std::function<color(int32_t, int32_t)>& expected) const;

private:
    int32_t width_, height_;
    HDC dc_;
    HBITMAP bitmap_ = nullptr;
    HGDIOBJ old_ = nullptr;
};

/// A visible window with scroll bars and a client area of the given size while they hide.
class test_window : uncopied {
public:
    test_window(int32_t client_width, int32_t client_height);
    ~test_window();

    HWND get() const { return window_; }
    SIZE client() const;
    /// Grows or shrinks the frame until the client area has this size.
    void set_client(int32_t width, int32_t height) const;
    /// What is on the screen in the client area.
    std::vector<color> pixels() const;
    /// Runs waiting messages; paint requests stay with the window.
    void settle() const;

private:
    HWND window_;
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
    replaced_call(const char* system_dll, const char* name, void* replacement);
    ~replaced_call() { set(original_); }

private:
    void set(void* function) const;
    void** slot_ = nullptr;
    void* original_;
};

/// Asks again and again for up to 20 s; false when it never came true.
bool wait_for(const std::function<bool()>& condition);

/// A program that is started and that ends with this object, by force if it must be.
class child_process : uncopied {
public:
    explicit child_process(std::string command);
    ~child_process();

    HANDLE handle() const { return process_.hProcess; }
    DWORD id() const { return process_.dwProcessId; }
    /// Waits for its end.  Its exit code, or STILL_ACTIVE when it does not end.
    DWORD exit_code() const;

private:
    PROCESS_INFORMATION process_{};
};
