// win32.h - the one place that knows which system this is. On Windows it is the system's
// own header; elsewhere the small subset of it that the portable part calls.
#pragma once

#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include "platform/posix/win32_subset.h"
#endif

#include <cstdint>

/// Bytes that can be read without a fault from address on, at most 2^32 - 1; 0 for null.
/// The unbounded memory entries use it, so that a damaged image in memory ends where the
/// memory ends.
uint32_t platform_readable_bytes(const void* address);

/// The same for writing.
uint32_t platform_writable_bytes(const void* address);
