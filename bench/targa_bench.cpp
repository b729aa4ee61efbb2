// targa_bench.cpp - Targa reading and writing beside ImageMagick's library and beside memcpy
// of the same pixels. Everything from memory to memory; bytes are those of the pixels.

#include "core/codec.h"
#include "core/image.h"

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>
#include <wand/MagickWand.h>

namespace {

constexpr int width = 2000, height = 1500;
using byte_vector = std::vector<uint8_t>;

// chart: areas of one colour; smooth: shades without runs; noise.
enum picture_kind { chart, smooth, noise };
constexpr const char* kind_names[] = {"chart", "smooth", "noise"};
constexpr int mode_classic = 0, mode_interchange = 1;

size_t row_bytes(int bits)
{
    return size_t{width} * size_t(bits) / 8;
}

const byte_vector& picture(int kind, int bits)
{
    static byte_vector pictures[2][3];
    byte_vector& pixels = pictures[bits == 24][kind];
    if (!pixels.empty()) return pixels;
    std::mt19937 random(1);
    pixels.resize(row_bytes(bits) * height);
    for (size_t i = 0; i < pixels.size(); ++i) {
        const size_t x = i % row_bytes(bits), y = i / row_bytes(bits);
        const size_t pixel = x * 8 / size_t(bits);
        const size_t area = pixel / 90 * 7 + y / 60 * 13;
        const double shade = std::sin(double(pixel) * 0.01) + std::cos(double(y) * 0.013);
        pixels[i] = static_cast<uint8_t>(kind == chart    ? area * 31 + x % size_t(bits / 8)
                                         : kind == smooth ? 128 + 60 * shade + double(x % 3) * 9
                                                          : random());
    }
    return pixels;
}

struct job {
    const byte_vector* pixels;
    uint8_t* out;
    size_t row_bytes;
};

int32_t IMG_C get_row(IMG_PRIVATE value, void* row, int32_t index, int32_t bytes)
{
    const job& j = *reinterpret_cast<const job*>(value);
    std::memcpy(row, j.pixels->data() + size_t(index) * j.row_bytes, size_t(bytes));
    return 0;
}

int32_t IMG_C put_row(const void* row, IMG_PRIVATE value, int32_t index, int32_t bytes)
{
    const job& j = *reinterpret_cast<const job*>(value);
    std::memcpy(j.out + size_t(index) * j.row_bytes, row, size_t(bytes));
    return 0;
}

int32_t IMG_C any_header(const BITMAPINFOHEADER*, IMG_PRIVATE)
{
    return 0;
}

size_t encode(const byte_vector& pixels, int bits, int mode, byte_vector& file)
{
    dib_header header;
    header.set(width, height, bits);
    for (int i = 0; i < 256; ++i)
        header.colors[i] = {uint8_t(i), uint8_t(i), uint8_t(i), 0};
    IMGX_set_interchange(mode);
    const job j{&pixels, nullptr, row_bytes(bits)};
    file.resize(pixels.size() * 2 + 4096);
    IMGLOW_save_bitmap_mem(file.data(), &header.info, 3, get_row,
                           reinterpret_cast<IMG_PRIVATE>(&j));
    return static_cast<size_t>(get_save_filesize());
}

void finish(benchmark::State& state, size_t file_bytes)
{
    const auto bits = static_cast<int>(state.range(1));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(row_bytes(bits) * height));
    state.SetLabel(std::string(kind_names[state.range(0)]) + ", " + std::to_string(bits) +
                   " bits, " + (state.range(2) ? "run-length" : "plain"));
    state.counters["file_KB"] = static_cast<double>(file_bytes) / 1000;
}

void decode_ours(benchmark::State& state)
{
    const auto bits = static_cast<int>(state.range(1));
    const byte_vector& pixels = picture(static_cast<int>(state.range(0)), bits);
    byte_vector file, out(pixels.size() + 64);
    file.resize(encode(pixels, bits, static_cast<int>(state.range(2)), file));
    const job j{&pixels, out.data(), row_bytes(bits)};
    for (auto _ : state)
        IMGX_stream_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0, put_row,
                               reinterpret_cast<IMG_PRIVATE>(&j), any_header);
    if (std::memcmp(out.data(), pixels.data(), pixels.size())) state.SkipWithError("wrong pixels");
    finish(state, file.size());
}

void encode_ours(benchmark::State& state)
{
    const auto bits = static_cast<int>(state.range(1));
    const byte_vector& pixels = picture(static_cast<int>(state.range(0)), bits);
    byte_vector file;
    size_t size = 0;
    for (auto _ : state)
        size = encode(pixels, bits, static_cast<int>(state.range(2)), file);
    finish(state, size);
}

void plain_memcpy(benchmark::State& state)
{
    const byte_vector& pixels = picture(smooth, 24);
    byte_vector out(pixels.size());
    for (auto _ : state) {
        std::memcpy(out.data(), pixels.data(), out.size());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(out.size()));
}

void decode_magick(benchmark::State& state)
{
    const auto bits = static_cast<int>(state.range(1));
    byte_vector file;
    file.resize(encode(picture(static_cast<int>(state.range(0)), bits), bits,
                       static_cast<int>(state.range(2)), file));
    for (auto _ : state) {
        MagickWand* wand = NewMagickWand();
        MagickSetFormat(wand, "TGA");
        if (!MagickReadImageBlob(wand, file.data(), file.size()))
            state.SkipWithError("ImageMagick");
        DestroyMagickWand(wand);
    }
    finish(state, file.size());
}

void encode_magick(benchmark::State& state)
{
    const auto bits = static_cast<int>(state.range(1));
    byte_vector file;
    file.resize(encode(picture(static_cast<int>(state.range(0)), bits), bits, 0, file));
    MagickWand* wand = NewMagickWand();
    MagickSetFormat(wand, "TGA");
    MagickReadImageBlob(wand, file.data(), file.size());
    MagickSetImageCompression(wand, state.range(2) ? RLECompression : NoCompression);
    size_t size = 0;
    for (auto _ : state)
        MagickRelinquishMemory(MagickGetImageBlob(wand, &size));
    DestroyMagickWand(wand);
    finish(state, size);
}

void every_picture(benchmark::internal::Benchmark* bench)
{
    bench->ArgsProduct({{chart, smooth, noise}, {8, 24}, {mode_classic, mode_interchange}});
    bench->Unit(benchmark::kMillisecond);
}

} // namespace

BENCHMARK(plain_memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(decode_ours)->Apply(every_picture);
BENCHMARK(decode_magick)->Apply(every_picture);
BENCHMARK(encode_ours)->Apply(every_picture);
BENCHMARK(encode_magick)->Apply(every_picture);

int main(int argc, char** argv)
{
    MagickWandGenesis();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    MagickWandTerminus();
}
