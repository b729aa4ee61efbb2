// tiff_interop_test.cpp - TIFF pages written by libtiff and read by us, and the other way,
// pixel for pixel.

#include "tests/support/images.h"

#include <cstdarg>
#include <tiffio.h>

namespace {

struct interchange {
    interchange() { IMGX_set_interchange(1); }
    ~interchange() { IMGX_set_interchange(0); }
};

// A page for libtiff to write. Samples are random, in runs.
struct peer_page {
    const char* mode = "wl"; // byte order
    int width = 61, height = 37;
    int bits = 8, samples = 1;
    int photometric = PHOTOMETRIC_MINISBLACK;
    int compression = COMPRESSION_NONE;
    int planar = PLANARCONFIG_CONTIG;
    int fill_order = FILLORDER_MSB2LSB;
    int rows_per_strip = 10;
    int predictor = 1;
    uint32_t group3_options = 0;

    uint32_t sample(int x, int y, int s) const
    {
        const auto key =
            static_cast<uint32_t>((x / 3 * 7919 + y / 2 * 104729 + s * 1299709) * 2654435761u);
        return (key >> 13) & ((1u << bits) - 1);
    }
    std::string name() const
    {
        return std::string(mode) + " bits " + std::to_string(bits) + " samples " +
               std::to_string(samples) + " photometric " + std::to_string(photometric) +
               " compression " + std::to_string(compression) + " planar " + std::to_string(planar) +
               " fill " + std::to_string(fill_order) + " rows " + std::to_string(rows_per_strip) +
               " predictor " + std::to_string(predictor) + " g3 " + std::to_string(group3_options);
    }
};

uint16_t map_value(int channel, int index)
{
    return static_cast<uint16_t>((index * 37 + channel * 85) % 256 * 257);
}

// Row y of one plane, or of all samples side by side (plane -1), as libtiff takes it.
byte_vector packed_row(const peer_page& page, int y, int plane)
{
    const int count = plane < 0 ? page.samples : 1;
    byte_vector row(size_t(page.width * count * page.bits + 7) / 8 + 8);
    size_t bit = 0;
    for (int x = 0; x < page.width; ++x)
        for (int s = 0; s < count; ++s, bit += size_t(page.bits)) {
            const uint32_t v = page.sample(x, y, plane < 0 ? s : plane);
            if (page.bits == 16) {
                const auto word = static_cast<uint16_t>(v);
                std::memcpy(&row[bit / 8], &word, 2);
            } else {
                row[bit / 8] =
                    static_cast<uint8_t>(row[bit / 8] | v << (8 - size_t(page.bits) - bit % 8));
            }
        }
    return row;
}

void write_by_libtiff(const peer_page& page, const char* name, const char* mode)
{
    TIFF* tiff = TIFFOpen(name, mode);
    ASSERT_NE(tiff, nullptr);
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, page.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, page.height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, page.bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, page.samples);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, page.photometric);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, page.compression);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, page.planar);
    TIFFSetField(tiff, TIFFTAG_FILLORDER, page.fill_order);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, page.rows_per_strip);
    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 118.11);
    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 100.0);
    TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
    if (page.predictor != 1) TIFFSetField(tiff, TIFFTAG_PREDICTOR, page.predictor);
    if (page.group3_options) TIFFSetField(tiff, TIFFTAG_GROUP3OPTIONS, page.group3_options);
    if (page.photometric == PHOTOMETRIC_PALETTE) {
        std::vector<uint16_t> maps[3];
        for (int c = 0; c < 3; ++c)
            for (int i = 0; i < 1 << page.bits; ++i)
                maps[c].push_back(map_value(c, i));
        TIFFSetField(tiff, TIFFTAG_COLORMAP, maps[0].data(), maps[1].data(), maps[2].data());
    }
    const int color_samples = page.photometric == PHOTOMETRIC_RGB         ? 3
                              : page.photometric == PHOTOMETRIC_SEPARATED ? 4
                                                                          : 1;
    if (page.samples > color_samples) {
        const std::vector<uint16_t> kinds(size_t(page.samples - color_samples), 0);
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, page.samples - color_samples, kinds.data());
    }
    const int planes = page.planar == PLANARCONFIG_SEPARATE ? page.samples : 1;
    for (int plane = 0; plane < planes; ++plane)
        for (int y = 0; y < page.height; ++y) {
            byte_vector row = packed_row(page, y, planes == 1 ? -1 : plane);
            ASSERT_EQ(TIFFWriteScanline(tiff, row.data(), uint32_t(y), uint16_t(plane)), 1);
        }
    TIFFClose(tiff);
}

