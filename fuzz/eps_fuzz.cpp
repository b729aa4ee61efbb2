// eps_fuzz.cpp - previews of PostScript files, and PostScript made of them.

#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz_load(data, size, 0, 14);
    return 0;
}
