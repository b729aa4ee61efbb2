// twain.h - what the TWAIN 1 description publishes and this library uses of it: structures,
// as the headers for 32-bit Windows lay them out (2-byte packing), and numbers.
#pragma once

#include "platform/win32.h"

namespace twain {

using string32 = char[34]; // 32 characters, a zero and a pad byte

#pragma pack(push, 2)

struct version {
    uint16_t major, minor;
    uint16_t language, country;
    string32 info;
};

struct identity {
    uint32_t id; // given by the source manager
    version number;
    uint16_t protocol_major, protocol_minor;
    uint32_t supported_groups;
    string32 manufacturer, product_family, product_name;
};

struct fix32 {
    int16_t whole;
    uint16_t fraction; // 1/65536
};

struct image_info {
    fix32 x_resolution, y_resolution;
    int32_t width, length;
    int16_t samples_per_pixel;
    int16_t bits_per_sample[8];
    int16_t bits_per_pixel;
    uint16_t planar;
    int16_t pixel_type;
    uint16_t compression;
};

struct user_interface {
    uint16_t show_ui, modal_ui;
    HWND parent;
};

struct event {
    void* message; // MSG of the window system
    uint16_t source_message;
};

struct pending_transfers {
    uint16_t count; // 0xFFFF: more, their number unknown
    uint32_t reserved;
};

#pragma pack(pop)

static_assert(sizeof(identity) == 156);
static_assert(sizeof(image_info) == 42);
static_assert(sizeof(user_interface) == 8);
static_assert(sizeof(event) == 6);
static_assert(sizeof(pending_transfers) == 6);

/// The single entry of a source manager.
using entry_function = uint16_t(__stdcall*)(identity* origin, identity* destination, uint32_t group,
                                            uint16_t argument, uint16_t message, void* data);

enum data_group : uint32_t { group_control = 1, group_image = 2 };

enum data_argument : uint16_t {
    argument_event = 0x0002,
    argument_identity = 0x0003,
    argument_parent = 0x0004,
    argument_pending_transfers = 0x0005,
    argument_user_interface = 0x0009,
    argument_image_info = 0x0101,
    argument_native_transfer = 0x0104,
};

enum message : uint16_t {
    message_get = 0x0001,
    message_get_default = 0x0003,
    message_set = 0x0006,
    message_reset = 0x0007,
    message_transfer_ready = 0x0101, // from the source, in event::source_message
    message_close_request = 0x0102,
    message_open_manager = 0x0301,
    message_close_manager = 0x0302,
    message_open_source = 0x0401,
    message_close_source = 0x0402,
    message_user_select = 0x0403,
    message_disable_source = 0x0501,
    message_enable_source = 0x0502,
    message_process_event = 0x0601,
    message_end_transfer = 0x0701,
};

enum return_code : uint16_t {
    return_success = 0,
    return_failure = 1,
    return_cancel = 3,
    return_not_source_event = 5,
    return_transfer_done = 6,
};

} // namespace twain
