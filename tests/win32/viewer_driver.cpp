// viewer_driver.cpp - runs the viewer as a process and drives it with messages.

#include "tests/win32/viewer_driver.h"

namespace {

constexpr int polls = 200;
constexpr DWORD poll_milliseconds = 50;
constexpr int file_name_combo = 0x47C; // cmb13 of the file dialogs
constexpr int file_name_edit = 0x480;  // edt1

std::string text_of(HWND window)
{
    char text[1024] = {};
    SendMessageA(window, WM_GETTEXT, sizeof text, reinterpret_cast<LPARAM>(text));
    return text;
}

struct window_search {
    DWORD process;
    std::string window_class;
    HWND found;
};

BOOL CALLBACK match_window(HWND window, LPARAM l)
{
    auto& search = *reinterpret_cast<window_search*>(l);
    char name[64] = {};
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    GetClassNameA(window, name, sizeof name);
    if (process != search.process || search.window_class != name || !IsWindowVisible(window))
        return TRUE;
    search.found = window;
    return FALSE;
}

HWND find_window(DWORD process, const char* window_class)
{
    window_search search{process, window_class, nullptr};
    EnumWindows(match_window, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

std::string beside_the_tests(const char* name)
{
    char program[MAX_PATH];
    GetModuleFileNameA(nullptr, program, MAX_PATH);
    const std::string path = program;
    return path.substr(0, path.find_last_of('\\') + 1) + name;
}

} // namespace

bool wait_for(const std::function<bool()>& condition)
{
    for (int i = 0; i < polls; ++i) {
        if (condition()) return true;
        Sleep(poll_milliseconds);
    }
    return false;
}

viewer_driver::viewer_driver(const std::string& file)
{
    std::string command = "\"" + beside_the_tests("viewer.exe") + "\" \"" + file + "\"";
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process_))
        return;
    wait_for([&] {
        frame_ = find_window(process_.dwProcessId, "TrevolanViewer");
        return frame_ != nullptr;
    });
}

viewer_driver::~viewer_driver()
{
    if (process_.hProcess && WaitForSingleObject(process_.hProcess, 0) == WAIT_TIMEOUT)
        TerminateProcess(process_.hProcess, 1);
    CloseHandle(process_.hProcess);
    CloseHandle(process_.hThread);
}

std::string viewer_driver::title() const
{
    return text_of(frame_);
}

bool viewer_driver::title_becomes(const std::string& part) const
{
    return wait_for([&] { return title().find(part) != std::string::npos; });
}

HWND viewer_driver::dialog() const
{
    HWND found = nullptr;
    wait_for([&] {
        found = find_window(process_.dwProcessId, "#32770");
        return found != nullptr;
    });
    return found;
}

std::string viewer_driver::message() const
{
    // The text of a message box is its static control with the largest identifier.
    std::string longest;
    for (HWND child = GetWindow(dialog(), GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
        const std::string text = text_of(child);
        if (text.size() > longest.size()) longest = text;
    }
    return longest;
}

bool viewer_driver::answer(int button) const
{
    HWND box = dialog();
    if (!box) return false;
    PostMessageA(box, WM_COMMAND, static_cast<WPARAM>(button), 0);
    return wait_for([&] { return !IsWindow(box); });
}

bool viewer_driver::answer_file(const std::string& name) const
{
    HWND box = dialog();
    if (!box) return false;
    HWND field = GetDlgItem(box, file_name_combo);
    if (!field) field = GetDlgItem(box, file_name_edit);
    if (!field) return false;
    SendMessageA(field, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(name.c_str()));
    return answer(IDOK);
}

int32_t viewer_driver::close()
{
    PostMessageA(frame_, WM_CLOSE, 0, 0);
    if (WaitForSingleObject(process_.hProcess, polls * poll_milliseconds) != WAIT_OBJECT_0)
        return -1;
    DWORD code = 1;
    GetExitCodeProcess(process_.hProcess, &code);
    return static_cast<int32_t>(code);
}

int32_t viewer_driver::screenshot() const
{
    Sleep(400);
    RECT place{};
    GetWindowRect(frame_, &place);
    HDC screen = GetDC(nullptr);
    HDC memory = CreateCompatibleDC(screen);
    const int width = place.right - place.left, height = place.bottom - place.top;
    HBITMAP bitmap = CreateCompatibleBitmap(screen, width, height);
    HGDIOBJ old = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, width, height, screen, place.left, place.top, SRCCOPY);
    SelectObject(memory, old);
    const int32_t handle = IMG_create_handle_ddb(bitmap, nullptr);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
    return handle;
}
