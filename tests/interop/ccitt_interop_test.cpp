// ccitt_interop_test.cpp - fax pages written by libtiff and read by us, and the other way,
// pixel for pixel.

#include "tests/builders/plain_ccitt.h"
#include "tests/support/codec.h"

#include <cstdarg>
#include <tiffio.h>

namespace {

using plain::pixels;

struct interchange {
    explicit interchange(bool on = true) { IMGX_set_interchange(on); }
    ~interchange() { IMGX_set_interchange(0); }
};

std::string complaints;
void note(const char*, const char* format, va_list arguments)
{
    char text[400];
    std::vsnprintf(text, sizeof text, format, arguments);
    complaints += std::string(text) + "; ";
}

struct peer_page {
    int compression;
    uint32_t group3_options = 0;
    int fill_order = FILLORDER_MSB2LSB;
    int rows_per_strip = 1000;
    int photometric = PHOTOMETRIC_MINISWHITE;
    int fax_mode = -1; // libtiff's FAXMODE_…

    std::string name() const
    {
        return "compression " + std::to_string(compression) + " options " +
               std::to_string(group3_options) + " fill " + std::to_string(fill_order) + " rows " +
               std::to_string(rows_per_strip) + " photometric " + std::to_string(photometric) +
               " mode " + std::to_string(fax_mode);
    }
};

// Rows as T.4 sees them: black pixels 1.
byte_vector packed(const pixels& row)
{
    byte_vector bytes((row.size() + 7) / 8);
    for (size_t i = 0; i < row.size(); ++i)
        if (row[i]) bytes[i / 8] |= static_cast<uint8_t>(128 >> i % 8);
    return bytes;
}

std::vector<pixels> make_rows(size_t width, size_t count)
{
    plain::row_maker maker(static_cast<uint32_t>(width));
    std::vector<pixels> rows;
    pixels above(width);
    for (size_t i = 0; i < count; ++i)
        rows.push_back(above = maker.next(above));
    return rows;
}

void write_by_libtiff(const char* name, const peer_page& page, const std::vector<pixels>& rows)
{
    TIFF* tiff = TIFFOpen(name, "w");
    ASSERT_NE(tiff, nullptr);
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(rows[0].size()));
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(rows.size()));
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 1);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, page.compression);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, page.photometric);
    TIFFSetField(tiff, TIFFTAG_FILLORDER, page.fill_order);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, static_cast<uint32_t>(page.rows_per_strip));
    // Its K, the rows between one-dimensional ones, follows from the vertical resolution.
    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, rows.size() % 2 ? 196.0 : 98.0);
    TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    if (page.compression == COMPRESSION_CCITTFAX3)
        TIFFSetField(tiff, TIFFTAG_GROUP3OPTIONS, page.group3_options);
    if (page.fax_mode >= 0) TIFFSetField(tiff, TIFFTAG_FAXMODE, page.fax_mode);
    for (size_t y = 0; y < rows.size(); ++y) {
        byte_vector bytes = packed(rows[y]);
        ASSERT_EQ(TIFFWriteScanline(tiff, bytes.data(), static_cast<uint32_t>(y), 0), 1);
    }
    TIFFClose(tiff);
}

void expect_rows(const image_copy& picture, const std::vector<pixels>& rows, bool inverted)
{
    ASSERT_EQ(static_cast<size_t>(picture.width), rows[0].size());
    ASSERT_EQ(static_cast<size_t>(picture.height), rows.size());
    for (size_t y = 0; y < rows.size(); ++y)
        for (size_t x = 0; x < rows[y].size(); ++x) {
            const uint32_t color = rows[y][x] != inverted ? 0 : 0xFFFFFF;
            ASSERT_EQ(picture.color(static_cast<int32_t>(x), static_cast<int32_t>(y)), color)
                << "at " << x << ", " << y;
        }
}

std::vector<peer_page> peer_pages()
{
    std::vector<peer_page> pages;
    for (int fill_order : {FILLORDER_MSB2LSB, FILLORDER_LSB2MSB})
        for (int rows_per_strip : {1000, 7}) {
            const auto add = [&](int compression, uint32_t options, int mode = -1) {
                pages.push_back({compression, options, fill_order, rows_per_strip,
                                 PHOTOMETRIC_MINISWHITE, mode});
            };
            add(COMPRESSION_CCITTRLE, 0);
            add(COMPRESSION_CCITTFAX4, 0);
            for (uint32_t options : {0, GROUP3OPT_2DENCODING})
                for (uint32_t fill_bits : {0, GROUP3OPT_FILLBITS})
                    for (int mode : {-1, FAXMODE_NORTC})
                        add(COMPRESSION_CCITTFAX3, options | fill_bits, mode);
        }
    return pages;
}

} // namespace

