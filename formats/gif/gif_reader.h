// gif_reader.h - GIF 87a and 89a. One picture is read: the first one, in interchange mode
// the one that the page number chooses.
#pragma once

#include "core/codec.h"

open_function open_gif;

/// Pictures in the file in interchange mode; 1 in classic mode, which knows the first only.
int32_t get_gif_pages(HFILE file);
