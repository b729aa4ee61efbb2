// jpeg_peer.h - libjpeg as a second opinion: compresses and decompresses in memory, with its
// slow exact transforms and without smooth upsampling.
#pragma once

#include <cmath>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <jpeglib.h>

namespace jpeg_peer {

struct settings {
    int quality = 75;
    int h = 1, v = 1; // of the first component
    int restart_interval = 0;
    J_COLOR_SPACE space = JCS_YCbCr;
    int scans = 1; // 2: the first component alone; 3: each component alone
};

/// Pixels of red, green, blue (or grey, or inverted inks), no padding.
struct picture {
    int width = 0, height = 0, components = 3;
    std::vector<uint8_t> pixels;
    int warnings = 0;
};

inline J_COLOR_SPACE input_space(int components)
{
    return components == 1 ? JCS_GRAYSCALE : components == 3 ? JCS_RGB : JCS_CMYK;
}

inline std::vector<uint8_t> compress(const picture& from, const settings& s)
{
    jpeg_compress_struct c;
    jpeg_error_mgr errors;
    c.err = jpeg_std_error(&errors);
    jpeg_create_compress(&c);
    unsigned char* data = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&c, &data, &size);
    c.image_width = static_cast<JDIMENSION>(from.width);
    c.image_height = static_cast<JDIMENSION>(from.height);
    c.input_components = from.components;
    c.in_color_space = input_space(from.components);
    jpeg_set_defaults(&c);
    jpeg_set_colorspace(&c, from.components == 1 ? JCS_GRAYSCALE : s.space);
    jpeg_set_quality(&c, s.quality, TRUE);
    for (int i = 0; i < c.num_components; ++i) {
        const bool full = i == 0 || i == 3;
        c.comp_info[i].h_samp_factor = full ? s.h : 1;
        c.comp_info[i].v_samp_factor = full ? s.v : 1;
    }
    c.restart_interval = static_cast<unsigned>(s.restart_interval);
    const jpeg_scan_info scans[2][3] = {
        {{1, {0}, 0, 63, 0, 0}, {2, {1, 2}, 0, 63, 0, 0}, {}},
        {{1, {2}, 0, 63, 0, 0}, {1, {0}, 0, 63, 0, 0}, {1, {1}, 0, 63, 0, 0}}};
    if (s.scans > 1) {
        c.scan_info = scans[s.scans - 2];
        c.num_scans = s.scans;
        c.optimize_coding = TRUE; // tables of its own for each scan
    }
    jpeg_start_compress(&c, TRUE);
    while (c.next_scanline < c.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(from.pixels.data()) +
                       size_t{c.next_scanline} * static_cast<size_t>(from.width) *
                           static_cast<size_t>(from.components);
        jpeg_write_scanlines(&c, &row, 1);
    }
    jpeg_finish_compress(&c);
    std::vector<uint8_t> out(data, data + size);
    jpeg_destroy_compress(&c);
    std::free(data);
    return out;
}

struct jump_error {
    jpeg_error_mgr manager;
    std::jmp_buf back;
};

/// An empty picture where the file is refused.
inline picture decompress(const std::vector<uint8_t>& file)
{
    picture out;
    jpeg_decompress_struct d;
    jump_error errors;
    d.err = jpeg_std_error(&errors.manager);
    errors.manager.error_exit = [](j_common_ptr info) {
        std::longjmp(reinterpret_cast<jump_error*>(info->err)->back, 1);
    };
    errors.manager.output_message = [](j_common_ptr) {};
    jpeg_create_decompress(&d);
    if (setjmp(errors.back)) {
        jpeg_destroy_decompress(&d);
        return picture{};
    }
    jpeg_mem_src(&d, file.data(), file.size());
    jpeg_read_header(&d, TRUE);
    d.do_fancy_upsampling = FALSE;
    d.dct_method = JDCT_ISLOW;
    jpeg_start_decompress(&d);
    out.width = static_cast<int>(d.output_width);
    out.height = static_cast<int>(d.output_height);
    out.components = d.output_components;
    const size_t stride = static_cast<size_t>(out.width) * static_cast<size_t>(out.components);
    out.pixels.resize(stride * static_cast<size_t>(out.height));
    while (d.output_scanline < d.output_height) {
        JSAMPROW row = out.pixels.data() + stride * d.output_scanline;
        jpeg_read_scanlines(&d, &row, 1);
    }
    jpeg_finish_decompress(&d);
    out.warnings = static_cast<int>(d.err->num_warnings);
    jpeg_destroy_decompress(&d);
    return out;
}

inline double psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b)
{
    double sum = 0;
    for (size_t i = 0; i < a.size(); ++i)
        sum += (a[i] - b[i]) * (a[i] - b[i]);
    return sum == 0 ? 99 : 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / sum);
}

} // namespace jpeg_peer
