// message_window.h - a window whose messages an object handles.
#pragma once

#include "platform/win32.h"

class message_window {
public:
    message_window() = default;
    virtual ~message_window() = default;
    message_window(const message_window&) = delete;
    message_window& operator=(const message_window&) = delete;

    HWND get() const { return window_; }

protected:
    /// The procedure of the window class; the object is the parameter of the creation.
    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM w, LPARAM l)
    {
        if (message == WM_NCCREATE) {
            auto* created =
                static_cast<message_window*>(reinterpret_cast<CREATESTRUCTA*>(l)->lpCreateParams);
            created->window_ = window;
            SetWindowLongPtrA(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(created));
        }
        auto* self = reinterpret_cast<message_window*>(GetWindowLongPtrA(window, GWLP_USERDATA));
        return self ? self->handle(message, w, l) : DefWindowProcA(window, message, w, l);
    }
    virtual LRESULT handle(UINT message, WPARAM w, LPARAM l) = 0;

    HWND window_ = nullptr;
};
