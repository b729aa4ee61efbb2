// print_test.cpp - printing into bitmaps of one bit per pixel, into metafiles, and by a driver
// that wants bands. The viewer's tests print through a PostScript printer.

#include "tests/win32/gdi_support.h"

#include <cmath>

namespace {

color toned(color c, int32_t gamma, int32_t brightness, int32_t dot_gain)
{
    color result = 0;
    for (const int shift : {16, 8, 0}) {
        const double v = c >> shift & 255;
        const double t = 255 * std::pow(v / 255, 100.0 / gamma) + 2.0 * brightness -
                         dot_gain * v * (255 - v) / 16256;
        result |= static_cast<color>(std::fmin(std::fmax(t, 0), 255) + 0.5) << shift;
    }
    return result;
}

int CALLBACK play_record(HDC, HANDLETABLE*, const ENHMETARECORD* record, int, LPARAM target)
{
    if (record->iType != EMR_STRETCHDIBITS) return 1;
    const auto* r = reinterpret_cast<const EMRSTRETCHDIBITS*>(record);
    const auto* base = reinterpret_cast<const uint8_t*>(record);
    StretchDIBits(reinterpret_cast<HDC>(target), r->xDest, r->yDest, r->cxDest, r->cyDest, r->xSrc,
                  r->ySrc, r->cxSrc, r->cySrc, base + r->offBitsSrc,
                  reinterpret_cast<const BITMAPINFO*>(base + r->offBmiSrc), r->iUsageSrc, r->dwRop);
    return 1;
}

using print_function = int32_t(IMG_STD*)(int32_t, HDC, int32_t, int32_t, int32_t, int32_t);

// Prints into a metafile, which is played one to one onto the paper, record by record.
void print_through_metafile(const canvas& paper, int32_t handle, print_function print)
{
    HDC recorder = CreateEnhMetaFileA(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(print(handle, recorder, 10, 10, 80, 60), 0);
    HENHMETAFILE metafile = CloseEnhMetaFile(recorder);
    EnumEnhMetaFile(nullptr, metafile, play_record, paper.dc(), nullptr);
    DeleteEnhMetaFile(metafile);
}

// A driver that prints in bands, and whose job its user stops after some drawing.
struct banding_driver {
    std::vector<RECT> bands;
    size_t next = 0;
    int drawn = 0, stop_after = 1000;
    std::function<void()> at_first_draw = [] {};
    const replaced_call caps, escape, stretch;

    explicit banding_driver(std::vector<RECT> wanted)
        : bands(std::move(wanted)),
          caps("gdi32.dll", "GetDeviceCaps", reinterpret_cast<void*>(get_device_caps)),
          escape("gdi32.dll", "Escape", reinterpret_cast<void*>(answer)),
          stretch("gdi32.dll", "StretchDIBits", reinterpret_cast<void*>(draw))
    {
        playing = this;
    }
    static int WINAPI get_device_caps(HDC dc, int index)
    {
        return GetDeviceCaps(dc, index) | (index == RASTERCAPS ? RC_BANDING : 0);
    }
    // Gives the bands, an empty one at the end, and refuses after that.
    static int WINAPI answer(HDC, int function, int, const char*, void* band)
    {
        EXPECT_EQ(function, NEXTBAND);
        if (playing->next > playing->bands.size()) return 0;
        *static_cast<RECT*>(band) =
            playing->next < playing->bands.size() ? playing->bands[playing->next] : RECT{};
        ++playing->next;
        return 1;
    }
    // The system asks the program's abort procedure and draws no more once that says no.
    static int WINAPI draw(HDC dc, int x, int y, int width, int height, int from_x, int from_y,
                           int from_width, int from_height, const void* bits,
                           const BITMAPINFO* info, UINT usage, DWORD rop)
    {
        if (++playing->drawn > playing->stop_after) return 0;
        if (playing->drawn == 1) playing->at_first_draw();
        return StretchDIBits(dc, x, y, width, height, from_x, from_y, from_width, from_height, bits,
                             info, usage, rop);
    }
    static inline banding_driver* playing = nullptr;
};

} // namespace

TEST(print, dots_are_those_of_the_operations_on_images)
{
    const auto operations = {IMG_halftone_mono, IMG_bayer_mono};
    for (const int32_t dither : {0, 1})
        for (const int32_t bits : {4, 8, 24}) {
            SCOPED_TRACE(std::to_string(dither) + ", bits " + std::to_string(bits));
            const test_picture picture(130, 90, bits);
            const canvas printed(140, 100, 1, 0xFFFFFF), shown(140, 100, 1, 0xFFFFFF);
            for (const canvas* paper : {&printed, &shown})
                IntersectClipRect(paper->dc(), 12, 7, 140, 80);
            ASSERT_EQ(IMGX_set_print_dither(picture.handle, dither), 0);
            ASSERT_EQ(IMG_print_bitmap(picture.handle, printed.dc(), 7, 4, 130, 90), 0);
            ASSERT_EQ(operations.begin()[dither](picture.handle), 0);
            IMG_display_bitmap(picture.handle, shown.dc(), 7, 4, 130, 90);
            ASSERT_EQ(printed.pixels(), shown.pixels());
        }
    const test_picture page(130, 90, 1);
    for (const int32_t dither : {0, 1, 2}) {
        const canvas paper(130, 90, 1, 0xFFFFFF);
        IMGX_set_print_dither(page.handle, dither);
        ASSERT_EQ(IMG_print_bitmap(page.handle, paper.dc(), 0, 0, 130, 90), 0);
        paper.expect([&](int32_t x, int32_t y) { return page.color(x, y); });
    }
}

TEST(print, tone_moves_the_share_of_ink)
{
    const test_picture picture(100, 100, 24);
    for (const int32_t dither : {0, 1, 2}) {
        SCOPED_TRACE(dither);
        IMGX_set_print_dither(picture.handle, dither);
        const auto white_share = [&](int32_t dot_gain, int32_t gamma, int32_t brightness) {
            const canvas paper(1200, 600, 1, 0xFFFFFF); // wider and higher than a band
            IMGX_set_print_tone(picture.handle, dot_gain, gamma, brightness);
            EXPECT_EQ(IMG_print_bitmap(picture.handle, paper.dc(), 0, 0, 1200, 600), 0);
            const values pixels = paper.pixels();
            return std::count(pixels.begin(), pixels.end(), 0xFFFFFFU) / (1200 * 600.0);
        };
        const double plain = white_share(0, 0, 0);
        EXPECT_NEAR(plain, 0.5, 0.06);
        EXPECT_LT(white_share(60, 0, 0), plain - 0.08);
        EXPECT_GT(white_share(0, 200, 0), plain + 0.1);
        EXPECT_EQ(white_share(0, 100, 128), 1.0);
    }
}

TEST(print, colours_go_through_the_table_or_are_left_to_the_device)
{
    for (const int32_t bits : {1, 4, 8, 24}) {
        SCOPED_TRACE(bits);
        const test_picture picture(60, 40, bits);
        // Half of the crop rectangle lies outside the image: that may not reach the device.
        IMG_set_croprect(picture.handle, 40, 20, 40, 30);
        IMGX_set_print_tone(picture.handle, 20, 150, -10);
        const canvas paper(120, 100), fast(120, 100);
        print_through_metafile(paper, picture.handle, IMG_print_bitmap);
        print_through_metafile(fast, picture.handle, IMG_print_bitmap_fast);
        const auto pixel = [&](int32_t x, int32_t y) {
            const bool inside = x >= 10 && x < 50 && y >= 10 && y < 50;
            return inside ? picture.color(40 + (x - 10) / 2, 20 + (y - 10) / 2) : background;
        };
        fast.expect(pixel);
        paper.expect([&](int32_t x, int32_t y) {
            const color c = pixel(x, y);
            return c == background ? c : toned(c, 150, -10, 20);
        });
        // A device that shrinks pages itself keeps the black dots.
        if (bits == 1) {
            const canvas small(30, 20);
            IMG_set_croprect(picture.handle, 0, 0, 60, 40);
            EXPECT_EQ(IMG_print_bitmap_fast(picture.handle, small.dc(), 0, 0, 30, 20), 0);
            small.expect([&](int32_t x, int32_t y) {
                return picture.color(2 * x, 2 * y) & picture.color(2 * x + 1, 2 * y) &
                       picture.color(2 * x, 2 * y + 1) & picture.color(2 * x + 1, 2 * y + 1);
            });
        }
        // Mirrored by the device.
        const canvas mirror(60, 40);
        IMG_set_croprect(picture.handle, 0, 0, 60, 40);
        ASSERT_EQ(IMG_print_bitmap_fast(picture.handle, mirror.dc(), 60, 0, -60, 40), 0);
        mirror.expect([&](int32_t x, int32_t y) { return picture.color(59 - x, y); });
    }
}

TEST(print, paints_the_bands_that_a_driver_wants)
{
    const test_picture picture(130, 90, 24);
    for (const int32_t depth : {1, 32}) {
        SCOPED_TRACE(depth);
        const canvas whole(140, 100, depth, 0), parts(140, 100, depth, 0);
        ASSERT_EQ(IMG_print_bitmap(picture.handle, whole.dc(), 7, 4, 130, 90), 0);
        banding_driver driver({{0, 0, 140, 33}, {0, 33, 70, 60}, {0, 80, 140, 100}});
        ASSERT_EQ(IMG_print_bitmap(picture.handle, parts.dc(), 7, 4, 130, 90), 0);
        EXPECT_EQ(driver.next, 4U) << "the driver ends the page with an empty band";
        parts.expect([&](int32_t x, int32_t y) {
            const bool in_a_band = y < 33 || (y < 60 && x < 70) || y >= 80;
            return in_a_band ? whole.at(x, y) : 0;
        });
    }
    // The device's own stretch draws everything for each band: the driver keeps what it wants.
    const canvas paper(140, 100);
    banding_driver driver({{0, 0, 140, 50}, {0, 50, 140, 100}});
    EXPECT_EQ(IMG_print_bitmap_fast(picture.handle, paper.dc(), 7, 4, 130, 90), 0);
    EXPECT_EQ(driver.drawn, 2);
    driver.next = 3;
    EXPECT_EQ(IMG_print_bitmap(picture.handle, paper.dc(), 7, 4, 130, 90), -7) << "no band given";
}

TEST(print, ends_with_the_job_that_the_user_stops)
{
    const test_picture picture(130, 90, 24);
    const canvas mono(140, 100, 1), paper(140, 100);
    for (const canvas* device : {&mono, &paper})
        for (const auto print : {IMG_print_bitmap, IMG_print_bitmap_fast}) {
            banding_driver driver({{0, 0, 140, 30}, {0, 30, 140, 60}, {0, 60, 140, 100}});
            driver.stop_after = 1;
            EXPECT_EQ(print(picture.handle, device->dc(), 7, 4, 130, 90), -7);
            EXPECT_EQ(driver.drawn, 2);
            EXPECT_EQ(driver.next, 2U) << "no band is asked for after that";
        }
}

TEST(print, shows_an_image_that_the_abort_procedure_deletes_or_turns_as_it_was)
{
    for (const int32_t depth : {1, 32})
        for (const auto print : {IMG_print_bitmap, IMG_print_bitmap_fast, IMG_display_bitmap})
            for (const bool deletes : {true, false}) {
                SCOPED_TRACE(testing::Message() << depth << (deletes ? " deleted" : " turned"));
                const test_picture picture(900, 700, 24); // large: its freed memory is gone
                const canvas whole(900, 700, depth, 0), paper(900, 700, depth, 0);
                ASSERT_EQ(print(picture.handle, whole.dc(), 0, 0, 900, 700), 0);
                banding_driver driver({{0, 0, 900, 400}, {0, 400, 900, 700}});
                driver.at_first_draw = [&] {
                    if (deletes)
                        EXPECT_EQ(IMG_delete_bitmap(picture.handle), 0);
                    else
                        EXPECT_EQ(IMG_rotate_bitmap(picture.handle, 90), 0);
                };
                EXPECT_EQ(print(picture.handle, paper.dc(), 0, 0, 900, 700), 0);
                EXPECT_EQ(paper.pixels(), whole.pixels());
                EXPECT_EQ(IMG_delete_bitmap(picture.handle), deletes ? -13 : 0);
            }
}
