// tiff_builder.h - TIFF files for tests, entry by entry, in either byte order.
#pragma once

#include "tests/support/codec.h"

struct tiff_builder {
    struct field {
        int tag, type;
        uint32_t count;
        byte_vector bytes; // in the file's order
    };
    struct page {
        std::vector<field> fields;
        std::vector<byte_vector> strips;
    };

    bool big = false;
    int offset_type = 4; // of StripOffsets
    std::vector<page> pages = std::vector<page>(1);
    uint32_t last_next_offset = 0; // of the last page

    static int type_bytes(int type) { return type == 3 ? 2 : type == 4 ? 4 : type == 5 ? 8 : 1; }

    void put(byte_vector& to, uint32_t value, int bytes) const
    {
        big ? add_be(to, value, bytes) : add_le(to, value, bytes);
    }
    /// Numbers of one entry of the last page; RATIONALs as numerator, denominator, …
    tiff_builder& set(int tag, int type, std::initializer_list<uint32_t> numbers)
    {
        field f{tag, type, static_cast<uint32_t>(numbers.size()), {}};
        if (type == 5) f.count /= 2;
        for (uint32_t v : numbers)
            put(f.bytes, v, type == 5 ? 4 : type_bytes(type));
        return add(f);
    }
    tiff_builder& add(field f)
    {
        auto& fields = pages.back().fields;
        std::erase_if(fields, [&](const field& old) { return old.tag == f.tag; });
        fields.push_back(std::move(f));
        return *this;
    }
    /// The usual entries of a page.
    tiff_builder& shape(uint32_t width, uint32_t height, uint32_t bits, uint32_t samples,
                        uint32_t compression, uint32_t photometric)
    {
        set(256, 3, {width}).set(257, 3, {height}).set(258, 3, {bits});
        return set(259, 3, {compression}).set(262, 3, {photometric}).set(277, 3, {samples});
    }
    tiff_builder& strip(byte_vector data)
    {
        pages.back().strips.push_back(std::move(data));
        return *this;
    }
    /// What follows goes to a new page.
    tiff_builder& next_page()
    {
        pages.emplace_back();
        return *this;
    }

    byte_vector build() const
    {
        byte_vector out(2, big ? 'M' : 'I');
        put(out, 42, 2);
        size_t link = out.size();
        put(out, 0, 4);
        for (const page& p : pages) {
            const byte_vector ifd = build_page(p, out);
            byte_vector offset;
            put(offset, static_cast<uint32_t>(out.size()), 4);
            std::copy(offset.begin(), offset.end(), out.begin() + static_cast<ptrdiff_t>(link));
            add_bytes(out, ifd);
            link = out.size();
            put(out, last_next_offset, 4);
        }
        return out;
    }

private:
    // Strips and long values go out at once; the directory comes back.
    byte_vector build_page(page p, byte_vector& out) const
    {
        field offsets{273, offset_type, static_cast<uint32_t>(p.strips.size()), {}};
        for (const byte_vector& s : p.strips) {
            put(offsets.bytes, static_cast<uint32_t>(out.size()), type_bytes(offset_type));
            add_bytes(out, s);
        }
        if (!p.strips.empty()) p.fields.push_back(offsets);
        std::stable_sort(p.fields.begin(), p.fields.end(),
                         [](const field& a, const field& b) { return a.tag < b.tag; });
        byte_vector ifd;
        put(ifd, static_cast<uint32_t>(p.fields.size()), 2);
        for (field& f : p.fields) {
            put(ifd, static_cast<uint32_t>(f.tag), 2);
            put(ifd, static_cast<uint32_t>(f.type), 2);
            put(ifd, f.count, 4);
            if (f.bytes.size() > 4) {
                put(ifd, static_cast<uint32_t>(out.size()), 4);
                add_bytes(out, f.bytes);
            } else {
                f.bytes.resize(4);
                add_bytes(ifd, f.bytes);
            }
        }
        return ifd;
    }
};
