// targa_runs.cpp - run-length packets.
//
// Format: TGA 2.0, field 8 and "Run-length encoded images".

#include "formats/targa/targa_runs.h"

#include "core/byte_runs.h"

#include <algorithm>

namespace {

// Repeats one pixel; writes up to 15 bytes behind the last.
void fill_run(uint8_t* to, const uint8_t* pixel, size_t bytes_per_pixel, size_t count)
{
    if (bytes_per_pixel == 1) {
        spread_byte(to, pixel[0], count);
        return;
    }
    // Twelve bytes hold whole pixels of 2, 3 and 4 bytes.
    uint8_t pattern[16];
    for (size_t i = 0; i < sizeof pattern; ++i)
        pattern[i] = pixel[i % bytes_per_pixel];
    const __m128i pixels = load_16(pattern);
    const uint8_t* const end = to + count * bytes_per_pixel;
    for (; to < end; to += 12)
        store_16(to, pixels);
}

// Three-byte pixels from p on that equal the first, at most limit.
size_t pixel_run_length(const uint8_t* p, size_t limit)
{
    const size_t bytes = (limit - 1) * 3;
    for (size_t i = 0; i < bytes; i += 16) {
        const uint32_t other =
            byte_mask(_mm_cmpeq_epi8(load_16(p + i), load_16(p + i + 3))) ^ 0xFFFF;
        if (other == 0) continue;
        return std::min(limit, 1 + (i + static_cast<size_t>(std::countr_zero(other))) / 3);
    }
    return limit;
}

// Three-byte pixels from p on in front of the first two equal ones; limit when there are none.
size_t distance_to_pixel_run(const uint8_t* p, size_t limit)
{
    constexpr uint32_t pixel_starts = 0b001001001001001; // five pixels in 16 bytes
    for (size_t i = 0; i < limit; i += 5, p += 15) {
        const uint32_t equal = byte_mask(_mm_cmpeq_epi8(load_16(p), load_16(p + 3)));
        const uint32_t starts = equal & equal >> 1 & equal >> 2 & pixel_starts;
        if (starts == 0) continue;
        const size_t distance = i + static_cast<size_t>(std::countr_zero(starts)) / 3;
        return distance + 2 <= limit ? distance : limit;
    }
    return limit;
}

void put_raw(byte_sink& sink, const uint8_t* from, size_t pixels, size_t bytes_per_pixel)
{
    while (pixels > 0) {
        const size_t piece = std::min(pixels, targa_packet_pixels);
        sink.put(static_cast<uint8_t>(piece - 1));
        sink.put(from, piece * bytes_per_pixel);
        from += piece * bytes_per_pixel;
        pixels -= piece;
    }
}

void put_run(byte_sink& sink, const uint8_t* pixel, size_t pixels, size_t bytes_per_pixel)
{
    while (pixels > 0) {
        const size_t piece = std::min(pixels, targa_packet_pixels);
        uint8_t* const packet = sink.reserve(4);
        packet[0] = static_cast<uint8_t>(targa_run_packet | (piece - 1));
        std::memcpy(packet + 1, pixel, bytes_per_pixel);
        sink.commit(1 + bytes_per_pixel);
        pixels -= piece;
    }
}

} // namespace

bool targa_run_reader::begin_packet()
{
    const int head = source_.get();
    if (head < 0) return false;
    is_run_ = head & targa_run_packet;
    pixels_left_ = static_cast<size_t>(head & ~targa_run_packet) + 1;
    return !is_run_ || source_.read(pixel_, bytes_per_pixel_) == bytes_per_pixel_;
}

bool targa_run_reader::tga_get_rle_raster(uint8_t* row, int32_t width)
{
    for (auto left = static_cast<size_t>(width); left > 0;) {
        if (pixels_left_ == 0 && !begin_packet()) return false;
        const size_t pixels = std::min(left, pixels_left_);
        const size_t bytes = pixels * bytes_per_pixel_;
        if (is_run_)
            fill_run(row, pixel_, bytes_per_pixel_, pixels);
        else if (source_.read(row, bytes) != bytes)
            return false;
        row += bytes;
        left -= pixels;
        pixels_left_ -= pixels;
    }
    return true;
}

// A run is worth a packet of its own from three pixels of one byte on, two of three bytes.
void targa_put_runs(byte_sink& sink, const uint8_t* row, int32_t width, int32_t bytes_per_pixel)
{
    const auto step = static_cast<size_t>(bytes_per_pixel);
    for (auto left = static_cast<size_t>(width); left > 0;) {
        const size_t raw =
            step == 1 ? distance_to_run(row, left) : distance_to_pixel_run(row, left);
        put_raw(sink, row, raw, step);
        row += raw * step;
        left -= raw;
        if (left == 0) break;
        const size_t run = step == 1 ? run_length(row, left) : pixel_run_length(row, left);
        put_run(sink, row, run, step);
        row += run * step;
        left -= run;
    }
}
