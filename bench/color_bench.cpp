// color_bench.cpp - colour reduction and promotion beside Leptonica, ImageMagick, netpbm
// and plain searches, on photographs of 24 megapixels.

#include "bench/bench_netpbm.h"
#include "bench/bench_peers.h"

namespace {

const bench_picture& picture_of(int64_t bits)
{
    return bits == 1 ? page_600() : bits == 8 ? photo_8() : photo_24();
}

template <class F> void ours(benchmark::State& s, F f)
{
    run_ours(s, picture_of(s.range(0)), f);
}
template <class F> void true_tones(benchmark::State& s, F f)
{
    IMGX_set_true_tones(1);
    ours(s, f);
    IMGX_set_true_tones(0);
}
template <class F> void leptonica(benchmark::State& s, F f)
{
    run_leptonica(s, picture_of(s.range(0)), f);
}
template <class F> void magick(benchmark::State& s, F f)
{
    run_magick(s, picture_of(s.range(0)), f);
}

/// memcpy of what an operation writes, into warm and into fresh memory.
void copy_warm(benchmark::State& s)
{
    run_memcpy(s, static_cast<size_t>(s.range(0)), false);
}
void copy_fresh(benchmark::State& s)
{
    run_memcpy(s, static_cast<size_t>(s.range(0)), true);
}

/// The search for the nearest of 256 colours that a popularity without a cache makes for
/// each pixel; over one 64th of the rows.
void plain_search(benchmark::State& s)
{
    const bench_picture& p = photo_24();
    uint16_t list[256];
    for (uint32_t i = 0; i < 256; ++i)
        list[i] = static_cast<uint16_t>(i * 2654435761u >> 20);
    for (auto _ : s)
        for (int32_t y = 0; y < p.height; y += 64) {
            const uint8_t* row = p.row(y);
            for (int32_t x = 0; x < p.width; ++x, row += 3) {
                int32_t best = 65535, chosen = 0;
                for (int32_t i = 0; i < 256 && best; ++i) {
                    const int32_t b = (row[0] >> 4) - (list[i] & 15);
                    const int32_t g = (row[1] >> 4) - (list[i] >> 4 & 15);
                    const int32_t r = (row[2] >> 4) - (list[i] >> 8);
                    const int32_t sum = b * b + g * g + r * r;
                    if (sum < best) {
                        best = sum;
                        chosen = i;
                    }
                }
                benchmark::DoNotOptimize(chosen);
            }
        }
    s.SetBytesProcessed(static_cast<int64_t>(s.iterations() * p.pixel_bytes() / 64));
}

void netpbm(benchmark::State& s, const char* program)
{
    run_netpbm(s, picture_of(s.range(0)), program);
}

const auto lept_dither = [](PIX* p) { return pixDitherToBinary(p); };
const auto magick_ordered = [](MagickWand* w) { return MagickOrderedPosterizeImage(w, "o8x8"); };
const auto magick_332 = [](MagickWand* w) {
    static MagickWand* table = nullptr;
    if (!table) {
        uint8_t colors[256 * 3];
        for (int i = 0; i < 256; ++i) {
            colors[3 * i] = static_cast<uint8_t>((i >> 5) * 255 / 7);
            colors[3 * i + 1] = static_cast<uint8_t>((i >> 2 & 7) * 255 / 7);
            colors[3 * i + 2] = static_cast<uint8_t>((i & 3) * 85);
        }
        table = NewMagickWand();
        MagickConstituteImage(table, 256, 1, "RGB", CharPixel, colors);
    }
    return MagickRemapImage(w, table, FloydSteinbergDitherMethod);
};

#define ON(bits) ->Arg(bits)->Unit(benchmark::kMillisecond)

BENCHMARK(copy_warm) ON(24000000)->Arg(72000000);
BENCHMARK(copy_fresh) ON(24000000)->Arg(72000000);
BENCHMARK_CAPTURE(ours, gray, IMG_color_gray) ON(8) ON(24);
BENCHMARK_CAPTURE(true_tones, gray, IMG_color_gray) ON(24);
BENCHMARK_CAPTURE(true_tones, diffusion_mono, IMG_diffusion_mono) ON(8) ON(24);
BENCHMARK_CAPTURE(true_tones, diffusion_color, IMG_diffusion_color) ON(24);
BENCHMARK_CAPTURE(true_tones, fixed_palette, IMG_mediancut_color) ON(24);
BENCHMARK_CAPTURE(ours, bayer_mono, IMG_bayer_mono) ON(8) ON(24);
BENCHMARK_CAPTURE(ours, halftone_mono, IMG_halftone_mono) ON(8) ON(24);
BENCHMARK_CAPTURE(magick, ordered, magick_ordered)->Iterations(1) ON(8) ON(24);
BENCHMARK_CAPTURE(ours, diffusion_mono, IMG_diffusion_mono) ON(8) ON(24);
BENCHMARK_CAPTURE(leptonica, dither_mono, lept_dither) ON(8);
BENCHMARK_CAPTURE(ours, bayer_color, IMG_bayer_color) ON(8) ON(24);
BENCHMARK_CAPTURE(ours, diffusion_color, IMG_diffusion_color) ON(8) ON(24);
BENCHMARK_CAPTURE(ours, fixed_palette, IMG_mediancut_color) ON(8) ON(24);
BENCHMARK_CAPTURE(magick, fixed_palette, magick_332)->Iterations(1) ON(24);
BENCHMARK_CAPTURE(ours, popularity, IMG_popularity_color) ON(24);
BENCHMARK(plain_search)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ours, promote_8, IMG_promote_8) ON(1) ON(8);
BENCHMARK_CAPTURE(ours, promote_24, IMG_promote_24) ON(1) ON(8);
BENCHMARK_CAPTURE(netpbm, gray, "ppmtopgm") ON(24)->UseManualTime()->Iterations(2);
BENCHMARK_CAPTURE(netpbm, ordered, "pamditherbw -dither8") ON(8)->UseManualTime()->Iterations(2);
BENCHMARK_CAPTURE(netpbm, diffusion, "pgmtopbm -fs") ON(8)->UseManualTime()->Iterations(2);
BENCHMARK_CAPTURE(netpbm, popularity, "ppmquant 256") ON(24)->UseManualTime()->Iterations(1);

} // namespace

BENCHMARK_MAIN();
