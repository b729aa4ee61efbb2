// gif_fuzz.cpp - the GIF reader in both modes, any picture of the file, and the writer on what
// came out.

#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1) return 0;
    fuzz_load(data, size, data[size - 1] & 3, 4);
    return 0;
}
