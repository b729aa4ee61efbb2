// settings.h - the process-wide settings.
#pragma once

#include "core/image.h"

#include <cstddef>

inline constexpr int32_t img_name_bytes = 200;
inline constexpr int32_t img_date_bytes = 40;

/// Identification text and date for saved files; always ended by a zero inside the buffer,
/// bytes behind it 0.
extern char img_name[img_name_bytes];
extern char img_date[img_date_bytes];

/// Replaces a text by at most size - 1 bytes of another, which need not end with a zero.
void set_img_name(const char* text, size_t text_bytes);
void set_img_date(const char* text, size_t text_bytes);

/// True in interchange mode: standards before classic bytes.
bool interchange_mode();

/// True when colour reduction keeps tones true instead of following the classic arithmetic.
bool true_tones();

/// Calls the status callback, if one is on, for one more row of a picture of this height;
/// a negative result cancels.
int32_t report_row(int32_t height);
