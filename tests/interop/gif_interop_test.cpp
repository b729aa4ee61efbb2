// gif_interop_test.cpp - GIF and Targa files to and from other programs: giflib linked,
// ImageMagick, GraphicsMagick and netpbm as processes.

#include "tests/support/peer_tools.h"

#include <gif_lib.h>
#include <span>

namespace {

class interchange_scope {
public:
    interchange_scope() { IMGX_set_interchange(1); }
    ~interchange_scope() { IMGX_set_interchange(0); }
};

test_dib colored_dib(int32_t width, int32_t height, int32_t bits, int run)
{
    test_dib dib(width, height, bits);
    dib.fill_random(static_cast<uint32_t>(width * 7 + height), run);
    for (int i = 0; bits < 24 && i < 1 << bits; ++i)
        dib.set_color(i, i * 11 & 255, 255 - i, i * 37 & 255);
    return dib;
}

// The first picture of a file as giflib has it; empty with any complaint.
pixmap giflib_pixmap(const char* name)
{
    int error = 0;
    GifFileType* gif = DGifOpenFileName(name, &error);
    if (!gif) return {};
    pixmap map;
    if (DGifSlurp(gif) == GIF_OK && gif->ImageCount == 1) {
        const SavedImage& image = gif->SavedImages[0];
        map.width = image.ImageDesc.Width;
        map.height = image.ImageDesc.Height;
        for (int i = 0; i < map.width * map.height; ++i) {
            const GifColorType& c = gif->SColorMap->Colors[image.RasterBits[i]];
            map.colors.push_back(uint32_t{c.Red} << 16 | uint32_t{c.Green} << 8 | c.Blue);
        }
    }
    DGifCloseFile(gif, &error);
    return map;
}

// One picture for a giflib file.
struct giflib_picture {
    int width, height, bits;
    bool interlaced, local_table;
};

uint32_t giflib_color(int index, bool local)
{
    const auto i = static_cast<uint32_t>(index);
    return local ? i << 16 | (i * 3 & 255) << 8 | 77 : i << 16 | (255 - i) << 8 | 13;
}

ColorMapObject* giflib_map(int bits, bool local)
{
    ColorMapObject* map = GifMakeMapObject(1 << bits, nullptr);
    for (int i = 0; i < 1 << bits; ++i) {
        const uint32_t c = giflib_color(i, local);
        map->Colors[i] = {static_cast<GifByteType>(c >> 16), static_cast<GifByteType>(c >> 8),
                          static_cast<GifByteType>(c)};
    }
    return map;
}

// Writes the pictures and gives back what they show.
std::vector<pixmap> write_with_giflib(const char* name, const std::vector<giflib_picture>& pictures)
{
    std::mt19937 random(3);
    std::vector<pixmap> maps;
    int error = 0;
    GifFileType* gif = EGifOpenFileName(name, false, &error);
    ColorMapObject* global = giflib_map(8, false);
    EXPECT_EQ(EGifPutScreenDesc(gif, 700, 700, 8, 0, global), GIF_OK);
    for (const giflib_picture& p : pictures) {
        ColorMapObject* local = p.local_table ? giflib_map(p.bits, true) : nullptr;
        EXPECT_EQ(EGifPutImageDesc(gif, 0, 0, p.width, p.height, p.interlaced, local), GIF_OK);
        pixmap map{p.width, p.height, {}};
        byte_vector pixels;
        for (int i = 0; i < p.width * p.height; ++i) {
            const bool repeat = i > 0 && random() % 3;
            pixels.push_back(repeat ? pixels.back()
                                    : static_cast<uint8_t>(random() % (1u << p.bits)));
            map.colors.push_back(giflib_color(pixels.back(), p.local_table));
        }
        const std::pair<int, int> all_passes[] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};
        const std::pair<int, int> one_pass[] = {{0, 1}};
        const std::span<const std::pair<int, int>> passes =
            p.interlaced ? std::span<const std::pair<int, int>>(all_passes) : one_pass;
        for (auto [start, step] : passes)
            for (int y = start; y < p.height; y += step)
                EXPECT_EQ(EGifPutLine(gif, pixels.data() + size_t(y) * size_t(p.width), p.width),
                          GIF_OK);
        if (local) GifFreeMapObject(local);
        maps.push_back(map);
    }
    GifFreeMapObject(global);
    EXPECT_EQ(EGifCloseFile(gif, &error), GIF_OK);
    return maps;
}