TEST(ccitt_interop, reads_every_fax_page_of_libtiff)
{
    const interchange mode;
    for (peer_page page : peer_pages())
        for (size_t width : {1u, 31u, 64u, 1000u, 1728u, 2560u, 5300u})
            for (int photometric : {PHOTOMETRIC_MINISWHITE, PHOTOMETRIC_MINISBLACK}) {
                page.photometric = photometric;
                SCOPED_TRACE(page.name() + ", width " + std::to_string(width));
                const auto rows = make_rows(width, 30 + width % 2);
                const temp_file file(".tif");
                write_by_libtiff(file.name(), page, rows);
                const image_guard image(IMG_decompress_bitmap(file.name()));
                ASSERT_GE(image, 0);
                expect_rows(copy_image(image), rows, photometric == PHOTOMETRIC_MINISBLACK);
                if (testing::Test::HasFatalFailure()) return;
            }
}

// What the standard and the classic reading have in common: one strip, white is zero.
TEST(ccitt_interop, classic_mode_reads_pages_of_one_strip)
{
    for (const peer_page& page : peer_pages()) {
        if (page.rows_per_strip != 1000) continue;
        SCOPED_TRACE(page.name());
        const auto rows = make_rows(1728, 40);
        const temp_file file(".tif");
        write_by_libtiff(file.name(), page, rows);
        const image_guard image(IMG_decompress_bitmap(file.name()));
        ASSERT_GE(image, 0);
        expect_rows(copy_image(image), rows, false);
        if (testing::Test::HasFatalFailure()) return;
    }
}

TEST(ccitt_interop, a_page_that_names_the_wrong_code_is_read)
{
    const peer_page truly[] = {{COMPRESSION_CCITTRLE},
                               {COMPRESSION_CCITTFAX3},
                               {COMPRESSION_CCITTFAX3, GROUP3OPT_2DENCODING},
                               {COMPRESSION_CCITTFAX4}};
    const interchange mode;
    for (const peer_page& page : truly)
        for (int named : {2, 3, 4}) {
            SCOPED_TRACE(page.name() + ", named " + std::to_string(named));
            const auto rows = make_rows(1728, 100);
            const temp_file file(".tif");
            write_by_libtiff(file.name(), page, rows);
            byte_vector bytes = file.bytes();
            const byte_vector entry = {3, 1, 3, 0, 1, 0, 0, 0}; // Compression, SHORT, one
            const auto found = std::search(bytes.begin(), bytes.end(), entry.begin(), entry.end());
            ASSERT_NE(found, bytes.end());
            found[8] = static_cast<uint8_t>(named);
            expect_rows(picture_of(bytes), rows, false);
        }
}

TEST(ccitt_interop, libtiff_reads_our_pages)
{
    TIFFSetWarningHandler(note);
    TIFFSetErrorHandler(note);
    for (bool on : {true, false})
        for (int32_t type : {7, 8, 10})
            for (size_t width : {1u, 29u, 100u, 1728u, 3000u}) {
                SCOPED_TRACE(testing::Message() << "type " << type << ", " << width << ", " << on);
                const auto rows = make_rows(width, 45);
                test_dib dib(static_cast<int32_t>(width), 45, 1);
                for (size_t y = 0; y < rows.size(); ++y)
                    for (size_t x = 0; x < width; ++x)
                        dib.set_pixel(static_cast<int32_t>(x), static_cast<int32_t>(y),
                                      !rows[y][x]);
                const image_guard image(dib.create());
                const temp_file file(".tif");
                const interchange mode(on);
                ASSERT_GE(IMG_save_bitmap(image, file.name(), type), 0);
                complaints.clear();
                TIFF* tiff = TIFFOpen(file.name(), "r");
                ASSERT_NE(tiff, nullptr);
                const size_t stored = type == 8 && !on ? 1728 : width;
                uint32_t stored_width = 0;
                TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &stored_width);
                EXPECT_EQ(stored_width, stored);
                byte_vector bytes(stored / 8 + 8);
                for (size_t y = 0; y < rows.size(); ++y) {
                    ASSERT_EQ(TIFFReadScanline(tiff, bytes.data(), static_cast<uint32_t>(y), 0), 1);
                    pixels meant = rows[y];
                    meant.resize(stored);
                    bytes.resize((stored + 7) / 8);
                    ASSERT_EQ(bytes, packed(meant)) << "row " << y;
                }
                TIFFClose(tiff);
                EXPECT_EQ(on ? complaints : "", "");
            }
}
