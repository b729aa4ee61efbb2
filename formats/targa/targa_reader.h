// targa_reader.h - Truevision Targa: uncompressed and run-length, 8 bits with or without a
// colour map, 15, 16, 24 and 32 bits.
#pragma once

#include "core/codec.h"

open_function open_tga;