// Commands that turn a file into a pixmap: input and output names follow.
std::vector<std::string> converters_to_pixmap(const std::string& extension,
                                              const std::string& options)
{
    std::vector<std::string> commands;
    if (have_tool("convert-im6.q16"))
        commands.push_back("convert-im6.q16 -regard-warnings %i " + options + " -depth 8 ppm:%o");
    if (have_tool("gm")) commands.push_back("gm convert %i -depth 8 ppm:%o");
    const std::string netpbm = extension == ".gif" ? "giftopnm" : "tgatoppm";
    if (have_tool(netpbm)) commands.push_back(netpbm + " %i > %o");
    return commands;
}

std::string with_names(std::string command, const std::string& in, const std::string& out)
{
    command.replace(command.find("%i"), 2, in);
    return command.replace(command.find("%o"), 2, out);
}

// options  of ImageMagick
void expect_peers_read(const test_dib& dib, const std::string& extension, int32_t type,
                       const std::string& options = "")
{
    const image_guard image(dib.create());
    const temp_file file(extension), out(".ppm");
    ASSERT_GE(IMG_save_bitmap(image, file.name(), type), 0);
    const pixmap expected = pixmap_of(copy_image(image));
    for (const std::string& command : converters_to_pixmap(extension, options)) {
        SCOPED_TRACE(command);
        ASSERT_TRUE(run_tool(with_names(command, file.name(), out.name())));
        EXPECT_TRUE(read_pixmap(out.name()) == expected);
    }
}

// Few colours, so that a palettised file holds the picture without a loss.
pixmap peer_picture(int32_t width, int32_t height, uint32_t colors)
{
    std::mt19937 random(static_cast<uint32_t>(width));
    pixmap map{width, height, {}};
    for (int32_t i = 0; i < width * height; ++i) {
        const uint32_t index = static_cast<uint32_t>(random() % colors);
        const bool repeat = i > 0 && random() % 3;
        map.colors.push_back(repeat ? map.colors.back() : index * 0x010305 & 0xFFFFFF);
    }
    return map;
}

struct peer_writer {
    const char* tool;
    const char* command; // pixmap %i to file %o
    uint32_t colors;
};

void expect_we_read(std::span<const peer_writer> writers, const std::string& extension)
{
    int tried = 0;
    for (const peer_writer& writer : writers) {
        if (!have_tool(writer.tool)) continue;
        SCOPED_TRACE(writer.command);
        for (auto [width, height] : {std::pair(1, 1), {7, 5}, {130, 67}}) {
            const pixmap picture = peer_picture(width, height, writer.colors);
            const temp_file in(".ppm"), file(extension);
            write_pixmap(in.name(), picture);
            ASSERT_TRUE(run_tool(with_names(writer.command, in.name(), file.name())));
            EXPECT_TRUE(load_pixmap(file.name()) == picture) << width << " x " << height;
            ++tried;
        }
    }
    if (tried == 0) GTEST_SKIP() << "no other program is installed";
}

} // namespace

TEST(gif_interop, giflib_reads_every_size)
{
    const interchange_scope interchange;
    for (int32_t bits : {1, 4, 8})
        for (int32_t width : {1, 2, 3, 7, 8, 9, 64, 255, 1000})
            for (int32_t height : {1, 2, 3, 7, 50})
                for (int run : {1, 5, 4000}) {
                    const image_guard image(colored_dib(width, height, bits, run).create());
                    const temp_file file(".gif");
                    ASSERT_EQ(IMG_save_bitmap(image, file.name(), 4), 0);
                    ASSERT_TRUE(giflib_pixmap(file.name()) == pixmap_of(copy_image(image)))
                        << bits << " bits, " << width << " x " << height << ", run " << run;
                }
}

