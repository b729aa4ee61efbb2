// dcx_reader.cpp - DCX: a table of offsets to complete PCX images. An offset that leads to
// nothing fails its own page only.

#include "formats/pcx/dcx_reader.h"

#include "formats/pcx/dcx_table.h"
#include "formats/pcx/pcx_header.h"
#include "formats/pcx/pcx_reader.h"

#include <algorithm>

namespace {

constexpr uint32_t first_possible_page = 8; // behind the magic number and one entry

} // namespace

int32_t open_dcx(start_value start, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                 IMG_SET_HEADER set_header, HFILE file)
{
    const int32_t base = start_offset(start);
    img_seek_mem(file, base, seek_from_start);
    byte_source in(file);
    if (!in.ok()) return err_memory;
    dcx_table table;
    if (int32_t err = table.read(in); err < 0) return err;
    if (start_page(start) >= static_cast<uint32_t>(table.pages)) return err_page;

    // Offsets count from the start of the DCX data, which need not be the start of the file.
    const uint32_t offset = table.offsets[start_page(start)];
    const int32_t data_end = img_data_end(file);
    const int64_t position = int64_t{base} + offset;
    const int64_t last = data_end < 0 ? INT32_MAX : data_end;
    if (offset < first_possible_page || position > last - int64_t{pcx_header_bytes})
        return err_format;
    int64_t end = table.page_end(offset, data_end < 0 ? -1 : int64_t{data_end} - base);
    if (end >= 0) end = std::min(end + base, last);
    in.seek(static_cast<int32_t>(position));
    return pcx_read_image(in, {static_cast<int32_t>(end), data_end}, pcx_colors_at::pixels_end,
                          {put_raster, set_header, private_data});
}

int32_t get_dcx_pages(HFILE file)
{
    byte_source in(file, 8192);
    if (!in.ok()) return err_memory;
    dcx_table table;
    const int32_t err = table.read(in);
    return err < 0 ? err : table.pages;
}
