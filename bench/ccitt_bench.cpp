// ccitt_bench.cpp - fax codes beside libtiff: the same pages, out of memory and into memory,
// both without the work around the codes (files, DIBs). Counters: ns per code word.

#include "bench/fax_pages.h"
#include "bench/memory_tiff.h"
#include "core/byte_io.h"
#include "formats/tiff/ccitt_decoder.h"
#include "formats/tiff/ccitt_encoder.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <map>

namespace {

using byte_vector = std::vector<uint8_t>;

struct code {
    const char* name;
    tiff_compression ours;
    uint16_t peers;
    uint32_t peer_options;
};
constexpr code codes[] = {
    {"g4", tiff_group4, COMPRESSION_CCITTFAX4, 0},
    {"g3", tiff_group3, COMPRESSION_CCITTFAX3, 0},
    {"g3_2d", tiff_group3_2d, COMPRESSION_CCITTFAX3, GROUP3OPT_2DENCODING},
    {"mh", tiff_huffman, COMPRESSION_CCITTRLE, 0},
};

void peer_write(const fax_page& page, const code& c, memory_tiff& file)
{
    TIFF* tiff = file.open("w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, page.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, page.height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 1);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, c.peers);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, page.height);
    if (c.peer_options) TIFFSetField(tiff, TIFFTAG_GROUP3OPTIONS, c.peer_options);
    TIFFWriteEncodedStrip(tiff, 0, const_cast<uint8_t*>(page.rows.data()),
                          static_cast<tmsize_t>(page.rows.size()));
    TIFFClose(tiff);
}

struct sample {
    fax_page page;     // 1 bits white
    fax_page inverted; // as libtiff takes it: 1 bits black
    std::map<std::string, memory_tiff> files;
    std::map<std::string, byte_vector> data; // the one strip
    std::map<std::string, double> code_words;
};

// Code words of a page, from its pixels, by the rules of T.6 or row by row.
double count_code_words(const fax_page& page, const code& c)
{
    const auto changes_of = [&](int y) {
        std::vector<int> changes;
        for (int x = 0; x < page.width; ++x) {
            const auto black = [&](int at) { return !(page.row(y)[at / 8] >> (7 - at % 8) & 1); };
            if (black(x) != (x > 0 && black(x - 1))) changes.push_back(x);
        }
        changes.insert(changes.end(), 4, page.width);
        return changes;
    };
    const auto run_codes = [](int run) { return 1.0 + (run >= 64) + run / 2624; };
    double count = 0;
    std::vector<int> above(4, page.width);
    for (int y = 0; y < page.height; ++y) {
        const std::vector<int> row = changes_of(y);
        if (c.ours != tiff_group4) {
            for (size_t i = 0, from = 0; i + 3 < row.size(); from = static_cast<size_t>(row[i++]))
                count += run_codes(row[i] - static_cast<int>(from));
        } else {
            size_t i = 0;
            for (int a0 = -1; a0 < page.width;) {
                size_t b = i % 2;
                while (above[b] <= a0 && above[b] < page.width)
                    b += 2;
                ++count;
                if (above[b + 1] < row[i]) {
                    a0 = above[b + 1];
                } else if (std::abs(row[i] - above[b]) <= 3) {
                    a0 = row[i++];
                } else {
                    count += run_codes(row[i] - std::max(a0, 0)) + run_codes(row[i + 1] - row[i]);
                    a0 = row[i + 1];
                    i += 2;
                }
            }
        }
        above = row;
    }
    return count;
}

struct page_kind {
    const char* name;
    fax_content content;
    int width, height;
};
constexpr page_kind kinds[] = {
    {"text_fax", fax_content::text, 1728, 2200},
    {"text_300", fax_content::text, 2480, 3508},
    {"text_600", fax_content::text, 4960, 7016},
    {"drawing_fax", fax_content::drawing, 1728, 2200},
    {"drawing_600", fax_content::drawing, 4960, 7016},
    {"halftone_fax", fax_content::halftone, 1728, 2200},
    {"halftone_300", fax_content::halftone, 2480, 3508},
    {"diffusion_fax", fax_content::diffusion, 1728, 2200},
    {"diffusion_300", fax_content::diffusion, 2480, 3508},
};

const sample& sample_of(const page_kind& kind)
{
    static std::map<std::string, sample> samples;
    sample& s = samples[kind.name];
    if (!s.files.empty()) return s;
    s.page = render_fax_page(kind.content, kind.width, kind.height);
    s.inverted = s.page;
    for (uint8_t& byte : s.inverted.rows)
        byte = static_cast<uint8_t>(~byte);
    for (const code& c : codes) {
        memory_tiff& file = s.files[c.name];
        peer_write(s.inverted, c, file);
        TIFF* tiff = file.open("r");
        uint64_t* offsets = nullptr;
        uint64_t* counts = nullptr;
        TIFFGetField(tiff, TIFFTAG_STRIPOFFSETS, &offsets);
        TIFFGetField(tiff, TIFFTAG_STRIPBYTECOUNTS, &counts);
        const auto start = file.bytes.begin() + static_cast<ptrdiff_t>(offsets[0]);
        s.data[c.name].assign(start, start + static_cast<ptrdiff_t>(counts[0]));
        TIFFClose(tiff);
        s.code_words[c.name] = count_code_words(s.page, c);
    }
    return s;
}

void report(benchmark::State& state, const sample& s, const code& c)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(s.page.rows.size()));
    state.counters["ns_per_code"] = benchmark::Counter(
        s.code_words.at(c.name) * 1e-9,
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

struct row_target {
    byte_vector rows;
    size_t row_bytes;
    int32_t count = 0;
};

int32_t keep_row(void* context, uint8_t* row, int32_t index, int32_t)
{
    auto& to = *static_cast<row_target*>(context);
    std::memcpy(to.rows.data() + to.row_bytes * static_cast<size_t>(index), row, to.row_bytes);
    ++to.count;
    return 0;
}

void decode_ours(benchmark::State& state, const page_kind& kind, const code& c)
{
    const sample& s = sample_of(kind);
    row_target target{byte_vector(s.page.rows.size()), s.page.row_bytes()};
    const byte_vector& data = s.data.at(c.name);
    for (auto _ : state) {
        ccitt_decoder decoder({s.page.width, c.ours});
        reset_mem_io_bounded(data.data(), static_cast<uint32_t>(data.size()));
        decoder.decode_strip(memory_file, s.page.height, 0, {keep_row, &target});
    }
    if (target.rows != s.page.rows) state.SkipWithError("decoded rows differ");
    report(state, s, c);
}

void decode_peer(benchmark::State& state, const page_kind& kind, const code& c)
{
    const sample& s = sample_of(kind);
    memory_tiff file = s.files.at(c.name);
    byte_vector rows(s.page.rows.size());
    for (auto _ : state) {
        TIFF* tiff = file.open("r");
        TIFFReadEncodedStrip(tiff, 0, rows.data(), static_cast<tmsize_t>(rows.size()));
        TIFFClose(tiff);
    }
    if (rows != s.inverted.rows) state.SkipWithError("decoded rows differ");
    report(state, s, c);
}

int32_t IMG_C give_row(IMG_PRIVATE context, void* to, int32_t index, int32_t)
{
    const auto& page = *reinterpret_cast<const fax_page*>(context);
    std::memcpy(to, page.row(index), page.row_bytes());
    return 0;
}

void encode_ours(benchmark::State& state, const page_kind& kind, const code& c)
{
    const sample& s = sample_of(kind);
    BITMAPINFOHEADER header{};
    header.biWidth = s.page.width;
    header.biHeight = s.page.height;
    header.biBitCount = 1;
    byte_vector out(s.page.rows.size() * 4 + 100000);
    for (auto _ : state) {
        reset_mem_io_bounded(out.data(), static_cast<uint32_t>(out.size()));
        if (ccitt_encode_image(memory_file, &header,
                               {give_row, reinterpret_cast<IMG_PRIVATE>(&s.page)},
                               {c.ours, s.page.width}) < 0)
            state.SkipWithError("not encoded");
    }
    report(state, s, c);
}

void encode_peer(benchmark::State& state, const page_kind& kind, const code& c)
{
    const sample& s = sample_of(kind);
    memory_tiff file;
    for (auto _ : state) {
        file.bytes.clear();
        peer_write(s.inverted, c, file);
    }
    report(state, s, c);
}

} // namespace

int main(int argc, char** argv)
{
    for (const page_kind& kind : kinds)
        for (const code& c : codes) {
            const std::string name = std::string(c.name) + "/" + kind.name;
            const auto add = [&](const std::string& what, auto run) {
                benchmark::RegisterBenchmark(
                    (what + "/" + name).c_str(),
                    [&kind, &c, run](benchmark::State& state) { run(state, kind, c); })
                    ->Unit(benchmark::kMillisecond);
            };
            add("decode_ours", decode_ours);
            add("decode_libtiff", decode_peer);
            if (c.ours == tiff_group3_2d) continue;
            add("encode_ours", encode_ours);
            add("encode_libtiff", encode_peer);
        }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
