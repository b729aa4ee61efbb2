// progress.h - a progress bar for loads and saves, which Esc cancels.
#pragma once

#include "core/image.h"

/// Shows progress in a part of the status bar as long as it lives.
class progress_bar {
public:
    /// The code that a load or save comes back with when the user pressed Esc.
    static constexpr int32_t cancelled = -1000;

    progress_bar(HWND status, int part);
    ~progress_bar();
    progress_bar(const progress_bar&) = delete;
    progress_bar& operator=(const progress_bar&) = delete;

private:
    static int32_t IMG_STD row_done(IMG_PRIVATE self, int32_t height);
    int32_t count_row(int32_t height);

    HWND bar_ = nullptr;
    int32_t rows_ = 0, shown_ = 0;
};
