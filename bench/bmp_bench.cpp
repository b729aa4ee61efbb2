// bmp_bench.cpp - bitmap files beside plain reads and writes of the same bytes, RLE beside
// ImageMagick's library, and the image table with very many images.

#include "core/image.h"

#include <benchmark/benchmark.h>
#include <wand/MagickWand.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace {

const std::string plain_name = "bench_plain.bmp";
const std::string out_name = "bench_out.bmp";

struct picture {
    int32_t handle = -1;
    picture(int32_t width, int32_t height, int bits, bool chart)
    {
        const size_t stride =
            (static_cast<size_t>(width) * static_cast<size_t>(bits) + 31) / 32 * 4;
        const size_t table = bits == 24 ? 0 : size_t{4} << bits;
        std::vector<uint8_t> dib(40 + table + stride * static_cast<size_t>(height));
        BITMAPINFOHEADER header{};
        header.biSize = 40;
        header.biWidth = width;
        header.biHeight = height;
        header.biPlanes = 1;
        header.biBitCount = static_cast<WORD>(bits);
        std::memcpy(dib.data(), &header, 40);
        std::mt19937 random(3);
        for (size_t i = 40; i < 40 + table; ++i)
            dib[i] = static_cast<uint8_t>(i % 4 == 3 ? 0 : random());
        uint8_t value = 0;
        int32_t left = 0;
        for (size_t i = 40 + table; i < dib.size(); ++i) {
            if (left-- == 0) {
                value = static_cast<uint8_t>(random());
                left = chart ? static_cast<int32_t>(random() % 120) : 0;
            }
            dib[i] = value;
        }
        handle = IMG_create_handle(dib.data());
    }
    ~picture() { IMG_delete_bitmap(handle); }
};

void make_plain_file()
{
    const picture big(10000, 10000, 24, true);
    IMG_save_bitmap(big.handle, plain_name.c_str(), 1);
}

size_t file_size(const std::string& name)
{
    std::FILE* file = std::fopen(name.c_str(), "rb");
    std::fseek(file, 0, SEEK_END);
    const auto size = static_cast<size_t>(std::ftell(file));
    std::fclose(file);
    return size;
}

void load_ours(benchmark::State& state)
{
    make_plain_file();
    for (auto _ : state)
        IMG_delete_bitmap(IMG_decompress_bitmap(plain_name.c_str()));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(file_size(plain_name)));
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    state.counters["peak_MB"] = static_cast<double>(usage.ru_maxrss) / 1024;
}

void load_plain_reads(benchmark::State& state)
{
    make_plain_file();
    const size_t size = file_size(plain_name);
    for (auto _ : state) {
        const int file = open(plain_name.c_str(), O_RDONLY);
        auto* block = static_cast<char*>(std::malloc(size));
        for (size_t at = 0; at < size;) {
            const ssize_t got = read(file, block + at, std::min<size_t>(1 << 20, size - at));
            if (got <= 0) break;
            at += static_cast<size_t>(got);
        }
        benchmark::DoNotOptimize(block);
        std::free(block);
        close(file);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(size));
}

void save_ours(benchmark::State& state)
{
    const picture big(10000, 10000, 24, true);
    for (auto _ : state)
        IMG_save_bitmap(big.handle, out_name.c_str(), 1);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(file_size(out_name)));
    std::remove(out_name.c_str());
}

void save_plain_writes(benchmark::State& state)
{
    make_plain_file();
    const size_t size = file_size(plain_name);
    std::vector<char> block(size, 'x');
    for (auto _ : state) {
        const int file = open(out_name.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0666);
        for (size_t at = 0; at < size; at += 1 << 20)
            if (write(file, block.data() + at, std::min<size_t>(1 << 20, size - at)) < 0) break;
        close(file);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(size));
    std::remove(out_name.c_str());
}

