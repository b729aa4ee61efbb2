// gif_builder.h - GIF files for tests, block by block, and LZW data from a plain encoder that
// shares nothing with the library.
#pragma once

#include "tests/support/codec.h"

#include <bit>
#include <map>
#include <span>

/// Codes packed least significant bit first.
class gif_code_bits {
public:
    gif_code_bits& put(std::initializer_list<uint32_t> codes, uint32_t width)
    {
        for (uint32_t code : codes)
            for (uint32_t bit = 0; bit < width; ++bit, ++count_) {
                if (count_ % 8 == 0) bytes_.push_back(0);
                bytes_.back() |= uint8_t((code >> bit & 1) << count_ % 8);
            }
        return *this;
    }
    const byte_vector& bytes() const { return bytes_; }
    size_t bit_count() const { return count_; }

private:
    byte_vector bytes_;
    size_t count_ = 0;
};

inline byte_vector gif_sub_blocks(const byte_vector& data, size_t block = 255)
{
    byte_vector out;
    for (size_t i = 0; i < data.size(); ++i) {
        if (i % block == 0) out.push_back(uint8_t(std::min(block, data.size() - i)));
        out.push_back(data[i]);
    }
    out.push_back(0);
    return out;
}

/// Sub-blocks of the pixels, as the writer's rules have them: the string table cleared behind
/// code 4080, blocks of 253 or 254 bytes; with published false the last string left out when
/// its look-up missed, and the end code as wide as the code before it.
inline byte_vector gif_plain_lzw(std::span<const uint8_t> pixels, uint32_t code_size,
                                 bool published)
{
    const uint32_t clear = 1u << code_size;
    std::map<std::pair<uint32_t, uint8_t>, uint32_t> strings;
    uint32_t width = code_size + 1, next = clear + 2, limit = 1u << width;
    gif_code_bits bits;
    std::vector<size_t> seams; // bytes at which blocks begin
    size_t block_start = 0;    // bit, a multiple of 8
    const auto write = [&](uint32_t code) {
        const size_t whole = (bits.bit_count() - block_start) / 8;
        if (whole >= 253) seams.push_back((block_start += whole * 8) / 8);
        bits.put({code}, width);
    };
    const auto count_code = [&] {
        if (++next != limit + 1) return;
        if (width == 12) {
            write(clear);
            width = code_size + 1, next = clear + 2;
            strings.clear();
        } else {
            ++width;
        }
        limit = width == 12 ? 4080 : 1u << width;
    };

    write(clear);
    uint32_t prefix = pixels[0];
    bool found = false;
    for (uint8_t pixel : pixels.subspan(1)) {
        const auto string = strings.find({prefix, pixel});
        found = string != strings.end();
        if (found) {
            prefix = string->second;
            continue;
        }
        write(prefix);
        strings[{prefix, pixel}] = next;
        count_code();
        prefix = pixel;
    }
    if (found || published) write(prefix);
    if (published) count_code();
    write(clear + 1);

    byte_vector out;
    seams.push_back(bits.bytes().size());
    size_t at = 0;
    for (size_t seam : seams) {
        out.push_back(uint8_t(seam - at));
        while (at < seam)
            out.push_back(bits.bytes()[at++]);
    }
    out.push_back(0);
    return out;
}

/// A file put together from its start; every call appends.
struct gif_builder : byte_vector {
    /// Signature and screen; no colours: no global table, size bits as given.
    explicit gif_builder(const char* version, const values& global = {}, int size_bits = 0)
    {
        const int bits = global.empty() ? size_bits : 0x80 | table_bits(global);
        raw({'G', 'I', 'F', uint8_t(version[0]), uint8_t(version[1]), 'a', 99, 0, 99, 0});
        raw({uint8_t(bits), 0, 0}).table(global);
    }
    gif_builder& extension(uint8_t label, const std::string& text)
    {
        return raw({0x21, label}).raw(gif_sub_blocks(byte_vector(text.begin(), text.end())));
    }
    gif_builder& picture(int width, int height, uint8_t code_size, const byte_vector& data,
                         const values& local = {}, int flags = 0)
    {
        add_le(raw({0x2C}), {0, 0, width, height}, 2);
        raw({uint8_t(local.empty() ? flags : flags | 0x80 | table_bits(local))});
        return table(local).raw({code_size}).raw(data);
    }
    /// The same from pixels.
    gif_builder& pixels(int width, int height, uint32_t code_size, const byte_vector& pixels,
                        const values& local = {}, int flags = 0)
    {
        return picture(width, height, uint8_t(code_size), gif_plain_lzw(pixels, code_size, true),
                       local, flags);
    }
    gif_builder& raw(const byte_vector& more)
    {
        add_bytes(*this, more);
        return *this;
    }
    gif_builder& finish() { return raw({0x3B}); }

private:
    gif_builder& table(const values& table)
    {
        for (uint32_t c : table)
            add_be(*this, c, 3);
        return *this;
    }
    static int table_bits(const values& table) { return std::bit_width(table.size() - 1) - 1; }
};
