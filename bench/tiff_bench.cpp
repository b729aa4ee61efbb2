// tiff_bench.cpp - TIFF pages beside libtiff, memory to memory: the same file bytes decoded into
// a row buffer that is there already, and the same rows encoded. Beside them what a plain copy
// of the rows takes: in one piece, row by row from the bottom as a DIB wants them, and into
// memory fresh from the system, which is what loading into a new DIB is to be measured by.

#include "bench/bench_peers.h"
#include "bench/memory_tiff.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using byte_vector = std::vector<uint8_t>;

int peer_compression(int type)
{
    return type == 9 ? COMPRESSION_LZW : type == 16 ? COMPRESSION_PACKBITS : COMPRESSION_NONE;
}

size_t row_bytes(const bench_picture& p)
{
    return static_cast<size_t>((p.width * p.bits + 7) / 8);
}

// Rows in the file's order of samples, top first, without padding: what libtiff takes.
byte_vector plain_rows(const bench_picture& p)
{
    byte_vector rows;
    for (int32_t y = 0; y < p.height; ++y) {
        const uint8_t* r = p.row(y);
        for (size_t i = 0; i < row_bytes(p); ++i)
            rows.push_back(p.bits == 24 ? r[i / 3 * 3 + 2 - i % 3] : r[i]);
    }
    return rows;
}

void peer_encode(memory_tiff& to, const bench_picture& p, const byte_vector& rows, int type)
{
    to.bytes.clear();
    TIFF* tiff = to.open("w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, p.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, p.height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, p.bits == 1 ? 1 : 8);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, p.bits == 24 ? 3 : 1);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC,
                 p.bits == 24 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, peer_compression(type));
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    const uint32_t strip_rows = TIFFDefaultStripSize(tiff, 0);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, strip_rows);
    const auto height = static_cast<uint32_t>(p.height);
    for (uint32_t y = 0, strip = 0; y < height; y += strip_rows, ++strip) {
        const size_t bytes = std::min(strip_rows, height - y) * row_bytes(p);
        // libtiff may reverse or swap in place; it gets bytes that it may touch.
        TIFFWriteEncodedStrip(tiff, strip, const_cast<uint8_t*>(&rows[y * row_bytes(p)]),
                              static_cast<tmsize_t>(bytes));
    }
    TIFFClose(tiff);
}

void peer_decode(memory_tiff& from, byte_vector& rows)
{
    TIFF* tiff = from.open("r");
    const tmsize_t strip_bytes = TIFFStripSize(tiff);
    const tstrip_t strips = TIFFNumberOfStrips(tiff);
    for (tstrip_t s = 0; s < strips; ++s) {
        const auto at = static_cast<size_t>(strip_bytes) * s;
        TIFFReadEncodedStrip(
            tiff, s, &rows[at],
            std::min<tmsize_t>(strip_bytes, static_cast<tmsize_t>(rows.size() - at)));
    }
    TIFFClose(tiff);
}

struct dib_target {
    uint8_t* rows;
    size_t stride;
    int32_t height;
};

int32_t IMG_C take_header(const BITMAPINFOHEADER*, IMG_PRIVATE)
{
    return 1;
}
int32_t IMG_C take_row(const void* row, IMG_PRIVATE to, int32_t index, int32_t count)
{
    const auto& t = *reinterpret_cast<const dib_target*>(to);
    std::memcpy(t.rows + static_cast<size_t>(t.height - 1 - index) * t.stride, row,
                static_cast<size_t>(count));
    return 0;
}
int32_t IMG_C give_row(IMG_PRIVATE from, void* row, int32_t index, int32_t count)
{
    std::memcpy(row, reinterpret_cast<const bench_picture*>(from)->row(index),
                static_cast<size_t>(count));
    return 0;
}

const bench_picture& picture_of(int bits)
{
    return bits == 1 ? page_600() : bits == 8 ? photo_8() : photo_24();
}

// state.range: depth, file type
void set_bytes(benchmark::State& state, const bench_picture& p)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * p.pixel_bytes()));
}

void decode_ours(benchmark::State& state)
{
    const bench_picture& p = picture_of(static_cast<int>(state.range(0)));
    memory_tiff file;
    peer_encode(file, p, plain_rows(p), static_cast<int>(state.range(1)));
    byte_vector dib(p.pixel_bytes());
    const dib_target target{dib.data(), p.stride(), p.height};
    IMGX_set_interchange(1);
    for (auto _ : state)
        if (IMGX_stream_bitmap_mem(file.bytes.data(), static_cast<uint32_t>(file.bytes.size()), 0,
                                   take_row, reinterpret_cast<IMG_PRIVATE>(&target),
                                   take_header) < 0)
            state.SkipWithError("failed");
    for (int32_t y = 0; y < p.height; ++y)
        if (std::memcmp(dib.data() + static_cast<size_t>(p.height - 1 - y) * p.stride(), p.row(y),
                        row_bytes(p)) != 0)
            state.SkipWithError("wrong pixels");
    set_bytes(state, p);
}

