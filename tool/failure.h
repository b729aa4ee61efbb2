// failure.h - how the tool fails: one line on standard error with the file, what failed, the
// code's text and the code.
#pragma once

#include "core/image.h"

#include <string>

inline constexpr int exit_done = 0;
inline constexpr int exit_failed = 1;
inline constexpr int exit_usage = 2;
inline constexpr int exit_cancelled = 130;

/// Codes of the tool's own callbacks; the library passes them through.
inline constexpr int32_t code_cancelled = -1001;
inline constexpr int32_t code_enough = -1000; // the header was all that was wanted

/// Codes of the library that the tool reports by itself.
inline constexpr int32_t code_memory = -1;
inline constexpr int32_t code_open = -2;
inline constexpr int32_t code_create = -6;
inline constexpr int32_t code_unsupported = -7;
inline constexpr int32_t code_write = -9;
inline constexpr int32_t code_page = -11;

/// Thrown where a file's work cannot go on.
struct failure {
    std::string file;
    std::string action; // "reading page 3"
    int32_t code;
};

/// Arguments that make no sense together; found only after they were read.
struct usage_error {
    std::string text;
};

/// Passes a result that is not negative on; throws a failure otherwise.
int32_t require(int32_t result, const std::string& file, const std::string& action);

/// The line on standard error. A cancelled action gets a line without a code.
void report(const failure& what);

/// "file: text" on standard error: what the tool did beyond what it was asked for.
void note(const std::string& file, const std::string& text);
