// targa_writer.h - Targa of 8 bits, grey or colour-mapped, and 24 bits.
#pragma once

#include "core/codec.h"

save_function save_tga_file;
