// tiff_interop_test.cpp - TIFF pages written by libtiff and read by us, and the other way,
// pixel for pixel; raw fax data written by Ghostscript.

#include "tests/builders/plain_ccitt.h"
#include "tests/support/codec.h"
#include "tests/support/open_file.h"
#include "tests/support/peer_tools.h"

#include <cstdarg>
#include <set>
#include <tiffio.h>

namespace {

using plain::pixels;

// A page for libtiff to write. Samples are random, in runs, or those of fax rows.
struct peer_page {
    const char* mode = "wl"; // byte order
    int bits = 8, samples = 1;
    int photometric = PHOTOMETRIC_MINISBLACK;
    int compression = COMPRESSION_NONE;
    int planar = PLANARCONFIG_CONTIG;
    int fill_order = FILLORDER_MSB2LSB;
    int rows_per_strip = 10;
    int predictor = 1;
    uint32_t group3_options = 0;
    int fax_mode = -1;         // libtiff's FAXMODE_…
    double y_resolution = 100; // its K is 2, or 4 above 150 dots per inch
    int width = 61, height = 37;
    std::vector<pixels> rows = {};

    uint32_t sample(int x, int y, int s) const
    {
        if (!rows.empty()) return rows[size_t(y)][size_t(x)];
        const auto key =
            static_cast<uint32_t>((x / 3 * 7919 + y / 2 * 104729 + s * 1299709) * 2654435761u);
        return (key >> 13) & ((1u << bits) - 1);
    }
    peer_page& fax(size_t wide, size_t high)
    {
        bits = 1;
        width = int(wide);
        height = int(high);
        rows = plain::row_maker(static_cast<uint32_t>(wide)).page(wide, high);
        return *this;
    }
    std::string name() const
    {
        return testing::PrintToString(std::tuple(mode, bits, samples, photometric, compression,
                                                 planar, fill_order, rows_per_strip, predictor,
                                                 group3_options, fax_mode, y_resolution, width));
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
            const auto word = static_cast<uint16_t>(v);
            if (page.bits == 16)
                std::memcpy(&row[bit / 8], &word, 2);
            else
                row[bit / 8] |= static_cast<uint8_t>(v << (8 - size_t(page.bits) - bit % 8));
        }
    return row;
}

void write_by_libtiff(const peer_page& page, const char* name)
{
    TIFF* tiff = TIFFOpen(name, page.mode);
    ASSERT_NE(tiff, nullptr);
    const bool is_rgb = page.photometric == PHOTOMETRIC_RGB;
    const int inks = page.photometric == PHOTOMETRIC_SEPARATED ? 4 : is_rgb ? 3 : 1;
    const struct {
        uint32_t tag;
        int value;
        bool is_set = true;
    } fields[] = {{TIFFTAG_IMAGEWIDTH, page.width},
                  {TIFFTAG_IMAGELENGTH, page.height},
                  {TIFFTAG_BITSPERSAMPLE, page.bits},
                  {TIFFTAG_SAMPLESPERPIXEL, page.samples},
                  {TIFFTAG_PHOTOMETRIC, page.photometric},
                  {TIFFTAG_COMPRESSION, page.compression},
                  {TIFFTAG_PLANARCONFIG, page.planar},
                  {TIFFTAG_FILLORDER, page.fill_order},
                  {TIFFTAG_ROWSPERSTRIP, page.rows_per_strip},
                  {TIFFTAG_PREDICTOR, page.predictor, page.predictor != 1},
                  {TIFFTAG_GROUP3OPTIONS, int(page.group3_options), page.group3_options != 0},
                  {TIFFTAG_FAXMODE, page.fax_mode, page.fax_mode >= 0}};
    for (const auto& f : fields)
        if (f.is_set) TIFFSetField(tiff, f.tag, f.value);
    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, page.y_resolution);
    if (page.photometric == PHOTOMETRIC_PALETTE) {
        std::vector<uint16_t> maps[3];
        for (int c = 0; c < 3; ++c)
            for (int i = 0; i < 1 << page.bits; ++i)
                maps[c].push_back(map_value(c, i));
        TIFFSetField(tiff, TIFFTAG_COLORMAP, maps[0].data(), maps[1].data(), maps[2].data());
    }
    const uint16_t kinds[4] = {};
    if (page.samples > inks) TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, page.samples - inks, kinds);
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
    const auto light = [&](int s) { return 255 - std::min(level(s) + level(3), 255u); };
    const int i = static_cast<int>(page.sample(x, y, 0));
    switch (page.photometric) {
    case PHOTOMETRIC_RGB: return level(0) << 16 | level(1) << 8 | level(2);
    case PHOTOMETRIC_SEPARATED: return light(0) << 16 | light(1) << 8 | light(2);
    case PHOTOMETRIC_PALETTE:
        return map_value(0, i) / 257u << 16 | map_value(1, i) / 257u << 8 | map_value(2, i) / 257u;
    case PHOTOMETRIC_MINISWHITE: return (255 - level(0)) * 0x10101;
    default: return level(0) * 0x10101;
    }
}

