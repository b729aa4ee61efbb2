// errors.cpp - the text of every result code, in the words of a user.

#include "core/errors.h"
#include "core/image.h"

const char* IMG_STD IMGX_error_text(int32_t code)
{
    if (code >= 0) return "no error";
    switch (code) {
    case err_memory: return "not enough memory, or an argument that cannot be used";
    case err_open: return "the file cannot be opened";
    case err_format: return "the data are not of the expected format, or end early";
    case err_create: return "the output file cannot be created";
    case err_unsupported: return "the file type, compression or depth is not supported";
    case err_preview: return "the preview of the file cannot be read";
    case err_write: return "the output could not be written completely";
    case err_page: return "there is no such page";
    case err_corrupt: return "the data are damaged";
    case err_handle: return "the handle names no image";
    case err_clipboard: return "the clipboard or device bitmap cannot be read";
    case err_scan_open: return "the scanner cannot be opened";
    case err_scan_missing: return "no scanner support is installed";
    case err_scan_cancelled: return "scanning was cancelled";
    default: return "cancelled by the caller";
    }
}

const char* IMG_STD IMGX_version(void)
{
    return "4.0.0";
}
