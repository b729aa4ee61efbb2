// tiff_fuzz.cpp - the TIFF reader on any page, and the writers on what it made. The last byte
// chooses page and type.

#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1) return 0;
    constexpr int32_t types[] = {0, 9, 16, 10};
    fuzz_load(data, size, data[size - 1] & 3, types[data[size - 1] >> 2 & 3]);
    return 0;
}
