// pcx_bench.cpp - PCX, PICT and WPG beside ImageMagick's library: the same files, from memory
// to an image in memory and back; and beside memcpy of the pixels. Pictures: smooth shades
// (equal pixels along the rows), a photograph's likeness, noise.

#include "core/image.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <sys/mman.h>
#include <vector>
#include <wand/MagickWand.h>

namespace {

constexpr int32_t width = 2400, height = 1600;
using byte_vector = std::vector<uint8_t>;

enum picture_kind { smooth, photograph, noise };
constexpr const char* kind_names[] = {"smooth", "photograph", "noise"};

struct type_row {
    int32_t code;
    const char* magick;
};
constexpr type_row types[] = {{2, "PCX"}, {15, "PICT"}, {5, "WPG"}};

uint8_t level(int kind, int x, int y, int channel, std::mt19937& random)
{
    if (kind == noise) return static_cast<uint8_t>(random());
    if (kind == smooth) return static_cast<uint8_t>((y * (channel + 1) + x / 400 * 32) / 8);
    const double shade = std::sin(x * 0.011 + channel) + std::cos(y * 0.017 + x * 0.003);
    return static_cast<uint8_t>(128 + 50 * shade + static_cast<double>(random() % 8));
}

const byte_vector& packed_dib(int kind, int bits)
{
    static byte_vector dibs[3][2];
    byte_vector& dib = dibs[kind][bits == 24];
    if (!dib.empty()) return dib;
    const size_t table = bits == 24 ? 0 : 1024;
    dib.resize(40 + table + size_t{width} * height * static_cast<size_t>(bits) / 8);
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = static_cast<WORD>(bits);
    std::memcpy(dib.data(), &header, sizeof header);
    for (size_t i = 0; i < table / 4; ++i)
        std::memset(&dib[40 + 4 * i], static_cast<int>(i), 3);
    std::mt19937 random(1);
    uint8_t* p = dib.data() + 40 + table;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int channel = 0; channel < bits / 8; ++channel)
                *p++ = level(kind, x, y, channel, random);
    return dib;
}

byte_vector encode(int kind, int bits, int32_t type)
{
    const int32_t image = IMG_create_handle(packed_dib(kind, bits).data());
    byte_vector file(packed_dib(kind, bits).size() * 2 + 100000);
    const int32_t size =
        IMGX_save_bitmap_mem(image, file.data(), static_cast<uint32_t>(file.size()), type);
    IMG_delete_bitmap(image);
    file.resize(static_cast<size_t>(std::max(size, 0)));
    return file;
}

void count(benchmark::State& state, size_t file_bytes)
{
    state.SetBytesProcessed(state.iterations() * width * height * state.range(1) / 8);
    state.SetLabel(std::string(types[state.range(2)].magick) + " " + kind_names[state.range(0)]);
    state.counters["file_KB"] = static_cast<double>(file_bytes) / 1000;
}

int kind_of(const benchmark::State& state)
{
    return static_cast<int>(state.range(0));
}
int bits_of(const benchmark::State& state)
{
    return static_cast<int>(state.range(1));
}
const type_row& type_of(const benchmark::State& state)
{
    return types[state.range(2)];
}

void decode_ours(benchmark::State& state)
{
    const byte_vector file = encode(kind_of(state), bits_of(state), type_of(state).code);
    for (auto _ : state) {
        const int32_t image =
            IMGX_decompress_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0);
        if (image < 0) state.SkipWithError("decode");
        IMG_delete_bitmap(image);
    }
    count(state, file.size());
}

int32_t IMG_C any_header(const BITMAPINFOHEADER*, IMG_PRIVATE)
{
    return 0;
}

int32_t IMG_C put_row(const void* row, IMG_PRIVATE out, int32_t index, int32_t bytes)
{
    std::memcpy(reinterpret_cast<uint8_t*>(out) + size_t(index) * size_t(bytes), row,
                size_t(bytes));
    return 0;
}