// The colour that the page means, 0xRRGGBB.
uint32_t meant_color(const peer_page& page, int x, int y)
{
    const auto level = [&](int s) -> uint32_t {
        const uint32_t v = page.sample(x, y, s);
        return page.bits == 16 ? v >> 8 : v * 255 / ((1u << page.bits) - 1);
    };
    switch (page.photometric) {
    case PHOTOMETRIC_RGB: return level(0) << 16 | level(1) << 8 | level(2);
    case PHOTOMETRIC_SEPARATED: {
        const auto light = [&](int s) { return 255 - std::min(level(s) + level(3), 255u); };
        return light(0) << 16 | light(1) << 8 | light(2);
    }
    case PHOTOMETRIC_PALETTE: {
        const int i = static_cast<int>(page.sample(x, y, 0));
        return uint32_t(map_value(0, i) >> 8) << 16 | uint32_t(map_value(1, i) >> 8) << 8 |
               uint32_t(map_value(2, i) >> 8);
    }
    case PHOTOMETRIC_MINISWHITE: return (255 - level(0)) * 0x10101;
    default: return level(0) * 0x10101;
    }
}

void expect_meant(const peer_page& page, int32_t handle)
{
    ASSERT_GE(handle, 0);
    const image_guard image(handle);
    const image_copy copy = copy_image(image);
    ASSERT_EQ(copy.width, page.width);
    ASSERT_EQ(copy.height, page.height);
    for (int y = 0; y < page.height; ++y)
        for (int x = 0; x < page.width; ++x)
            ASSERT_EQ(copy.color(x, y), meant_color(page, x, y)) << "at " << x << ", " << y;
}

// What libtiff had to say since the last look.
std::string peer_complaints;

void note_complaint(const char* module, const char* format, va_list arguments)
{
    char text[400];
    std::vsnprintf(text, sizeof text, format, arguments);
    peer_complaints += std::string(module) + ": " + text + "; ";
}

struct noted_peer {
    noted_peer()
    {
        TIFFSetWarningHandler(note_complaint);
        TIFFSetErrorHandler(note_complaint);
    }
};
const noted_peer peer;

void read_back(const peer_page& page)
{
    SCOPED_TRACE(page.name());
    const temp_file file(".tif");
    write_by_libtiff(page, file.name(), page.mode);
    expect_meant(page, IMG_decompress_bitmap(file.name()));
}

} // namespace

TEST(tiff_interop, reads_every_layout_of_libtiff)
{
    const interchange mode;
    struct layout {
        int bits, samples, photometric;
    };
    const layout layouts[] = {
        {1, 1, PHOTOMETRIC_MINISBLACK},  {1, 1, PHOTOMETRIC_MINISWHITE},
        {2, 1, PHOTOMETRIC_MINISBLACK},  {2, 1, PHOTOMETRIC_MINISWHITE},
        {2, 1, PHOTOMETRIC_PALETTE},     {4, 1, PHOTOMETRIC_MINISBLACK},
        {4, 1, PHOTOMETRIC_MINISWHITE},  {4, 1, PHOTOMETRIC_PALETTE},
        {8, 1, PHOTOMETRIC_MINISBLACK},  {8, 1, PHOTOMETRIC_MINISWHITE},
        {8, 1, PHOTOMETRIC_PALETTE},     {16, 1, PHOTOMETRIC_MINISBLACK},
        {16, 1, PHOTOMETRIC_MINISWHITE}, {8, 2, PHOTOMETRIC_MINISBLACK},
        {16, 2, PHOTOMETRIC_MINISWHITE}, {1, 3, PHOTOMETRIC_RGB},
        {4, 3, PHOTOMETRIC_RGB},         {8, 3, PHOTOMETRIC_RGB},
        {16, 3, PHOTOMETRIC_RGB},        {8, 4, PHOTOMETRIC_RGB},
        {16, 5, PHOTOMETRIC_RGB},        {1, 4, PHOTOMETRIC_SEPARATED},
        {4, 4, PHOTOMETRIC_SEPARATED},   {8, 4, PHOTOMETRIC_SEPARATED},
        {16, 4, PHOTOMETRIC_SEPARATED},  {8, 5, PHOTOMETRIC_SEPARATED},
    };
    for (const char* order : {"wl", "wb"})
        for (const layout& l : layouts)
            for (int compression : {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_PACKBITS})
                for (int planar : {PLANARCONFIG_CONTIG, PLANARCONFIG_SEPARATE})
                    for (int rows : {10, 37}) {
                        peer_page page;
                        page.mode = order;
                        page.bits = l.bits;
                        page.samples = l.samples;
                        page.photometric = l.photometric;
                        page.compression = compression;
                        page.planar = planar;
                        page.rows_per_strip = rows;
                        if (page.samples == 1 && planar == PLANARCONFIG_SEPARATE) continue;
                        read_back(page);
                        if (testing::Test::HasFatalFailure()) return;
                        page.predictor = 2;
                        if (compression == COMPRESSION_LZW && l.bits >= 8) read_back(page);
                        if (testing::Test::HasFatalFailure()) return;
                    }
}

TEST(tiff_interop, reads_pages_whose_bits_are_filled_from_below)
{
    const interchange mode;
    for (int compression : {COMPRESSION_NONE, COMPRESSION_PACKBITS, COMPRESSION_LZW})
        for (int photometric : {PHOTOMETRIC_MINISBLACK, PHOTOMETRIC_MINISWHITE}) {
            peer_page page;
            page.bits = 1;
            page.photometric = photometric;
            page.compression = compression;
            page.fill_order = FILLORDER_LSB2MSB;
            read_back(page);
        }
}

