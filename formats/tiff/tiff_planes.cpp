// tiff_planes.cpp - the store of plane rows: a temporary file, or memory.

#include "formats/tiff/tiff_planes.h"

#include "core/settings.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

constexpr char plane_file_name[] = "plane.tmp";

} // namespace

tiff_planes::~tiff_planes()
{
    if (file_ == HFILE_ERROR) return;
    img_close(file_);
    std::remove(plane_file_name);
}

int32_t tiff_planes::open(uint64_t total_bytes)
{
    if (total_bytes > INT32_MAX) return err_memory;
    if (interchange_mode()) {
        if (!memory_.allocate(static_cast<size_t>(total_bytes))) return err_memory;
        return 0;
    }
    file_ = img_stdopen(plane_file_name);
    return file_ == HFILE_ERROR ? int32_t{err_create} : 0;
}

int32_t tiff_planes::append(const uint8_t* row, uint32_t bytes)
{
    if (memory_) {
        if (filled_ + bytes <= memory_.size()) std::memcpy(memory_.bytes() + filled_, row, bytes);
    } else if (img_write_mem(file_, row, static_cast<int32_t>(bytes)) !=
               static_cast<int32_t>(bytes)) {
        return err_write;
    }
    filled_ += bytes;
    return 0;
}

int32_t tiff_planes::read(uint64_t position, uint8_t* row, uint32_t bytes) const
{
    const uint64_t there = position < filled_ ? std::min<uint64_t>(filled_ - position, bytes) : 0;
    std::memset(row + there, 0, static_cast<size_t>(bytes - there));
    if (there == 0) return 0;
    if (memory_) {
        if (position + there > memory_.size()) return err_corrupt;
        std::memcpy(row, memory_.bytes() + position, static_cast<size_t>(there));
        return 0;
    }
    const auto count = static_cast<int32_t>(there);
    img_seek_mem(file_, static_cast<int32_t>(position), seek_from_start);
    return img_read_mem(file_, row, count) == count ? 0 : int32_t{err_corrupt};
}
