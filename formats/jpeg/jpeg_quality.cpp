// jpeg_quality.cpp - scaling of the quantisation tables.

#include "formats/jpeg/jpeg_quality.h"

#include "core/image.h"
#include "formats/jpeg/jpeg_tables.h"

#include <algorithm>

namespace {

jpeg_quantisation working = {jpeg_luminance_quantisation, jpeg_chrominance_quantisation};

void scale_table(const std::array<uint8_t, 64>& base, int32_t scale, std::array<uint8_t, 64>& out)
{
    for (size_t i = 0; i < base.size(); ++i)
        out[i] = static_cast<uint8_t>(std::clamp((base[i] * scale + 50) / 100, 1, 255));
}

} // namespace

const jpeg_quantisation& jpeg_working_tables()
{
    return working;
}

int32_t jpeg_set_comp_quality(int32_t quality)
{
    quality = std::clamp(quality, 1, 100);
    const int32_t scale = quality < 50 ? 5000 / quality : 200 - 2 * quality;
    scale_table(jpeg_luminance_quantisation, scale, working.luminance);
    scale_table(jpeg_chrominance_quantisation, scale, working.chrominance);
    return 0;
}

int32_t IMG_STD IMGLOW_set_comp_quality(int32_t quality)
{
    return jpeg_set_comp_quality(quality);
}
