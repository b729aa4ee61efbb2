// bmp_fuzz.cpp - detection and the bitmap reader, and the writers on what they made.

#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1) return 0;
    fuzz_load(data, size, 0, data[size - 1] & 1 ? 1 : 12);
    return 0;
}
