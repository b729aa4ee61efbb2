// formats_interop_test.cpp - BMP, GIF, Targa, PCX, DCX, PICT, WPG, WMF and EPS files to and from
// other programs: giflib's tools, ImageMagick, GraphicsMagick (which draws metafiles through
// libwmf), netpbm, libwpg, ffmpeg and Ghostscript as processes where they are installed.

#include "tests/support/codec.h"
#include "tests/support/peer_tools.h"

namespace {

// Few colours, so that a palettised file holds the picture without a loss.
picture peer_picture(int32_t width, int32_t height, uint32_t colors)
{
    std::mt19937 random(static_cast<uint32_t>(width));
    uint32_t color = 0;
    return each_pixel(width, height, 24, {}, [&](int32_t, int32_t) {
        if (random() % 3 == 0) color = random() % colors * 0x010305 & 0xFFFFFF;
        return color;
    });
}

std::string with_names(std::string command, const std::string& in, const std::string& out)
{
    command.replace(command.find("%i"), 2, in);
    return command.replace(command.find("%o"), 2, out);
}

bool have_tool_of(const std::string& command)
{
    return have_tool(command.substr(0, command.find(' ')));
}

// Pixmap %i to file %o. ImageMagick marks Targa files without an orientation as having the
// bottom row first, whatever their order, hence -orient.
constexpr struct {
    const char* command;
    const char* extension;
    uint32_t colors;
} writers[] = {
    {"ppmtobmp -windows -bpp=1 %i > %o", ".bmp", 2},
    {"ppmtobmp -os2 -bpp=1 %i > %o", ".bmp", 2},
    {"ppmtobmp -windows -bpp=4 %i > %o", ".bmp", 16},
    {"ppmtobmp -os2 -bpp=4 %i > %o", ".bmp", 16},
    {"ppmtobmp -windows -bpp=8 %i > %o", ".bmp", 200},
    {"ppmtobmp -os2 -bpp=8 %i > %o", ".bmp", 256},
    {"ppmtobmp -windows -bpp=24 %i > %o", ".bmp", 3000},
    {"ppmtobmp -os2 -bpp=24 %i > %o", ".bmp", 3000},
    {"convert-im6.q16 %i -type Palette -compress RLE bmp3:%o", ".bmp", 200},
    {"convert-im6.q16 %i -type Palette -compress None bmp3:%o", ".bmp", 200},
    {"convert-im6.q16 %i -type TrueColor bmp3:%o", ".bmp", 3000},
    {"convert-im6.q16 %i -type Palette bmp2:%o", ".bmp", 200},
    {"convert-im6.q16 %i -type TrueColor bmp:%o", ".bmp", 3000},
    {"convert-im6.q16 %i -type Palette -compress RLE bmp:%o", ".bmp", 200},
    {"gm convert %i -type Palette bmp:%o", ".bmp", 16},
    {"convert-im6.q16 %i gif:%o", ".gif", 256},
    {"convert-im6.q16 %i gif87:%o", ".gif", 9},
    {"gm convert %i gif:%o", ".gif", 100},
    {"pamtogif -interlace -noclear %i > %o", ".gif", 30},
    {"pamtogif -nolzw %i > %o", ".gif", 256},
    {"convert-im6.q16 %i -orient TopLeft -compress none tga:%o", ".tga", 3000},
    {"convert-im6.q16 %i -orient TopLeft -type TrueColorMatte tga:%o", ".tga", 3000},
    {"convert-im6.q16 %i -orient BottomLeft -flip -type Palette -compress RLE tga:%o", ".tga", 200},
    {"gm convert %i tga:%o", ".tga", 3000},
    {"ppmtotga -rgb %i > %o", ".tga", 3000},
    {"ppmtotga -cmap %i > %o", ".tga", 250},
    {"ffmpeg -v error -y -f ppm_pipe -i %i -f image2 -c:v targa %o", ".tga", 3000},
    {"convert-im6.q16 %i PCX:%o", ".pcx", 0xFFFFFF},
    {"convert-im6.q16 %i DCX:%o", ".dcx", 200},
    {"gm convert %i PCX:%o", ".pcx", 0xFFFFFF},
    {"ppmtopcx -24bit %i > %o", ".pcx", 0xFFFFFF},
    {"ppmtopcx -8bit %i > %o", ".pcx", 200},
    {"ppmtopcx %i > %o", ".pcx", 16},
    {"ppmtopcx -packed %i > %o", ".pcx", 16},
    {"ffmpeg -v error -y -f ppm_pipe -i %i -f image2 -c:v pcx %o", ".pcx", 0xFFFFFF},
    {"convert-im6.q16 %i PICT:%o", ".pct", 0xFFFFFF},
    {"convert-im6.q16 %i -type Palette PICT:%o", ".pct", 200},
    {"gm convert %i PICT:%o", ".pct", 0xFFFFFF},
    {"ppmtopict %i > %o", ".pct", 200},
    {"gm convert %i EPT:%o", ".eps", 3000}, // a preview in TIFF
};

// File %i to pixmap %o. What these programs are known to read otherwise is left out:
// ImageMagick shows 1-bit PCX inverted; both show PICT rows of 63 to 66 pixels of 24 bits with
// another size of count, and refuse single pixels, as GraphicsMagick does of 24-bit BMP.
constexpr struct {
    const char* command;
    int32_t type;
    std::initializer_list<int32_t> depths;
} readers[] = {
    {"convert-im6.q16 -regard-warnings bmp:%i -depth 8 ppm:%o", 1, {1, 4, 8, 24}},
    {"convert-im6.q16 -regard-warnings bmp:%i -depth 8 ppm:%o", 12, {4, 8}},
    {"gm convert bmp:%i -depth 8 ppm:%o", 1, {1, 4, 8}},
    {"gm convert bmp:%i -depth 8 ppm:%o", 12, {4, 8}},
    {"bmptopnm %i > %o", 1, {1, 4, 8, 24}},
    {"convert-im6.q16 -regard-warnings gif:%i -depth 8 ppm:%o", 4, {1, 4, 8}},
    {"gm convert gif:%i -depth 8 ppm:%o", 4, {1, 4, 8}},
    {"giftopnm %i > %o", 4, {1, 4, 8}},
    {"giffilter < %i | giftopnm > %o", 4, {1, 4, 8}},
    {"convert-im6.q16 tga:%i -depth 8 ppm:%o", 3, {8, 24}},
    {"gm convert tga:%i -depth 8 ppm:%o", 3, {8, 24}},
    {"tgatoppm %i > %o", 3, {8, 24}},
    {"convert-im6.q16 PCX:%i -depth 8 ppm:%o", 2, {4, 8, 24}},
    {"gm convert PCX:%i -depth 8 ppm:%o", 2, {1, 4, 8, 24}},
    {"pcxtoppm %i > %o", 2, {1, 4, 8, 24}},
    {"convert-im6.q16 DCX:%i -depth 8 ppm:%o", 11, {4, 8, 24}},
    {"convert-im6.q16 WPG:%i -depth 8 ppm:%o", 5, {1, 4, 8}},
    {"gm convert WPG:%i -depth 8 ppm:%o", 5, {1, 4, 8}},
    {"wpg2svg %i | sed -n 's/.*base64,//;s/\".*//;/^Qk/p' | base64 -d |"
     " convert-im6.q16 bmp:- -alpha off -depth 8 ppm:%o",
     5,
     {1, 4, 8}},
    {"convert-im6.q16 PICT:%i -depth 8 ppm:%o", 15, {1, 4, 8, 24}},
    {"gm convert PICT:%i -depth 8 ppm:%o", 15, {1, 4, 8, 24}},
    {"gm convert WMF:%i -depth 8 ppm:%o", 6, {1, 4, 8, 24}},
};

// Metafiles are drawn at 72 dots per inch.
picture coloured_dib(int32_t width, int32_t height, int32_t bits)
{
    picture dib = random_picture(width, height, bits, 3);
    dib.set_resolution(72, 72);
    return dib;
}

} // namespace

