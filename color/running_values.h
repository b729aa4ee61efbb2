// running_values.h - what error diffusion does with running values below zero.
#pragma once

#include "core/settings.h"

/// INTENDED: in the classic operations a running value below zero wraps in 16 bits, reads as a
/// large number and turns white. True tones and printing keep the sign.
enum class running_values { wrap, keep_sign };

/// How the exported diffusions do it at present.
inline running_values present_running_values()
{
    return true_tones() ? running_values::keep_sign : running_values::wrap;
}
