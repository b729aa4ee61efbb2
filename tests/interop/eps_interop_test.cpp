// eps_interop_test.cpp - our PostScript drawn by Ghostscript, pixel for pixel.

#include "tests/support/peer_tools.h"

TEST(eps_interop, ghostscript_draws_every_page)
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
