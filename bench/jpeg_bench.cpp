// jpeg_bench.cpp - JPEG files beside libjpeg-turbo, in memory, on pictures made here: a
// photograph-like scene, scanned text, and the same in grey. The peer runs with its fastest
// and with its default settings; rates are pixels a second of processor time.

#include "core/image.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include <jpeglib.h>

namespace {

enum class kind { photo, text };
enum class speed { fastest, defaults };

struct picture {
    int width = 0, height = 0, components = 3;
    std::vector<uint8_t> pixels; // blue, green, red or grey; no padding
};

// Smooth shades at several scales, edges and grain: about the spectrum of a photograph.
uint8_t photo_sample(int x, int y, int c, uint32_t noise)
{
    const double slow = 70 * std::sin(x / 311.0 + c) * std::cos(y / 277.0 - c);
    const double middle = 25 * std::sin(x / 37.0 + y / 53.0) + 12 * std::sin(x / 7.3 - y / 9.1);
    const double fine = 6 * std::sin(x / 2.1) * std::sin(y / 2.7);
    const int edge = ((x / 190 + y / 230) % 3) * 22;
    const double value = 105 + slow + middle + fine + edge + (noise & 31) * 0.7;
    return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
}

// Strokes on nearly white paper.
uint8_t text_sample(int x, int y, uint32_t noise)
{
    const bool line = y % 44 > 12 && y % 44 < 36;
    const bool letter = (x / 17 * 7919 + y / 44 * 104729) % 7 > 1;
    const bool stroke = x % 17 < 3 || (y % 44 - 12) % 11 < 3;
    return static_cast<uint8_t>((line && letter && stroke ? 40 : 244) + (noise & 3));
}

// The picture asked for last is kept. Large ones repeat themselves every tile pixels.
const picture& make_picture(kind what, int megapixels, int components)
{
    constexpr int tile = 2048;
    static std::tuple<kind, int, int> made;
    static picture p;
    if (p.width && made == std::tuple(what, megapixels, components)) return p;
    made = {what, megapixels, components};
    p.width = static_cast<int>(std::sqrt(megapixels * 1e6 * 4 / 3)) / 16 * 16;
    p.height = static_cast<int>(megapixels * 1e6 / p.width) / 16 * 16;
    p.components = components;
    p.pixels.clear();
    const size_t stride = static_cast<size_t>(p.width * components);
    p.pixels.reserve(stride * static_cast<size_t>(p.height));
    std::minstd_rand random(7);
    uint32_t noise = 0; // of a pixel
    for (int y = 0; y < p.height; ++y)
        for (size_t i = 0; i < stride; ++i) {
            const int x = static_cast<int>(i) / components, c = static_cast<int>(i) % components;
            const size_t at = p.pixels.size();
            if (c == 0) noise = static_cast<uint32_t>(random() >> 8);
            if (x >= tile)
                p.pixels.push_back(p.pixels[at - static_cast<size_t>(tile * components)]);
            else if (y >= tile)
                p.pixels.push_back(p.pixels[at - tile * stride]);
            else if (what == kind::photo)
                p.pixels.push_back(photo_sample(x, y, c, noise));
            else
                p.pixels.push_back(text_sample(x, y, noise));
        }
    return p;
}

std::vector<uint8_t> peer_compress(const picture& p, int quality, int h, int v, speed how)
{
    jpeg_compress_struct c;
    jpeg_error_mgr errors;
    c.err = jpeg_std_error(&errors);
    jpeg_create_compress(&c);
    unsigned char* data = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&c, &data, &size);
    c.image_width = static_cast<JDIMENSION>(p.width);
    c.image_height = static_cast<JDIMENSION>(p.height);
    c.input_components = p.components;
    c.in_color_space = p.components == 1 ? JCS_GRAYSCALE : JCS_EXT_BGR;
    jpeg_set_defaults(&c);
    jpeg_set_quality(&c, quality, TRUE);
    c.comp_info[0].h_samp_factor = h;
    c.comp_info[0].v_samp_factor = v;
    if (how == speed::fastest) c.dct_method = JDCT_IFAST;
    jpeg_start_compress(&c, TRUE);
    const size_t stride = static_cast<size_t>(p.width * p.components);
    while (c.next_scanline < c.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(p.pixels.data()) + stride * c.next_scanline;
        jpeg_write_scanlines(&c, &row, 1);
    }
    jpeg_finish_compress(&c);
    std::vector<uint8_t> out(data, data + size);
    jpeg_destroy_compress(&c);
    std::free(data);
    return out;
}

// Into a new picture each time, as we do.
void peer_decompress(const std::vector<uint8_t>& file, speed how)
{
    jpeg_decompress_struct d;
    jpeg_error_mgr errors;
    d.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&d);
    jpeg_mem_src(&d, file.data(), file.size());
    jpeg_read_header(&d, TRUE);
    if (d.num_components == 3) d.out_color_space = JCS_EXT_BGR;
    if (how == speed::fastest) {
        d.dct_method = JDCT_IFAST;
        d.do_fancy_upsampling = FALSE;
    }
    jpeg_start_decompress(&d);
    const size_t stride = (d.output_width * static_cast<size_t>(d.output_components) + 3) / 4 * 4;
    std::unique_ptr<uint8_t[]> rows(new uint8_t[stride * d.output_height]); // not cleared
    while (d.output_scanline < d.output_height) {
        JSAMPROW row = rows.get() + stride * d.output_scanline;
        jpeg_read_scanlines(&d, &row, 1);
    }
    benchmark::DoNotOptimize(rows.get());
    jpeg_finish_decompress(&d);
    jpeg_destroy_decompress(&d);
}

