// viewer_driver.h - runs the viewer as a process and drives it with messages.
#pragma once

#include "tests/win32/gdi_support.h"

#include "viewer/resource.h"

/// A file beside the test program.
inline std::string program_file(const char* name)
{
    const std::string program = _pgmptr;
    return program.substr(0, program.find_last_of('\\') + 1) + name;
}

class viewer_driver {
public:
    /// Starts the viewer with a file.
    explicit viewer_driver(const std::string& file)
        : process_("\"" + program_file("viewer.exe") + "\" \"" + file + "\"")
    {
        wait_for([&] { return (frame_ = find_window("TrevolanViewer")) != nullptr; });
    }
    HWND frame() const { return frame_; }
    HANDLE process() const { return process_.handle(); }
    HWND picture() const { return FindWindowExA(frame_, nullptr, "TrevolanPicture", nullptr); }

    /// Waits until the title, or the status bar, holds a text.
    bool title_becomes(const std::string& part) const { return text_becomes(frame_, part); }
    bool status_becomes(const std::string& part) const
    {
        return text_becomes(FindWindowExA(frame_, nullptr, "msctls_statusbar32", nullptr), part);
    }

    /// Sends a command and waits until it is done; post is for commands that open dialogs.
    void command(int id) const
    {
        DWORD_PTR result = 0;
        EXPECT_TRUE(SendMessageTimeoutA(frame_, WM_COMMAND, static_cast<WPARAM>(id), 0, SMTO_NORMAL,
                                        20000, &result))
            << id << " is not done: " << message();
    }
    void post(int id) const { PostMessageA(frame_, WM_COMMAND, static_cast<WPARAM>(id), 0); }

    /// The dialog or message box that the viewer shows, after waiting for it; null when none.
    HWND dialog() const
    {
        HWND found = nullptr;
        wait_for([&] { return (found = find_window("#32770")) != nullptr; });
        return found;
    }
    /// The text of the message box: its longest one.
    std::string message() const
    {
        std::string longest;
        for (HWND c = GetWindow(dialog(), GW_CHILD); c; c = GetWindow(c, GW_HWNDNEXT))
            if (text_of(c).size() > longest.size()) longest = text_of(c);
        return longest;
    }
    /// Waits for a message box with this text in it and presses a button.
    bool says(const std::string& part, int button = IDOK) const
    {
        const std::string text = message();
        EXPECT_NE(text.find(part), std::string::npos) << text;
        return answer(button);
    }
    /// Presses a button of the dialog and waits until it is gone.
    bool answer(int button) const
    {
        HWND box = dialog();
        PostMessageA(box, WM_COMMAND, static_cast<WPARAM>(button), 0);
        return box && wait_for([&] { return !IsWindow(box); });
    }
    /// Fills in a field of the dialog.
    void fill(int field, const std::string& text) const
    {
        SendDlgItemMessageA(dialog(), field, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text.c_str()));
    }
    /// Sends a command and fills in the field of its dialog.
    bool fill_in(int id, int field, const std::string& text) const
    {
        post(id);
        fill(field, text);
        return answer(IDOK);
    }
    /// Fills in the file name of a file dialog. The dialog may have been in another directory
    /// last, so it gets the whole path.
    bool answer_file(const std::string& name) const
    {
        constexpr int combo_box = 0x47C, edit_field = 0x480; // cmb13 and edt1
        char path[MAX_PATH] = {};
        GetFullPathNameA(name.c_str(), MAX_PATH, path, nullptr);
        fill(GetDlgItem(dialog(), combo_box) ? combo_box : edit_field, path);
        return answer(IDOK);
    }
    bool name_file(int id, const std::string& name) const
    {
        post(id);
        return answer_file(name);
    }

    /// Asks it to close.  Its exit code, or STILL_ACTIVE when it does not end.
    DWORD close() const
    {
        PostMessageA(frame_, WM_CLOSE, 0, 0);
        return process_.exit_code();
    }

private:
    struct window_search {
        DWORD process;
        std::string window_class;
        HWND found;
    };
    static BOOL CALLBACK match_window(HWND window, LPARAM l)
    {
        auto& search = *reinterpret_cast<window_search*>(l);
        char name[64] = {};
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        GetClassNameA(window, name, sizeof name);
        if (process == search.process && search.window_class == name && IsWindowVisible(window))
            search.found = window;
        return search.found == nullptr;
    }
    HWND find_window(const char* window_class) const
    {
        window_search search{process_.id(), window_class, nullptr};
        EnumWindows(match_window, reinterpret_cast<LPARAM>(&search));
        return search.found;
    }
    static std::string text_of(HWND window)
    {
        char text[1024] = {};
        SendMessageA(window, WM_GETTEXT, sizeof text, reinterpret_cast<LPARAM>(text));
        return text;
    }
    static bool text_becomes(HWND window, const std::string& part)
    {
        const bool reached = wait_for([&] { return text_of(window).find(part) < 1024; });
        EXPECT_TRUE(reached) << part << " is not in " << text_of(window);
        return reached;
    }

    const child_process process_;
    HWND frame_ = nullptr;
};
