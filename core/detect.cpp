// detect.cpp - recognises a format by its first bytes, never by its name.

#include "core/byte_stream.h"
#include "core/format_table.h"
#include "core/settings.h"

#include <cstring>

namespace {

constexpr int32_t probe_bytes = 10;
// Behind PICT's 512-byte preamble, picture size and frame lies the version opcode.
constexpr int32_t pict_version_offset = 522;
constexpr uint8_t pict_version_opcode = 0x11;

struct probe {
    uint8_t b[probe_bytes] = {}; // bytes behind the end of the data count as 0

    void read(HFILE file) { img_read_mem(file, b, probe_bytes); }
    bool starts_with(const char* text, size_t at = 0) const
    {
        return std::memcmp(b + at, text, std::strlen(text)) == 0;
    }
};

bool looks_like_targa(const probe& p)
{
    const uint8_t type = p.b[2];
    return ((type >= 1 && type <= 3) || (type >= 9 && type <= 11)) && p.b[1] < 2;
}

// A Targa file whose image ID has ten bytes begins like a PCX file. What no PCX file has is an
// encoding above 1, or version 1.
bool looks_like_targa_with_id_of_10(const probe& p)
{
    return p.b[0] == 10 && looks_like_targa(p) && (p.b[2] > 1 || p.b[1] == 1);
}

// A metafile without a placement header: kind, nine words of header, version. The classic
// tests take it for Targa.
bool looks_like_bare_metafile(const probe& p)
{
    const uint32_t kind = load_u16le(p.b), words = load_u16le(p.b + 2),
                   version = load_u16le(p.b + 4);
    return (kind == 1 || kind == 2) && words == 9 && (version == 0x0100 || version == 0x0300);
}

// The first test that holds wins.
const char* extension_of(const probe& p)
{
    const uint32_t magic = load_u32le(p.b);
    if (p.starts_with("MM") || p.starts_with("II")) return ".tif";
    if (p.starts_with("GIF")) return ".gif";
    if (p.starts_with("BM")) return ".bmp";
    if (magic == 0xC6D3D0C5) return ".eps"; // DOS EPS binary header
    if (magic == 0x3ADE68B1) return ".dcx";
    if (p.b[0] == 0xFF && p.b[1] == 0xD8) return ".jpg";
    if (p.starts_with("WPC", 1)) return ".wpg";
    // INTENDED: classic mode goes by the first byte alone.
    if (interchange_mode() && looks_like_targa_with_id_of_10(p)) return ".tga";
    if (p.b[0] == 10) return ".pcx";
    if (interchange_mode() && looks_like_bare_metafile(p)) return ".wmf";
    if (looks_like_targa(p)) return ".tga";
    // INTENDED: the second byte, not the first, is compared with 2.
    if (magic == 0x9AC6CDD7 || p.b[0] == 1 || p.b[1] == 2) return ".wmf";
    return nullptr;
}

const char* probe_extension(HFILE file)
{
    const int32_t start = img_tell(file);
    probe first;
    first.read(file);
    if (const char* extension = extension_of(first)) return extension;
    if (start > INT32_MAX - pict_version_offset) return nullptr;
    probe second;
    img_seek_mem(file, start + pict_version_offset, seek_from_start);
    second.read(file);
    return second.b[1] == pict_version_opcode || second.b[0] == pict_version_opcode ? ".pct"
                                                                                    : nullptr;
}

} // namespace

const format_row* get_extension(HFILE file)
{
    const char* extension = probe_extension(file);
    img_seek_mem(file, 0, seek_from_start);
    if (!extension) return nullptr;
    for (const format_row& row : format_table())
        if (std::strcmp(row.extension, extension) == 0) return &row;
    return nullptr;
}
