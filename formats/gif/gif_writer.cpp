// gif_writer.cpp - writes a palettised image as GIF87a: one picture, rows in order, a global
// colour table.

#include "formats/gif/gif_writer.h"

#include "core/byte_stream.h"
#include "core/settings.h"
#include "formats/gif/gif_format.h"
#include "formats/gif/gif_lzw_encoder.h"

namespace {

void write_screen_and_table(byte_sink& sink, const BITMAPINFOHEADER* header)
{
    const uint32_t size_bits = header->biBitCount - 1u;
    sink.put("GIF87a", 6);
    sink.put_u16le(static_cast<uint32_t>(header->biWidth));
    sink.put_u16le(static_cast<uint32_t>(header->biHeight));
    sink.put(static_cast<uint8_t>(gif_has_table | size_bits));
    sink.put(uint8_t{0}); // background
    sink.put(uint8_t{0}); // aspect
    const RGBQUAD* colors = dib_colors(header);
    for (int32_t i = 0; i < palette_entries(header->biBitCount); ++i) {
        sink.put(colors[i].rgbRed);
        sink.put(colors[i].rgbGreen);
        sink.put(colors[i].rgbBlue);
    }
}

void write_descriptor(byte_sink& sink, const BITMAPINFOHEADER* header, uint32_t code_size)
{
    sink.put(gif_image_separator);
    sink.put_zeros(4); // left, top
    sink.put_u16le(static_cast<uint32_t>(header->biWidth));
    sink.put_u16le(static_cast<uint32_t>(header->biHeight));
    sink.put(static_cast<uint8_t>(header->biBitCount - 1)); // no local table, not interlaced
    sink.put(static_cast<uint8_t>(code_size));
}

// One byte per pixel; writes up to seven bytes behind the row.
void unpack_row(const uint8_t* raw, uint8_t* pixels, int32_t width, int32_t bit_count)
{
    if (bit_count == 4)
        for (int32_t x = 0; x < width; x += 2) {
            pixels[x] = raw[x / 2] >> 4;
            pixels[x + 1] = raw[x / 2] & 15;
        }
    if (bit_count == 1)
        for (int32_t x = 0; x < width; x += 8)
            for (int32_t bit = 0; bit < 8; ++bit)
                pixels[x + bit] = raw[x / 8] >> (7 - bit) & 1;
}

int32_t encode_gif_lzw(byte_sink& sink, const BITMAPINFOHEADER* header, uint32_t code_size,
                       const row_source& source)
{
    const int32_t row_bytes = size_for_long(header->biWidth, header->biBitCount);
    const auto width = static_cast<size_t>(header->biWidth);
    gif_lzw_encoder encoder(
        sink, code_size, interchange_mode() ? gif_stream_end::published : gif_stream_end::classic);
    scratch_block raw(static_cast<size_t>(row_bytes));
    scratch_block unpacked(header->biBitCount == 8 ? 1 : width + 8);
    if (!encoder.ok() || !raw || !unpacked) return err_memory;

    const uint8_t* const pixels = header->biBitCount == 8 ? raw.bytes() : unpacked.bytes();
    for (int32_t row = 0; row < header->biHeight; ++row) {
        if (int32_t err = source.get(raw.bytes(), row, row_bytes); err < 0) return err;
        unpack_row(raw.bytes(), unpacked.bytes(), header->biWidth, header->biBitCount);
        encoder.put(pixels, width);
    }
    encoder.finish();
    return 0;
}

} // namespace

int32_t save_gif_file(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data)
{
    const int32_t bit_count = header->biBitCount;
    if (bit_count == 24 || (bit_count == 1 && !interchange_mode())) return err_unsupported;
    if (header->biWidth > gif_largest_side || header->biHeight > gif_largest_side)
        return err_unsupported;

    byte_sink sink(file);
    if (!sink.ok()) return err_write;
    // GIF89a, appendix F: black and white pictures have a code size of 2.
    const uint32_t code_size = bit_count == 1 ? 2 : static_cast<uint32_t>(bit_count);
    write_screen_and_table(sink, header);
    write_descriptor(sink, header, code_size);
    // INTENDED: whatever fails in the encoder counts as a failed write, a raster source's
    // refusal too.
    if (encode_gif_lzw(sink, header, code_size, {get_raster, private_data}) < 0) return err_write;
    sink.put(gif_trailer);
    return sink.flush();
}
