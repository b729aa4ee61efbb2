// gif_writer.h - one picture as GIF87a: 4 and 8 bits, in interchange mode 1 bit too.
#pragma once

#include "core/codec.h"

save_function save_gif_file;
