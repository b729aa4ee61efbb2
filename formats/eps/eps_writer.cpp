// eps_writer.cpp - PostScript that draws an image from hexadecimal rows.
//
// Standard: PostScript Language Reference, operators image and colorimage; for interchange mode
// also Encapsulated PostScript File Format 3.0 and the Indexed colour space of level 2.

#include "formats/eps/eps_writer.h"

#include "core/byte_runs.h"
#include "core/byte_stream.h"
#include "core/row_convert.h"
#include "core/settings.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace {

constexpr uint32_t sink_bytes = 64 * 1024;

// "00" to "FF".
constexpr auto hex_pairs = [] {
    std::array<std::array<char, 2>, 256> pairs{};
    constexpr char digits[] = "0123456789ABCDEF";
    for (size_t i = 0; i < 256; ++i)
        pairs[i] = {digits[i >> 4], digits[i & 15]};
    return pairs;
}();

class eps_writer {
public:
    eps_writer(HFILE sink, const BITMAPINFOHEADER& header)
        : header_(header), width_(header.biWidth), height_(header.biHeight),
          bits_(header.biBitCount), dib_row_(size_for_long(width_, bits_)), out_(sink, sink_bytes)
    {
    }

    int32_t write_classic(const row_source& source);
    int32_t write_by_standard(const row_source& source);

private:
    void line(const char* text);
    template <class... Numbers> void line(const char* format, Numbers... numbers);
    void save_eps_raster(const uint8_t* data, int32_t count);
    void colors(int32_t entries);
    void classic_color_program(int32_t string_bytes);
    int32_t rows(const row_source& source);
    void place_on_page();
    void image_program();
    bool is_bilevel() const { return bits_ == 1 && is_black_white(dib_colors(&header_)); }

    const BITMAPINFOHEADER& header_;
    int32_t width_, height_, bits_;
    int32_t dib_row_;
    int32_t row_bytes_ = 0; // of a row in the file
    bool swaps_ = false, inverts_ = false;
    byte_sink out_;
};

void eps_writer::line(const char* text)
{
    out_.put(text, std::strlen(text));
    out_.put("\r\n", 2);
}

template <class... Numbers> void eps_writer::line(const char* format, Numbers... numbers)
{
    char text[200];
    std::snprintf(text, sizeof text, format, numbers...);
    line(text);
}

void eps_writer::save_eps_raster(const uint8_t* data, int32_t count)
{
    for (int32_t done = 0; done < count;) {
        const int32_t now = std::min(count - done, static_cast<int32_t>(sink_bytes / 2));
        uint8_t* to = out_.reserve(static_cast<size_t>(now) * 2);
        for (int32_t i = 0; i < now; ++i)
            std::memcpy(to + 2 * i, hex_pairs[data[done + i]].data(), 2);
        out_.commit(static_cast<size_t>(now) * 2);
        done += now;
    }
}

// The colour table, red first, sixteen entries in a line.
void eps_writer::colors(int32_t entries)
{
    const RGBQUAD* table = dib_colors(&header_);
    for (int32_t i = 0; i < entries; ++i) {
        const uint8_t rgb[3] = {table[i].rgbRed, table[i].rgbGreen, table[i].rgbBlue};
        save_eps_raster(rgb, 3);
        if (i % 16 == 15 || i + 1 == entries)
            out_.put("\r\n", 2);
        else
            out_.put(' ');
    }
}

int32_t eps_writer::rows(const row_source& source)
{
    const scratch_block row(static_cast<size_t>(dib_row_) + run_slack_bytes);
    if (!row || !out_.ok()) return err_memory;
    for (int32_t i = 0; i < height_; ++i) {
        if (int32_t err = source.get(row.bytes(), i, dib_row_); err < 0) return err;
        if (swaps_) swap_red_blue(row.bytes(), row.bytes(), static_cast<size_t>(width_));
        for (int32_t k = 0; inverts_ && k < row_bytes_; ++k)
            row.bytes()[k] = static_cast<uint8_t>(~row.bytes()[k]);
        save_eps_raster(row.bytes(), row_bytes_);
        out_.put("\r\n", 2);
    }
    return 0;
}

void eps_writer::classic_color_program(int32_t string_bytes)
{
    line("/pal <");
    colors(palette_entries(bits_));
    line("> def");
    line("/rgbstr %d string def", 3 * string_bytes);
    line("/read_raw {currentfile picstr readhexstring pop} def");
    line("/read8_24 {");
    line("  read_raw");
    line("  /rgb_ndx 0 def");
    line("  {");
    line("     3 mul pal exch 3 getinterval rgbstr exch rgb_ndx exch putinterval");
    line("     /rgb_ndx rgb_ndx 3 add def");
    line("  } forall rgbstr");
    line("} def");
    line("%d %d %d [%d 0 0 %d 0 %d] {read8_24} false 3 colorimage", width_, height_, bits_, width_,
         -height_, height_);
}

