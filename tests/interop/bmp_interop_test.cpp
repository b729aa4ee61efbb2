// bmp_interop_test.cpp - BMP files between this library, netpbm and ImageMagick, pixel for
// pixel and without a warning.

#include "tests/support/peer_tools.h"

namespace {

constexpr struct {
    int32_t width, height;
} sizes[] = {{1, 1}, {7, 5}, {33, 9}, {300, 4}};

// Fails the test also where the program says anything, which is how these warn.
void run_program(const std::string& command)
{
    const temp_file said(".log");
    EXPECT_TRUE(run_tool("( " + command + " ) 2>" + said.name())) << command;
    EXPECT_TRUE(said.bytes().empty()) << command;
}

} // namespace

TEST(bmp_interop, ours_are_read_by_other_programs)
{
    IMGX_set_interchange(1);
    for (const int32_t type : {1, 12})
        for (const int32_t bits : {1, 4, 8, 24}) {
            if (type == 12 && bits != 4 && bits != 8) continue;
            for (const auto& size : sizes) {
                SCOPED_TRACE(testing::Message() << "type " << type << ", " << bits << " bits, "
                                                << size.width << " x " << size.height);
                const image_guard image(random_dib(size.width, size.height, bits, 3).create());
                const temp_file file(".bmp"), map(".ppm");
                ASSERT_GE(IMG_save_bitmap(image, file.name(), type), 0);
                const pixmap ours = pixmap_of(copy_image(image));
                const std::string name = file.name();
                run_program("convert-im6.q16 bmp:" + name + " -depth 8 ppm:" + map.name());
                EXPECT_EQ(read_pixmap(map.name()), ours);
                if (type == 12) continue; // netpbm reads no run lengths
                run_program("bmptopnm -quiet " + name + " >" + map.name());
                EXPECT_EQ(read_pixmap(map.name()), ours);
            }
        }
}

TEST(bmp_interop, other_programs_files_are_read)
{
    const struct {
        int32_t bits;
        const char* command; // < map > file
        int classic;         // 0: read in interchange mode only
    } rows[] = {
        {1, "ppmtobmp -quiet -windows -bpp=1", 1},
        {1, "ppmtobmp -quiet -os2 -bpp=1", 1},
        {4, "ppmtobmp -quiet -windows -bpp=4", 1},
        {4, "ppmtobmp -quiet -os2 -bpp=4", 1},
        {8, "ppmtobmp -quiet -windows -bpp=8", 1},
        {8, "ppmtobmp -quiet -os2 -bpp=8", 1},
        {24, "ppmtobmp -quiet -windows -bpp=24", 1},
        {24, "ppmtobmp -quiet -os2 -bpp=24", 1},
        {8, "convert-im6.q16 ppm:- -type Palette -compress RLE bmp3:-", 1},
        {8, "convert-im6.q16 ppm:- -type Palette -compress None bmp3:-", 1},
        {1, "convert-im6.q16 ppm:- -type Bilevel -compress None bmp3:-", 1},
        {24, "convert-im6.q16 ppm:- -type TrueColor bmp3:-", 1},
        {8, "convert-im6.q16 ppm:- -type Palette bmp2:-", 1},
        {24, "convert-im6.q16 ppm:- -type TrueColor bmp:-", 0},
        {8, "convert-im6.q16 ppm:- -type Palette -compress RLE bmp:-", 0},
    };
    for (const auto& r : rows)
        for (const auto& size : sizes) {
            SCOPED_TRACE(testing::Message()
                         << r.command << ", " << size.width << " x " << size.height);
            const image_guard image(random_dib(size.width, size.height, r.bits, 3).create());
            const pixmap map = pixmap_of(copy_image(image));
            const temp_file source(".ppm"), file(".bmp");
            write_pixmap(source.name(), map);
            run_program(std::string(r.command) + " <" + source.name() + " >" + file.name());
            for (const int mode : {1, 0}) {
                // A single colour becomes a 1-bit file, which classic mode makes black or white.
                if (mode == 0 && (!r.classic || size.width == 1)) continue;
                IMGX_set_interchange(mode);
                EXPECT_EQ(load_pixmap(file.name()), map) << "mode " << mode;
            }
        }
}
