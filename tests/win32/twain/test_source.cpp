// test_source.cpp - a data source that delivers known pages, for the system's own source
// manager. The environment variable TREVOLAN_TEST_PAGES says how many.

#include "scan/twain.h"
#include "tests/win32/twain/mock_manager.h"

#include <cstdlib>

using namespace twain;

namespace {

int page = 0;
bool announced = false;

int pages()
{
    char text[16] = "1";
    GetEnvironmentVariableA("TREVOLAN_TEST_PAGES", text, sizeof text);
    return std::atoi(text);
}

uint16_t identify(identity* self)
{
    const uint32_t id = self->id;
    *self = {};
    self->id = id;
    self->number = {1, 0, 13, 1, "1.0"};
    self->protocol_major = 1;
    self->protocol_minor = 9;
    self->supported_groups = group_control | group_image;
    lstrcpyA(self->manufacturer, "Trevolan tests");
    lstrcpyA(self->product_family, "Known pages");
    lstrcpyA(self->product_name, "Known pages");
    return return_success;
}

uint16_t control(uint16_t argument, uint16_t message, void* data)
{
    switch (argument) {
    case argument_identity:
        return message == message_get ? identify(static_cast<identity*>(data))
                                      : uint16_t{return_success};
    case argument_user_interface:
        page = 0;
        announced = false;
        PostThreadMessageA(GetCurrentThreadId(), WM_APP, 0, 0);
        return return_success;
    case argument_event:
        static_cast<event*>(data)->source_message = announced ? 0 : message_transfer_ready;
        if (announced) return return_not_source_event;
        announced = true;
        return 4;
    case argument_pending_transfers:
        static_cast<pending_transfers*>(data)->count = static_cast<uint16_t>(
            message == message_end_transfer && page < pages() ? pages() - page : 0);
        return return_success;
    default: return return_failure;
    }
}

uint16_t image(uint16_t argument, uint16_t message, void* data)
{
    if (argument == argument_image_info && message == message_get) {
        auto* info = static_cast<image_info*>(data);
        *info = {};
        info->width = mock_width;
        info->length = mock_height;
        info->samples_per_pixel = 1;
        info->bits_per_sample[0] = info->bits_per_pixel = 1;
        return return_success;
    }
    if (argument != argument_native_transfer) return return_failure;
    *static_cast<uint32_t*>(data) = reinterpret_cast<uintptr_t>(mock_make_page(page++));
    return return_transfer_done;
}

} // namespace

extern "C" __declspec(dllexport) uint16_t
    __stdcall DS_Entry(identity*, uint32_t group, uint16_t argument, uint16_t message, void* data)
{
    if (group == group_control) return control(argument, message, data);
    return group == group_image ? image(argument, message, data) : uint16_t{return_failure};
}
