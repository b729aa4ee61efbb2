// bench_netpbm.h - netpbm's programs on the benchmark pictures: whole processes that read a
// file and write to nothing, less what the same program takes for one pixel.
#pragma once

#include "bench/bench_pictures.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/resource.h>

/// Writes the top left part of a picture.
inline void write_pnm(const std::string& name, const bench_picture& p, int32_t width,
                      int32_t height)
{
    std::FILE* out = std::fopen(name.c_str(), "wb");
    std::fprintf(out, "P%d %d %d\n", p.bits == 1 ? 4 : p.bits == 8 ? 5 : 6, width, height);
    if (p.bits > 1) std::fprintf(out, "255\n");
    for (int32_t y = 0; y < height; ++y) {
        std::vector<uint8_t> row(p.row(y), p.row(y) + (width * p.bits + 7) / 8);
        for (size_t i = 0; p.bits == 24 && i < row.size(); i += 3)
            std::swap(row[i], row[i + 2]);
        for (size_t i = 0; p.bits == 1 && i < row.size(); ++i)
            row[i] = static_cast<uint8_t>(~row[i]);
        std::fwrite(row.data(), 1, row.size(), out);
    }
    std::fclose(out);
}

/// Processor seconds of a program that reads the file; negative when it fails.
inline double seconds_of(const std::string& program, const std::string& file)
{
    const auto used = [] {
        rusage u{};
        getrusage(RUSAGE_CHILDREN, &u);
        return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
               1e-6 * static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec);
    };
    const double before = used();
    const std::string command = program + " < " + file + " > /dev/null 2>&1";
    return std::system(command.c_str()) == 0 ? used() - before : -1;
}

inline void run_netpbm(benchmark::State& state, const bench_picture& picture, const char* program)
{
    const std::string file = "bench_netpbm.pnm", pixel = "bench_netpbm_1.pnm";
    write_pnm(file, picture, picture.width, picture.height);
    write_pnm(pixel, picture, 1, 1);
    double start_up = 1;
    for (int i = 0; i < 5; ++i)
        start_up = std::min(start_up, std::max(0.0, seconds_of(program, pixel)));
    for (auto _ : state) {
        const double seconds = seconds_of(program, file);
        if (seconds < 0) state.SkipWithError("failed");
        state.SetIterationTime(std::max(1e-9, seconds - start_up));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * picture.pixel_bytes()));
    std::remove(file.c_str());
    std::remove(pixel.c_str());
}
