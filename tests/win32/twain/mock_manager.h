// mock_manager.h - a source manager and data source for tests: they play a script and record
// what they are asked, in memory that the test shares with the process that scans.
#pragma once

#include "scan/twain.h"

// What the source answers to the events that the client passes on, one after the other.
enum class mock_event : uint8_t {
    close_request, // behind the last scripted one too, so that a test cannot hang
    not_for_source,
    handled,
    transfer_ready,
    source_gone,
    quit, // the program is told to end
};

// What a native transfer gives.
enum class mock_picture : uint8_t {
    page,
    short_table, // 8 bits, of whose 256 colours only the two in use come
    huge_table,
    cancel,
    failure,
    small_handle,
    cut_block,
    no_dib
};

struct mock_state {
    // The script.
    uint16_t fail_argument = 0, fail_message = 0, fail_code = 1; // this triplet is refused
    mock_event events[4] = {mock_event::transfer_ready};
    mock_picture pictures[2] = {}; // behind them pages
    uint16_t pages = 1;
    bool endless_pending = false;

    // What happened.
    char calls[4000] = ""; // "argument/message " of all but events, ">" before those to the source
    twain::identity caller{};
    twain::image_info proposal{};
    twain::user_interface shown{};
    HWND parent = nullptr;
    int next_event = 0, next_picture = 0;
    int open = 0; // of manager, source, and the source enabled
};

/// The shared script; it stays mapped.
inline mock_state* mock_script()
{
    static HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                               sizeof(mock_state), "trevolan_scan_script");
    static void* view = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(mock_state));
    return static_cast<mock_state*>(view);
}

inline constexpr int mock_width = 75, mock_height = 40;

/// Pixel of a page: 1 white, 0 black.
inline bool mock_pixel(int page, int x, int y)
{
    return ((x * 7 + y * 3 + page * 11) / 5 & 1) != 0;
}
