// mock_manager.cpp - the scripted source manager; a test copies it into the Windows directory
// as TWAIN32.DLL.

#include "tests/win32/twain/mock_manager.h"
#include "scan/twain.h"

#include <algorithm>

using namespace twain;

namespace {

const mock_script state;

size_t data_bytes(uint16_t argument)
{
    switch (argument) {
    case argument_identity: return sizeof(identity);
    case argument_image_info: return sizeof(image_info);
    case argument_user_interface: return sizeof(user_interface);
    case argument_event: return sizeof(event);
    case argument_pending_transfers: return sizeof(pending_transfers);
    default: return 4;
    }
}

void record(const identity* origin, const identity* destination, uint32_t group, uint16_t argument,
            uint16_t message, const void* data)
{
    if (state->call_count >= 400) return;
    mock_call& call = state->calls[state->call_count++];
    call = {group, argument, message, destination != nullptr, {}, {}};
    std::memcpy(call.origin, origin, sizeof call.origin);
    std::memcpy(call.data, data, data_bytes(argument));
}

uint16_t answer_event(event* e)
{
    const mock_event scripted =
        state->next_event < 16 ? state->events[state->next_event++] : mock_event::close_request;
    // The next event comes when this one is dealt with.
    PostThreadMessageA(GetCurrentThreadId(), WM_APP, 0, 0);
    switch (scripted) {
    case mock_event::close_request: e->source_message = message_close_request; return 4;
    case mock_event::not_for_source: return return_not_source_event;
    case mock_event::handled: return 4;
    case mock_event::transfer_ready: e->source_message = message_transfer_ready; return 4;
    case mock_event::failure: return return_failure;
    case mock_event::quit: PostQuitMessage(3); return 4;
    }
    return return_failure;
}

uint16_t answer_picture(uint32_t* handle)
{
    const int page = state->next_picture++;
    const mock_picture kind = page < 16 ? state->pictures[page] : mock_picture::page;
    if (kind == mock_picture::cancel) return return_cancel;
    if (kind == mock_picture::failure) return return_failure;
    HGLOBAL block = kind == mock_picture::no_dib
                        ? GlobalAlloc(GHND, 8)
                        : mock_make_page(page, kind == mock_picture::short_table ? 8 : 1);
    if (kind == mock_picture::cut_block)
        block = GlobalReAlloc(block, GlobalSize(block) - 100, GMEM_MOVEABLE);
    if (kind == mock_picture::huge_table) {
        static_cast<BITMAPINFOHEADER*>(GlobalLock(block))->biClrUsed = 0x40000001;
        GlobalUnlock(block);
    }
    *handle = kind == mock_picture::small_handle ? 31 : reinterpret_cast<uintptr_t>(block);
    return return_transfer_done;
}

uint16_t answer(uint32_t group, uint16_t argument, uint16_t message, void* data)
{
    if (argument == argument_parent) state->manager_open = message == message_open_manager;
    if (argument == argument_identity && message == message_open_source) state->source_open = true;
    if (argument == argument_identity && message == message_close_source)
        state->source_open = false;
    if (argument == argument_identity && message == message_user_select)
        lstrcpyA(static_cast<identity*>(data)->product_name, "Chosen source");
    if (argument == argument_user_interface) {
        state->enabled = message == message_enable_source;
        if (state->enabled) PostThreadMessageA(GetCurrentThreadId(), WM_APP, 0, 0);
    }
    if (argument == argument_event) return answer_event(static_cast<event*>(data));
    // The source tells of settings of its own.
    if (argument == argument_image_info && message == message_get)
        std::memset(data, 0x11, sizeof(image_info));
    if (group == group_image && argument == argument_native_transfer)
        return answer_picture(static_cast<uint32_t*>(data));
    if (argument == argument_pending_transfers && message == message_end_transfer) {
        if (!state->endless_pending)
            state->pages = static_cast<uint16_t>(std::max(state->pages - 1, 0));
        static_cast<pending_transfers*>(data)->count =
            state->endless_pending ? 0xFFFF : state->pages;
    }
    return return_success;
}

} // namespace

extern "C" __declspec(dllexport) uint16_t
    __stdcall DSM_Entry(identity* origin, identity* destination, uint32_t group, uint16_t argument,
                        uint16_t message, void* data)
{
    record(origin, destination, group, argument, message, data);
    if (argument == state->fail_argument && message == state->fail_message && argument != 0)
        return state->fail_code;
    return answer(group, argument, message, data);
}
