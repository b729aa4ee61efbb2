// targa_runs.cpp - run-length packets.
//
// Format: TGA 2.0, field 8 and "Run-length encoded images".

#include "formats/targa/targa_runs.h"

#include "core/byte_runs.h"

#include <algorithm>

namespace {

constexpr size_t longest_packet = 1 + targa_packet_pixels * 4;

// Repeats one pixel; writes up to 63 bytes behind the last.
template <size_t bytes_per_pixel> void fill_run(uint8_t* to, const uint8_t* pixel, size_t count)
{
    if constexpr (bytes_per_pixel == 1) {
        spread_byte(to, pixel[0], count);
        return;
    }
    // After 48 bytes pixels of 2, 3 and 4 bytes all begin anew.
    uint8_t pattern[48];
    for (size_t i = 0; i < sizeof pattern; i += bytes_per_pixel)
        std::memcpy(pattern + i, pixel, bytes_per_pixel);
    const __m128i a = load_16(pattern), b = load_16(pattern + 16), c = load_16(pattern + 32);
    const uint8_t* const end = to + count * bytes_per_pixel;
    for (; to < end; to += 48) {
        store_16(to, a);
        store_16(to + 16, b);
        store_16(to + 32, c);
    }
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

// Three-byte pixels from p on in front of the first three equal ones; limit when there are
// none.
size_t distance_to_pixel_run(const uint8_t* p, size_t limit)
{
    constexpr uint32_t pixel_starts = 0b001001001001; // four pixels, a fifth for the last's end
    for (size_t i = 0; i < limit; i += 4, p += 12) {
        const uint32_t equal = byte_mask(_mm_cmpeq_epi8(load_16(p), load_16(p + 3)));
        const uint32_t two = equal & equal >> 1 & equal >> 2;
        const uint32_t starts = two & two >> 3 & pixel_starts;
        if (starts == 0) continue;
        const size_t distance = i + static_cast<size_t>(std::countr_zero(starts)) / 3;
        return distance + 3 <= limit ? distance : limit;
    }
    return limit;
}

void put_raw(byte_sink& sink, const uint8_t* from, size_t pixels, size_t bytes_per_pixel)
{
    while (pixels > 0) {
        const size_t piece = std::min(pixels, targa_packet_pixels);
        const size_t bytes = piece * bytes_per_pixel;
        uint8_t* const packet = sink.reserve(longest_packet + run_slack_bytes);
        packet[0] = static_cast<uint8_t>(piece - 1);
        copy_bytes(packet + 1, from, bytes);
        sink.commit(1 + bytes);
        from += bytes;
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

// Whole packets straight out of the source's buffer, as long as it holds a longest one and
// the row has room.  Returns the pixels still missing, row behind those that are there.
template <size_t bytes_per_pixel> size_t targa_run_reader::unpack_whole(uint8_t*& row, size_t left)
{
    while (source_.ensure(longest_packet)) {
        const uint8_t* const packet = source_.next;
        const size_t pixels = (packet[0] & ~targa_run_packet) + size_t{1};
        if (pixels > left) break;
        const size_t bytes = pixels * bytes_per_pixel;
        if (packet[0] & targa_run_packet) {
            fill_run<bytes_per_pixel>(row, packet + 1, pixels);
            source_.next += 1 + bytes_per_pixel;
        } else {
            copy_bytes(row, packet + 1, bytes);
            source_.next += 1 + bytes;
        }
        row += bytes;
        left -= pixels;
    }
    return left;
}

// What unpack_whole leaves: packets that cross a row's end or lie near the end of the data.
template <size_t bytes_per_pixel> bool targa_run_reader::unpack_row(uint8_t* row, size_t left)
{
    while (left > 0) {
        if (pixels_left_ == 0) {
            left = unpack_whole<bytes_per_pixel>(row, left);
            if (left == 0) break;
            if (!begin_packet()) return false;
        }
        const size_t pixels = std::min(left, pixels_left_);
        const size_t bytes = pixels * bytes_per_pixel;
        if (is_run_)
            fill_run<bytes_per_pixel>(row, pixel_, pixels);
        else if (source_.read(row, bytes) != bytes)
            return false;
        row += bytes;
        left -= pixels;
        pixels_left_ -= pixels;
    }
    return true;
}

bool targa_run_reader::tga_get_rle_raster(uint8_t* row, int32_t width)
{
    const auto pixels = static_cast<size_t>(width);
    switch (bytes_per_pixel_) {
    case 1: return unpack_row<1>(row, pixels);
    case 2: return unpack_row<2>(row, pixels);
    case 3: return unpack_row<3>(row, pixels);
    default: return unpack_row<4>(row, pixels);
    }
}

// A run is worth a packet of its own from three pixels on; with two of three bytes it would
// save a byte, and make files of many tiny packets.
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
