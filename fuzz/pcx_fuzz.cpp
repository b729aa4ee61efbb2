// pcx_fuzz.cpp - the PCX reader, and the writer on what it made.

#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz_load(data, size, 0, 2);
    return 0;
}