void decode_libtiff(benchmark::State& state)
{
    const bench_picture& p = picture_of(static_cast<int>(state.range(0)));
    memory_tiff file;
    const byte_vector rows = plain_rows(p);
    peer_encode(file, p, rows, static_cast<int>(state.range(1)));
    byte_vector out(rows.size());
    for (auto _ : state)
        peer_decode(file, out);
    if (out != rows) state.SkipWithError("wrong pixels");
    set_bytes(state, p);
}

void encode_ours(benchmark::State& state)
{
    const bench_picture& p = picture_of(static_cast<int>(state.range(0)));
    byte_vector out(p.pixel_bytes() * 2 + 100000);
    IMGX_set_interchange(1);
    for (auto _ : state) {
        out[0] = 0; // not a TIFF: nothing to append to
        if (IMGLOW_save_bitmap_mem(out.data(),
                                   reinterpret_cast<const BITMAPINFOHEADER*>(p.packed.data()),
                                   static_cast<int32_t>(state.range(1)), give_row,
                                   reinterpret_cast<IMG_PRIVATE>(&p)) < 0)
            state.SkipWithError("failed");
    }
    state.counters["file_MB"] = get_save_filesize() / 1e6;
    set_bytes(state, p);
}

void encode_libtiff(benchmark::State& state)
{
    const bench_picture& p = picture_of(static_cast<int>(state.range(0)));
    const byte_vector rows = plain_rows(p);
    memory_tiff file;
    file.bytes.reserve(p.pixel_bytes() * 2);
    for (auto _ : state)
        peer_encode(file, p, rows, static_cast<int>(state.range(1)));
    state.counters["file_MB"] = static_cast<double>(file.bytes.size()) / 1e6;
    set_bytes(state, p);
}

// Into a new DIB, as clients load.
void load_ours(benchmark::State& state)
{
    const bench_picture& p = picture_of(static_cast<int>(state.range(0)));
    memory_tiff file;
    peer_encode(file, p, plain_rows(p), static_cast<int>(state.range(1)));
    IMGX_set_interchange(1);
    for (auto _ : state) {
        const int32_t handle = IMGX_decompress_bitmap_mem(
            file.bytes.data(), static_cast<uint32_t>(file.bytes.size()), 0);
        if (handle < 0) state.SkipWithError("failed");
        IMG_delete_bitmap(handle);
    }
    set_bytes(state, p);
}

void copy_dib(benchmark::State& state)
{
    run_memcpy(state, picture_of(static_cast<int>(state.range(0))).pixel_bytes(), false);
}

void copy_fresh(benchmark::State& state)
{
    run_memcpy(state, picture_of(static_cast<int>(state.range(0))).pixel_bytes(), true);
}

void copy_rows(benchmark::State& state)
{
    const bench_picture& p = picture_of(static_cast<int>(state.range(0)));
    byte_vector dib(p.pixel_bytes());
    const dib_target target{dib.data(), p.stride(), p.height};
    IMG_PUT_RASTER put = take_row;
    benchmark::DoNotOptimize(put);
    for (auto _ : state)
        for (int32_t y = 0; y < p.height; ++y)
            put(p.row(p.height - 1 - y), reinterpret_cast<IMG_PRIVATE>(&target), y,
                static_cast<int32_t>(p.stride()));
    set_bytes(state, p);
}

void every_case(benchmark::internal::Benchmark* b)
{
    for (int type : {0, 9})
        for (int bits : {1, 8, 24})
            b->Args({bits, type});
    b->Args({1, 16});
}

BENCHMARK(decode_ours)->Apply(every_case)->Unit(benchmark::kMillisecond);
BENCHMARK(decode_libtiff)->Apply(every_case)->Unit(benchmark::kMillisecond);
BENCHMARK(encode_ours)->Apply(every_case)->Unit(benchmark::kMillisecond);
BENCHMARK(encode_libtiff)->Apply(every_case)->Unit(benchmark::kMillisecond);
BENCHMARK(load_ours)->Apply(every_case)->Unit(benchmark::kMillisecond);
BENCHMARK(copy_dib)->Arg(1)->Arg(8)->Arg(24)->Unit(benchmark::kMillisecond);
BENCHMARK(copy_rows)->Arg(1)->Arg(8)->Arg(24)->Unit(benchmark::kMillisecond);
BENCHMARK(copy_fresh)->Arg(1)->Arg(8)->Arg(24)->Unit(benchmark::kMillisecond);

// Pages state.range(0) to state.range(1) of a file of 200, one after the other.
void open_pages(benchmark::State& state)
{
    const bench_picture page(1728, 2200, 1);
    const char* name = "bench_pages.tif";
    const int32_t handle = page.create();
    IMGX_set_interchange(1);
    unlink(name);
    for (int i = 0; i < 200; ++i)
        IMG_save_bitmap(handle, name, 9);
    IMG_delete_bitmap(handle);
    std::FILE* file = std::fopen(name, "rb");
    for (auto _ : state)
        for (int64_t i = state.range(0); i <= state.range(1); ++i) {
            const int32_t got = IMG_decompress_bitmap_fd(fileno(file), 0, static_cast<int32_t>(i));
            if (got < 0) state.SkipWithError("failed");
            IMG_delete_bitmap(got);
        }
    std::fclose(file);
    unlink(name);
}
BENCHMARK(open_pages)
    ->Args({0, 0})
    ->Args({199, 199})
    ->Args({0, 199})
    ->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
