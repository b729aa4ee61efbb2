// progress.cpp - a progress bar for loads and saves, which Esc cancels.

#include "viewer/progress.h"

#include <commctrl.h>

namespace {

constexpr int32_t steps = 50;

} // namespace

progress_bar::progress_bar(HWND status, int part)
{
    RECT place{};
    SendMessageA(status, SB_GETRECT, static_cast<WPARAM>(part), reinterpret_cast<LPARAM>(&place));
    bar_ = CreateWindowExA(0, PROGRESS_CLASSA, "", WS_CHILD | WS_VISIBLE, place.left, place.top,
                           place.right - place.left, place.bottom - place.top, status, nullptr,
                           GetModuleHandleA(nullptr), nullptr);
    SendMessageA(bar_, PBM_SETRANGE, 0, MAKELPARAM(0, steps));
    IMG_set_statusbar(reinterpret_cast<IMG_PRIVATE>(this), row_done, 1);
}

progress_bar::~progress_bar()
{
    IMG_set_statusbar(0, nullptr, 0);
    DestroyWindow(bar_);
}

int32_t IMG_STD progress_bar::row_done(IMG_PRIVATE self, int32_t height)
{
    return reinterpret_cast<progress_bar*>(self)->count_row(height);
}

int32_t progress_bar::count_row(int32_t height)
{
    const int32_t step = height > 0 ? static_cast<int32_t>(int64_t{++rows_} * steps / height) : 0;
    if (step == shown_) return 0;
    shown_ = step;
    SendMessageA(bar_, PBM_SETPOS, static_cast<WPARAM>(step), 0);
    UpdateWindow(bar_);
    MSG message;
    if (PeekMessageA(&message, nullptr, WM_KEYDOWN, WM_KEYDOWN, PM_REMOVE) &&
        message.wParam == VK_ESCAPE)
        return cancelled;
    return 0;
}
