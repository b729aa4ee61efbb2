// host.cpp - the tool's view of a POSIX system.

#include "platform/host.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

volatile std::sig_atomic_t cancel_requests = 0;
// Read by the signal handler: filled before guarding is set, left alone while it is.
char guarded_name[PATH_MAX];
std::atomic<bool> guarding{false};

void end_at_once(int signal_number)
{
    if (guarding) unlink(guarded_name);
    _exit(128 + signal_number);
}

void on_cancel_signal(int)
{
    cancel_requests = cancel_requests + 1;
    if (cancel_requests >= 2) end_at_once(SIGINT);
}

void handle_signal(int signal_number, void (*handler)(int))
{
    // What a parent ignores (nohup, a background job) stays ignored.
    struct sigaction present {};
    sigaction(signal_number, nullptr, &present);
    if (present.sa_handler == SIG_IGN) return;
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(signal_number, &action, nullptr);
}

HFILE open_regular(const std::string& name, int flags)
{
    int file;
    do
        file = open(name.c_str(), flags | O_CLOEXEC, 0666);
    while (file < 0 && errno == EINTR);
    if (file < 0) return HFILE_ERROR;
    struct stat status {};
    if (fstat(file, &status) == 0 && !S_ISDIR(status.st_mode)) return file;
    close(file);
    return HFILE_ERROR;
}

int exit_code_of(int status)
{
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

std::vector<std::string> host_arguments(int argc, char** argv)
{
    return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

std::string host_program()
{
    char name[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", name, sizeof name);
    return length > 0 ? std::string(name, static_cast<size_t>(length)) : std::string();
}

HFILE host_open_reading(const std::string& name)
{
    return open_regular(name, O_RDONLY);
}

HFILE host_open_updating(const std::string& name)
{
    return open_regular(name, O_RDWR);
}

HFILE host_create_new(const std::string& name)
{
    return open_regular(name, O_RDWR | O_CREAT | O_EXCL);
}

bool host_seek(HFILE file, int32_t position)
{
    return lseek(file, position, SEEK_SET) == position;
}

bool host_close(HFILE file)
{
    return close(file) == 0;
}

uint32_t host_process_id()
{
    return static_cast<uint32_t>(getpid());
}

int host_processor_count()
{
    return static_cast<int>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
}

bool host_output_is_terminal()
{
    return isatty(STDOUT_FILENO) == 1;
}

bool host_error_is_terminal()
{
    return isatty(STDERR_FILENO) == 1;
}

host_window host_window_size()
{
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        winsize size{};
        if (ioctl(stream, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0)
            return {size.ws_col, size.ws_row};
    }
    return {80, 24};
}

void host_prepare_console() {}

void host_catch_cancel()
{
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP})
        handle_signal(signal_number, on_cancel_signal);
    // Whoever read our lines is gone, as behind "| head".
    handle_signal(SIGPIPE, end_at_once);
}

bool host_cancelled()
{
    return cancel_requests != 0;
}

void host_guard_file(const std::string& name)
{
    guarding = false;
    if (name.empty() || name.size() >= sizeof guarded_name) return;
    std::memcpy(guarded_name, name.c_str(), name.size() + 1);
    guarding = true;
}

host_process host_start(const std::vector<std::string>& arguments)
{
    std::string program = host_program();
    std::vector<char*> argv{program.data()};
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    pid_t process = 0;
    if (posix_spawn(&process, program.c_str(), nullptr, nullptr, argv.data(), environ) != 0)
        return 0;
    return process;
}

size_t host_wait_any(const std::vector<host_process>& processes, int& exit_code)
{
    bool stopped = false;
    while (true) {
        // On a terminal Ctrl-C reaches the others too; a plain kill reaches this one only.
        if (host_cancelled() && !stopped) {
            for (const host_process process : processes)
                kill(static_cast<pid_t>(process), SIGTERM);
            stopped = true;
        }
        int status = 0;
        const pid_t ended = waitpid(-1, &status, 0);
        if (ended < 0 && errno != EINTR) {
            exit_code = 1;
            return 0;
        }
        const auto found = std::find(processes.begin(), processes.end(), ended);
        if (ended <= 0 || found == processes.end()) continue;
        exit_code = exit_code_of(status);
        return static_cast<size_t>(found - processes.begin());
    }
}
