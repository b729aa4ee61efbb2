// mock_manager.cpp - the scripted source manager and data source; a test copies it into the
// Windows directory as TWAIN32.DLL, or as a source of the system's own manager.

#include "tests/win32/twain/mock_manager.h"

#include <cstdio>
#include <cstring>

using namespace twain;

namespace {

mock_state* const state = mock_script();

// The packed DIB of a page with two colours, 1 or 8 bits a pixel.
HGLOBAL make_page(int page, WORD bits)
{
    const int stride = (mock_width * bits + 31) / 32 * 4;
    const DWORD colors = bits == 1 ? 0 : 2;
    const BITMAPINFOHEADER header{sizeof header, mock_width, mock_height, 1, bits, BI_RGB, 0,
                                  11811,         7874,       colors,      0};
    const auto row_bytes = static_cast<size_t>(stride * mock_height);
    HGLOBAL block = GlobalAlloc(GHND, sizeof header + 8 + row_bytes);
    auto* bytes = static_cast<uint8_t*>(GlobalLock(block));
    std::memcpy(bytes, &header, sizeof header);
    std::memset(bytes + sizeof header + 4, 0xFF, 3);
    for (int y = 0; y < mock_height; ++y)
        for (int x = 0; x < mock_width; ++x)
            bytes[sizeof header + 8 + (mock_height - 1 - y) * stride + x * bits / 8] |=
                static_cast<uint8_t>(mock_pixel(page, x, y) << (bits == 1 ? 7 - x % 8 : 0));
    GlobalUnlock(block);
    return block;
}

uint16_t answer_event(event* e)
{
    const mock_event scripted =
        state->next_event < 4 ? state->events[state->next_event++] : mock_event::close_request;
    if (scripted == mock_event::quit) {
        PostQuitMessage(3);
        return 4;
    }
    // The next event comes when this one is dealt with.
    PostThreadMessageA(GetCurrentThreadId(), WM_APP, 0, 0);
    if (scripted == mock_event::not_for_source) return return_not_source_event;
    if (scripted == mock_event::source_gone) return return_failure;
    e->source_message = scripted == mock_event::close_request    ? message_close_request
                        : scripted == mock_event::transfer_ready ? message_transfer_ready
                                                                 : 0;
    return 4;
}

uint16_t answer_picture(uint32_t* handle)
{
    const int page = state->next_picture++;
    const mock_picture kind = page < 2 ? state->pictures[page] : mock_picture::page;
    if (kind == mock_picture::cancel) return return_cancel;
    if (kind == mock_picture::failure) return return_failure;
    HGLOBAL block = make_page(page, kind == mock_picture::short_table ? 8 : 1);
    if (kind == mock_picture::no_dib) block = GlobalReAlloc(block, 8, GMEM_MOVEABLE);
    if (kind == mock_picture::cut_block)
        block = GlobalReAlloc(block, GlobalSize(block) - 100, GMEM_MOVEABLE);
    if (kind == mock_picture::huge_table) {
        static_cast<BITMAPINFOHEADER*>(GlobalLock(block))->biClrUsed = 0x40000001;
        GlobalUnlock(block);
    }
    *handle = kind == mock_picture::small_handle ? 31 : reinterpret_cast<uintptr_t>(block);
    return return_transfer_done;
}

uint16_t answer(uint16_t argument, uint16_t message, void* data)
{
    if (argument == state->fail_argument && message == state->fail_message && argument != 0)
        return state->fail_code;
    switch (message) {
    case message_open_manager: state->parent = *static_cast<HWND*>(data); [[fallthrough]];
    case message_open_source: ++state->open; break;
    case message_enable_source:
        ++state->open;
        state->shown = *static_cast<user_interface*>(data);
        PostThreadMessageA(GetCurrentThreadId(), WM_APP, 0, 0);
        break;
    case message_close_manager:
    case message_close_source:
    case message_disable_source: --state->open; break;
    case message_set: state->proposal = *static_cast<image_info*>(data); break;
    case message_process_event: return answer_event(static_cast<event*>(data));
    case message_end_transfer:
        if (!state->endless_pending && state->pages > 0) --state->pages;
        static_cast<pending_transfers*>(data)->count =
            state->endless_pending ? 0xFFFF : state->pages;
        break;
    default:
        if (argument == argument_native_transfer)
            return answer_picture(static_cast<uint32_t*>(data));
        // The source tells of settings of its own.
        if (argument == argument_image_info) std::memset(data, 0x11, sizeof(image_info));
    }
    return return_success;
}

} // namespace

extern "C" __declspec(dllexport) uint16_t
    __stdcall DSM_Entry(identity* origin, identity* destination, uint32_t, uint16_t argument,
                        uint16_t message, void* data)
{
    state->caller = *origin;
    const size_t length = std::strlen(state->calls);
    if (argument != argument_event && length < sizeof state->calls - 20)
        std::sprintf(state->calls + length, "%s%x/%x ", destination ? ">" : "", argument, message);
    return answer(argument, message, data);
}

extern "C" __declspec(dllexport) uint16_t
    __stdcall DS_Entry(identity*, uint32_t, uint16_t argument, uint16_t message, void* data)
{
    if (argument == argument_identity && message == message_get) {
        auto* self = static_cast<identity*>(data);
        self->protocol_major = 1;
        self->supported_groups = group_control | group_image;
        lstrcpyA(self->product_name, "Known pages");
        return return_success;
    }
    return answer(argument, message, data);
}
