// jpeg_tiff_fuzz.cpp - JPEG strips of TIFF pages: the first bytes choose the page and patch
// its tables, the rest is the data of a strip.

#include "fuzz/fuzz_support.h"
#include "tests/builders/jpeg_tiff_builder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    constexpr size_t options = 8;
    if (size < options) return 0;
    jpeg_builder::tiff_page page;
    page.big = data[0] & 1;
    page.big_tables = data[0] & 2;
    page.inline_tables = data[0] & 4;
    page.photometric = data[0] & 8 ? 2 : 6;
    page.restart_interval = data[0] >> 6;
    page.subsampling_first = data[1] & 7;
    page.subsampling_second = data[1] >> 3 & 7;
    if (data[1] >> 6) page.lost_table = 518u + (data[1] >> 6);
    page.prefix.assign(data + options, data + size);

    auto picture = jpeg_builder::color_picture(1 + data[2] % 64, 1 + data[3] % 64, 1, 1);
    if (data[0] & 16) picture.components.resize(1);
    picture.nonzero = 0;
    const std::vector<jpeg_builder::picture> strips(1 + data[4] % 3, picture);
    jpeg_builder::bytes file = jpeg_builder::tiff_writer(page).build(strips);
    const size_t place = 8 + (data[5] + 256u * data[6]) % 1600; // in the tables and arrays
    if (data[7] && place < file.size()) file[place] = data[7];
    fuzz_load(file.data(), file.size(), 0, 13);
    return 0;
}