TEST(formats_interop, we_read_what_other_programs_write)
{
    const mode_scope interchange;
    int tried = 0;
    for (const auto& writer : writers) {
        if (!have_tool_of(writer.command)) continue;
        SCOPED_TRACE(writer.command);
        // Not below 8 pixels: ppmtopict refuses those, and ImageMagick writes rows of PICT that
        // it cannot read itself.
        for (auto [width, height] : {std::pair(9, 5), {64, 9}, {65, 9}, {130, 67}, {225, 4}}) {
            const picture meant = peer_picture(width, height, writer.colors);
            const temp_file in(".ppm"), file(writer.extension);
            write_pixmap(in.name(), meant);
            ASSERT_TRUE(run_tool(with_names(writer.command, in.name(), file.name())));
            EXPECT_TRUE(same_colors(load_picture(file.name()), meant)) << width << " x " << height;
            ++tried;
        }
    }
    if (tried == 0) GTEST_SKIP() << "no other program is installed";
}

TEST(formats_interop, other_programs_read_what_we_write)
{
    const mode_scope interchange;
    int tried = 0;
    for (const auto& reader : readers) {
        if (!have_tool_of(reader.command)) continue;
        SCOPED_TRACE(reader.command);
        for (int32_t bits : reader.depths)
            for (auto [width, height] : {std::pair(1, 1), {3, 2}, {37, 11}, {128, 40}, {250, 7}}) {
                if (reader.type == 15 && width == 1) continue;
                const image_guard image(coloured_dib(width, height, bits).create());
                const temp_file file(".img"), out(".ppm");
                ASSERT_GE(IMG_save_bitmap(image, file.name(), reader.type), 0);
                EXPECT_TRUE(run_tool(with_names(reader.command, file.name(), out.name())));
                EXPECT_TRUE(same_colors(read_pixmap(out.name()), copy_image(image)))
                    << bits << " bits, " << width << " x " << height;
                ++tried;
            }
    }
    if (tried == 0) GTEST_SKIP() << "no other program is installed";
}