/// Rows into memory that is there: decoding without what a fresh block costs.
void decode_rows(benchmark::State& state)
{
    const byte_vector file = encode(kind_of(state), bits_of(state), type_of(state).code);
    byte_vector out(size_t{width} * height * static_cast<size_t>(bits_of(state)) / 8, 1);
    for (auto _ : state)
        if (IMGX_stream_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0, put_row,
                                   reinterpret_cast<IMG_PRIVATE>(out.data()), any_header) < 0)
            state.SkipWithError("decode");
    count(state, file.size());
}

void decode_magick(benchmark::State& state)
{
    const byte_vector file = encode(kind_of(state), bits_of(state), type_of(state).code);
    for (auto _ : state) {
        MagickWand* wand = NewMagickWand();
        MagickSetFormat(wand, type_of(state).magick);
        if (!MagickReadImageBlob(wand, file.data(), file.size())) state.SkipWithError("decode");
        DestroyMagickWand(wand);
    }
    count(state, file.size());
}

void encode_ours(benchmark::State& state)
{
    const byte_vector& dib = packed_dib(kind_of(state), bits_of(state));
    const int32_t image = IMG_create_handle(dib.data());
    byte_vector file(dib.size() * 2 + 100000);
    int32_t size = 0;
    for (auto _ : state)
        size = IMGX_save_bitmap_mem(image, file.data(), static_cast<uint32_t>(file.size()),
                                    type_of(state).code);
    if (size < 0) state.SkipWithError("encode");
    IMG_delete_bitmap(image);
    count(state, static_cast<size_t>(size));
}

void encode_magick(benchmark::State& state)
{
    const byte_vector file = encode(kind_of(state), bits_of(state), type_of(state).code);
    MagickWand* wand = NewMagickWand();
    MagickSetFormat(wand, type_of(state).magick);
    if (!MagickReadImageBlob(wand, file.data(), file.size())) state.SkipWithError("decode");
    size_t size = 0;
    for (auto _ : state) {
        unsigned char* blob = MagickGetImageBlob(wand, &size);
        if (!blob) state.SkipWithError("encode");
        MagickRelinquishMemory(blob);
    }
    DestroyMagickWand(wand);
    count(state, size);
}

/// What the pixels alone cost: into memory that is there, or that has to be had first.
void copy_pixels(benchmark::State& state)
{
    const size_t size = size_t{width} * height * static_cast<size_t>(bits_of(state)) / 8;
    const byte_vector from(size, 1);
    const bool fresh = state.range(0);
    const auto map = [&] {
        return mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    };
    void* to = map();
    std::memset(to, 1, size);
    for (auto _ : state) {
        if (fresh) {
            munmap(to, size);
            to = map();
        }
        std::memcpy(to, from.data(), size);
        benchmark::DoNotOptimize(to);
        benchmark::ClobberMemory();
    }
    munmap(to, size);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(size));
    state.SetLabel(fresh ? "fresh memory" : "warm memory");
}

void every_picture(benchmark::internal::Benchmark* b)
{
    b->Unit(benchmark::kMillisecond);
    for (int type : {0, 1, 2})
        for (int bits : {8, 24})
            for (int kind : {smooth, photograph, noise})
                if (type != 2 || bits == 8) b->Args({kind, bits, type});
}

void what_magick_writes(benchmark::internal::Benchmark* b)
{
    b->Unit(benchmark::kMillisecond);
    for (int type : {0, 1}) // it writes no WPG
        for (int bits : {8, 24})
            for (int kind : {smooth, photograph, noise})
                b->Args({kind, bits, type});
}

BENCHMARK(copy_pixels)
    ->Args({0, 8})
    ->Args({1, 8})
    ->Args({0, 24})
    ->Args({1, 24})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(decode_ours)->Apply(every_picture);
BENCHMARK(decode_rows)->Apply(every_picture);
BENCHMARK(decode_magick)->Apply(every_picture);
BENCHMARK(encode_ours)->Apply(every_picture);
BENCHMARK(encode_magick)->Apply(what_magick_writes);

} // namespace

int main(int argc, char** argv)
{
    setenv("MAGICK_THREAD_LIMIT", "1", 1); // one thread, as ours
    MagickWandGenesis();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    MagickWandTerminus();
    return 0;
}
