// dcx_writer.cpp - new DCX files and further pages. The full table of 1024 entries stands in
// front, so that a page can always be added; its entry is written last, so that a save that
// fails leaves the file with the pages that it had.

#include "formats/pcx/dcx_writer.h"

#include "formats/pcx/dcx_table.h"
#include "formats/pcx/pcx_writer.h"

#include <algorithm>

namespace {

class dcx_writer {
public:
    dcx_writer(HFILE file, const BITMAPINFOHEADER* header, const row_source& source)
        : file_(file), header_(header), source_(source)
    {
    }

    int32_t write()
    {
        // Memory has no length before it is written, so there a file always starts anew.
        const int32_t length = img_filelength(file_);
        const bool fresh = length == 0;
        if (int32_t err = fresh ? start() : open_table(length); err < 0) return err;
        if (int32_t err = append_page(); err < 0) return err;
        return write_table();
    }

private:
    int32_t start()
    {
        end_ = dcx_table_bytes;
        return write_table();
    }

    int32_t open_table(int32_t length)
    {
        if (length < 0) return err_write;
        end_ = length;
        img_seek_mem(file_, 0, seek_from_start);
        byte_source in(file_, 8192);
        if (!in.ok()) return err_memory;
        if (int32_t err = table_.read(in); err < 0) return err;
        if (table_.pages >= dcx_most_pages) return err_page;
        return make_room();
    }

    // Other programs write tables that are only as long as they need. The pages that begin
    // where the full table will lie are copied to the end of the file first.
    int32_t make_room()
    {
        const dcx_table before = table_;
        const int64_t length = end_;
        end_ = std::max<int64_t>(end_, dcx_table_bytes);
        for (int32_t i = 0; i < table_.pages; ++i) {
            const uint32_t offset = before.offsets[i];
            if (offset >= static_cast<uint32_t>(dcx_table_bytes)) continue;
            // Entries that share a page go on sharing it.
            const uint32_t* same = std::find(before.offsets, before.offsets + i, offset);
            if (same != before.offsets + i) {
                table_.offsets[i] = table_.offsets[same - before.offsets];
                continue;
            }
            table_.offsets[i] = static_cast<uint32_t>(end_);
            if (int32_t err = copy_to_end(offset, before.page_end(offset, length)); err < 0)
                return err;
        }
        return 0;
    }

    int32_t copy_to_end(int64_t from, int64_t to)
    {
        constexpr int32_t piece_bytes = 65536;
        scratch_block piece(piece_bytes);
        if (!piece) return err_memory;
        while (from < to) {
            const auto count = static_cast<int32_t>(std::min<int64_t>(to - from, piece_bytes));
            if (end_ + count > INT32_MAX) return err_write;
            img_seek_mem(file_, static_cast<int32_t>(from), seek_from_start);
            if (img_read_mem(file_, piece.bytes(), count) != count) return err_format;
            img_seek_mem(file_, static_cast<int32_t>(end_), seek_from_start);
            if (img_write_mem(file_, piece.bytes(), count) != count) return err_write;
            from += count;
            end_ += count;
        }
        return 0;
    }

    int32_t append_page()
    {
        img_seek_mem(file_, static_cast<int32_t>(end_), seek_from_start);
        if (int32_t err = pcx_write_image(file_, header_, source_); err < 0) return err;
        table_.offsets[table_.pages++] = static_cast<uint32_t>(end_);
        end_ = img_tell(file_);
        return end_ < 0 ? err_write : 0;
    }

    // Leaves the position at the end of the file, which is where a memory save looks for its
    // size.
    int32_t write_table()
    {
        uint8_t bytes[dcx_table_bytes] = {};
        store_u32le(bytes, dcx_magic);
        for (int32_t i = 0; i < table_.pages; ++i)
            store_u32le(bytes + 4 + 4 * i, table_.offsets[i]);
        img_seek_mem(file_, 0, seek_from_start);
        if (img_write_mem(file_, bytes, dcx_table_bytes) != dcx_table_bytes) return err_write;
        img_seek_mem(file_, static_cast<int32_t>(end_), seek_from_start);
        return 0;
    }

    HFILE file_;
    const BITMAPINFOHEADER* header_;
    row_source source_;
    dcx_table table_;
    int64_t end_ = 0; // where the file's data end
};

} // namespace

int32_t save_dcx_file(HFILE file, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data)
{
    return dcx_writer(file, header, {get_raster, private_data}).write();
}
