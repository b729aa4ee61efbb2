// samples_test.cpp - files made by other programs, read pixel for pixel. The sums are over
// the pixels as those programs decode their files (tests/data/README.md).

#include "tests/support/codec.h"
#include "tests/support/places.h"

namespace {

// FNV-1a over red, green, blue of all pixels, top row first.
uint64_t pixel_sum(const picture& picture)
{
    uint64_t sum = 0xCBF29CE484222325;
    for (const uint32_t color : colors_of(picture))
        for (const int shift : {16, 8, 0})
            sum = (sum ^ (color >> shift & 255)) * 0x100000001B3;
    return sum;
}

struct sample {
    const char* name;
    int32_t classic_type, interchange_type, bits;
    uint64_t sum;
    int32_t width = 61;
};

// clang-format off
constexpr sample samples[] = {
    {"chart_1.bmp",      1,  1,  1,  0xF60002851EE881A3},
    {"chart_1_os2.bmp",  12, 1,  1,  0xC056588D481A7470},
    {"chart_4.bmp",      1,  1,  4,  0x4E4D9A4D0B314D93},
    {"chart_4_os2.bmp",  12, 1,  4,  0x4E4D9A4D0B314D93},
    {"chart_8.bmp",      1,  1,  8,  0x1BB3A2F981A28A28},
    {"chart_8_rle.bmp",  12, 12, 8,  0x1BB3A2F981A28A28},
    {"chart_8_core.bmp", 12, 1,  8,  0x1BB3A2F981A28A28},
    {"chart_8_os2.bmp",  12, 1,  8,  0xE835EEC8A84460B1},
    {"chart_8_gray.bmp", 1,  1,  8,  0x4C04A01E4AEC3D27},
    {"chart_24.bmp",     1,  1,  24, 0xC0B684ED54B8F20D},
    {"chart_24_os2.bmp", 12, 1,  24, 0xC0B684ED54B8F20D},
    {"chart_1.gif",      4,  4,  1,  0x89C261A1AEC1CC41},
    {"chart_4_interlaced.gif", 4, 4, 4, 0x4E4D9A4D0B314D93},
    {"chart_8.gif",      4,  4,  8,  0x1BB3A2F981A28A28},
    {"chart_gm.gif",     4,  4,  8,  0x89070EEA2A062B0B},
    {"chart_animated.gif", 4, 4, 8,  0x1D14C14A409A0001},
    {"chart_8.tga",      3,  3,  8,  0xE835EEC8A84460B1},
    {"chart_8_gray.tga", 3,  3,  8,  0x7E85625047AF22FB},
    {"chart_24.tga",     3,  3,  24, 0xC0B684ED54B8F20D},
    {"chart_24_rle.tga", 3,  3,  24, 0xC0B684ED54B8F20D},
    {"chart_32_rle.tga", 3,  3,  24, 0xC0B684ED54B8F20D},
    {"chart_1.pcx",      2,  2,  1,  0x4A8E07B8CB37034F},
    {"chart_4_planes.pcx", 2, 2, 4,  0x4E4D9A4D0B314D93},
    {"chart_4_packed.pcx", 2, 2, 4,  0x4E4D9A4D0B314D93},
    {"chart_8.pcx",      2,  2,  8,  0xE835EEC8A84460B1},
    {"chart_24.pcx",     2,  2,  24, 0xC0B684ED54B8F20D},
    {"chart_gm.pcx",     2,  2,  8,  0x89070EEA2A062B0B},
    {"chart_two.dcx",    11, 11, 8,  0x1D14C14A409A0001},
    {"chart_8.pct",      15, 15, 8,  0xE835EEC8A84460B1},
    {"chart_24.pct",     15, 15, 24, 0xC0B684ED54B8F20D},
    {"chart_gm.pct",     15, 15, 24, 0xC0B684ED54B8F20D},
    {"chart_1.wmf",      6,  6,  1,  0xF60002851EE881A3},
    {"chart_8.wmf",      6,  6,  8,  0x1BB3A2F981A28A28},
    {"icon_4.wpg",       5,  5,  4,  0x7A83BCDA1FC556DA, 31},
    {"rose_8.wpg",       5,  5,  8,  0x6FD1DFAA3DF26A27, 71},
};
// clang-format on

} // namespace

TEST(samples, are_read_as_the_programs_that_made_them_read_them)
{
    for (const sample& s : samples) {
        SCOPED_TRACE(s.name);
        const std::string path = sample_path(s.name);
        const image_guard image(IMG_decompress_bitmap(path.c_str()));
        const picture copy = copy_image(image);
        EXPECT_EQ(copy.width, s.width);
        EXPECT_EQ(copy.bits, s.bits);
        EXPECT_EQ(pixel_sum(copy), s.sum);
        EXPECT_EQ(IMGLOW_get_filetype(path.c_str()), s.classic_type);
        IMGX_set_interchange(1);
        EXPECT_EQ(IMGLOW_get_filetype(path.c_str()), s.interchange_type);
        IMGX_set_interchange(0);
    }
}