void expect_meant(const peer_page& page, const picture& copy)
{
    ASSERT_EQ(copy.width, page.width);
    ASSERT_EQ(copy.height, page.height);
    for (int y = 0; y < page.height; ++y)
        for (int x = 0; x < page.width; ++x)
            ASSERT_EQ(copy.color(x, y), meant_color(page, x, y)) << "at " << x << ", " << y;
}

// What libtiff had to say since the last look.
std::string complaints;
void note_complaint(const char* module, const char* format, va_list arguments)
{
    char text[400];
    std::vsnprintf(text, sizeof text, format, arguments);
    complaints += std::string(module) + ": " + text + "; ";
}

// Fails quietly: the caller's loop goes on, so it looks for a failure itself.
//   named  fax code that the file names instead of the page's own; 0: none
void read_back(const peer_page& page, uint8_t named = 0, bool interchange = true)
{
    if (testing::Test::HasFailure()) return;
    SCOPED_TRACE(page.name() + ", named " + std::to_string(named));
    const mode_scope mode(interchange);
    TIFFSetWarningHandler(note_complaint);
    const temp_file file(".tif");
    write_by_libtiff(page, file.name());
    byte_vector bytes = file.bytes();
    const byte_vector entry = {3, 1, 3, 0, 1, 0, 0, 0}; // Compression, SHORT, one
    const auto found = std::search(bytes.begin(), bytes.end(), entry.begin(), entry.end());
    ASSERT_TRUE(named == 0 || found != bytes.end());
    if (named != 0) found[8] = named;
    expect_meant(page, picture_of(bytes));
}

// Pages of every fax code, with end marks, fill bits and K as libtiff has them.
std::vector<peer_page> fax_pages(size_t width, size_t height)
{
    std::vector<peer_page> pages;
    for (int fill_order : {FILLORDER_MSB2LSB, FILLORDER_LSB2MSB})
        for (int rows_per_strip : {1000, 7})
            for (int compression :
                 {COMPRESSION_CCITTRLE, COMPRESSION_CCITTFAX3, COMPRESSION_CCITTFAX4})
                for (int fax_mode : {-1, FAXMODE_NORTC})
                    for (uint32_t options : {0, 1, 4, 5}) // two-dimensional, fill bits
                        for (double y_resolution : {98., 196.}) {
                            peer_page page;
                            page.photometric = PHOTOMETRIC_MINISWHITE;
                            page.fill_order = fill_order;
                            page.rows_per_strip = rows_per_strip;
                            page.compression = compression;
                            page.fax_mode = fax_mode;
                            page.group3_options = options;
                            page.y_resolution = y_resolution;
                            if (options && compression != COMPRESSION_CCITTFAX3) continue;
                            if (y_resolution > 98 && !(options & 1)) continue;
                            if (fax_mode >= 0 && compression == COMPRESSION_CCITTRLE) continue;
                            pages.push_back(page.fax(width, height));
                        }
    return pages;
}

} // namespace

