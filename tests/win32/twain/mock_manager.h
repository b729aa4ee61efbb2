// mock_manager.h - a source manager for tests: it plays a script and records every triplet.
// The test program and the DLL share this description.
#pragma once

#include <cstdint>

struct mock_call {
    uint32_t group;
    uint16_t argument, message;
    bool to_source;      // a destination was given
    uint8_t origin[156]; // identity of the caller
    uint8_t data[156];   // as it came in, as much as the triplet has
};

// What the source answers to the events that the client passes on, one after the other.
enum class mock_event : uint8_t {
    close_request, // behind the last scripted one too, so that a test cannot hang
    not_for_source,
    handled,
    transfer_ready,
    failure,
    quit, // the program is told to end
};

// What a native transfer gives.
enum class mock_picture : uint8_t { page, cancel, failure, small_handle, cut_block, no_dib };

struct mock_state {
    // The script.
    uint16_t fail_argument = 0, fail_message = 0, fail_code = 1; // this triplet is refused
    mock_event events[16] = {};
    mock_picture pictures[16] = {};
    uint16_t pages = 1;
    bool endless_pending = false;

    // What happened.
    mock_call calls[400];
    int call_count = 0;
    int next_event = 0, next_picture = 0;
    bool manager_open = false, source_open = false, enabled = false;
};

using mock_get_function = mock_state*(__cdecl*)();

/// Size of the pages that the test manager and the test source make, 1 bit a pixel.
inline constexpr int mock_width = 75, mock_height = 40;

/// Pixel of a page: 1 white, 0 black.
inline bool mock_pixel(int page, int x, int y)
{
    return ((x * 7 + y * 3 + page * 11) / 5 & 1) != 0;
}
