// mock_manager.h - a source manager for tests: it plays a script and records every triplet.
// Script and record lie in memory that the test shares with the process that scans.
#pragma once

#include <cstdint>
#include <cstring>
#include <windows.h>

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
    mock_event events[16] = {mock_event::transfer_ready};
    mock_picture pictures[16] = {};
    uint16_t pages = 1;
    bool endless_pending = false;

    // What happened.
    mock_call calls[400];
    int call_count = 0;
    int next_event = 0, next_picture = 0;
    bool manager_open = false, source_open = false, enabled = false;
};

/// The shared script as long as it lives.
class mock_script {
public:
    mock_script()
        : mapping_(CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                      sizeof(mock_state), "trevolan_scan_script")),
          state_(static_cast<mock_state*>(
              MapViewOfFile(mapping_, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(mock_state))))
    {
    }
    ~mock_script()
    {
        UnmapViewOfFile(state_);
        CloseHandle(mapping_);
    }
    mock_script(const mock_script&) = delete;
    mock_script& operator=(const mock_script&) = delete;
    mock_state* operator->() const { return state_; }
    mock_state& operator*() const { return *state_; }

private:
    HANDLE mapping_;
    mock_state* state_;
};

/// Size of the pages that the test manager and the test source make.
inline constexpr int mock_width = 75, mock_height = 40;

/// Pixel of a page: 1 white, 0 black.
inline bool mock_pixel(int page, int x, int y)
{
    return ((x * 7 + y * 3 + page * 11) / 5 & 1) != 0;
}

/// The packed DIB of a page with two colours, 1 or 8 bits a pixel.
inline HGLOBAL mock_make_page(int page, int bits = 1)
{
    const int stride = (mock_width * bits + 31) / 32 * 4;
    const BITMAPINFOHEADER header{
        sizeof header,         mock_width, mock_height, 1, static_cast<WORD>(bits), BI_RGB, 0, 0, 0,
        bits == 1 ? 0UL : 2UL, 0};
    HGLOBAL block =
        GlobalAlloc(GHND, sizeof header + 8 + static_cast<size_t>(stride * mock_height));
    auto* bytes = static_cast<uint8_t*>(GlobalLock(block));
    std::memcpy(bytes, &header, sizeof header);
    std::memset(bytes + sizeof header + 4, 0xFF, 3);
    for (int y = 0; y < mock_height; ++y) {
        uint8_t* row = bytes + sizeof header + 8 + (mock_height - 1 - y) * stride;
        for (int x = 0; x < mock_width; ++x)
            row[x * bits / 8] |=
                static_cast<uint8_t>(mock_pixel(page, x, y) << (bits == 1 ? 7 - x % 8 : 0));
    }
    GlobalUnlock(block);
    return block;
}
