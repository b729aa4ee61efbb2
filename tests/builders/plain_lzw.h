// plain_lzw.h - LZW as TIFF pages have it, coded slowly over a map of strings.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

namespace plain_lzw {

// Codes as TIFF 6.0 section 13 packs them, at the widths that the caller gives.
struct code_writer {
    std::vector<uint8_t> bytes;
    size_t bits = 0;

    void put(uint32_t code, int width)
    {
        for (int i = width - 1; i >= 0; --i, ++bits) {
            if (bits % 8 == 0) bytes.push_back(0);
            bytes.back() = static_cast<uint8_t>(bytes.back() | (code >> i & 1) << (7 - bits % 8));
        }
    }
};

// The described encoder. bytes_only: every code is that of a byte, and the table is left full
// instead of being cleared when its next code is 4080.
inline std::vector<uint8_t> encode(const std::vector<uint8_t>& data, bool bytes_only = false)
{
    code_writer out;
    std::map<std::pair<uint32_t, uint8_t>, uint32_t> table;
    uint32_t next = 258;
    int width = 9;
    out.put(256, 9);
    uint32_t prefix = data[0];
    for (size_t i = 1; i < data.size(); ++i) {
        const auto found = table.find({prefix, data[i]});
        if (found != table.end() && !bytes_only) {
            prefix = found->second;
            continue;
        }
        out.put(prefix, width);
        table[{prefix, data[i]}] = next++;
        prefix = data[i];
        if (width < 12 && next == 1u << width) ++width;
        if (next != 4080 || bytes_only) continue;
        out.put(256, width);
        table.clear();
        next = 258;
        width = 9;
    }
    out.put(prefix, width);
    if (++next == 1u << width && width < 12) ++width;
    out.put(257, width);
    return out.bytes;
}

} // namespace plain_lzw