TEST(tiff_interop, reads_every_layout_of_libtiff)
{
    const auto is_there = [](const peer_page& page) {
        switch (page.photometric) {
        case PHOTOMETRIC_RGB: return page.samples >= 3 && page.bits != 2;
        case PHOTOMETRIC_SEPARATED: return page.samples >= 4 && page.bits != 2;
        case PHOTOMETRIC_PALETTE: return page.samples == 1 && page.bits != 1 && page.bits < 16;
        default: return page.samples == 1 || (page.samples == 2 && page.bits >= 8);
        }
    };
    // What the standard and the classic reading have in common.
    const std::set<std::tuple<int, int, int, int>> common = {
        {1, 1, PHOTOMETRIC_MINISBLACK, 1}, {8, 1, PHOTOMETRIC_MINISBLACK, 1},
        {8, 1, PHOTOMETRIC_PALETTE, 1},    {8, 3, PHOTOMETRIC_RGB, 1},
        {8, 3, PHOTOMETRIC_RGB, 2},        {8, 4, PHOTOMETRIC_SEPARATED, 1}};
    for (const char* order : {"wl", "wb"})
        for (int bits : {1, 2, 4, 8, 16})
            for (int photometric : {0, 1, 2, 3, 5})
                for (int layout = 1; layout <= 10; ++layout) // samples, side by side or in planes
                    for (int compression :
                         {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_PACKBITS}) {
                        const int samples = (layout + 1) / 2, planar = 1 + layout % 2;
                        peer_page page{order, bits, samples, photometric, compression, planar};
                        if (!is_there(page) || planar > samples) continue;
                        read_back(page);
                        page.rows_per_strip = 37;
                        read_back(page);
                        page.predictor = 2;
                        if (compression == COMPRESSION_LZW && bits >= 8) read_back(page);
                        page.predictor = 1;
                        page.fill_order = FILLORDER_LSB2MSB;
                        if (bits == 1 && samples == 1) read_back(page);
                        page = {order, bits, samples, photometric, compression, planar};
                        page.width = 301; // no literal or run of 129 bytes
                        if (common.contains({bits, samples, photometric, planar}))
                            read_back(page, 0, false);
                    }
}

TEST(tiff_interop, reads_every_fax_page_of_libtiff)
{
    for (size_t width : {1u, 31u, 64u, 1728u, 5300u})
        for (peer_page page : fax_pages(width, width == 1728 ? 100 : 30)) {
            read_back(page);
            const bool is_usual = width == 1728 && page.rows_per_strip == 1000;
            for (uint8_t named : {2, 3, 4})
                if (is_usual) read_back(page, named);
            if (is_usual) read_back(page, 0, false);
            page.photometric = PHOTOMETRIC_MINISBLACK;
            read_back(page);
        }
}

// An encoder that takes any K, aligns rows to bytes and leaves the end mark out.
TEST(tiff_interop, reads_raw_fax_data_of_ghostscript)
{
    peer_page page;
    page.photometric = PHOTOMETRIC_MINISWHITE;
    page.fax(1728, 50);
    byte_vector data;
    for (const pixels& row : page.rows)
        add_bytes(data, plain::packed(row, false, 1));
    const temp_file rows(".raw"), program(".ps"), fax(".fax");
    write_file(rows.name(), data);
    for (int k : {-1, 0, 1, 2, 4, 7, 1000})
        for (const std::string align : {"false", "true"})
            for (const std::string end : {"false", "true"}) {
                if (k < 0 && align == "true") continue; // not as T.6 has it
                SCOPED_TRACE(testing::Message() << "K " << k << ", " << align << ", " << end);
                const std::string text =
                    "/to (%stdout) (w) file << /K " + std::to_string(k) +
                    " /Columns 1728 /Rows 50 /EndOfLine " + (k < 0 ? "false" : "true") +
                    " /EncodedByteAlign " + align + " /EndOfBlock " + end +
                    " >> /CCITTFaxEncode filter def /from (" + rows.name() +
                    ") (r) file def 50 { to from 216 string readstring pop writestring } repeat "
                    "to closefile";
                write_file(program.name(), byte_vector(text.begin(), text.end()));
                ASSERT_TRUE(run_tool(std::string("gs -q -dNODISPLAY -dBATCH --permit-file-read=") +
                                     rows.name() + " " + program.name() + " >" + fax.name()));
                const int32_t type = k < 0 ? 4 : k > 0 ? 2 : 1;
                const open_file source(fax.name());
                const image_guard image(IMG_decompress_fax(source.handle(), 1728, 50, type, 1));
                expect_meant(page, copy_image(image));
            }
}

