// print_test.cpp - printing into bitmaps of one bit per pixel and into metafiles.

#include "tests/win32/gdi_support.h"

#include <cmath>

namespace {

color toned(color c, int32_t gamma, int32_t brightness, int32_t dot_gain)
{
    color result = 0;
    for (const int shift : {16, 8, 0}) {
        const double v = c >> shift & 255;
        double t = 255 * std::pow(v / 255, 100.0 / gamma) + 2.0 * brightness -
                   dot_gain * v * (255 - v) / 16256;
        t = std::floor(std::fmin(std::fmax(t, 0), 255) + 0.5);
        result |= static_cast<color>(t) << shift;
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

// A metafile that is recorded by print and played one to one onto the paper, record by record.
template <class Print> int32_t print_through_metafile(const canvas& paper, Print print)
{
    HDC recorder = CreateEnhMetaFileA(nullptr, nullptr, nullptr, nullptr);
    const int32_t result = print(recorder);
    HENHMETAFILE metafile = CloseEnhMetaFile(recorder);
    EnumEnhMetaFile(nullptr, metafile, play_record, paper.dc(), nullptr);
    DeleteEnhMetaFile(metafile);
    return result;
}

} // namespace

TEST(print, dots_are_those_of_the_operations_on_images)
{
    const struct {
        int32_t dither;
        int32_t(IMG_STD* operation)(int32_t);
    } rows[] = {{0, IMG_halftone_mono}, {1, IMG_bayer_mono}};
    for (const auto& r : rows)
        for (const int32_t bits : {4, 8, 24}) {
            SCOPED_TRACE(std::to_string(r.dither) + ", bits " + std::to_string(bits));
            const test_picture picture(130, 90, bits);
            const canvas printed(140, 100, 1, 0xFFFFFF);
            const canvas shown(140, 100, 1, 0xFFFFFF);
            ASSERT_EQ(IMGX_set_print_dither(picture.handle(), r.dither), 0);
            ASSERT_EQ(IMG_print_bitmap(picture.handle(), printed.dc(), 7, 4, 130, 90), 0);
            ASSERT_EQ(r.operation(picture.handle()), 0);
            IMG_display_bitmap(picture.handle(), shown.dc(), 7, 4, 130, 90);
            ASSERT_EQ(printed.pixels(), shown.pixels());
        }
}

TEST(print, tone_moves_the_share_of_ink)
{
    const auto white_share = [](const test_picture& picture) {
        // Wider and higher than a band.
        const canvas paper(1200, 600, 1, 0xFFFFFF);
        EXPECT_EQ(IMG_print_bitmap(picture.handle(), paper.dc(), 0, 0, 1200, 600), 0);
        size_t white = 0;
        for (const color c : paper.pixels())
            white += c ? 1 : 0;
        return static_cast<double>(white) / (1200 * 600);
    };
    const test_picture picture(100, 100, 24);
    for (const int32_t dither : {0, 1, 2}) {
        SCOPED_TRACE(dither);
        IMGX_set_print_dither(picture.handle(), dither);
        IMGX_set_print_tone(picture.handle(), 0, 0, 0);
        const double plain = white_share(picture);
        EXPECT_NEAR(plain, 0.5, 0.06);
        IMGX_set_print_tone(picture.handle(), 0, 200, 0);
        EXPECT_GT(white_share(picture), plain + 0.1);
        IMGX_set_print_tone(picture.handle(), 60, 0, 0);
        EXPECT_LT(white_share(picture), plain - 0.08);
        IMGX_set_print_tone(picture.handle(), 0, 100, 128);
        EXPECT_EQ(white_share(picture), 1.0);
    }
}

TEST(print, colours_go_through_the_table_into_a_metafile)
{
    for (const int32_t bits : {1, 4, 8, 24}) {
        SCOPED_TRACE(bits);
        const test_picture picture(60, 40, bits);
        IMG_set_croprect(picture.handle(), 10, 5, 40, 30);
        IMGX_set_print_tone(picture.handle(), 20, 150, -10);
        const canvas paper(100, 80, 32, 0x204060);
        ASSERT_EQ(print_through_metafile(paper,
                                         [&](HDC dc) {
                                             return IMG_print_bitmap(picture.handle(), dc, 10, 10,
                                                                     80, 60);
                                         }),
                  0);
        EXPECT_EQ(paper.at(9, 9), 0x204060U);
        EXPECT_EQ(paper.at(90, 70), 0x204060U);
        for (int32_t y = 0; y < 60; ++y)
            for (int32_t x = 0; x < 80; ++x)
                ASSERT_EQ(paper.at(10 + x, 10 + y),
                          toned(picture.at(10 + x / 2, 5 + y / 2), 150, -10, 20))
                    << x << "," << y;
    }
}

TEST(print, fast_leaves_the_stretch_to_the_device)
{
    for (const int32_t bits : {1, 4, 8, 24}) {
        SCOPED_TRACE(bits);
        const test_picture picture(60, 40, bits);
        IMGX_set_print_tone(picture.handle(), 20, 150, -10);
        // Only what lies in the image may reach the device.
        IMG_set_croprect(picture.handle(), 40, 20, 40, 30);
        const canvas paper(120, 100, 32, 0x204060);
        const auto print = [&](HDC dc) {
            return IMG_print_bitmap_fast(picture.handle(), dc, 10, 10, 80, 60);
        };
        ASSERT_EQ(print_through_metafile(paper, print), 0);
        for (int32_t y = 0; y < 100; ++y)
            for (int32_t x = 0; x < 120; ++x) {
                const bool inside = x >= 10 && x < 50 && y >= 10 && y < 50;
                const color expected =
                    inside ? picture.at(40 + (x - 10) / 2, 20 + (y - 10) / 2) : 0x204060;
                ASSERT_EQ(paper.at(x, y), expected) << x << "," << y;
            }
        // Mirrored by the device.
        const canvas mirror(60, 40);
        IMG_set_croprect(picture.handle(), 0, 0, 60, 40);
        ASSERT_EQ(IMG_print_bitmap_fast(picture.handle(), mirror.dc(), 60, 0, -60, 40), 0);
        EXPECT_EQ(mirror.at(59, 0), picture.at(0, 0));
        EXPECT_EQ(mirror.at(0, 39), picture.at(59, 39));
    }
}

TEST(print, failures_have_their_codes)
{
    const test_picture picture(20, 20, 24);
    const canvas paper(20, 20);
    for (const auto print : {IMG_print_bitmap, IMG_print_bitmap_fast}) {
        EXPECT_EQ(print(-1, paper.dc(), 0, 0, 20, 20), -13);
        EXPECT_EQ(print(4711, paper.dc(), 0, 0, 20, 20), -13);
        EXPECT_EQ(print(picture.handle(), nullptr, 0, 0, 20, 20), -7);
        EXPECT_EQ(print(picture.handle(), paper.dc(), 5, 5, 0, 0), 0);
        auto* deleted = CreateCompatibleDC(nullptr);
        DeleteDC(deleted);
        EXPECT_EQ(print(picture.handle(), deleted, 0, 0, 20, 20), -7);
    }
    EXPECT_EQ(IMGX_set_print_dither(picture.handle(), 3), -7);
    EXPECT_EQ(IMGX_set_print_dither(picture.handle(), -1), -7);
    EXPECT_EQ(IMGX_set_print_dither(4711, 0), -13);
}
