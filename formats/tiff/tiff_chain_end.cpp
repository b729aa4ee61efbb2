// tiff_chain_end.cpp - measures the TIFF in a sink, so that a page can be put behind it.

#include "formats/tiff/tiff_chain_end.h"

#include <algorithm>
#include <tuple>

namespace {

constexpr uint16_t tag_strip_offsets = 273;
constexpr uint16_t tag_strip_byte_counts = 279;

uint32_t type_bytes(uint16_t type)
{
    constexpr uint8_t bytes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
    return type < sizeof bytes ? bytes[type] : 0;
}

uint32_t number_at(const tiff_source& source, uint64_t offset, uint32_t bytes)
{
    uint8_t field[4] = {};
    source.read_at(offset, field, static_cast<int32_t>(bytes));
    return bytes == 2 ? source.u16(field) : source.u32(field);
}

// Element i of an entry that holds SHORTs or LONGs.
uint32_t element(const tiff_source& source, const tiff_entry& e, uint32_t i)
{
    const uint32_t bytes = type_bytes(e.type);
    if (bytes * uint64_t{e.count} <= 4) return bytes == 2 ? e.value >> 16 * i & 0xFFFF : e.value;
    return number_at(source, e.value + uint64_t{i} * bytes, bytes);
}

bool is_number_array(const tiff_entry& e)
{
    return e.type == type_short || e.type == type_long;
}

// The elements of two arrays in the source side by side, or of one alone.
struct array_pair {
    uint32_t count;     // of elements
    uint32_t at, bytes; // the first element of one array, and the bytes of each
    uint32_t other_at = 0, other_bytes = 0;

    // Two of them with the same lane pair the same elements, as far as both of them reach.
    auto lane() const
    {
        const int64_t distance = int64_t{at} * other_bytes - int64_t{other_at} * bytes;
        return std::tuple(bytes, other_bytes, distance, at % bytes);
    }
    auto order() const { return std::tuple(lane(), at); }
};

class array_pairs {
public:
    explicit array_pairs(const tiff_source& source) : source_(source) {}

    const array_pair* begin() const { return block_.as<array_pair>(); }
    const array_pair* end() const { return begin() + size_; }

    // False when memory ran out.
    bool add(array_pair pair)
    {
        const size_t used = size_ * sizeof pair;
        if (used + sizeof pair > block_.size()) {
            scratch_block larger(std::max(2 * block_.size(), 64 * sizeof pair));
            if (!larger) return false;
            if (used > 0) std::memcpy(larger.bytes(), block_.bytes(), used);
            block_.swap(larger);
        }
        // What lies behind the source reads as 0.
        const uint32_t there = img_extent(source_.file);
        pair.count = std::min(pair.count, (there - std::min(there, pair.at)) / pair.bytes);
        block_.as<array_pair>()[size_++] = pair;
        return true;
    }

    // Looks at every pair of elements once, however many lists hold it; false where there are
    // more than that.
    template <class Look> bool walk(uint64_t most, Look look)
    {
        auto* const pairs = block_.as<array_pair>();
        std::sort(pairs, pairs + size_,
                  [](const array_pair& a, const array_pair& b) { return a.order() < b.order(); });
        uint64_t done = 0; // in front of it everything of the lane has been looked at
        for (size_t n = 0; n < size_; ++n) {
            const array_pair& p = pairs[n];
            if (n == 0 || p.lane() != pairs[n - 1].lane()) done = 0;
            for (uint64_t i = done > p.at ? (done - p.at) / p.bytes : 0; i < p.count; ++i) {
                if (most-- == 0) return false;
                look(number_at(source_, p.at + i * p.bytes, p.bytes),
                     number_at(source_, p.other_at + i * p.other_bytes, p.other_bytes));
            }
            done = std::max(done, p.at + uint64_t{p.count} * p.bytes);
        }
        return true;
    }

private:
    tiff_source source_;
    scratch_block block_;
    size_t size_ = 0;
};

class extent {
public:
    explicit extent(const tiff_source& source) : source_(source), strips_(source) {}

    uint64_t end() const { return end_; }

    // False when memory ran out.
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
        if (!is_number_array(offsets) || !is_number_array(counts)) return true;
        const uint32_t strips = std::min(offsets.count, counts.count);
        if (strips > 2)
            return strips_.add({strips, offsets.value, type_bytes(offsets.type), counts.value,
                                type_bytes(counts.type)});
        for (uint32_t i = 0; i < strips; ++i)
            cover(uint64_t{element(source_, offsets, i)} + element(source_, counts, i));
        return true;
    }

    // The strips of all directories; pages may share their arrays. Arrays that lie over one
    // another can make more pairs than the source has bytes, which nobody waits for: then the
    // largest count is added to the largest offset, behind which no strip ends.
    // False when memory ran out.
    bool cover_strips()
    {
        if (strips_.walk(img_extent(source_.file),
                         [&](uint64_t offset, uint64_t count) { cover(offset + count); }))
            return true;
        array_pairs offsets(source_), counts(source_);
        for (const array_pair& p : strips_)
            if (!offsets.add({p.count, p.at, p.bytes}) ||
                !counts.add({p.count, p.other_at, p.other_bytes}))
                return false;
        uint32_t last_offset = 0, largest_count = 0;
        offsets.walk(UINT64_MAX,
                     [&](uint32_t v, uint32_t) { last_offset = std::max(last_offset, v); });
        counts.walk(UINT64_MAX,
                    [&](uint32_t v, uint32_t) { largest_count = std::max(largest_count, v); });
        cover(uint64_t{last_offset} + largest_count);
        return true;
    }

private:
    void cover(uint64_t end) { end_ = std::max(end_, end); }

    tiff_source source_;
    array_pairs strips_;
    uint64_t end_ = 0;
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
        const int32_t found = chain.load(ifd);
        if (found <= 0) return found < 0 ? found : int32_t{err_format};
        if (!covered.cover_directory(chain, ifd)) return err_memory;
    }
    if (!covered.cover_strips()) return err_memory;
    if (covered.end() > INT32_MAX) return err_format;
    end = static_cast<uint32_t>(covered.end());
    return 0;
}
