// memory_tiff.h - lets libtiff read and write a file that stands in memory.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <tiffio.h>
#include <vector>

/// A file in memory for libtiff.
struct memory_tiff {
    std::vector<uint8_t> bytes;
    size_t position = 0;

    static tmsize_t read(thandle_t self, void* to, tmsize_t count)
    {
        auto& m = *static_cast<memory_tiff*>(self);
        const size_t got = std::min(static_cast<size_t>(count),
                                    m.bytes.size() - std::min(m.position, m.bytes.size()));
        std::memcpy(to, m.bytes.data() + m.position, got);
        m.position += got;
        return static_cast<tmsize_t>(got);
    }
    static tmsize_t write(thandle_t self, void* from, tmsize_t count)
    {
        auto& m = *static_cast<memory_tiff*>(self);
        const size_t end = m.position + static_cast<size_t>(count);
        if (m.bytes.size() < end) m.bytes.resize(end);
        std::memcpy(m.bytes.data() + m.position, from, static_cast<size_t>(count));
        m.position = end;
        return count;
    }
    static toff_t seek(thandle_t self, toff_t offset, int whence)
    {
        auto& m = *static_cast<memory_tiff*>(self);
        if (whence == SEEK_CUR) offset += m.position;
        if (whence == SEEK_END) offset += m.bytes.size();
        m.position = offset;
        return offset;
    }
    static int close(thandle_t) { return 0; }
    static toff_t size(thandle_t self) { return static_cast<memory_tiff*>(self)->bytes.size(); }
    TIFF* open(const char* mode)
    {
        position = 0;
        return TIFFClientOpen("memory", mode, this, read, write, seek, close, size, nullptr,
                              nullptr);
    }
};
