// tiff_directory.h - the directories (IFDs) of a TIFF: the chain of them, and one of them as
// a checked page description.
//
// Standard: TIFF 6.0 section 2. Every offset counts from the TIFF header, wherever in the
// source that stands.
#pragma once

#include "core/byte_stream.h"
#include "formats/tiff/tiff_struct.h"

/// A TIFF inside a source.
struct tiff_source {
    HFILE file;
    uint32_t header_offset;
    byte_order order = byte_order::little;

    /// Goes to an offset.  Returns the position in the source, or err_corrupt for one that no
    /// source reaches.
    int32_t seek(uint64_t offset) const;

    /// Reads at an offset.  Returns how many bytes there were, 0 to count.
    int32_t read_at(uint64_t offset, void* destination, int32_t count) const;

    uint16_t u16(const uint8_t* p) const
    {
        return order == byte_order::big ? load_u16be(p) : load_u16le(p);
    }
    uint32_t u32(const uint8_t* p) const
    {
        return order == byte_order::big ? load_u32be(p) : load_u32le(p);
    }
};

enum tiff_type : uint16_t {
    type_byte = 1,
    type_ascii = 2,
    type_short = 3,
    type_long = 4,
    type_rational = 5,
};

/// One entry of a directory, its value field brought into the machine's order.
struct tiff_entry {
    uint16_t tag = 0;
    uint16_t type = 0;
    uint32_t count = 0;
    uint32_t value = 0; // or the offset of the values
};

/// What the reader keeps of a directory.
struct tiff_page {
    tiff_struct description;
    tiff_entry strip_offsets; // tag 273, or 324
    uint32_t header_offset = 0;
    bool tiled = false;
    bool has_photometric = false;
    bool has_t4_options = false;
    uint32_t jpeg_restart_interval = 0;
};

/// A first directory with more entries is none.
inline constexpr uint32_t tiff_most_first_entries = 550;

/// Walks the chain of directories. A chain that runs in a circle is noticed, and one whose
/// directories lie over one another.
class tiff_chain {
public:
    explicit tiff_chain(const tiff_source& source) : source_(source) {}

    /// Steps to the directory at an offset and reads its entries.  Returns 1; 0 where no
    /// directory can be read; err_format for a circle, directories that lie over one another or
    /// cut-off entries; err_memory.
    int32_t load(uint32_t offset);

    /// The same where cut-off entries are no error, for whoever does not ask for them.
    int32_t pass(uint32_t offset);

    uint32_t next_offset() const { return next_offset_; } // 0: the last directory
    /// False where the file ends right behind the entries.
    bool has_next_field() const { return has_next_field_; }
    uint32_t entries() const { return count_; }
    tiff_entry entry(uint32_t index) const;

private:
    int32_t step(uint32_t offset);
    uint32_t directory_bytes() const;

    tiff_source source_;
    scratch_block block_; // the directory as it stands in the file
    uint32_t read_ = 0;   // bytes of it
    uint32_t count_ = 0;
    uint32_t next_offset_ = 0;
    bool has_next_field_ = false;
    uint64_t bytes_ = 0; // of all directories so far
    uint64_t bytes_allowed_ = 0;
    uint64_t steps_ = 0;
    uint64_t mark_step_ = 1; // doubles; the offset at that step is compared with later ones
    uint32_t mark_ = 0;
};

/// Reads the 8-byte header: byte order into the source, offset of the first directory.
/// Returns 0 or err_format. The byte-order word is not checked: anything but "MM" is little.
int32_t tiff_read_header(tiff_source& source, uint32_t& first_ifd, uint16_t& order_word);

/// Finds the directory of a page and leaves it loaded. The texts and dates of all directories
/// on the way become img_name and img_date, the last ones winning.
int32_t tiff_find_page(const tiff_source& source, tiff_chain& chain, uint32_t first_ifd,
                       uint32_t page);

/// The page description of the loaded directory.
tiff_page fill_tiff_struct(const tiff_source& source, const tiff_chain& chain);
