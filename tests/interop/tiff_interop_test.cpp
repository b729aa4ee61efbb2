// tiff_interop_test.cpp - TIFF pages written by libtiff and read by us, and the other way,
// pixel for pixel.

#include "tests/support/images.h"

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

struct silent_peer {
    silent_peer() { TIFFSetWarningHandler(nullptr); }
};
const silent_peer silence;

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
