// wmf_fuzz.cpp - Windows metafiles, and the writer on what came out.

#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz_load(data, size, 0, 6);
    return 0;
}
