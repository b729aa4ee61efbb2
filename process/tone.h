// tone.h - the contrast and brightness formula.
#pragma once

#include <cstddef>
#include <cstdint>

/// Arguments of the formula  out = (k in >> 8) - contrast + 2 brightness,  clamped to 0..255,
/// k = 2 contrast + 256 masked to 24 bits. Contrasts of -128 to 127 make sense; any other
/// value is computed in 64 bits and clamped.
struct tone_curve {
    tone_curve(int32_t contrast, int32_t brightness)
        : factor((2 * int64_t{contrast} + 256) & 0xFFFFFF),
          offset(2 * int64_t{brightness} - contrast)
    {
    }

    uint8_t at(uint8_t in) const
    {
        const int64_t out = (factor * in >> 8) + offset;
        return static_cast<uint8_t>(out < 0 ? 0 : out > 255 ? 255 : out);
    }

    int64_t factor; // 0 to 0xFFFFFF
    int64_t offset;
};

/// Replaces every byte by its tone.
void apply_tone(uint8_t* bytes, size_t count, const tone_curve& curve);

/// Flips every bit.
void invert_bytes(uint8_t* bytes, size_t count);
