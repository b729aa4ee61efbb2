// jpeg_fuzz.cpp - the JPEG reader, and the JPEG writer on what it made.

#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz_load(data, size, 0, 13);
    return 0;
}
