// eps_reader.cpp - finds the TIFF preview behind the DOS EPS binary header.
//
// Format: Encapsulated PostScript File Format 3.0, section 5.2.

#include "formats/eps/eps_reader.h"

#include "core/byte_stream.h"
#include "formats/tiff/tiff_reader.h"

namespace {

constexpr uint32_t eps_magic = 0xC6D3D0C5; // C5 D0 D3 C6
constexpr int32_t header_bytes = 32;       // 30 are used

} // namespace

int32_t open_eps(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                 IMG_SET_HEADER set_header, HFILE file)
{
    uint8_t bytes[header_bytes];
    img_seek_mem(file, start_offset(start), seek_from_start);
    if (img_read_mem(file, bytes, header_bytes) != header_bytes) return err_format;
    byte_reader in(bytes, header_bytes, byte_order::little);
    const uint32_t magic = in.u32();
    in.take(4 + 4); // PostScript: offset, length
    in.take(4 + 4); // metafile preview: offset, length
    const uint32_t tiff_offset = in.u32();
    if (magic != eps_magic || tiff_offset == 0) return err_format;
    const uint64_t position = uint64_t{tiff_offset} + static_cast<uint32_t>(start_offset(start));
    if (position > INT32_MAX) return err_format;
    const int32_t result = open_tiff_at(static_cast<uint32_t>(position), start_page(start),
                                        {put_raster, set_header, private_data}, file);
    return result == err_unsupported ? int32_t{err_preview} : result;
}
