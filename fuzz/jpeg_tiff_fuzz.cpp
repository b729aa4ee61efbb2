// jpeg_tiff_fuzz.cpp - JPEG strips of TIFF pages: the first bytes choose the page and patch
// its tables, the rest is the data of a strip.

#include "fuzz/fuzz_support.h"
#include "tests/builders/jpeg_tiff_builder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    constexpr size_t options = 8;
    if (size < options) return 0;
    jpeg_builder::coded_picture coded_picture(1 + data[2] % 64, 1 + data[3] % 64, 1, 1);
    if (data[0] & 16) coded_picture.components.resize(1);
    coded_picture.nonzero = 0;
    jpeg_builder::page page{
        std::vector<jpeg_builder::coded_picture>(1 + data[4] % 3, coded_picture)};
    page.big = data[0] & 1;
    page.big_tables = data[0] & 2;
    page.inline_tables = data[0] & 4;
    page.prefix.assign(data + options, data + size);
    page.more = {{262, 3, data[0] & 8 ? 2u : 6u},
                 {515, 3, uint32_t{data[0]} >> 6},
                 {530, 3, data[1] & 7u, uint32_t{data[1]} >> 3 & 7}};
    if (data[1] >> 6) page.more.push_back({518 + (data[1] >> 6), 4, 0x7FFF0000});
    byte_vector file = page.file();
    // Tables and directory stand at the end.
    const size_t place = (data[5] + 256u * data[6]) % std::min<size_t>(file.size(), 1600);
    if (data[7]) file[file.size() - 1 - place] = data[7];
    fuzz_load(file.data(), file.size(), 0, 13);
    return 0;
}
