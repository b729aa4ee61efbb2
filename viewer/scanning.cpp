// scanning.cpp - the library's scanner functions, looked up when the program runs.

#include "viewer/scanning.h"

namespace {

constexpr int32_t code_missing = -17;

template <class Function> Function library_function(const char* name)
{
    // Through void*: the compiler rightly distrusts a cast between function types.
    void* address = reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("trevolan.dll"), name));
    return reinterpret_cast<Function>(address);
}

} // namespace

bool scanning_available()
{
    return library_function<decltype(&IMG_scan_acquire)>("IMG_scan_acquire") != nullptr;
}

int32_t scan_select(HWND owner)
{
    auto* select = library_function<decltype(&IMG_scan_open_source)>("IMG_scan_open_source");
    return select ? select(owner) : code_missing;
}

int32_t scan_page(HWND owner)
{
    auto* acquire = library_function<decltype(&IMG_scan_acquire)>("IMG_scan_acquire");
    return acquire ? acquire(owner, 1) : code_missing;
}

int32_t scan_to_files(HWND owner, const std::string& prefix, int32_t type)
{
    auto* pages = library_function<decltype(&IMG_scan_pages)>("IMG_scan_pages");
    return pages ? pages(owner, prefix.c_str(), type, 1) : code_missing;
}
