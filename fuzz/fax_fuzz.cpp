// fax_fuzz.cpp - fax codes of every kind. What could be decoded must come back from each
// encoder. The first four bytes choose: code and options, width, rows.

#include "formats/tiff/ccitt_decoder.h"
#include "formats/tiff/ccitt_encoder.h"

#include <cstdlib>
#include <vector>

namespace {

struct page {
    int32_t width;
    int32_t stride;
    std::vector<uint8_t> rows;
    int32_t count = 0;
};

int32_t keep_row(void* context, uint8_t* row, int32_t index, int32_t byte_count)
{
    page& p = *static_cast<page*>(context);
    if (index != p.count || byte_count > p.stride || byte_count < p.stride / 2) std::abort();
    p.rows.insert(p.rows.end(), row, row + p.stride);
    ++p.count;
    return 0;
}

int32_t IMG_C give_row(IMG_PRIVATE context, void* to, int32_t index, int32_t byte_count)
{
    const page& p = *reinterpret_cast<const page*>(context);
    std::memcpy(to, p.rows.data() + static_cast<size_t>(index) * static_cast<size_t>(p.stride),
                static_cast<size_t>(byte_count));
    return 0;
}

void decode(const uint8_t* data, size_t size, int32_t rows, const ccitt_options& options, page& to)
{
    reset_mem_io_bounded(data, static_cast<uint32_t>(size));
    ccitt_decoder decoder(options);
    decoder.decode_strip(memory_file, rows, 0, {keep_row, &to});
}

void code_again(const page& p, tiff_compression compression, uint32_t fill_order)
{
    BITMAPINFOHEADER header{};
    header.biWidth = p.width;
    header.biHeight = p.count;
    header.biBitCount = 1;
    static std::vector<uint8_t> coded(size_t{16} << 20); // more than any page here takes
    reset_mem_io_bounded(coded.data(), static_cast<uint32_t>(coded.size()));
    ccitt_encoder_options options{compression, p.width};
    options.fill_order = fill_order;
    const row_source source{give_row, reinterpret_cast<IMG_PRIVATE>(&p)};
    if (ccitt_encode_image(memory_file, &header, source, options) < 0) std::abort();
    page again{p.width, p.stride, {}, 0};
    decode(coded.data(), static_cast<size_t>(img_tell(memory_file)), p.count,
           {p.width, static_cast<uint32_t>(compression), fill_order}, again);
    if (again.rows != p.rows) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 4) return 0;
    constexpr uint32_t codes[] = {tiff_huffman, tiff_group3, tiff_group3_2d, tiff_group4};
    // Most rows short; some longer than 20000 pixels, where byte counts are halved.
    const int32_t width = 1 + data[1] + 256 * (data[2] & 7) + (data[2] >= 0xF0 ? 20000 : 0);
    ccitt_options options{width, codes[data[0] & 3]};
    options.fill_order = data[0] & 4 ? 2 : 1;
    options.interchange = (data[0] & 8) != 0;
    page p{options.width, size_for_long(options.width, 1), {}, 0};
    decode(data + 4, size - 4, data[3], options, p);
    if (p.count > 0)
        for (tiff_compression compression : {tiff_huffman, tiff_group3, tiff_group4})
            code_again(p, compression, options.fill_order);
    reset_mem_io_bounded(data + 4, static_cast<uint32_t>(size - 4));
    ccitt_fitting_compression(memory_file, options, data[3]);
    img_ffree_all();
    return 0;
}
