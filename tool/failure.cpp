// failure.cpp - lines on standard error.

#include "tool/failure.h"

#include "tool/progress.h"

#include <cstdio>

int32_t require(int32_t result, const std::string& file, const std::string& action)
{
    if (result < 0) throw failure{file, action, result};
    return result;
}

void report(const failure& what)
{
    progress_clear();
    if (what.code == code_cancelled)
        std::fprintf(stderr, "%s: %s: cancelled\n", what.file.c_str(), what.action.c_str());
    else
        std::fprintf(stderr, "%s: %s: %s (%d)\n", what.file.c_str(), what.action.c_str(),
                     IMGX_error_text(what.code), static_cast<int>(what.code));
}

void note(const std::string& file, const std::string& text)
{
    progress_clear();
    std::fprintf(stderr, "%s: %s\n", file.c_str(), text.c_str());
}
