// print_tone.cpp - the tone table of printing and of saves.

#include "core/print_tone.h"

#include <algorithm>
#include <cmath>

bool tone_active(const image_object& object)
{
    return object.gamma_hundredths != 0 || object.brightness != 0;
}

tone_table set_gamma(const image_object& object, int32_t dot_gain)
{
    const double gamma = object.gamma_hundredths > 0 ? object.gamma_hundredths : 100;
    tone_table table{};
    for (int32_t v = 0; v < 256; ++v) {
        const double value = 255.0 * std::pow(v / 255.0, 100.0 / gamma) + 2.0 * object.brightness -
                             double{static_cast<double>(dot_gain)} * v * (255 - v) / 16256.0;
        table[static_cast<size_t>(v)] =
            static_cast<uint8_t>(std::floor(std::clamp(value, 0.0, 255.0) + 0.5));
    }
    return table;
}

void gamma_correct(uint8_t* data, const tone_table& table, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        data[i] = table[data[i]];
}
