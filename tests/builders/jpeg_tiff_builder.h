// jpeg_tiff_builder.h - TIFF pages of Compression 6 whose JPEG tables stand in tags.
#pragma once

#include "tests/builders/jpeg_builder.h"
#include "tests/builders/tiff_builder.h"

namespace jpeg_builder {

/// An entry with a second value where that is not 0.
struct entry {
    int tag, type;
    uint32_t first, second = 0;
};

struct page {
    std::vector<coded_picture> strips;
    bool big = false, big_tables = false; // byte order of the file and of the table offsets
    byte_vector prefix = byte_vector(8, 0xA5);
    std::vector<entry> more = {};
    bool inline_tables = false; // one offset, in the tag itself

    byte_vector file() const
    {
        const coded_picture& p = strips[0];
        tiff_builder tiff;
        tiff.big = big;
        tiff_builder::field sizes{279, 4, uint32_t(strips.size()), {}};
        uint32_t height = 0;
        size_t end = 8; // of the strips, which come first
        for (const coded_picture& strip : strips) {
            const byte_vector data = joined({prefix, entropy_data(strip)});
            tiff.put(sizes.bytes, uint32_t(data.size()), 4);
            height += uint32_t(strip.height);
            end += data.size();
            tiff.strip(data);
        }
        tiff.pages[0].fields.push_back(sizes);
        byte_vector& tables = tiff.pages[0].strips.back(); // behind its data
        for (int tag : {519, 520, 521}) {
            uint32_t offsets[2];
            for (size_t t : {0, 1}) {
                offsets[t] = big == big_tables ? uint32_t(end) : __builtin_bswap32(uint32_t(end));
                const byte_vector all[] = {p.quant[t], p.dc[t].bytes, p.ac[t].bytes};
                add_bytes(tables, all[tag - 519]);
                end += all[tag - 519].size();
            }
            if (inline_tables)
                tiff.set(tag, 4, {offsets[0]});
            else
                tiff.set(tag, 4, {offsets[0], offsets[1], offsets[1]});
        }
        const auto samples = uint32_t(p.components.size());
        tiff.shape(uint32_t(p.width), height, 8, samples, 6, samples == 3 ? 6 : 1);
        tiff.set(278, 4, {uint32_t(p.height)});
        for (const entry& e : more)
            if (e.second)
                tiff.set(e.tag, e.type, {e.first, e.second});
            else
                tiff.set(e.tag, e.type, {e.first});
        return tiff.build();
    }
};

/// Strips of a height, the last one shorter.
inline std::vector<coded_picture> strips_of(size_t components, size_t count, int h, int v,
                                            int interval = 0)
{
    std::vector<coded_picture> strips(count, coded_picture(45, 16, h, v, interval));
    for (coded_picture& p : strips) {
        p.components.resize(components);
        p.seed = uint32_t(&p - strips.data() + 1);
    }
    if (count > 1) strips.back().height = 9;
    return strips;
}

} // namespace jpeg_builder
