// packbits.cpp - PackBits, both ways.

#include "core/packbits.h"

#include "core/byte_runs.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr size_t longest_literal = 128;
constexpr size_t longest_run = 128;

} // namespace

size_t packbits_unpack(const uint8_t*& next, const uint8_t* end, uint8_t* to, size_t room,
                       packbits_128 rule)
{
    const uint8_t* from = next;
    size_t done = 0;
    while (done < room && from < end) {
        const size_t control = *from;
        const auto left = static_cast<size_t>(end - from);
        if (control < 128) {
            if (left < control + 2) break;
            const size_t count = std::min(control + 1, room - done);
            copy_bytes(to + done, from + 1, count);
            done += count;
            from += control + 2;
        } else if (control == 128 && rule == packbits_128::no_op) {
            ++from;
        } else {
            if (left < 2) break;
            const size_t count = std::min(257 - control, room - done);
            spread_byte(to + done, from[1], count);
            done += count;
            from += 2;
        }
    }
    next = from;
    return done;
}

size_t packbits_unpack_pairs(const uint8_t*& next, const uint8_t* end, uint8_t* to, size_t room)
{
    const uint8_t* from = next;
    size_t done = 0;
    while (done < room && from < end) {
        const size_t control = *from;
        const auto left = static_cast<size_t>(end - from);
        if (control < 128) {
            if (left < 2 * control + 3) break;
            const size_t count = std::min(2 * control + 2, room - done);
            copy_bytes(to + done, from + 1, count);
            done += count;
            from += 2 * control + 3;
        } else if (control == 128) {
            ++from;
        } else {
            if (left < 3) break;
            const size_t count = std::min(2 * (257 - control), room - done);
            uint16_t unit;
            std::memcpy(&unit, from + 1, 2);
            const __m128i wide = _mm_set1_epi16(static_cast<short>(unit));
            for (size_t i = 0; i < count; i += 16)
                store_16(to + done + i, wide);
            done += count;
            from += 3;
        }
    }
    next = from;
    return done;
}

size_t packbits_pack(const uint8_t* row, size_t count, uint8_t* to)
{
    uint8_t* const start = to;
    const uint8_t* const end = row + count;
    while (row < end) {
        for (size_t literals = distance_to_run(row, static_cast<size_t>(end - row));
             literals > 0;) {
            const size_t piece = std::min(literals, longest_literal);
            *to++ = static_cast<uint8_t>(piece - 1);
            copy_bytes(to, row, piece);
            to += piece;
            row += piece;
            literals -= piece;
        }
        if (row == end) break;
        for (size_t run = run_length(row, static_cast<size_t>(end - row)); run > 0;) {
            const size_t piece = std::min(run, longest_run);
            *to++ = static_cast<uint8_t>(257 - piece);
            *to++ = *row;
            row += piece;
            run -= piece;
        }
    }
    return static_cast<size_t>(to - start);
}