// INTENDED: the strings are far shorter than a row (the procedures are called until a row is
// complete), rows carry their DIB padding, and no page is shown.
int32_t eps_writer::write_classic(const row_source& source)
{
    if (!out_.ok()) return err_memory;
    const int32_t string_bytes = dib_row_ / 8 + (dib_row_ % 8 != 0 ? 1 : 0);
    const double scale = 2400.0 / width_;
    const auto shown_width = static_cast<int32_t>(width_ * scale);
    const auto shown_height =
        static_cast<int32_t>(std::min(height_ * scale, static_cast<double>(INT32_MAX)));
    line(bits_ == 1 ? "%!PS-Adobe-2.0" : "%!PS-Adobe-3.0");
    line("gsave");
    line("/inch { 72 mul } def");
    line("/pixel { 72 mul %d div } def", 300);
    line("/imagetop { 10.75 inch %d pixel sub } def", 0);
    line("/imagebottom { imagetop %d pixel sub } def", shown_height);
    line("/imageleft { 0.25 inch %d pixel add } def", 0);
    line("/picstr %d string def", string_bytes);
    line("imageleft imagebottom translate");
    line("%d pixel %d pixel scale", shown_width, shown_height);
    if (bits_ == 1)
        line("%d %d %d [%d 0 0 %d 0 %d] {currentfile picstr readhexstring pop} image", width_,
             height_, 1, width_, -height_, height_);
    else
        classic_color_program(string_bytes);
    row_bytes_ = dib_row_;
    if (int32_t err = rows(source); err < 0) return err;
    line("grestore");
    line("");
    return out_.flush();
}

// The place that classic pages have: a quarter of an inch from the left, the top a quarter of an
// inch below that of a letter page, eight inches wide; smaller where that is too tall.
void eps_writer::place_on_page()
{
    constexpr double left = 18, top = 774, most_width = 576, most_height = 756;
    const double scale = std::min(most_width / width_, most_height / height_);
    const double bottom = top - height_ * scale;
    line("%!PS-Adobe-3.0 EPSF-3.0");
    line("%%%%BoundingBox: %d %d %d %d", static_cast<int>(left),
         static_cast<int>(std::floor(bottom)), static_cast<int>(std::ceil(left + width_ * scale)),
         static_cast<int>(top));
    line("%%%%HiResBoundingBox: %.6f %.6f %.6f %.6f", left, bottom, left + width_ * scale, top);
    line("%%LanguageLevel: 2");
    line("%%Pages: 1");
    line("%%EndComments");
    line("%%Page: 1 1");
    line("gsave");
    line("%.6f %.6f translate", left, bottom);
    line("%.6f %.6f scale", width_ * scale, height_ * scale);
}

// PostScript strings end at 65535 bytes: a longer row is read in equal pieces.
int32_t longest_piece(int32_t row_bytes)
{
    for (int32_t pieces = row_bytes / 65536 + 1; pieces < row_bytes; ++pieces)
        if (row_bytes % pieces == 0) return row_bytes / pieces;
    return 1;
}

void eps_writer::image_program()
{
    line("/picstr %d string def", row_bytes_ <= 65535 ? row_bytes_ : longest_piece(row_bytes_));
    const auto matrix = [this](const char* format, int32_t bits) {
        line(format, width_, height_, bits, width_, -height_, height_);
    };
    if (is_bilevel()) {
        matrix("%d %d %d [%d 0 0 %d 0 %d] {currentfile picstr readhexstring pop} image", 1);
    } else if (bits_ == 24) {
        matrix("%d %d %d [%d 0 0 %d 0 %d] {currentfile picstr readhexstring pop} "
               "false 3 colorimage",
               8);
    } else {
        const int32_t last = palette_entries(bits_) - 1;
        line("[/Indexed /DeviceRGB %d <", last);
        colors(last + 1);
        line(">] setcolorspace");
        line("<< /ImageType 1 /Decode [0 %d]", last);
        matrix("/Width %d /Height %d /BitsPerComponent %d /ImageMatrix [%d 0 0 %d 0 %d]", bits_);
        line("/DataSource {currentfile picstr readhexstring pop} >> image");
    }
}

int32_t eps_writer::write_by_standard(const row_source& source)
{
    if (!out_.ok()) return err_memory;
    row_bytes_ = static_cast<int32_t>((int64_t{width_} * bits_ + 7) / 8);
    swaps_ = bits_ == 24;
    inverts_ = is_bilevel() && dib_colors(&header_)[0].rgbBlue != 0;
    place_on_page();
    image_program();
    if (int32_t err = rows(source); err < 0) return err;
    line("grestore");
    line("showpage");
    line("%%EOF");
    return out_.flush();
}

} // namespace

int32_t save_eps_file(HFILE sink, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data)
{
    eps_writer writer(sink, *header);
    const row_source source{get_raster, private_data};
    return interchange_mode() ? writer.write_by_standard(source) : writer.write_classic(source);
}