// A page of a file, as libtiff's own conversion to colours shows it.
void expect_peer_sees(const char* name, int directory, const picture& meant)
{
    complaints.clear();
    TIFFSetWarningHandler(note_complaint);
    TIFFSetErrorHandler(note_complaint);
    TIFF* tiff = TIFFOpen(name, "rc");
    ASSERT_NE(tiff, nullptr) << complaints;
    ASSERT_EQ(TIFFSetDirectory(tiff, static_cast<tdir_t>(directory)), 1);
    uint32_t width = 0, height = 0;
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
    EXPECT_LE(TIFFStripSize(tiff), 64 << 10); // in mode c as it is
    values seen(size_t(width) * height);
    EXPECT_EQ(TIFFReadRGBAImageOriented(tiff, width, height, seen.data(), ORIENTATION_TOPLEFT, 1),
              1);
    for (uint32_t& v : seen)
        v = rgb(TIFFGetR(v), TIFFGetG(v), TIFFGetB(v));
    // Of the map's 16 bits libtiff looks at the high ones; others do not.
    uint16_t* map[3] = {};
    const values colors = meant.colors();
    const bool has_map = TIFFGetField(tiff, TIFFTAG_COLORMAP, &map[0], &map[1], &map[2]) == 1;
    for (size_t i = 0; has_map && i < colors.size(); ++i)
        for (int k : {0, 1, 2})
            EXPECT_EQ(map[k][i], 257 * channel(int(colors[i]), 2 - k));
    char* date = nullptr;
    EXPECT_EQ(TIFFGetField(tiff, TIFFTAG_DATETIME, &date), 1);
    EXPECT_STREQ(date, "1992:11:24 00:00:00");
    TIFFClose(tiff);
    EXPECT_EQ(complaints, "");
    EXPECT_EQ(int(width), meant.width);
    EXPECT_TRUE(seen == colors_of(meant));
}

TEST(tiff_interop, libtiff_reads_our_pages_without_a_warning)
{
    IMGX_set_interchange(1);
    const temp_file file(".tif");
    std::vector<picture> pages;
    const auto add = [&](const picture& dib, int32_t type) {
        const image_guard image(dib.create());
        ASSERT_GE(IMG_save_bitmap(image, file.name(), type), 0);
        pages.push_back(copy_image(image));
    };
    for (int bits : {1, 4, 8, 24})
        for (int32_t type : {0, 9, 16, 7, 8, 10})
            for (int width : {1, 7, 64, 301, 3001}) {
                if (type != 0 && type != 9 && bits != 1) continue;
                add(random_picture(width, 123, bits, 9), type);
            }
    picture two_colors = random_picture(61, 17, 1, 9);
    two_colors.set_colors({0xFFFFFF, 0});
    add(two_colors, 0);
    add(two_colors, 10);
    two_colors.set_colors({0xFF0000, 0xFFFFFF});
    add(two_colors, 9);
    EXPECT_EQ(IMGLOW_get_pages(file.name()), int(pages.size()));
    const byte_vector bytes = file.bytes();
    for (int i = 0; i < int(pages.size()) && !HasFailure(); ++i) {
        SCOPED_TRACE("page " + std::to_string(i));
        expect_peer_sees(file.name(), i, pages[size_t(i)]);
        expect_same_colors(picture_of(bytes, i), pages[size_t(i)]);
    }
}
