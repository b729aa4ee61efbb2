// dcx_fuzz.cpp - DCX tables and pages; the last byte says which page is read.

#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1) return 0;
    fuzz_load(data, size, data[size - 1] & 3, 11);
    return 0;
}
