// settings.h - process-wide settings that a test changes and its end puts back.
#pragma once

#include "core/image.h"

struct interchange {
    explicit interchange(bool on = true) { IMGX_set_interchange(on); }
    ~interchange() { IMGX_set_interchange(0); }
    interchange(const interchange&) = delete;
    interchange& operator=(const interchange&) = delete;
};

struct quality {
    explicit quality(int32_t q) { IMGLOW_set_comp_quality(q); }
    ~quality() { IMGLOW_set_comp_quality(50); }
    quality(const quality&) = delete;
    quality& operator=(const quality&) = delete;
};
