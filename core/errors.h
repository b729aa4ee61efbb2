// errors.h - the result codes, one meaning each across the library.
#pragma once

#include <cstdint>

enum img_error : int32_t {
    err_memory = -1,          // no memory, a lock that failed, or a null where an address must be
    err_open = -2,            // file cannot be opened, or its name is empty
    err_format = -3,          // wrong magic, or data that ended early or cannot be decoded
    err_create = -6,          // output or temporary file cannot be created
    err_unsupported = -7,     // type, compression, depth or colour table not supported
    err_preview = -8,         // the preview of an EPS file cannot be read
    err_write = -9,           // fewer bytes written than asked
    err_page = -11,           // no such page
    err_corrupt = -12,        // corrupt data, or the first data of a file cannot be read
    err_handle = -13,         // the handle names no image
    err_clipboard = -14,      // clipboard or device bitmap cannot be had
    err_scan_open = -16,      // scanner source or its manager cannot be opened or enabled
    err_scan_missing = -17,   // the source manager library is missing
    err_scan_cancelled = -18, // scanning cancelled, or no image transferred
};
