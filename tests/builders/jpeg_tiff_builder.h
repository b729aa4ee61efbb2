// jpeg_tiff_builder.h - TIFF pages of Compression 6 whose JPEG tables stand in tags.
#pragma once

#include "tests/builders/jpeg_builder.h"

namespace jpeg_builder {

struct tiff_page {
    bool big = false;        // "MM"
    bool big_tables = false; // byte order of the table offsets
    int photometric = 6;
    int subsampling_first = 1, subsampling_second = 1; // as stored; first 0: no tag
    int restart_interval = 0;                          // tag 515
    bool inline_tables = false;                        // one offset in the tag itself
    bytes prefix = bytes(8, 0xA5);                     // of each strip
    uint32_t lost_table = 0; // 519, 520 or 521: that array lies behind the file
};

class tiff_writer {
public:
    explicit tiff_writer(const tiff_page& page) : page_(page) {}

    /// One strip per picture; all share the tables of the first.
    bytes build(const std::vector<picture>& strips)
    {
        const picture& first = strips.front();
        const auto samples = static_cast<int>(first.components.size());
        out_ = page_.big ? bytes{'M', 'M'} : bytes{'I', 'I'};
        put(42, 2);
        put(0, 4); // the directory's place comes here
        std::array<std::vector<size_t>, 3> tables;
        for (size_t i = 0; i < 3; ++i) {
            const size_t set = i == 0 ? 0 : 1;
            tables[0].push_back(out_.size());
            for (int q : first.quant[set])
                out_.push_back(static_cast<uint8_t>(q));
            tables[1].push_back(append(huffman_bytes(first.dc[set])));
            tables[2].push_back(append(huffman_bytes(first.ac[set])));
        }
        std::array<size_t, 3> arrays{};
        for (size_t t = 0; t < 3; ++t) {
            arrays[t] = out_.size();
            if (page_.inline_tables) arrays[t] = tables[t][0];
            for (size_t offset : tables[t])
                put_ordered(offset, 4, page_.big_tables);
            if (page_.lost_table == 519 + t) arrays[t] = 0x7FFF0000;
        }
        std::vector<size_t> offsets;
        for (const picture& p : strips) {
            offsets.push_back(append(page_.prefix));
            append(entropy_data(p));
            append(bytes(16, 0)); // so that the bit reader's start is never at the end
        }
        size_t strip_array = out_.size();
        for (size_t offset : offsets)
            put(offset, 4);
        if (offsets.size() == 1) strip_array = offsets[0];

        int height = 0;
        for (const picture& p : strips)
            height += p.height;
        const size_t directory = out_.size();
        for (size_t i = 0; i < 4; ++i)
            out_[4 + i] = static_cast<uint8_t>(directory >> 8 * (page_.big ? 3 - i : i));
        const bool sampling = samples == 3 && page_.subsampling_first != 0;
        put(static_cast<size_t>(11 + sampling + (page_.restart_interval > 0)), 2);
        entry(256, 4, 1, static_cast<size_t>(first.width));
        entry(257, 4, 1, static_cast<size_t>(height));
        entry_short(258, 8, 0, 1);
        entry_short(259, 6, 0, 1);
        entry_short(262, samples == 3 ? page_.photometric : 1, 0, 1);
        entry(273, 4, offsets.size(), strip_array);
        entry_short(277, samples, 0, 1);
        entry(278, 4, 1, static_cast<size_t>(first.height));
        if (page_.restart_interval > 0) entry_short(515, page_.restart_interval, 0, 1);
        for (size_t t = 0; t < 3; ++t)
            entry(static_cast<int>(519 + t), 4, page_.inline_tables ? 1 : 3, arrays[t]);
        if (sampling) entry_short(530, page_.subsampling_first, page_.subsampling_second, 2);
        put(0, 4);
        return out_;
    }

private:
    void put_ordered(size_t value, size_t count, bool big)
    {
        for (size_t i = 0; i < count; ++i)
            out_.push_back(static_cast<uint8_t>(value >> 8 * (big ? count - 1 - i : i)));
    }
    void put(size_t value, size_t count) { put_ordered(value, count, page_.big); }
    size_t append(const bytes& data)
    {
        const size_t at = out_.size();
        out_.insert(out_.end(), data.begin(), data.end());
        return at;
    }
    void entry(int tag, size_t type, size_t count, size_t value)
    {
        put(static_cast<size_t>(tag), 2);
        put(type, 2);
        put(count, 4);
        put(value, 4);
    }
    void entry_short(int tag, int first, int second, size_t count)
    {
        put(static_cast<size_t>(tag), 2);
        put(3, 2);
        put(count, 4);
        put(static_cast<size_t>(first), 2);
        put(static_cast<size_t>(second), 2);
    }

    tiff_page page_;
    bytes out_;
};

} // namespace jpeg_builder
