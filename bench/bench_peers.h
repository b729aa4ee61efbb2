// bench_peers.h - the benchmark pictures in the forms of the other libraries.
#pragma once

#include "bench/bench_pictures.h"

#include <benchmark/benchmark.h>
#include <leptonica/allheaders.h>
#include <wand/MagickWand.h>

/// Runs operation(handle) on a fresh copy of the picture each time; only the operation counts.
template <class Operation>
void run_ours(benchmark::State& state, const bench_picture& picture, Operation operation)
{
    for (auto _ : state) {
        state.PauseTiming();
        const int32_t handle = picture.create();
        state.ResumeTiming();
        if (operation(handle) < 0) state.SkipWithError("failed");
        state.PauseTiming();
        IMG_delete_bitmap(handle);
        state.ResumeTiming();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * picture.pixel_bytes()));
}

/// The picture as Leptonica holds it: 1, 8 or 32 bits.
inline PIX* to_pix(const bench_picture& picture)
{
    PIX* pix = pixCreate(picture.width, picture.height, picture.bits == 24 ? 32 : picture.bits);
    for (int32_t y = 0; y < picture.height; ++y) {
        l_uint32* line = pixGetData(pix) + y * pixGetWpl(pix);
        const uint8_t* row = picture.row(y);
        for (int32_t x = 0; x < picture.width; ++x) {
            if (picture.bits == 1) {
                if (!(row[x / 8] & 0x80 >> x % 8)) SET_DATA_BIT(line, x);
            } else if (picture.bits == 8)
                SET_DATA_BYTE(line, x, row[x]);
            else
                composeRGBPixel(row[3 * x + 2], row[3 * x + 1], row[3 * x], line + x);
        }
    }
    return pix;
}

template <class Operation>
void run_leptonica(benchmark::State& state, const bench_picture& picture, Operation operation)
{
    PIX* pix = to_pix(picture);
    for (auto _ : state) {
        PIX* result = operation(pix);
        state.PauseTiming();
        if (!result) state.SkipWithError("failed");
        if (result != pix) pixDestroy(&result);
        state.ResumeTiming();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * picture.pixel_bytes()));
    pixDestroy(&pix);
}

/// ImageMagick on one thread, as ours is.
template <class Operation>
void run_magick(benchmark::State& state, const bench_picture& picture, Operation operation)
{
    MagickWandGenesis();
    MagickSetResourceLimit(ThreadResource, 1);
    MagickWand* source = NewMagickWand();
    std::vector<uint8_t> pixels;
    for (int32_t y = 0; y < picture.height; ++y)
        pixels.insert(pixels.end(), picture.row(y),
                      picture.row(y) + picture.width * picture.bits / 8);
    MagickConstituteImage(source, static_cast<size_t>(picture.width),
                          static_cast<size_t>(picture.height), picture.bits == 24 ? "BGR" : "I",
                          CharPixel, pixels.data());
    for (auto _ : state) {
        state.PauseTiming();
        MagickWand* wand = CloneMagickWand(source);
        state.ResumeTiming();
        if (!operation(wand)) state.SkipWithError("failed");
        state.PauseTiming();
        DestroyMagickWand(wand);
        state.ResumeTiming();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * picture.pixel_bytes()));
    DestroyMagickWand(source);
}

/// Copies into memory that is there already, and into memory fresh from the system: what an
/// operation in place and one with a new DIB can be measured by.
inline void run_memcpy(benchmark::State& state, size_t bytes, bool fresh)
{
    std::vector<uint8_t> from(bytes, 1);
    HGLOBAL block = GlobalAlloc(GHND, bytes);
    for (auto _ : state) {
        if (fresh) {
            GlobalFree(block);
            block = GlobalAlloc(GHND, bytes);
        }
        std::memcpy(GlobalLock(block), from.data(), bytes);
        benchmark::ClobberMemory();
        GlobalUnlock(block);
    }
    GlobalFree(block);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
