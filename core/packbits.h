// packbits.h - the PackBits code of TIFF and of Macintosh pictures. A control byte n is
// followed by n + 1 literal units (0 to 127) or by one unit to be repeated 257 - n times
// (129 to 255).
#pragma once

#include <cstddef>
#include <cstdint>

/// What control byte 128 stands for.
enum class packbits_128 {
    no_op,      // nothing, as the descriptions of TIFF 6.0 section 9 and of PICT have it
    run_of_129, // 129 copies of the next byte
};

/// Decodes until room bytes are made, or the data hold no further whole item.
///   next   start of the data; moved behind the last item that was used, which is lost where
///          it runs over the room
///   end    of the data; byte_source's slack must lie behind it
///   to     room bytes and run_slack_bytes behind them that may be overwritten
/// Returns the bytes made.
size_t packbits_unpack(const uint8_t*& next, const uint8_t* end, uint8_t* to, size_t room,
                       packbits_128 rule);

/// The same over units of two bytes, which are copied in their stored order; room is even.
size_t packbits_unpack_pairs(const uint8_t*& next, const uint8_t* end, uint8_t* to, size_t room);

/// Encodes count bytes: runs of three and more, literals of at most 128.
///   row    run_slack_bytes behind it must be readable
///   to     packbits_bound(count) bytes
/// Returns the bytes made.
size_t packbits_pack(const uint8_t* row, size_t count, uint8_t* to);

/// Most bytes that packbits_pack makes of count bytes, with room for its wide stores.
inline constexpr size_t packbits_bound(size_t count)
{
    return count + (count + 127) / 128 + 16;
}
