// format_table.cpp - one row per format, one per file type.

#include "core/format_table.h"

#include "core/settings.h"
#include "formats/bmp/bmp_reader.h"
#include "formats/bmp/bmp_writer.h"
#include "formats/eps/eps_reader.h"
#include "formats/eps/eps_writer.h"
#include "formats/gif/gif_reader.h"
#include "formats/gif/gif_writer.h"
#include "formats/jpeg/jpeg_reader.h"
#include "formats/jpeg/jpeg_writer.h"
#include "formats/pcx/dcx_reader.h"
#include "formats/pcx/dcx_writer.h"
#include "formats/pcx/pcx_reader.h"
#include "formats/pcx/pcx_writer.h"
#include "formats/pict/pict_reader.h"
#include "formats/pict/pict_writer.h"
#include "formats/targa/targa_reader.h"
#include "formats/targa/targa_writer.h"
#include "formats/tiff/tiff_ccitt_writer.h"
#include "formats/tiff/tiff_reader.h"
#include "formats/tiff/tiff_writer.h"
#include "formats/wmf/wmf_reader.h"
#include "formats/wmf/wmf_writer.h"
#include "formats/wpg/wpg_reader.h"
#include "formats/wpg/wpg_writer.h"

#include <cstring>

namespace {

constexpr auto never = write_mode::never;
constexpr auto always = write_mode::always;
constexpr auto interchange_only = write_mode::interchange_only;
constexpr auto truncate = open_mode::truncate;
constexpr auto append = open_mode::append;
constexpr auto append_in_interchange = open_mode::append_in_interchange;
constexpr int32_t all_depths = depth_1 + depth_4 + depth_8 + depth_24;

// clang-format off
constexpr file_type tiff_types[] = {
    {0,  "tiff",          "TIFF, uncompressed",                 save_tiff_file, always, append, all_depths},
    {7,  "tiff-huffman",  "TIFF, CCITT modified Huffman",       save_tiff_file_mh, always, append, depth_1},
    {8,  "tiff-g3",       "TIFF, CCITT Group 3",                save_tiff_file_g3, always, append, depth_1},
    {9,  "tiff-lzw",      "TIFF, LZW",                          save_tiff_file_lzw, always, append_in_interchange, all_depths},
    {10, "tiff-g4",       "TIFF, CCITT Group 4",                save_tiff_file_g4, always, append, depth_1},
    {16, "tiff-packbits", "TIFF, PackBits",                     save_tiff_file_packbits, interchange_only, append, depth_1},
    {17, "tiff-g3-2d",    "TIFF, CCITT Group 3 two-dimensional", nullptr, never, truncate, 0},
};
constexpr file_type bmp_types[] = {
    {1,  "bmp",     "BMP, uncompressed",          save_bmp_file,      always, truncate, all_depths},
    {12, "bmp-rle", "BMP, run-length compressed", save_bmp_comp_file, always, truncate, depth_4 + depth_8},
};
constexpr file_type pcx_types[] = {{2, "pcx", "PCX", save_pcx_file, always, truncate, all_depths}};
constexpr file_type targa_types[] = {{3, "targa", "Targa", save_tga_file, always, truncate, depth_8 + depth_24}};
constexpr file_type gif_types[] = {{4, "gif", "GIF", save_gif_file, always, truncate, depth_4 + depth_8, depth_1}};
constexpr file_type wpg_types[] = {{5, "wpg", "WordPerfect graphics with a bitmap", save_wpg_file, always, truncate, depth_1 + depth_4 + depth_8}};
constexpr file_type wmf_types[] = {{6, "wmf", "Placeable Windows metafile with a bitmap", save_wmf_file, always, truncate, all_depths}};
constexpr file_type eps_types[] = {{14, "eps", "Encapsulated PostScript", save_eps_file, always, truncate, all_depths}};
constexpr file_type dcx_types[] = {{11, "dcx", "DCX, pages of PCX", save_dcx_file, always, append, all_depths}};
constexpr file_type jpeg_types[] = {{13, "jpeg", "JPEG", save_jpg_file, always, truncate, depth_8 + depth_24}};
constexpr file_type pict_types[] = {{15, "pict", "Macintosh PICT", save_pct_file, always, truncate, all_depths}};

constexpr format_row formats[] = {
    {".tif", "tif tiff", open_tiff, get_tiff_pages, tiff_get_filetype, true, tiff_types, tiff_describe},
    {".bmp", "bmp",      open_bmp, nullptr, bmp_get_filetype, false, bmp_types},
    {".pcx", "pcx pcc",  open_pcx,  nullptr, nullptr,          false, pcx_types},
    {".tga", "tga",      open_tga, nullptr, nullptr,          false, targa_types},
    {".gif", "gif",      open_gif, get_gif_pages, nullptr,    false, gif_types},
    {".wpg", "wpg",      open_wpg,  nullptr, nullptr,          false, wpg_types},
    {".wmf", "wmf",      open_wmf,  nullptr, nullptr,          false, wmf_types},
    {".eps", "eps",      open_eps,  nullptr, nullptr,          false, eps_types},
    {".dcx", "dcx",      open_dcx, get_dcx_pages, nullptr,          true,  dcx_types},
    {".jpg", "jpg jpeg", open_jpg, nullptr, nullptr,          false, jpeg_types, jpeg_describe},
    {".pct", "pct pict pic", open_pict,  nullptr, nullptr,          false, pict_types},
};
// clang-format on

bool equal_ignoring_case(const char* a, const char* b, size_t count)
{
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    for (size_t i = 0; i < count; ++i)
        if (lower(a[i]) != lower(b[i])) return false;
    return true;
}

} // namespace

std::span<const format_row> format_table()
{
    return formats;
}

const file_type* find_file_type(int32_t code, const format_row** format)
{
    for (const format_row& row : formats)
        for (const file_type& type : row.types)
            if (type.code == code) {
                if (format) *format = &row;
                return &type;
            }
    return nullptr;
}

int32_t type_from_extension(const char* file_name)
{
    const size_t length = std::strlen(file_name);
    if (length < 3) return -1;
    for (const format_row& row : formats)
        if (equal_ignoring_case(file_name + length - 3, row.extension + 1, 3))
            return row.types[0].code;
    return -1;
}

int32_t IMG_STD IMGX_get_type_info(int32_t index, IMGX_TYPE_INFO* info)
{
    if (!info) return err_memory;
    for (int32_t code = 0; code < 18; ++code) {
        const format_row* format = nullptr;
        const file_type* type = find_file_type(code, &format);
        if (code != index || !type) continue;
        const bool written = type->save && type->writes != write_mode::never;
        const bool pages = written && format->multi_page;
        *info = {type->code,
                 type->name,
                 type->description,
                 format->extensions,
                 format->open != nullptr,
                 !written                                       ? 0
                 : type->writes == write_mode::interchange_only ? 2
                                                                : 1,
                 !pages                             ? 0
                 : type->opens == open_mode::append ? 1
                                                    : 2,
                 written ? type->write_depths + (interchange_mode() ? type->interchange_depths : 0)
                         : 0};
        return 0;
    }
    return err_unsupported;
}
