// pcx_interop_test.cpp - PCX, DCX, PICT, WPG and WMF files to and from other programs:
// ImageMagick, GraphicsMagick (which draws metafiles through libwmf) and netpbm as processes.

#include "tests/support/peer_tools.h"

#include <span>

namespace {

class interchange_scope {
public:
    interchange_scope() { IMGX_set_interchange(1); }
    ~interchange_scope() { IMGX_set_interchange(0); }
};

constexpr const char* magick = "convert-im6.q16";

std::string with_names(std::string command, const std::string& in, const std::string& out)
{
    command.replace(command.find("%i"), 2, in);
    return command.replace(command.find("%o"), 2, out);
}

struct peer_writer {
    const char* tool;
    const char* command; // pixmap %i to file %o
    const char* extension;
    uint32_t colors;
};

constexpr peer_writer writers[] = {
    {magick, "convert-im6.q16 %i PCX:%o", ".pcx", 0xFFFFFF},
    {magick, "convert-im6.q16 %i -type Palette PCX:%o", ".pcx", 200},
    {magick, "convert-im6.q16 %i DCX:%o", ".dcx", 200},
    {magick, "convert-im6.q16 %i PICT:%o", ".pct", 0xFFFFFF},
    {magick, "convert-im6.q16 %i -type Palette PICT:%o", ".pct", 200},
    {"gm", "gm convert %i PCX:%o", ".pcx", 0xFFFFFF},
    {"gm", "gm convert %i -type Palette PCX:%o", ".pcx", 200},
    {"gm", "gm convert %i PICT:%o", ".pct", 0xFFFFFF},
    {"ppmtopcx", "ppmtopcx -24bit %i > %o", ".pcx", 0xFFFFFF},
    {"ppmtopcx", "ppmtopcx -8bit %i > %o", ".pcx", 200},
    {"ppmtopcx", "ppmtopcx %i > %o", ".pcx", 16},
    {"ppmtopcx", "ppmtopcx -packed %i > %o", ".pcx", 16},
    {"ppmtopict", "ppmtopict %i > %o", ".pct", 200},
};

// Not below 8 pixels: ppmtopict refuses those, and ImageMagick writes rows that it cannot
// read itself.
pixmap peer_picture(int32_t width, int32_t height, uint32_t colors)
{
    std::mt19937 random(static_cast<uint32_t>(width));
    pixmap map{width, height, {}};
    for (int32_t i = 0; i < width * height; ++i) {
        const bool repeat = i > 0 && random() % 3;
        const uint32_t index = static_cast<uint32_t>(random()) % colors;
        map.colors.push_back(repeat ? map.colors.back() : index * 0x010305 & 0xFFFFFF);
    }
    return map;
}

struct peer_reader {
    const char* tool;
    const char* command; // file %i to pixmap %o
    int32_t type;
    int32_t depths; // sum of those that it reads
};

// What these programs are known to read otherwise is left out: ImageMagick shows 1-bit PCX
// inverted; both show PICT rows of 63 to 66 pixels of 24 bits with another size of count.
constexpr peer_reader readers[] = {
    {magick, "convert-im6.q16 PCX:%i -depth 8 ppm:%o", 2, 4 + 8 + 24},
    {magick, "convert-im6.q16 DCX:%i -depth 8 ppm:%o", 11, 4 + 8 + 24},
    {magick, "convert-im6.q16 WPG:%i -depth 8 ppm:%o", 5, 1 + 4 + 8},
    {magick, "convert-im6.q16 PICT:%i -depth 8 ppm:%o", 15, 1 + 4 + 8 + 24},
    {"gm", "gm convert PCX:%i -depth 8 ppm:%o", 2, 1 + 4 + 8 + 24},
    {"gm", "gm convert WPG:%i -depth 8 ppm:%o", 5, 1 + 4 + 8},
    {"gm", "gm convert PICT:%i -depth 8 ppm:%o", 15, 1 + 4 + 8 + 24},
    {"gm", "gm convert WMF:%i -depth 8 ppm:%o", 6, 1 + 4 + 8 + 24},
    {"pcxtoppm", "pcxtoppm %i > %o", 2, 1 + 4 + 8 + 24},
};

// Colours of a table that says white for 1, as the 1-bit forms have it.
test_dib coloured_dib(int32_t width, int32_t height, int32_t bits)
{
    test_dib dib(width, height, bits);
    dib.fill_random(static_cast<uint32_t>(width), 3);
    for (int i = 0; bits > 1 && bits < 24 && i < 1 << bits; ++i)
        dib.set_color(i, i * 11 & 255, 255 - i, i * 37 & 255);
    dib.header()->biXPelsPerMeter = 72; // metafiles are drawn at 72 dots per inch
    dib.header()->biYPelsPerMeter = 72;
    return dib;
}

} // namespace

TEST(pcx_interop, we_read_what_other_programs_write)
{
    const interchange_scope interchange;
    int tried = 0;
    for (const peer_writer& writer : writers) {
        if (!have_tool(writer.tool)) continue;
        SCOPED_TRACE(writer.command);
        for (auto [width, height] : {std::pair(9, 5), {64, 9}, {65, 9}, {130, 67}, {225, 4}}) {
            const pixmap picture = peer_picture(width, height, writer.colors);
            const temp_file in(".ppm"), file(writer.extension);
            write_pixmap(in.name(), picture);
            ASSERT_TRUE(run_tool(with_names(writer.command, in.name(), file.name())));
            EXPECT_TRUE(load_pixmap(file.name()) == picture) << width << " x " << height;
            ++tried;
        }
    }
    if (tried == 0) GTEST_SKIP() << "no other program is installed";
}

TEST(pcx_interop, other_programs_read_what_we_write)
{
    const interchange_scope interchange;
    int tried = 0;
    for (const peer_reader& reader : readers) {
        if (!have_tool(reader.tool)) continue;
        SCOPED_TRACE(reader.command);
        int32_t left = reader.depths;
        for (int32_t bits : {24, 8, 4, 1}) {
            if (left < bits) continue;
            left -= bits;
            for (auto [width, height] : {std::pair(3, 2), {37, 11}, {128, 40}, {250, 7}}) {
                const image_guard image(coloured_dib(width, height, bits).create());
                const temp_file file(".img"), out(".ppm");
                ASSERT_GE(IMG_save_bitmap(image, file.name(), reader.type), 0);
                EXPECT_TRUE(run_tool(with_names(reader.command, file.name(), out.name())));
                EXPECT_TRUE(read_pixmap(out.name()) == pixmap_of(copy_image(image)))
                    << bits << " bits, " << width << " x " << height;
                ++tried;
            }
        }
    }
    if (tried == 0) GTEST_SKIP() << "no other program is installed";
}
