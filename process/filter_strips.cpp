// filter_strips.cpp - see filter_strips.h.

#include "process/filter_strips.h"

#include <algorithm>
#include <cstring>

namespace {
constexpr int32_t strip_buffer_bytes = 32768;
}

strip_plan::strip_plan(int32_t stride, int32_t height, int32_t neighbour_slots) : height_(height)
{
    const int32_t fitting = strip_buffer_bytes / stride - neighbour_slots;
    full_ = fitting < 2 ? height : std::min(fitting, height);
    // The last two strips take neighbours from rows that were overwritten before.
    const int32_t last = (height - 1) / full_ * full_;
    kept_[0] = 0;
    kept_[1] = at(last).above;
    kept_[2] = last >= full_ ? at(last - full_).above : no_row;
}

filter_strip strip_plan::at(int32_t first) const
{
    filter_strip s{first, std::min(full_, height_ - first), 0, no_row};
    // A strip of two rows has no third-last one: its slot 0 still holds row 0.
    if (first > 0 && full_ > 2) s.below = first - 3;
    // INTENDED: a single row above the strip is not fetched either.
    if (first + s.count + 1 < height_)
        s.above = first + s.count;
    else if (first > 0)
        s.above = s.count < full_ ? first - full_ + s.count : first;
    return s;
}

int32_t row_window::begin(int32_t stride, const strip_plan& plan)
{
    stride_ = stride;
    plan_ = &plan;
    constexpr int32_t slots = ring_rows + strip_plan::kept_count + 1;
    if (!block_.allocate(size_t(stride) * slots)) return err_memory;
    std::memset(block_.bytes(), 0, block_.size());
    return 0;
}

void row_window::load(int32_t r)
{
    loaded_ = r;
    const uint8_t* row = rows_ + size_t(r) * size_t(stride_);
    std::memcpy(slot(r % ring_rows), row, size_t(stride_));
    for (int32_t k = 0; k < strip_plan::kept_count; ++k)
        if (plan_->kept_row(k) == r) std::memcpy(slot(ring_rows + k), row, size_t(stride_));
}

const uint8_t* row_window::original(int32_t r) const
{
    if (r > loaded_) return rows_ + size_t(r) * size_t(stride_);
    if (r >= 0 && r > loaded_ - ring_rows) return slot(r % ring_rows);
    for (int32_t k = 0; k < strip_plan::kept_count; ++k)
        if (r >= 0 && plan_->kept_row(k) == r) return slot(ring_rows + k);
    return slot(ring_rows + strip_plan::kept_count);
}