// What the standard and the classic reading have in common.
TEST(tiff_interop, classic_mode_reads_common_layouts)
{
    for (const char* order : {"wl", "wb"})
        for (int compression : {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_PACKBITS}) {
            peer_page page;
            page.mode = order;
            page.compression = compression;
            page.width = 301; // no literal or run of 129 bytes, which classic mode reads its way
            page.bits = 1;
            read_back(page);
            page.bits = 8;
            read_back(page);
            page.photometric = PHOTOMETRIC_PALETTE;
            read_back(page);
            page.samples = 3;
            page.photometric = PHOTOMETRIC_RGB;
            read_back(page);
            page.planar = PLANARCONFIG_SEPARATE;
            read_back(page);
        }
}

TEST(tiff_interop, takes_resolutions_per_centimetre)
{
    peer_page page;
    const temp_file file(".tif");
    write_by_libtiff(page, file.name(), "wl");
    const auto resolution = [&] {
        const image_guard image(IMG_decompress_bitmap(file.name()));
        BITMAPINFOHEADER header[30];
        EXPECT_GE(IMGLOW_get_bitmap_header(image, header), 0);
        return std::pair(header[0].biXPelsPerMeter, header[0].biYPelsPerMeter);
    };
    EXPECT_EQ(resolution(), (std::pair<LONG, LONG>(302, 256)));
    const interchange mode;
    EXPECT_EQ(resolution(), (std::pair<LONG, LONG>(300, 254)));
}

namespace {

// Page number directory of a file, as libtiff's own conversion to colours shows it.
void expect_peer_sees(const char* name, int directory, const image_copy& meant)
{
    peer_complaints.clear();
    TIFF* tiff = TIFFOpen(name, "r");
    ASSERT_NE(tiff, nullptr) << peer_complaints;
    ASSERT_EQ(TIFFSetDirectory(tiff, static_cast<tdir_t>(directory)), 1);
    uint32_t width = 0, height = 0;
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
    ASSERT_EQ(int(width), meant.width);
    ASSERT_EQ(int(height), meant.height);
    std::vector<uint32_t> raster(size_t(width) * height);
    EXPECT_EQ(TIFFReadRGBAImageOriented(tiff, width, height, raster.data(), ORIENTATION_TOPLEFT, 1),
              1);
    char* date = nullptr;
    EXPECT_EQ(TIFFGetField(tiff, TIFFTAG_DATETIME, &date), 1);
    EXPECT_STREQ(date, "1992:11:24 00:00:00");
    TIFFClose(tiff);
    EXPECT_EQ(peer_complaints, "");
    for (int y = 0; y < meant.height; ++y)
        for (int x = 0; x < meant.width; ++x) {
            const uint32_t v = raster[size_t(y) * width + size_t(x)];
            ASSERT_EQ(TIFFGetR(v) << 16 | TIFFGetG(v) << 8 | TIFFGetB(v), meant.color(x, y))
                << "at " << x << ", " << y;
        }
}

} // namespace

TEST(tiff_interop, libtiff_reads_our_pages_without_a_warning)
{
    const interchange mode;
    const temp_file file(".tif");
    std::vector<image_copy> pages;
    const auto add = [&](test_dib& dib, int32_t type) {
        const image_guard image(dib.create());
        ASSERT_GE(IMG_save_bitmap(image, file.name(), type), 0);
        pages.push_back(copy_image(image));
    };
    uint32_t seed = 1;
    for (int bits : {1, 4, 8, 24})
        for (int32_t type : {0, 9, 16})
            for (int width : {1, 7, 64, 301, 3001}) {
                if (type == 16 && bits != 1) continue;
                test_dib dib(width, 123, bits);
                if (bits == 4 || bits == 8) dib.set_color(3, 200, 100, 50);
                dib.fill_random(seed++, 9);
                add(dib, type);
                if (testing::Test::HasFatalFailure()) return;
            }
    test_dib white_first(61, 17, 1), red_first(61, 17, 1);
    white_first.set_color(0, 255, 255, 255);
    white_first.set_color(1, 0, 0, 0);
    white_first.fill_random(5, 3);
    red_first.set_color(0, 255, 0, 0);
    red_first.fill_random(6, 3);
    add(white_first, 0);
    add(red_first, 9);
    EXPECT_EQ(IMGLOW_get_pages(file.name()), int(pages.size()));
    for (size_t i = 0; i < pages.size(); ++i) {
        SCOPED_TRACE("page " + std::to_string(i));
        expect_peer_sees(file.name(), static_cast<int>(i), pages[i]);
        const byte_vector bytes = file.bytes();
        const image_guard back(IMGX_decompress_bitmap_mem(
            bytes.data(), static_cast<uint32_t>(bytes.size()), static_cast<int32_t>(i)));
        ASSERT_GE(back, 0);
        expect_same_colors(copy_image(back), pages[i]);
        if (testing::Test::HasFatalFailure()) return;
    }
}
