// progress.cpp - the progress bar and cancelling.

#include "tool/progress.h"

#include "platform/host.h"
#include "tool/failure.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace {

using clock = std::chrono::steady_clock;
constexpr auto silent_time = std::chrono::milliseconds(500);
constexpr auto redraw_time = std::chrono::milliseconds(80);

struct progress_state {
    bool enabled = false; // standard error is a terminal and the bar is wanted
    bool shown = false;   // the bar is on the line now
    std::string file;
    std::string phase;
    int64_t done = 0;
    clock::time_point began;
    clock::time_point next_draw;
};

progress_state state;

// The end of a text, as far as it fits.
std::string fitted(const std::string& text, size_t columns)
{
    if (text.size() <= columns) return text;
    return columns < 4 ? std::string() : "..." + text.substr(text.size() - (columns - 3));
}

void draw(int32_t total)
{
    constexpr size_t bar_columns = 24;
    const auto columns = static_cast<size_t>(std::max(40, host_window_size().columns));
    const int64_t percent = std::min<int64_t>(100, state.done * 100 / std::max(1, total));
    const auto filled = static_cast<size_t>(percent) * bar_columns / 100;
    const std::string bar = std::string(filled, '#') + std::string(bar_columns - filled, '.');
    const std::string label = fitted(state.phase + " " + state.file, columns - bar_columns - 9);
    std::fprintf(stderr, "\r%s [%s] %3d %%\x1b[K", label.c_str(), bar.c_str(),
                 static_cast<int>(percent));
    std::fflush(stderr);
    state.shown = true;
}

int32_t IMG_STD on_row(IMG_PRIVATE, int32_t height)
{
    return progress_step(height);
}

} // namespace

void progress_start(bool show_bar)
{
    state.enabled = show_bar && host_error_is_terminal();
    IMG_set_statusbar(0, on_row, 1);
}

void progress_file(const std::string& file)
{
    state.file = file;
    state.began = clock::now();
    state.next_draw = state.began + silent_time;
}

void progress_phase(const std::string& what)
{
    state.phase = what;
    state.done = 0;
}

int32_t progress_step(int32_t total)
{
    if (host_cancelled()) return code_cancelled;
    ++state.done;
    if (!state.enabled) return 0;
    const auto now = clock::now();
    if (now < state.next_draw) return 0;
    state.next_draw = now + redraw_time;
    draw(total);
    return 0;
}

void progress_clear()
{
    if (!state.shown) return;
    std::fputs("\r\x1b[K", stderr);
    std::fflush(stderr);
    state.shown = false;
}

void throw_if_cancelled(const std::string& file, const std::string& action)
{
    if (host_cancelled()) throw failure{file, action, code_cancelled};
}
