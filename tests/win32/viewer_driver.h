// viewer_driver.h - runs the viewer as a process and drives it with messages.
#pragma once

#include "tests/win32/gdi_support.h"

#include <functional>
#include <string>

/// Asks again and again for up to 10 s; false when it never came true.
bool wait_for(const std::function<bool()>& condition);

class viewer_driver {
public:
    /// Starts viewer.exe, which lies beside the tests, with a file.
    explicit viewer_driver(const std::string& file);
    /// Ends it, by force if it must be.
    ~viewer_driver();
    viewer_driver(const viewer_driver&) = delete;
    viewer_driver& operator=(const viewer_driver&) = delete;

    HWND frame() const { return frame_; }
    HWND picture() const { return FindWindowExA(frame_, nullptr, "TrevolanPicture", nullptr); }
    std::string title() const;
    /// Waits until the title holds a text.
    bool title_becomes(const std::string& part) const;

    /// Sends a command and waits until it is done; post is for commands that open dialogs.
    void command(int id) const { SendMessageA(frame_, WM_COMMAND, static_cast<WPARAM>(id), 0); }
    void post(int id) const { PostMessageA(frame_, WM_COMMAND, static_cast<WPARAM>(id), 0); }

    /// The dialog or message box that the viewer shows, after waiting for it; null when none.
    HWND dialog() const;
    /// The text of the message box.
    std::string message() const;
    /// Presses a button of the dialog and waits until it is gone.
    bool answer(int button) const;
    /// Fills in the file name of a file dialog and presses its first button.
    bool answer_file(const std::string& name) const;

    /// Asks it to close.  Its exit code, or -1 when it does not end.
    int32_t close();

    /// What the screen shows of the window, as a new image.
    int32_t screenshot() const;

private:
    PROCESS_INFORMATION process_{};
    HWND frame_ = nullptr;
};