TEST(formats_interop, ghostscript_draws_our_postscript)
{
    // The classic program draws 1- and 8-bit images; its page has no showpage, so one is added.
    // At 64 pixels in 8 inches, 8 dots per inch draw one dot a pixel.
    const struct {
        int interchange, bits, white_first;
        const char* size;
    } cases[] = {{1, 1, 0, "-dEPSCrop"}, {1, 1, 1, "-dEPSCrop"},  {1, 4, 0, "-dEPSCrop"},
                 {1, 8, 0, "-dEPSCrop"}, {1, 24, 0, "-dEPSCrop"}, {0, 1, 0, "-g68x88"},
                 {0, 8, 0, "-g68x88"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "interchange " << c.interchange << ", " << c.bits);
        IMGX_set_interchange(c.interchange);
        picture dib = random_picture(64, 48, c.bits, 3);
        if (c.white_first) dib.set_colors({0xFFFFFF, 0});
        const image_guard image(dib.create());
        const temp_file eps(".eps"), ppm(".ppm");
        ASSERT_GE(IMG_save_bitmap(image, eps.name(), 14), 0);
        byte_vector bytes = eps.bytes();
        const std::string show = c.interchange ? "" : "showpage\n";
        bytes.insert(bytes.end(), show.begin(), show.end());
        write_file(eps.name(), bytes);
        ASSERT_TRUE(run_tool(std::string("gs -q -dBATCH -dNOPAUSE -dSAFER -sDEVICE=ppmraw -r8 ") +
                             c.size + " -sOutputFile=" + ppm.name() + " " + eps.name()));
        const picture page = read_pixmap(ppm.name());
        const int32_t edge = c.interchange ? 0 : 2; // a quarter of an inch
        ASSERT_EQ(page.width, c.interchange ? 64 : 68);
        for (int32_t y = 0; y < 48; ++y)
            for (int32_t x = 0; x < 64; ++x)
                ASSERT_EQ(page.color(x + edge, y + edge), dib.color(x, y)) << x << ", " << y;
    }
}