TEST(gif_interop, we_read_what_giflib_writes)
{
    const std::vector<giflib_picture> pictures = {
        {300, 200, 8, false, false}, {1, 1, 8, false, false}, {33, 17, 8, true, false},
        {50, 50, 4, false, true},    {5, 3, 1, true, true},   {600, 600, 7, true, true},
        {64, 5, 2, false, true}};
    const interchange_scope interchange;
    const temp_file file(".gif");
    const std::vector<pixmap> maps = write_with_giflib(file.name(), pictures);
    ASSERT_EQ(IMGLOW_get_pages(file.name()), static_cast<int32_t>(maps.size()));
    const byte_vector bytes = file.bytes();
    for (size_t i = 0; i < maps.size(); ++i) {
        SCOPED_TRACE(i);
        const image_guard image(IMGX_decompress_bitmap_mem(
            bytes.data(), static_cast<uint32_t>(bytes.size()), static_cast<int32_t>(i)));
        ASSERT_GE(image, 0);
        EXPECT_TRUE(pixmap_of(copy_image(image)) == maps[i]);
    }
}

TEST(gif_interop, classic_mode_reads_the_first_picture_of_giflib)
{
    for (bool interlaced : {false, true}) {
        const temp_file file(".gif");
        const auto maps = write_with_giflib(
            file.name(), {{123, 77, 8, interlaced, false}, {9, 9, 8, false, false}});
        EXPECT_TRUE(load_pixmap(file.name()) == maps[0]);
    }
}

TEST(gif_interop, other_programs_read_ours)
{
    const interchange_scope interchange;
    for (int32_t bits : {1, 4, 8})
        for (auto [width, height] : {std::pair(1, 1), {9, 4}, {321, 123}})
            expect_peers_read(colored_dib(width, height, bits, 3), ".gif", 4);
}

TEST(gif_interop, we_read_other_programs_files)
{
    const peer_writer writers[] = {
        {"convert-im6.q16", "convert-im6.q16 %i gif:%o", 256},
        {"convert-im6.q16", "convert-im6.q16 %i gif87:%o", 9},
        {"convert-im6.q16", "convert-im6.q16 %i -interlace GIF gif:%o", 2},
        {"gm", "gm convert %i gif:%o", 100},
        {"pamtogif", "pamtogif %i > %o", 256},
        {"pamtogif", "pamtogif -interlace -noclear %i > %o", 30},
        {"pamtogif", "pamtogif -nolzw %i > %o", 256},
    };
    const interchange_scope interchange;
    expect_we_read(writers, ".gif");
}

TEST(targa_interop, other_programs_read_ours)
{
    for (int mode : {0, 1}) {
        IMGX_set_interchange(mode);
        // ImageMagick turns files with the bottom row first upright only when asked to.
        const char* options = mode == 0 ? "-auto-orient" : "";
        for (int32_t bits : {8, 24})
            for (auto [width, height] : {std::pair(1, 1), {9, 4}, {321, 123}})
                for (int run : {1, 9})
                    expect_peers_read(colored_dib(width, height, bits, run), ".tga", 3, options);
        test_dib grey(20, 20, 8);
        grey.fill_random(1, 2);
        expect_peers_read(grey, ".tga", 3, options);
    }
    IMGX_set_interchange(0);
}

TEST(targa_interop, we_read_other_programs_files)
{
    // ImageMagick marks pictures without an orientation as having the bottom row first,
    // whatever their order, hence -orient.
    const peer_writer writers[] = {
        {"convert-im6.q16", "convert-im6.q16 %i -orient TopLeft -compress none tga:%o", 3000},
        {"convert-im6.q16", "convert-im6.q16 %i -orient TopLeft -compress RLE tga:%o", 3000},
        {"convert-im6.q16",
         "convert-im6.q16 %i -orient BottomLeft -flip -type Palette -compress RLE tga:%o", 200},
        {"convert-im6.q16", "convert-im6.q16 %i -orient TopLeft -type TrueColorMatte tga:%o", 3000},
        {"gm", "gm convert %i tga:%o", 3000},
        {"pamtotga", "ppmtotga -rgb %i > %o", 3000},
        {"pamtotga", "ppmtotga -cmap %i > %o", 250},
        {"pamtotga", "ppmtotga -rgb -norle %i > %o", 3000},
    };
    for (int mode : {0, 1}) {
        IMGX_set_interchange(mode);
        expect_we_read(writers, ".tga");
    }
    IMGX_set_interchange(0);
}
