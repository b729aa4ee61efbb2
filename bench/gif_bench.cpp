// gif_bench.cpp - GIF decoding and encoding beside giflib: the same files, from memory to
// indices and back. Pictures: a photograph's likeness in 256 colours, a screenshot's, noise,
// one colour.

#include "core/codec.h"
#include "core/image.h"

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstring>
#include <gif_lib.h>
#include <random>
#include <vector>

namespace {

constexpr int width = 1600, height = 1200;
using byte_vector = std::vector<uint8_t>;

enum picture_kind { photograph, screenshot, noise, one_color };
constexpr const char* kind_names[] = {"photograph", "screenshot", "noise", "one_color"};

// Smooth shapes with grain, in an 8 x 8 x 4 cube of colours with error diffusion's unrest.
uint8_t photograph_pixel(int x, int y, std::mt19937& random)
{
    const double a = std::sin(x * 0.011) + std::cos(y * 0.017 + x * 0.003);
    const double b = std::sin((x + y) * 0.007) * std::cos(y * 0.013);
    const double grain = static_cast<double>(random() % 1000) / 1000.0 - 0.5;
    const int red = static_cast<int>(3.5 + 1.7 * a + grain);
    const int green = static_cast<int>(3.5 + 3.0 * b + grain);
    const int blue = static_cast<int>(1.5 + 0.7 * (a - b) + grain);
    return static_cast<uint8_t>((red & 7) << 5 | (green & 7) << 2 | (blue & 3));
}

// Windows with frames, and lines of text in 8 x 12 cells out of 90 fixed shapes.
byte_vector draw_screenshot()
{
    std::mt19937 random(5);
    byte_vector pixels(size_t{width} * height, 17);
    uint32_t shapes[90][12];
    for (auto& shape : shapes)
        for (uint32_t& line : shape)
            line = random() & random() & 0x7E;
    for (int window = 0; window < 6; ++window) {
        const int left = static_cast<int>(random() % 900), top = static_cast<int>(random() % 600);
        const int right = std::min(left + 700, width), bottom = std::min(top + 500, height);
        for (int y = top; y < bottom; ++y)
            for (int x = left; x < right; ++x) {
                const bool frame =
                    x < left + 3 || x >= right - 3 || y < top + 20 || y >= bottom - 3;
                pixels[size_t(y) * width + size_t(x)] = frame ? 40 + uint8_t(window) : 255;
            }
        for (int y = top + 26; y + 12 < bottom; y += 14)
            for (int x = left + 8; x + 60 < right && random() % 40; x += 8) {
                const auto& shape = shapes[random() % 90];
                for (int r = 0; r < 12; ++r)
                    for (int c = 0; c < 8; ++c)
                        if (shape[r] >> c & 1) pixels[size_t(y + r) * width + size_t(x + c)] = 0;
            }
    }
    return pixels;
}

const byte_vector& picture(int kind)
{
    static byte_vector pictures[4];
    byte_vector& pixels = pictures[kind];
    if (!pixels.empty()) return pixels;
    std::mt19937 random(1);
    pixels.resize(size_t{width} * height, 9);
    if (kind == screenshot) pixels = draw_screenshot();
    for (size_t i = 0; i < pixels.size(); ++i) {
        if (kind == noise) pixels[i] = static_cast<uint8_t>(random());
        if (kind == photograph)
            pixels[i] =
                photograph_pixel(static_cast<int>(i % width), static_cast<int>(i / width), random);
    }
    return pixels;
}

int32_t IMG_C get_row(IMG_PRIVATE source, void* row, int32_t index, int32_t bytes)
{
    std::memcpy(row, reinterpret_cast<const uint8_t*>(source) + size_t(index) * width,
                size_t(bytes));
    return 0;
}

int32_t IMG_C put_row(const void* row, IMG_PRIVATE out, int32_t index, int32_t bytes)
{
    std::memcpy(reinterpret_cast<uint8_t*>(out) + size_t(index) * width, row, size_t(bytes));
    return 0;
}

int32_t IMG_C any_header(const BITMAPINFOHEADER*, IMG_PRIVATE)
{
    return 0;
}

size_t encode(const byte_vector& pixels, byte_vector& file)
{
    static dib_header header;
    header.set(width, height, 8);
    for (int i = 0; i < 256; ++i)
        header.colors[i] = {uint8_t(i), uint8_t(i), uint8_t(i), 0};
    IMGX_set_interchange(1);
    file.resize(pixels.size() * 2);
    IMGLOW_save_bitmap_mem(file.data(), &header.info, 4, get_row,
                           reinterpret_cast<IMG_PRIVATE>(pixels.data()));
    return static_cast<size_t>(get_save_filesize());
}

const byte_vector& encoded(int kind)
{
    static byte_vector files[4];
    if (files[kind].empty()) files[kind].resize(encode(picture(kind), files[kind]));
    return files[kind];
}

void count_pixels(benchmark::State& state)
{
    const auto kind = static_cast<int>(state.range(0));
    state.SetBytesProcessed(state.iterations() * width * height);
    state.SetLabel(kind_names[kind]);
    state.counters["file_KB"] = static_cast<double>(encoded(kind).size()) / 1000;
}

void decode_ours(benchmark::State& state)
{
    const byte_vector& file = encoded(static_cast<int>(state.range(0)));
    byte_vector out(size_t{width} * height + 64);
    for (auto _ : state)
        if (IMGLOW_decompress_bitmap_mem(file.data(), 0, put_row,
                                         reinterpret_cast<IMG_PRIVATE>(out.data()), any_header) < 0)
            state.SkipWithError("decode");
    if (std::memcmp(out.data(), picture(static_cast<int>(state.range(0))).data(), out.size() - 64))
        state.SkipWithError("wrong pixels");
    count_pixels(state);
}

struct memory_reader {
    const byte_vector* file;
    size_t at;
};

int read_memory(GifFileType* gif, GifByteType* to, int count)
{
    auto* reader = static_cast<memory_reader*>(gif->UserData);
    const size_t got = std::min(size_t(count), reader->file->size() - reader->at);
    std::memcpy(to, reader->file->data() + reader->at, got);
    reader->at += got;
    return static_cast<int>(got);
}

void decode_giflib(benchmark::State& state)
{
    const byte_vector& file = encoded(static_cast<int>(state.range(0)));
    byte_vector out(size_t{width} * height);
    for (auto _ : state) {
        memory_reader reader{&file, 0};
        int error = 0;
        GifFileType* gif = DGifOpen(&reader, read_memory, &error);
        GifRecordType type;
        bool good =
            gif && DGifGetRecordType(gif, &type) == GIF_OK && DGifGetImageDesc(gif) == GIF_OK;
        for (int y = 0; good && y < height; ++y)
            good = DGifGetLine(gif, out.data() + size_t(y) * width, width) == GIF_OK;
        if (!good) state.SkipWithError("giflib");
        DGifCloseFile(gif, &error);
    }
    if (out != picture(static_cast<int>(state.range(0)))) state.SkipWithError("wrong pixels");
    count_pixels(state);
}

void encode_ours(benchmark::State& state)
{
    byte_vector file;
    const byte_vector& pixels = picture(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(encode(pixels, file));
    count_pixels(state);
}

int write_memory(GifFileType* gif, const GifByteType* from, int count)
{
    auto* file = static_cast<byte_vector*>(gif->UserData);
    file->insert(file->end(), from, from + count);
    return count;
}

void encode_giflib(benchmark::State& state)
{
    byte_vector file;
    byte_vector pixels = picture(static_cast<int>(state.range(0)));
    ColorMapObject* map = GifMakeMapObject(256, nullptr);
    for (auto _ : state) {
        file.clear();
        file.reserve(pixels.size() * 2);
        int error = 0;
        GifFileType* gif = EGifOpen(&file, write_memory, &error);
        bool good = gif && EGifPutScreenDesc(gif, width, height, 8, 0, map) == GIF_OK &&
                    EGifPutImageDesc(gif, 0, 0, width, height, false, nullptr) == GIF_OK;
        for (int y = 0; good && y < height; ++y)
            good = EGifPutLine(gif, pixels.data() + size_t(y) * width, width) == GIF_OK;
        if (!good) state.SkipWithError("giflib");
        EGifCloseFile(gif, &error);
    }
    GifFreeMapObject(map);
    count_pixels(state);
}

} // namespace

BENCHMARK(decode_ours)->DenseRange(photograph, one_color)->Unit(benchmark::kMillisecond);
BENCHMARK(decode_giflib)->DenseRange(photograph, one_color)->Unit(benchmark::kMillisecond);
BENCHMARK(encode_ours)->DenseRange(photograph, one_color)->Unit(benchmark::kMillisecond);
BENCHMARK(encode_giflib)->DenseRange(photograph, one_color)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