std::vector<uint8_t> rle_file(const picture& image)
{
    std::vector<uint8_t> file(64 << 20);
    IMGX_set_interchange(1);
    const int32_t size =
        IMGX_save_bitmap_mem(image.handle, file.data(), static_cast<uint32_t>(file.size()), 12);
    file.resize(static_cast<size_t>(size));
    return file;
}

// state.range: bits, 1 for a chart and 0 for noise
void rle_decode_ours(benchmark::State& state)
{
    const picture image(4000, 4000, static_cast<int>(state.range(0)), state.range(1) != 0);
    const auto file = rle_file(image);
    for (auto _ : state)
        IMG_delete_bitmap(
            IMGX_decompress_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0));
}

void rle_decode_magick(benchmark::State& state)
{
    const picture image(4000, 4000, static_cast<int>(state.range(0)), state.range(1) != 0);
    const auto file = rle_file(image);
    for (auto _ : state) {
        MagickWand* wand = NewMagickWand();
        if (!MagickReadImageBlob(wand, file.data(), file.size())) state.SkipWithError("refused");
        DestroyMagickWand(wand);
    }
}

void rle_encode_ours(benchmark::State& state)
{
    const picture image(4000, 4000, static_cast<int>(state.range(0)), state.range(1) != 0);
    std::vector<uint8_t> file(64 << 20);
    for (auto _ : state)
        IMGX_save_bitmap_mem(image.handle, file.data(), static_cast<uint32_t>(file.size()), 12);
}

// None of ImageMagick, GraphicsMagick, libgd, FFmpeg and netpbm writes RLE4, so at 4 bits the
// peer writes plain rows of the same picture; the counter tells the bytes that came out.
void rle_encode_magick(benchmark::State& state)
{
    const picture image(4000, 4000, static_cast<int>(state.range(0)), state.range(1) != 0);
    const auto file = rle_file(image);
    MagickWand* wand = NewMagickWand();
    MagickReadImageBlob(wand, file.data(), file.size());
    MagickSetImageFormat(wand, "BMP3");
    MagickSetImageCompression(wand, RLECompression);
    for (auto _ : state) {
        size_t size = 0;
        unsigned char* blob = MagickGetImageBlob(wand, &size);
        state.counters["bytes"] = static_cast<double>(size);
        MagickRelinquishMemory(blob);
    }
    DestroyMagickWand(wand);
}

void many_handles(benchmark::State& state)
{
    BITMAPINFOHEADER dib[2] = {};
    dib[0].biSize = 40;
    dib[0].biWidth = dib[0].biHeight = 1;
    dib[0].biPlanes = 1;
    dib[0].biBitCount = 24;
    for (auto _ : state) {
        for (int64_t i = 0; i < state.range(0); ++i)
            IMG_create_handle(dib);
        for (int64_t i = 0; i < state.range(0); ++i)
            IMG_delete_bitmap(static_cast<int32_t>(i));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(load_ours)->Unit(benchmark::kMillisecond);
BENCHMARK(load_plain_reads)->Unit(benchmark::kMillisecond);
BENCHMARK(save_ours)->Unit(benchmark::kMillisecond);
BENCHMARK(save_plain_writes)->Unit(benchmark::kMillisecond);
BENCHMARK(rle_decode_ours)->ArgsProduct({{8, 4}, {1, 0}})->Unit(benchmark::kMillisecond);
BENCHMARK(rle_decode_magick)->ArgsProduct({{8, 4}, {1, 0}})->Unit(benchmark::kMillisecond);
BENCHMARK(rle_encode_ours)->ArgsProduct({{8, 4}, {1, 0}})->Unit(benchmark::kMillisecond);
BENCHMARK(rle_encode_magick)->ArgsProduct({{8, 4}, {1, 0}})->Unit(benchmark::kMillisecond);
BENCHMARK(many_handles)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    MagickWandGenesis();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    std::remove(plain_name.c_str());
    MagickWandTerminus();
    return 0;
}
