// targa_fuzz.cpp - the Targa reader in both modes, and the writer on what came out. The header
// is made to look like Targa, which has no signature.

#include "fuzz/fuzz_support.h"

#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static uint8_t file[1 << 16];
    if (size < 3 || size > sizeof file) return 0;
    std::memcpy(file, data, size);
    constexpr uint8_t types[] = {1, 2, 3, 9, 10, 11};
    file[1] &= 1;
    file[2] = types[file[2] % 6];
    fuzz_load(file, size, 0, 3);
    return 0;
}
