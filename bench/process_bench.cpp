// process_bench.cpp - geometry, tone and filters beside Leptonica, ImageMagick,
// netpbm and memcpy.

#include "bench/bench_netpbm.h"
#include "bench/bench_peers.h"

namespace {

const auto turn = [](int32_t h) { return IMG_rotate_bitmap(h, 90); };
const auto half_turn = [](int32_t h) { return IMG_rotate_bitmap(h, 180); };
const auto sharpen = [](int32_t h) { return IMG_sharpen_bitmap(h, 64); };
const auto tone = [](int32_t h) { return IMG_set_lut(h, 20, 5); };
const auto kernel_7 = [](int32_t h) { return IMG_process_bitmap(h, 7, nullptr); };
constexpr signed char wide_kernel[9] = {-20, 9, -20, 9, 127, 9, -20, 9, -20};
const auto kernel_0 = [](int32_t h) { return IMG_process_bitmap(h, 0, wide_kernel); };
const auto shrink = [](int32_t h) { return IMG_resize_bitmap(h, 4133, 2755); };
const auto enlarge = [](int32_t h) { return IMG_resize_bitmap(h, 8000, 5333); };
const auto halve = [](int32_t h) { return IMG_resize_bitmap(h, 3000, 2000); };
const auto shrink_page = [](int32_t h) { return IMG_resize_bitmap(h, 1728, 2444); };

const bench_picture& picture_of(int64_t number)
{
    switch (number) {
    case 0: return page_300();
    case 1: return page_600();
    case 2: return photo_8();
    default: return photo_24();
    }
}

void copy_warm(benchmark::State& s)
{
    run_memcpy(s, picture_of(s.range(0)).pixel_bytes(), false);
}
void copy_fresh(benchmark::State& s)
{
    run_memcpy(s, picture_of(s.range(0)).pixel_bytes(), true);
}

template <class F> void ours(benchmark::State& s, F f)
{
    run_ours(s, picture_of(s.range(0)), f);
}
template <class F> void leptonica(benchmark::State& s, F f)
{
    run_leptonica(s, picture_of(s.range(0)), f);
}
template <class F> void magick(benchmark::State& s, F f)
{
    run_magick(s, picture_of(s.range(0)), f);
}

void netpbm(benchmark::State& s, const char* program)
{
    run_netpbm(s, picture_of(s.range(0)), program);
}

const auto lept_turn = [](PIX* p) { return pixRotate90(p, 1); };
const auto lept_half_turn = [](PIX* p) { return pixRotate180(nullptr, p); };
const auto lept_flip_x = [](PIX* p) { return pixFlipLR(nullptr, p); };
const auto lept_flip_y = [](PIX* p) { return pixFlipTB(nullptr, p); };
const auto lept_invert = [](PIX* p) { return pixInvert(p, p); };
const auto lept_shrink = [](PIX* p) { return pixScaleBySampling(p, 4133 / 6000.f, 2755 / 4000.f); };
const auto magick_turn = [](MagickWand* w) {
    PixelWand* none = NewPixelWand();
    const auto ok = MagickRotateImage(w, none, 90);
    DestroyPixelWand(none);
    return ok;
};
const auto magick_sample = [](MagickWand* w) { return MagickSampleImage(w, 4133, 2755); };
const auto magick_convolve = [](MagickWand* w) {
    const double kernel[9] = {0, -1, 0, -1, 5, -1, 0, -1, 0};
    return MagickConvolveImage(w, 3, kernel);
};
const auto magick_invert = [](MagickWand* w) { return MagickNegateImage(w, MagickFalse); };

constexpr const char* netpbm_shrink = "pamscale -nomix 0.68883";
constexpr const char* netpbm_convolve = "pnmconvol -matrix=0,-1,0,-1,5,-1,0,-1,0";

#define ON_PAGES ->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)
#define ON_PHOTOS ->Arg(2)->Arg(3)->Unit(benchmark::kMillisecond)
#define ON_ALL ->DenseRange(0, 3)->Unit(benchmark::kMillisecond)

BENCHMARK(copy_warm) ON_ALL;
BENCHMARK(copy_fresh) ON_ALL;
BENCHMARK_CAPTURE(ours, turn, turn) ON_ALL;
BENCHMARK_CAPTURE(leptonica, turn, lept_turn) ON_ALL;
BENCHMARK_CAPTURE(magick, turn, magick_turn) ON_PHOTOS;
BENCHMARK_CAPTURE(ours, half_turn, half_turn) ON_ALL;
BENCHMARK_CAPTURE(leptonica, half_turn, lept_half_turn) ON_ALL;
BENCHMARK_CAPTURE(ours, flip_x, IMG_flip_bitmapx) ON_ALL;
BENCHMARK_CAPTURE(leptonica, flip_x, lept_flip_x) ON_ALL;
BENCHMARK_CAPTURE(ours, flip_y, IMG_flip_bitmapy) ON_ALL;
BENCHMARK_CAPTURE(leptonica, flip_y, lept_flip_y) ON_ALL;
BENCHMARK_CAPTURE(ours, invert, IMG_invert_bitmap) ON_ALL;
BENCHMARK_CAPTURE(leptonica, invert, lept_invert) ON_ALL;
BENCHMARK_CAPTURE(magick, invert, magick_invert) ON_PHOTOS;
BENCHMARK_CAPTURE(ours, tone, tone)->Arg(3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ours, shrink, shrink) ON_PHOTOS;
BENCHMARK_CAPTURE(ours, enlarge, enlarge) ON_PHOTOS;
BENCHMARK_CAPTURE(ours, halve, halve) ON_PHOTOS;
BENCHMARK_CAPTURE(ours, shrink_page, shrink_page) ON_PAGES;
BENCHMARK_CAPTURE(leptonica, shrink, lept_shrink) ON_PHOTOS;
BENCHMARK_CAPTURE(magick, shrink, magick_sample) ON_PHOTOS;
BENCHMARK_CAPTURE(ours, kernel_small, kernel_7) ON_PHOTOS;
BENCHMARK_CAPTURE(ours, kernel_wide, kernel_0) ON_PHOTOS;
BENCHMARK_CAPTURE(magick, convolve, magick_convolve) ON_PHOTOS;
BENCHMARK_CAPTURE(ours, sharpen, sharpen) ON_PHOTOS;
BENCHMARK_CAPTURE(netpbm, turn, "pamflip -r270") ON_ALL->UseManualTime()->Iterations(2);
BENCHMARK_CAPTURE(netpbm, half_turn, "pamflip -r180") ON_ALL->UseManualTime()->Iterations(2);
BENCHMARK_CAPTURE(netpbm, flip_x, "pamflip -lr") ON_ALL->UseManualTime()->Iterations(2);
BENCHMARK_CAPTURE(netpbm, invert, "pnminvert") ON_ALL->UseManualTime()->Iterations(2);
BENCHMARK_CAPTURE(netpbm, shrink, netpbm_shrink) ON_PHOTOS->UseManualTime()->Iterations(1);
BENCHMARK_CAPTURE(netpbm, convolve, netpbm_convolve) ON_PHOTOS->UseManualTime()->Iterations(1);

} // namespace

BENCHMARK_MAIN();
