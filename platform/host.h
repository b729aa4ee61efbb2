// host.h - what the command-line tool asks of the system that it runs on. Names and
// arguments are UTF-8 everywhere.
#pragma once

#include "platform/win32.h"

#include <cstdint>
#include <string>
#include <vector>

/// The arguments behind the program's name.
std::vector<std::string> host_arguments(int argc, char** argv);

/// The file of the running program, to start it again; empty when the system does not tell.
std::string host_program();

/// Files for the library's calls that take an open file. HFILE_ERROR on failure.
HFILE host_open_reading(const std::string& name);
HFILE host_open_updating(const std::string& name);
/// Fails where the file exists already.
HFILE host_create_new(const std::string& name);
/// From the start. False where the file cannot be positioned.
bool host_seek(HFILE file, int32_t position);
/// False when the system tells only now that something could not be written.
bool host_close(HFILE file);

uint32_t host_process_id();
int host_processor_count();

/// The terminal. Standard output and error are asked separately: either may be a file.
bool host_output_is_terminal();
bool host_error_is_terminal();
struct host_window {
    int columns, rows;
};
/// The size of the terminal's window, 80 x 24 where there is none.
host_window host_window_size();
/// Makes escape sequences and UTF-8 work on standard output and error.
void host_prepare_console();

/// From here on Ctrl-C (and a request to end) only sets a flag. A second one ends the
/// program at once, after removing the guarded file.
void host_catch_cancel();
bool host_cancelled();
/// The unfinished output file; an empty name guards none.
void host_guard_file(const std::string& name);

/// Starts this program's file with arguments; it shares standard output and error.
/// 0 when it cannot be started.
using host_process = intptr_t;
host_process host_start(const std::vector<std::string>& arguments);
/// Waits until one of the processes ends. Its exit code goes to exit_code, its index is the
/// result. When the wait is cancelled the processes are asked to end, and waited for.
size_t host_wait_any(const std::vector<host_process>& processes, int& exit_code);
/// As many processes as host_wait_any can wait for.
inline constexpr int host_most_processes = 60;
