// format_table.h - the formats and file types that the library knows: one row per format
// for loading, one row per file type for saving. Adding a format is one directory and one row
// here.
#pragma once

#include "core/codec.h"

#include <span>

/// Depths as IMGX_TYPE_INFO.write_depths adds them up.
inline constexpr int32_t depth_1 = 1, depth_4 = 4, depth_8 = 8, depth_24 = 24;

enum class write_mode { never, always, interchange_only };
// append_in_interchange: append in interchange mode, truncate in classic mode.
enum class open_mode { truncate, append, append_in_interchange };

struct format_row;

/// One file type: a code for IMGLOW_get_filetype and for saving.
struct file_type {
    int32_t code;
    const char* name; // of the tool's --to
    const char* description;
    save_function* save; // null: never written
    write_mode writes;
    open_mode opens;                // append: an existing file gets another page
    int32_t write_depths;           // sum of depth_…
    int32_t interchange_depths = 0; // sum of what interchange mode adds
};

/// One format: how it is recognised, read and counted.
struct format_row {
    const char* extension;  // detection name, ".tif"
    const char* extensions; // of file names, without dots, usual one first
    open_function* open;    // null: not read
    /// Number of pages, source at the image's start; null: always one page.
    int32_t (*pages)(HFILE file);
    /// File-type code where one format has several, source at the image's start; null: the
    /// code of the format's first type.
    int32_t (*refine)(HFILE file);
    bool multi_page;
    std::span<const file_type> types;
    /// Fills in what IMGX_get_page_info tells of one page, the type included; null: every
    /// page is what refine says.
    int32_t (*describe)(HFILE file, start_value start, IMGX_PAGE_INFO& info) = nullptr;
};

/// All formats, in the order of detection names that the load pipeline compares.
std::span<const format_row> format_table();

/// The row of a file type, null for an unknown code; format gets its format's row if asked.
const file_type* find_file_type(int32_t code, const format_row** format = nullptr);

/// The code that a file name's last three letters choose; -1 when they name none.
int32_t type_from_extension(const char* file_name);

/// Recognises a format by the bytes at the source's position, which ends at 0; null: unknown.
const format_row* get_extension(HFILE file);
