// print_tone.h - the tone table of printing and of saves.
#pragma once

#include "core/image_object.h"

#include <array>

using tone_table = std::array<uint8_t, 256>;

/// True when a save has to apply the record's tone: gamma or brightness is set.
bool tone_active(const image_object& object);

/// table[v] = 255 (v/255)^(100/gamma) + 2 brightness - dot_gain v (255 - v) / 16256, rounded
/// to nearest and clamped to 0 to 255; a gamma that is not set (0 or less) counts as 100.
tone_table set_gamma(const image_object& object, int32_t dot_gain);

/// Replaces every byte by its table entry.
void gamma_correct(uint8_t* data, const tone_table& table, size_t count);
