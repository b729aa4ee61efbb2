// tiff_builder.h - TIFF files for tests, entry by entry, in either byte order.
#pragma once

#include "tests/support/temp_file.h"

#include <algorithm>

struct tiff_builder {
    struct field {
        int tag, type;
        uint32_t count;
        byte_vector bytes; // in the file's order
    };
    struct page {
        std::vector<field> fields;
        std::vector<byte_vector> strips;
        int offset_type = 4; // of StripOffsets
    };

    bool big = false;
    std::vector<page> pages = std::vector<page>(1);
    uint32_t last_next_offset = 0; // of the last page

    static int type_bytes(int type) { return type == 3 ? 2 : type == 4 ? 4 : type == 5 ? 8 : 1; }

    void put(byte_vector& to, uint32_t value, int bytes) const
    {
        for (int i = 0; i < bytes; ++i)
            to.push_back(static_cast<uint8_t>(value >> 8 * (big ? bytes - 1 - i : i)));
    }
    /// Numbers of one entry; RATIONALs as numerator, denominator, …
    tiff_builder& set(int tag, int type, std::initializer_list<uint32_t> values, size_t to = 0)
    {
        field f{tag, type, static_cast<uint32_t>(values.size()), {}};
        if (type == 5) f.count /= 2;
        for (uint32_t v : values)
            put(f.bytes, v, type == 5 ? 4 : type_bytes(type));
        return add(f, to);
    }
    /// An entry whose value field and count are given as they are.
    tiff_builder& set_raw(int tag, int type, uint32_t count, byte_vector four_bytes, size_t to = 0)
    {
        return add({tag, type, count, std::move(four_bytes)}, to);
    }
    tiff_builder& add(field f, size_t to)
    {
        auto& fields = pages[to].fields;
        std::erase_if(fields, [&](const field& old) { return old.tag == f.tag; });
        fields.push_back(std::move(f));
        return *this;
    }
    /// The usual entries of a page.
    tiff_builder& shape(uint32_t width, uint32_t height, uint32_t bits, uint32_t samples,
                        uint32_t compression, uint32_t photometric, size_t to = 0)
    {
        set(256, 3, {width}, to).set(257, 3, {height}, to).set(258, 3, {bits}, to);
        set(259, 3, {compression}, to).set(262, 3, {photometric}, to);
        return set(277, 3, {samples}, to);
    }
    tiff_builder& strip(byte_vector data, size_t to = 0)
    {
        pages[to].strips.push_back(std::move(data));
        return *this;
    }

    byte_vector build() const
    {
        byte_vector out = {uint8_t(big ? 'M' : 'I'), uint8_t(big ? 'M' : 'I')};
        put(out, 42, 2);
        size_t link = out.size();
        put(out, 0, 4);
        for (const page& p : pages) {
            const byte_vector ifd = build_page(p, out);
            patch(out, link, static_cast<uint32_t>(out.size()));
            out.insert(out.end(), ifd.begin(), ifd.end());
            link = out.size();
            put(out, last_next_offset, 4);
        }
        return out;
    }

private:
    void patch(byte_vector& out, size_t at, uint32_t value) const
    {
        byte_vector bytes;
        put(bytes, value, 4);
        std::copy(bytes.begin(), bytes.end(), out.begin() + static_cast<std::ptrdiff_t>(at));
    }
    // Strips and long values go out at once; the directory comes back.
    byte_vector build_page(page p, byte_vector& out) const
    {
        field offsets{273, p.offset_type, static_cast<uint32_t>(p.strips.size()), {}};
        for (const byte_vector& s : p.strips) {
            put(offsets.bytes, static_cast<uint32_t>(out.size()), type_bytes(p.offset_type));
            out.insert(out.end(), s.begin(), s.end());
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
                out.insert(out.end(), f.bytes.begin(), f.bytes.end());
            } else {
                while (f.bytes.size() < 4)
                    f.bytes.push_back(0);
                ifd.insert(ifd.end(), f.bytes.begin(), f.bytes.end());
            }
        }
        return ifd;
    }
};
