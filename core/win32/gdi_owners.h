// gdi_owners.h - owners of GDI objects, so that every path gives them back.
#pragma once

#include "platform/win32.h"

/// The device context of a window, or of the screen for no window.
class window_dc {
public:
    explicit window_dc(HWND window) : window_(window), dc_(GetDC(window)) {}
    ~window_dc()
    {
        if (dc_) ReleaseDC(window_, dc_);
    }
    window_dc(const window_dc&) = delete;
    window_dc& operator=(const window_dc&) = delete;
    HDC get() const { return dc_; }

private:
    HWND window_;
    HDC dc_;
};

/// A memory device context like another, with a bitmap selected into it.
class memory_dc {
public:
    memory_dc(HDC like, HBITMAP bitmap) : dc_(CreateCompatibleDC(like))
    {
        if (dc_) old_ = SelectObject(dc_, bitmap);
    }
    ~memory_dc()
    {
        if (old_) SelectObject(dc_, old_);
        if (dc_) DeleteDC(dc_);
    }
    memory_dc(const memory_dc&) = delete;
    memory_dc& operator=(const memory_dc&) = delete;
    HDC get() const { return dc_; }
    /// False when the bitmap cannot be selected: deleted, or in another device context.
    bool holds_bitmap() const { return old_ != nullptr; }

private:
    HDC dc_;
    HGDIOBJ old_ = nullptr;
};

/// A GDI object that is deleted unless it is given away.
template <class Handle> class gdi_object {
public:
    explicit gdi_object(Handle handle) : handle_(handle) {}
    ~gdi_object()
    {
        if (handle_) DeleteObject(handle_);
    }
    gdi_object(const gdi_object&) = delete;
    gdi_object& operator=(const gdi_object&) = delete;
    explicit operator bool() const { return handle_ != nullptr; }
    Handle get() const { return handle_; }
    Handle release()
    {
        Handle handle = handle_;
        handle_ = nullptr;
        return handle;
    }

private:
    Handle handle_;
};
