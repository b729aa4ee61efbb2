// host.cpp - the tool's view of Windows.

#include "platform/host.h"

#include <shellapi.h>

#include <algorithm>
#include <atomic>
#include <memory>

namespace {

std::atomic<int> cancel_requests{0};
// Read by the control handler's thread: filled before guarding is set.
wchar_t guarded_name[32768];
std::atomic<bool> guarding{false};

std::wstring wide(const std::string& text)
{
    const int length = static_cast<int>(text.size());
    std::wstring result(
        static_cast<size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0)),
        L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), length, result.data(),
                        static_cast<int>(result.size()));
    return result;
}

std::string narrow(const wchar_t* text)
{
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (bytes <= 1) return {};
    std::string result(static_cast<size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), bytes, nullptr, nullptr);
    result.pop_back();
    return result;
}

BOOL WINAPI on_console_event(DWORD event)
{
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT && event != CTRL_CLOSE_EVENT)
        return FALSE;
    if (++cancel_requests < 2) return TRUE;
    if (guarding) DeleteFileW(guarded_name);
    return FALSE; // the system's own handler ends the program
}

// Others may read, and remove, the file meanwhile. An HFILE is a file handle's low 32 bits,
// which are all that such handles have.
HFILE open_file(const std::string& name, DWORD access, DWORD disposition)
{
    const HANDLE file = CreateFileW(wide(name).c_str(), access, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                    nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return HFILE_ERROR;
    return static_cast<HFILE>(reinterpret_cast<intptr_t>(file));
}

HANDLE handle_of(HFILE file)
{
    return reinterpret_cast<HANDLE>(static_cast<intptr_t>(file));
}

bool is_console(DWORD stream)
{
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(stream), &mode) != 0;
}

void allow_escapes(DWORD stream)
{
    constexpr DWORD virtual_terminal = 0x0004;
    DWORD mode = 0;
    const HANDLE console = GetStdHandle(stream);
    if (GetConsoleMode(console, &mode)) SetConsoleMode(console, mode | virtual_terminal);
}

// Quotes one argument as the C runtime and CommandLineToArgvW take it apart: backslashes
// count only in front of a quotation mark.
void append_quoted(std::wstring& line, const std::wstring& argument)
{
    line += L" \"";
    size_t backslashes = 0;
    for (const wchar_t c : argument) {
        if (c == L'"') line.append(backslashes + 1, L'\\');
        backslashes = c == L'\\' ? backslashes + 1 : 0;
        line += c;
    }
    line.append(backslashes, L'\\');
    line += L'"';
}

} // namespace

std::vector<std::string> host_arguments(int, char**)
{
    int count = 0;
    wchar_t** arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> result;
    for (int i = 1; arguments && i < count; ++i)
        result.push_back(narrow(arguments[i]));
    LocalFree(arguments);
    return result;
}

std::string host_program()
{
    std::wstring name(32768, L'\0');
    name.resize(GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size())));
    return narrow(name.c_str());
}

HFILE host_open_reading(const std::string& name)
{
    return open_file(name, GENERIC_READ, OPEN_EXISTING);
}

HFILE host_open_updating(const std::string& name)
{
    return open_file(name, GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING);
}

HFILE host_create_new(const std::string& name)
{
    return open_file(name, GENERIC_READ | GENERIC_WRITE, CREATE_NEW);
}

bool host_seek(HFILE file, int32_t position)
{
    return SetFilePointer(handle_of(file), position, nullptr, FILE_BEGIN) ==
           static_cast<DWORD>(position);
}

bool host_close(HFILE file)
{
    return CloseHandle(handle_of(file)) != 0;
}

uint32_t host_process_id()
{
    return GetCurrentProcessId();
}

int host_processor_count()
{
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return std::max(1, static_cast<int>(info.dwNumberOfProcessors));
}

bool host_output_is_terminal()
{
    return is_console(STD_OUTPUT_HANDLE);
}

bool host_error_is_terminal()
{
    return is_console(STD_ERROR_HANDLE);
}

host_window host_window_size()
{
    CONSOLE_SCREEN_BUFFER_INFO info;
    for (const DWORD stream : {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE})
        if (GetConsoleScreenBufferInfo(GetStdHandle(stream), &info))
            return {info.srWindow.Right - info.srWindow.Left + 1,
                    info.srWindow.Bottom - info.srWindow.Top + 1};
    return {80, 24};
}

void host_prepare_console()
{
    SetConsoleOutputCP(CP_UTF8);
    allow_escapes(STD_OUTPUT_HANDLE);
    allow_escapes(STD_ERROR_HANDLE);
}

void host_catch_cancel()
{
    SetConsoleCtrlHandler(on_console_event, TRUE);
}

bool host_cancelled()
{
    return cancel_requests != 0;
}

void host_guard_file(const std::string& name)
{
    guarding = false;
    const std::wstring text = wide(name);
    if (text.empty() || text.size() >= std::size(guarded_name)) return;
    std::copy_n(text.c_str(), text.size() + 1, guarded_name);
    guarding = true;
}

host_process host_start(const std::vector<std::string>& arguments)
{
    const std::wstring program = wide(host_program());
    std::wstring line;
    append_quoted(line, program);
    for (const std::string& argument : arguments)
        append_quoted(line, wide(argument));
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(program.c_str(), line.data() + 1, nullptr, nullptr, TRUE, 0, nullptr,
                        nullptr, &startup, &process))
        return 0;
    CloseHandle(process.hThread);
    return reinterpret_cast<host_process>(process.hProcess);
}

size_t host_wait_any(const std::vector<host_process>& processes, int& exit_code)
{
    // Ctrl-C reaches every process of the console, so the others end by themselves.
    HANDLE handles[host_most_processes] = {};
    const size_t count = std::min(processes.size(), std::size(handles));
    for (size_t i = 0; i < count; ++i)
        handles[i] = reinterpret_cast<HANDLE>(processes[i]);
    const DWORD ended = WaitForMultipleObjects(static_cast<DWORD>(count), handles, FALSE, INFINITE);
    const size_t index = ended < count ? ended : 0;
    DWORD code = 1;
    GetExitCodeProcess(handles[index], &code);
    CloseHandle(handles[index]);
    exit_code = static_cast<int>(code);
    return index;
}