struct bench_case {
    const char* name;
    kind what;
    int components, h, v;
};
constexpr bench_case cases[] = {
    {"photo 4:2:0", kind::photo, 3, 2, 2}, {"photo 4:2:2", kind::photo, 3, 2, 1},
    {"photo 4:4:4", kind::photo, 3, 1, 1}, {"photo grey", kind::photo, 1, 1, 1},
    {"text 4:2:0", kind::text, 3, 2, 2},   {"text 4:2:2", kind::text, 3, 2, 1},
    {"text grey", kind::text, 1, 1, 1},
};

void set_rate(benchmark::State& state, const picture& p)
{
    state.SetItemsProcessed(state.iterations() * p.width * p.height);
}

void decode_ours(benchmark::State& state, bench_case c, int megapixels)
{
    const picture& p = make_picture(c.what, megapixels, c.components);
    const auto file = peer_compress(p, 85, c.h, c.v, speed::defaults);
    IMGX_set_interchange(1);
    for (auto _ : state)
        IMG_delete_bitmap(
            IMGX_decompress_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0));
    IMGX_set_interchange(0);
    set_rate(state, p);
    state.counters["bits/px"] = static_cast<double>(file.size()) * 8 / (p.width * p.height);
}

void decode_peer(benchmark::State& state, bench_case c, int megapixels, speed how)
{
    const picture& p = make_picture(c.what, megapixels, c.components);
    const auto file = peer_compress(p, 85, c.h, c.v, speed::defaults);
    for (auto _ : state)
        peer_decompress(file, how);
    set_rate(state, p);
}

int32_t make_image(const picture& p)
{
    const size_t line = static_cast<size_t>(p.width * p.components);
    const size_t stride = (line + 3) / 4 * 4;
    std::vector<uint8_t> dib(sizeof(BITMAPINFOHEADER) + (p.components == 1 ? 1024 : 0));
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = p.width;
    header.biHeight = p.height;
    header.biPlanes = 1;
    header.biBitCount = static_cast<WORD>(8 * p.components);
    std::memcpy(dib.data(), &header, sizeof header);
    for (size_t i = sizeof header; i < dib.size(); ++i)
        dib[i] = static_cast<uint8_t>(i % 4 == 3 ? 0 : (i - sizeof header) / 4);
    const size_t first = dib.size();
    dib.resize(first + stride * static_cast<size_t>(p.height));
    for (int y = 0; y < p.height; ++y)
        std::memcpy(dib.data() + first + stride * static_cast<size_t>(p.height - 1 - y),
                    p.pixels.data() + line * static_cast<size_t>(y), line);
    return IMG_create_handle(dib.data());
}

void encode_ours(benchmark::State& state, bench_case c, int megapixels, int quality,
                 bool interchange)
{
    const picture& p = make_picture(c.what, megapixels, c.components);
    const int32_t image = make_image(p);
    std::vector<uint8_t> file(p.pixels.size() + 100000);
    IMGLOW_set_comp_quality(quality);
    IMGX_set_interchange(interchange);
    for (auto _ : state)
        IMGX_save_bitmap_mem(image, file.data(), static_cast<uint32_t>(file.size()), 13);
    IMGX_set_interchange(0);
    IMG_delete_bitmap(image);
    set_rate(state, p);
}

void encode_peer(benchmark::State& state, bench_case c, int megapixels, int quality, speed how)
{
    const picture& p = make_picture(c.what, megapixels, c.components);
    for (auto _ : state)
        benchmark::DoNotOptimize(peer_compress(p, quality, c.h, c.v, how).data());
    set_rate(state, p);
}

// Ours are written at 4:2:2 and grey only.
void register_all()
{
    using state = benchmark::State;
    for (const int mp : {1, 4, 24, 100})
        for (const bench_case& c : cases) {
            const auto add = [&](const std::string& what, const char* who, auto function) {
                const std::string name =
                    what + " " + c.name + " " + std::to_string(mp) + " MP " + who;
                benchmark::RegisterBenchmark(name.c_str(), function)->Unit(benchmark::kMillisecond);
            };
            const auto fastest = speed::fastest, defaults = speed::defaults;
            add("decode", "ours", [=](state& s) { decode_ours(s, c, mp); });
            add("decode", "peer fastest", [=](state& s) { decode_peer(s, c, mp, fastest); });
            add("decode", "peer default", [=](state& s) { decode_peer(s, c, mp, defaults); });
            if (c.components == 3 && c.h * c.v != 2) continue;
            add("encode", "ours classic", [=](state& s) { encode_ours(s, c, mp, 85, false); });
            add("encode", "ours interchange", [=](state& s) { encode_ours(s, c, mp, 85, true); });
            add("encode", "peer fastest", [=](state& s) { encode_peer(s, c, mp, 85, fastest); });
            add("encode", "peer default", [=](state& s) { encode_peer(s, c, mp, 85, defaults); });
        }
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    register_all();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
