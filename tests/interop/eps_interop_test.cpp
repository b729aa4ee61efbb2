// eps_interop_test.cpp - our PostScript drawn by Ghostscript, pixel for pixel.

#include "tests/support/images.h"

#include <cstdlib>

namespace {

// A binary PPM as Ghostscript writes it.
struct drawn_page {
    int width = 0, height = 0;
    byte_vector rgb;
    uint32_t color(int x, int y) const
    {
        const uint8_t* p = rgb.data() + 3 * (size_t(y) * size_t(width) + size_t(x));
        return uint32_t{p[0]} << 16 | uint32_t{p[1]} << 8 | p[2];
    }
};

drawn_page draw(const std::string& eps, const std::string& size)
{
    const temp_file ppm(".ppm");
    const std::string command = "gs -q -dBATCH -dNOPAUSE -dSAFER -sDEVICE=ppmraw -dEPSCrop " +
                                size + " -sOutputFile=" + ppm.name() + " " + eps;
    drawn_page page;
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    const byte_vector bytes = ppm.bytes();
    const std::string head(bytes.begin(),
                           bytes.begin() + std::min<std::ptrdiff_t>(200, std::ssize(bytes)));
    // P6, a comment line, width height, 255
    const size_t comment = head.find('#');
    const size_t sizes = comment == std::string::npos ? 3 : head.find('\n', comment) + 1;
    int taken = 0;
    EXPECT_EQ(std::sscanf(head.c_str() + sizes, "%d %d\n255%n", &page.width, &page.height, &taken),
              2);
    page.rgb.assign(bytes.begin() + static_cast<std::ptrdiff_t>(sizes) + taken + 1, bytes.end());
    EXPECT_EQ(page.rgb.size(), size_t(page.width) * size_t(page.height) * 3);
    return page;
}

} // namespace

TEST(eps_interop, ghostscript_draws_every_depth)
{
    IMGX_set_interchange(1);
    for (int bits : {1, 4, 8, 24, -1}) { // -1: white is the first colour
        SCOPED_TRACE(bits);
        // 72 pixels are 8 inches wide, so 9 dots per inch draw one dot a pixel.
        test_dib dib(72, 45, std::abs(bits));
        if (bits == -1) {
            dib.set_color(0, 255, 255, 255);
            dib.set_color(1, 0, 0, 0);
        }
        if (bits == 4 || bits == 8)
            for (int i = 0; i < 16; ++i)
                dib.set_color(i, i * 16, 255 - i * 10, i * 3);
        dib.fill_random(7, 3);
        const image_guard image(dib.create());
        const image_copy meant = copy_image(image);
        const temp_file eps(".eps");
        ASSERT_GE(IMG_save_bitmap(image, eps.name(), 14), 0);
        const drawn_page page = draw(eps.name(), "-r9");
        ASSERT_EQ(page.width, 72);
        ASSERT_EQ(page.height, 45);
        for (int y = 0; y < 45; ++y)
            for (int x = 0; x < 72; ++x)
                ASSERT_EQ(page.color(x, y), meant.color(x, y)) << "at " << x << ", " << y;
    }
    IMGX_set_interchange(0);
}

// The classic program draws 1- and 8-bit images; its page has no showpage, so one is added.
TEST(eps_interop, ghostscript_draws_classic_pages)
{
    for (int bits : {1, 8}) {
        test_dib dib(64, 48, bits);
        dib.fill_random(9, 3);
        const image_guard image(dib.create());
        const image_copy meant = copy_image(image);
        const temp_file eps(".eps");
        ASSERT_GE(IMG_save_bitmap(image, eps.name(), 14), 0);
        byte_vector bytes = eps.bytes();
        const std::string show = "showpage\n";
        bytes.insert(bytes.end(), show.begin(), show.end());
        write_file(eps.name(), bytes);
        // 64 pixels are 2400 units of 1/300 inch: 8 dots per inch draw one dot a pixel.
        const drawn_page page = draw(eps.name(), "-r8 -g68x88");
        ASSERT_EQ(page.width, 68);
        for (int y = 0; y < 48; ++y)
            for (int x = 0; x < 64; ++x)
                ASSERT_EQ(page.color(x + 2, y + 2), meant.color(x, y)) << "at " << x << ", " << y;
    }
}
