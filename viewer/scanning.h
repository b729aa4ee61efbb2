// scanning.h - the library's scanner functions. They are looked up when the program runs, so
// that the viewer also works with a library that was built without them.
#pragma once

#include "core/image.h"

#include <string>

bool scanning_available();

/// All return a negative code on failure, -17 without scanner support.
int32_t scan_select(HWND owner);
/// A handle.
int32_t scan_page(HWND owner);
/// Files named after the prefix with a number of eight digits behind it.
int32_t scan_to_files(HWND owner, const std::string& prefix, int32_t type);
