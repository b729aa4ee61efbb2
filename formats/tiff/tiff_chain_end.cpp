// tiff_chain_end.cpp - measures the TIFF in a sink, so that a page can be put behind it.

#include "formats/tiff/tiff_chain_end.h"

#include <algorithm>

namespace {

constexpr uint16_t tag_strip_offsets = 273;
constexpr uint16_t tag_strip_byte_counts = 279;

uint32_t type_bytes(uint16_t type)
{
    constexpr uint8_t bytes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
    return type < sizeof bytes ? bytes[type] : 0;
}

// Element i of an entry that holds SHORTs or LONGs.
uint32_t element(const tiff_source& source, const tiff_entry& e, uint32_t i)
{
    const uint32_t bytes = type_bytes(e.type);
    if (bytes * uint64_t{e.count} <= 4) return bytes == 2 ? e.value >> 16 * i & 0xFFFF : e.value;
    uint8_t field[4] = {};
    source.read_at(e.value + uint64_t{i} * bytes, field, static_cast<int32_t>(bytes));
    return bytes == 2 ? source.u16(field) : source.u32(field);
}

bool is_number_array(const tiff_entry& e)
{
    return e.type == type_short || e.type == type_long;
}

class extent {
public:
    explicit extent(const tiff_source& source) : source_(source) {}

    uint64_t end() const { return end_; }

    // False where the pages claim more strips than a block of this size can name.
    bool cover_directory(const tiff_chain& chain, uint32_t offset)
    {
        cover(uint64_t{offset} + 2 + 12 * uint64_t{chain.entries()} + 4);
        tiff_entry offsets, counts;
        for (uint32_t i = 0; i < chain.entries(); ++i) {
            const tiff_entry e = chain.entry(i);
            const uint64_t bytes = uint64_t{type_bytes(e.type)} * e.count;
            if (bytes > 4) cover(e.value + bytes);
            if (e.tag == tag_strip_offsets) offsets = e;
            if (e.tag == tag_strip_byte_counts) counts = e;
        }
        return !is_number_array(offsets) || !is_number_array(counts) ||
               cover_strips(offsets, counts);
    }

private:
    void cover(uint64_t end) { end_ = std::max(end_, end); }

    bool cover_strips(const tiff_entry& offsets, const tiff_entry& counts)
    {
        // Strips of all pages together: arrays that pages share could be walked without end.
        const uint32_t strips = std::min(offsets.count, counts.count);
        strips_ += strips;
        if (strips_ > img_extent(source_.file)) return false;
        for (uint32_t i = 0; i < strips; ++i)
            cover(uint64_t{element(source_, offsets, i)} + element(source_, counts, i));
        return true;
    }

    tiff_source source_;
    uint64_t end_ = 0;
    uint64_t strips_ = 0;
};

} // namespace

int32_t tiff_chain_end(const tiff_source& source, uint32_t first_ifd, uint32_t& end)
{
    if (source.file != memory_file) {
        end = static_cast<uint32_t>(img_filelength(source.file)) - source.header_offset;
        return 0;
    }
    tiff_chain chain(source);
    extent covered(source);
    for (uint32_t ifd = first_ifd; ifd != 0; ifd = chain.next_offset()) {
        if (chain.load(ifd) <= 0) return err_format;
        if (!covered.cover_directory(chain, ifd)) return err_format;
    }
    if (covered.end() > INT32_MAX) return err_format;
    end = static_cast<uint32_t>(covered.end());
    return 0;
}
