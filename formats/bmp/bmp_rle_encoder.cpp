// bmp_rle_encoder.cpp - RLE8 and RLE4 rows. Both codes run over bytes (RLE4: pixel pairs)
// and differ in how many bytes a literal starts with and how counts are written.

#include "formats/bmp/bmp_rle.h"

#include "core/byte_runs.h"
#include "core/settings.h"
#include "formats/bmp/bmp_file.h"

#include <algorithm>

namespace {

struct rle_rule {
    size_t literal_start; // bytes that an absolute run takes without looking
    size_t longest;       // bytes in any run
    size_t pixels_per_byte;
};

constexpr rle_rule rle8_rule{3, 255, 1};
constexpr rle_rule rle4_rule{2, 127, 2};

// Codes count bytes of row, of which row[count] differs from the last one.
uint8_t* encode(uint8_t* out, const uint8_t* row, size_t count, const rle_rule& rule)
{
    for (size_t i = 0; i < count;) {
        // INTENDED: the last three bytes never start an absolute run.
        if (row[i + 1] == row[i] || i + 3 >= count) {
            const size_t length = run_length(row + i, std::min(rule.longest, count - i));
            *out++ = static_cast<uint8_t>(length * rule.pixels_per_byte);
            *out++ = row[i];
            i += length;
            continue;
        }
        const size_t start = rule.literal_start;
        const size_t most = std::min(rule.longest, count - i);
        const size_t length = start + distance_to_pair(row + i + start, most - start);
        *out++ = 0;
        *out++ = static_cast<uint8_t>(length * rule.pixels_per_byte);
        std::memcpy(out, row + i, length);
        out += length;
        if (length & 1) *out++ = 0;
        i += length;
    }
    return out;
}

uint8_t* end_line(uint8_t* out)
{
    *out++ = 0;
    *out++ = rle_end_of_line;
    return out;
}

void commit_to(byte_sink& sink, const uint8_t* start, const uint8_t* end)
{
    sink.commit(static_cast<size_t>(end - start));
}

} // namespace

void save_bmp8_raster(byte_sink& sink, uint8_t* row, int32_t width)
{
    row[width] = static_cast<uint8_t>(~row[width - 1]);
    uint8_t* const start = sink.reserve(bmp_rle_row_bytes(width));
    commit_to(sink, start, end_line(encode(start, row, static_cast<size_t>(width), rle8_rule)));
}

void save_bmp4_raster(byte_sink& sink, uint8_t* row, int32_t width)
{
    // INTENDED: runs cover whole bytes, so an odd row's unused nibble is coded as a pixel.
    // Other programs see a run that leaves the row; in interchange mode the last pixel goes
    // alone.
    const bool last_alone = interchange_mode() && (width & 1);
    const auto count = static_cast<size_t>(last_alone ? width / 2 : (width + 1) / 2);
    const uint8_t last = row[width / 2];
    uint8_t* const start = sink.reserve(bmp_rle_row_bytes(width));
    uint8_t* out = start;
    if (count > 0) {
        row[count] = static_cast<uint8_t>(~row[count - 1]);
        out = encode(out, row, count, rle4_rule);
    }
    if (last_alone) {
        *out++ = 1;
        *out++ = last & 0xF0;
    }
    commit_to(sink, start, end_line(out));
}
