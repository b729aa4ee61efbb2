// gdi_support.h - images, canvases and windows for the tests with a real GDI.
#pragma once

#include "core/image.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

/// 0xRRGGBB.
using color = uint32_t;

/// A picture whose pixels are known, and its image handle.
class test_picture {
public:
    test_picture(int32_t width, int32_t height, int32_t bits);
    ~test_picture();
    test_picture(const test_picture&) = delete;
    test_picture& operator=(const test_picture&) = delete;

    int32_t handle() const { return handle_; }
    int32_t width() const { return width_; }
    int32_t height() const { return height_; }
    /// What pixel (x, y), y from the top, looks like.
    color at(int32_t x, int32_t y) const;
    /// Header, colour table, rows.
    const std::vector<uint8_t>& packed() const { return packed_; }

private:
    int32_t width_, height_, bits_;
    size_t rows_at_ = 0, stride_ = 0;
    std::vector<uint8_t> packed_;
    int32_t handle_ = -1;
};

/// A memory device context with a DIB section of 1, 4, 8 (grey ramp) or 32 bits.
class canvas {
public:
    canvas(int32_t width, int32_t height, int32_t bits = 32, color fill = 0x204060);
    ~canvas();
    canvas(const canvas&) = delete;
    canvas& operator=(const canvas&) = delete;

    HDC dc() const { return dc_; }
    int32_t width() const { return width_; }
    int32_t height() const { return height_; }
    color at(int32_t x, int32_t y) const;
    /// All pixels, row by row.
    std::vector<color> pixels() const;

private:
    int32_t width_, height_;
    HDC dc_;
    HBITMAP bitmap_ = nullptr;
    HGDIOBJ old_ = nullptr;
};

/// A visible window with scroll bars and a client area of the given size while they hide.
class test_window {
public:
    test_window(int32_t client_width, int32_t client_height);
    ~test_window();
    test_window(const test_window&) = delete;
    test_window& operator=(const test_window&) = delete;

    HWND get() const { return window_; }
    int32_t client_width() const;
    int32_t client_height() const;
    /// Grows or shrinks the frame until the client area has this size.
    void set_client(int32_t width, int32_t height);
    /// What is on the screen in the client area.
    std::vector<color> pixels() const;
    /// Runs waiting messages; paint requests stay with the window.
    void settle() const;

private:
    HWND window_;
};

/// How many GDI handles can still be had. A leak lowers it.
int32_t free_gdi_handles();

/// Takes every GDI handle as long as it lives.
class no_gdi_handles {
public:
    explicit no_gdi_handles(int32_t leave = 0);
    ~no_gdi_handles();
    no_gdi_handles(const no_gdi_handles&) = delete;
    no_gdi_handles& operator=(const no_gdi_handles&) = delete;

private:
    std::vector<HBRUSH> taken_;
};
