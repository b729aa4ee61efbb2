// type_table.h - the library's table of file types, as the tool needs it.
#pragma once

#include "core/image.h"

#include <optional>
#include <string>
#include <vector>

/// All rows of the table, in the order of their codes.
const std::vector<IMGX_TYPE_INFO>& all_types();

/// The row of a code, null for an unknown one.
const IMGX_TYPE_INFO* type_of_code(int32_t code);

/// By name ("tiff-g4") or code ("10"); null for neither.
const IMGX_TYPE_INFO* type_of_text(const std::string& text);

/// The first type that a file name's extension chooses and that can be written now.
const IMGX_TYPE_INFO* type_of_file_name(const std::string& name);

/// What the present mode, classic or interchange, allows.
bool can_write(const IMGX_TYPE_INFO& type);
bool can_add_pages(const IMGX_TYPE_INFO& type);

/// The depths of 1, 4, 8 and 24 that a type can be written with, lowest first.
std::vector<int32_t> depths_of(const IMGX_TYPE_INFO& type);

/// The usual extension, without a dot: the first of a list with spaces between.
std::string first_word(const std::string& extensions);
std::string usual_extension(const IMGX_TYPE_INFO& type);

/// Sets the mode for this process: files for other programs and true tones, or the library's
/// classic bytes and tones.
void use_classic_mode(bool classic);
