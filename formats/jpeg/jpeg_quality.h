// jpeg_quality.h - the quantisation tables of later saves.
#pragma once

#include <array>
#include <cstdint>

/// The working tables in natural order: quality 50 until jpeg_set_comp_quality is called.
struct jpeg_quantisation {
    std::array<uint8_t, 64> luminance, chrominance;
};
const jpeg_quantisation& jpeg_working_tables();

/// Rescales the working tables; the quality is clamped to 1 to 100.  Returns 0.
int32_t jpeg_set_comp_quality(int32_t quality);
