// bmp_interop_test.cpp - BMP files between this library, netpbm and ImageMagick, pixel for
// pixel and without a warning.

#include "tests/interop/other_program.h"

namespace {

constexpr struct {
    int32_t width, height;
} sizes[] = {{1, 1}, {7, 5}, {33, 9}, {300, 4}};

class interchange_scope {
public:
    interchange_scope() { IMGX_set_interchange(1); }
    ~interchange_scope() { IMGX_set_interchange(0); }
};

// netpbm reads no run lengths.
void expect_read_by_others(const image_copy& ours, const char* file, int32_t type)
{
    const temp_file map(".ppm");
    run_program(std::string("convert-im6.q16 bmp:") + file + " -depth 8 ppm:" + map.name());
    expect_same_pixels(ours, read_pixel_map(map.name()));
    if (type == 12) return;
    run_program(std::string("bmptopnm -quiet ") + file + " >" + map.name());
    expect_same_pixels(ours, read_pixel_map(map.name()));
}

} // namespace

TEST(bmp_interop, ours_are_read_by_other_programs)
{
    for (const int32_t type : {1, 12})
        for (const int32_t bits : {1, 4, 8, 24}) {
            if (type == 12 && bits != 4 && bits != 8) continue;
            for (const auto& size : sizes) {
                SCOPED_TRACE(testing::Message() << "type " << type << ", " << bits << " bits, "
                                                << size.width << " x " << size.height);
                test_dib dib(size.width, size.height, bits);
                dib.fill_random(static_cast<uint32_t>(size.width), 3);
                for (int i = 0; bits < 24 && bits > 1 && i < 1 << bits; ++i)
                    dib.set_color(i, i * 11 & 255, 255 - i, i * 37 & 255);
                const image_guard image(dib.create());
                const temp_file file(".bmp");
                const interchange_scope interchange;
                ASSERT_GE(IMG_save_bitmap(image, file.name(), type), 0);
                expect_read_by_others(copy_image(image), file.name(), type);
            }
        }
}

TEST(bmp_interop, other_programs_files_are_read)
{
    const struct {
        int colors;
        const char* command; // < map > file
        bool classic;        // read in classic mode too
    } rows[] = {
        {2, "ppmtobmp -quiet -windows -bpp=1", true},
        {2, "ppmtobmp -quiet -os2 -bpp=1", true},
        {16, "ppmtobmp -quiet -windows -bpp=4", true},
        {16, "ppmtobmp -quiet -os2 -bpp=4", true},
        {200, "ppmtobmp -quiet -windows -bpp=8", true},
        {256, "ppmtobmp -quiet -os2 -bpp=8", true},
        {4000, "ppmtobmp -quiet -windows -bpp=24", true},
        {4000, "ppmtobmp -quiet -os2 -bpp=24", true},
        {200, "convert-im6.q16 ppm:- -type Palette -compress RLE bmp3:-", true},
        {200, "convert-im6.q16 ppm:- -type Palette -compress None bmp3:-", true},
        {2, "convert-im6.q16 ppm:- -type Bilevel -compress None bmp3:-", true},
        {4000, "convert-im6.q16 ppm:- -type TrueColor bmp3:-", true},
        {200, "convert-im6.q16 ppm:- -type Palette bmp2:-", true},
        {4000, "convert-im6.q16 ppm:- -type TrueColor bmp:-", false},
        {200, "convert-im6.q16 ppm:- -type Palette -compress RLE bmp:-", false},
    };
    for (const auto& r : rows)
        for (const auto& size : sizes) {
            SCOPED_TRACE(testing::Message()
                         << r.command << ", " << size.width << " x " << size.height);
            const pixel_map map = random_map(size.width, size.height, r.colors, 5);
            const temp_file source(".ppm");
            const temp_file file(".bmp");
            write_pixel_map(source.name(), map);
            run_program(std::string(r.command) + " <" + source.name() + " >" + file.name());
            for (const int32_t mode : {0, 1}) {
                if (mode == 0 && !r.classic) continue;
                IMGX_set_interchange(mode);
                const image_guard image(IMG_decompress_bitmap(file.name()));
                IMGX_set_interchange(0);
                ASSERT_GE(image, 0);
                expect_same_pixels(copy_image(image), map);
            }
        }
}
