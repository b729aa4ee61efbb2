// tiff_strips.cpp - finds the start of a strip from the StripOffsets entry.

#include "formats/tiff/tiff_strips.h"

#include "core/settings.h"

#include <algorithm>

int32_t tiff_strips::position_tiff_file(uint32_t strip)
{
    uint32_t offset = 0;
    return offset_of(strip, offset) ? source_.seek(offset) : int32_t{err_corrupt};
}

bool tiff_strips::offset_of(uint32_t strip, uint32_t& offset)
{
    // INTENDED: an offset inside the entry is that of every strip, also where the entry holds
    // two SHORTs or several BYTEs. Interchange mode uses both SHORTs.
    if (offsets_.type == type_long && offsets_.count == 1) {
        offset = offsets_.value;
        return true;
    }
    if (offsets_.type == type_byte && offsets_.count < 5) {
        offset = offsets_.value;
        return true;
    }
    if (offsets_.type == type_short && offsets_.count < 3) {
        const bool second = interchange_mode() && offsets_.count == 2 && strip == 1;
        offset = second ? offsets_.value >> 16 : offsets_.value & 0xFFFF;
        return true;
    }
    if (strip >= offsets_.count) return false;
    const uint32_t element_bytes = offsets_.type == type_short ? 2 : 4;
    const bool inside = strip - window_first_ < window_count_;
    if (!inside && !load_window(strip, element_bytes)) return false;
    const uint8_t* element = window_.data() + (strip - window_first_) * element_bytes;
    offset = element_bytes == 2 ? source_.u16(element) : source_.u32(element);
    return true;
}

bool tiff_strips::load_window(uint32_t strip, uint32_t element_bytes)
{
    const uint32_t wanted = std::min(offsets_.count - strip, window_elements);
    const int32_t got =
        source_.read_at(offsets_.value + uint64_t{strip} * element_bytes, window_.data(),
                        static_cast<int32_t>(wanted * element_bytes));
    window_first_ = strip;
    window_count_ = static_cast<uint32_t>(got) / element_bytes;
    return window_count_ > 0;
}
