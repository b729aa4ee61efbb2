// load.cpp - the load pipeline: detection, the reader, and the library's own callbacks that
// build the DIB of an image handle.

#include "core/load.h"

#include "core/dib_rows.h"
#include "core/format_table.h"
#include "core/settings.h"

#include <algorithm>
#include <cstring>

namespace {

// What low-level clients get on success: the handle of the last high-level load, a number
// that they must not interpret.
int32_t current_handle = 0;

struct load_request {
    HFILE file;
    int32_t offset;
    int32_t page;
    row_sink sink;
};

load_context& context_of(IMG_PRIVATE value)
{
    return *reinterpret_cast<load_context*>(value);
}

// Offset bits beyond 23 fall into the page, as they always have.
start_value make_start(int32_t offset, int32_t page)
{
    start_value start = static_cast<uint32_t>(offset);
    if (page != 0) start |= static_cast<start_value>(static_cast<uint32_t>(page)) << 24;
    return start;
}

int32_t run_reader(const load_request& request)
{
    if (request.page < 0) return err_page;
    img_seek_mem(request.file, request.offset, seek_from_start);
    const format_row* format = get_extension(request.file);
    if (!format || !format->open) return err_unsupported;
    const int32_t result =
        format->open(make_start(request.offset, request.page), request.sink.put_raster,
                     request.sink.private_data, request.sink.set_header, request.file);
    img_ffree_all();
    return result < 0 ? result : current_handle;
}

int32_t load_image(HFILE file, int32_t offset, int32_t page)
{
    return load_new_image([&](load_context& context) {
        const row_sink sink{raster_to_dib, fill_dib_struct,
                            reinterpret_cast<IMG_PRIVATE>(&context)};
        return run_reader({file, offset, page, sink});
    });
}

// Name to file, for reading only; the position is 0.
HFILE open_for_reading(const char* file_name)
{
    if (!file_name || !*file_name) return HFILE_ERROR;
    OFSTRUCT opened;
    return OpenFile(file_name, &opened, OF_READ);
}

// Type of the image at position start, where detection left the source at 0.
int32_t type_at(HFILE file, int32_t start)
{
    img_seek_mem(file, start, seek_from_start);
    const format_row* format = get_extension(file);
    if (!format) return err_unsupported;
    img_seek_mem(file, start, seek_from_start);
    return format->refine ? format->refine(file) : format->types[0].code;
}

// Pages of the image at position start.
int32_t pages_at(HFILE file, int32_t start)
{
    img_seek_mem(file, start, seek_from_start);
    const format_row* format = get_extension(file);
    if (!format || !format->pages) return 1;
    img_seek_mem(file, start, seek_from_start);
    return format->pages(file);
}

// The record that a load fills; null when a callback has deleted it since.
image_object* loading_object(const load_context& context)
{
    image_object* object = find_image(context.handle);
    return object && object->serial == context.serial ? object : nullptr;
}

// True while the record holds the DIB that the load attached and locked.
bool holds_loaded_dib(const image_object& object, const load_context& context)
{
    return context.dib && object.dib_serial == context.dib_serial;
}

} // namespace

int32_t begin_load(load_context& context)
{
    context.handle = get_next_dib();
    if (context.handle >= 0) context.serial = find_image(context.handle)->serial;
    return context.handle;
}

int32_t end_load(load_context& context, int32_t result)
{
    const image_object* object = loading_object(context);
    if (!object) return result < 0 ? result : err_handle;
    if (holds_loaded_dib(*object, context)) GlobalUnlock(object->dib_handle);
    // A reader that delivered no header made no image.
    if (result >= 0 && !object->dib_handle) result = err_unsupported;
    if (result < 0) {
        delete_image_object(context.handle);
        return result;
    }
    current_handle = context.handle;
    return context.handle;
}

int32_t IMG_C fill_dib_struct(const BITMAPINFOHEADER* header, IMG_PRIVATE private_data)
{
    load_context& context = context_of(private_data);
    image_object* object = loading_object(context);
    if (!object) return err_handle;
    if (object->dib_handle) return err_format; // a reader announces one picture
    if (int32_t err = attach_dib(*object, header); err < 0) return err;
    object->dib = static_cast<BITMAPINFOHEADER*>(GlobalLock(object->dib_handle));
    if (!object->dib) return err_memory;
    context.dib = object->dib;
    context.dib_serial = object->dib_serial;
    context.height = header->biHeight;
    return 1;
}

int32_t IMG_C raster_to_dib(const void* row, IMG_PRIVATE private_data, int32_t row_index,
                            int32_t byte_count)
{
    const load_context& context = context_of(private_data);
    if (int32_t err = report_row(context.height); err < 0) return err;
    // The status callback may have deleted the image or given it another DIB.
    const image_object* object = loading_object(context);
    if (!object || !holds_loaded_dib(*object, context)) return err_handle;
    if (row_index < 0 || row_index >= object->height || byte_count <= 0) return 0;
    const size_t stored_row = static_cast<size_t>(object->height - row_index - 1);
    std::memcpy(dib_rows(context.dib) + stored_row * object->bytes_per_line, row,
                std::min(static_cast<uint32_t>(byte_count), object->bytes_per_line));
    return 0;
}

int32_t IMG_STD IMGLOW_decompress_bitmap(HFILE file, int32_t offset, int32_t page,
                                         IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                                         IMG_SET_HEADER set_header)
{
    if (!put_raster || !set_header) return err_memory;
    io_scope scope;
    return run_reader({file, offset, page, {put_raster, set_header, private_data}});
}

int32_t IMG_STD IMGLOW_decompress_bitmap_mem(const void* address, int32_t page,
                                             IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                                             IMG_SET_HEADER set_header)
{
    if (!address || !put_raster || !set_header) return err_memory;
    io_scope scope;
    reset_mem_io_for_reading(address);
    return run_reader({memory_file, 0, page, {put_raster, set_header, private_data}});
}

int32_t IMG_STD IMGX_stream_bitmap_mem(const void* address, uint32_t size, int32_t page,
                                       IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                                       IMG_SET_HEADER set_header)
{
    if (!address || !put_raster || !set_header) return err_memory;
    io_scope scope;
    reset_mem_io_bounded(address, size);
    return run_reader({memory_file, 0, page, {put_raster, set_header, private_data}});
}

int32_t IMG_STD IMG_decompress_bitmap_fd(HFILE file, int32_t offset, int32_t page)
{
    io_scope scope;
    return load_image(file, offset, page);
}

int32_t IMG_STD IMG_decompress_bitmap(const char* file_name)
{
    const HFILE file = open_for_reading(file_name);
    if (file == HFILE_ERROR) return err_open;
    const int32_t result = IMG_decompress_bitmap_fd(file, 0, 0);
    _lclose(file);
    return result;
}

int32_t IMG_STD IMG_decompress_bitmap_mem(const void* address, int32_t page)
{
    if (!address) return err_memory;
    io_scope scope;
    reset_mem_io_for_reading(address);
    return load_image(memory_file, 0, page);
}

int32_t IMG_STD IMGX_decompress_bitmap_mem(const void* address, uint32_t size, int32_t page)
{
    if (!address) return err_memory;
    io_scope scope;
    reset_mem_io_bounded(address, size);
    return load_image(memory_file, 0, page);
}

int32_t IMG_STD IMGLOW_get_filetype(const char* file_name)
{
    const HFILE file = open_for_reading(file_name);
    if (file == HFILE_ERROR) return err_open;
    const int32_t result = IMGLOW_get_filetype_fd(file);
    _lclose(file);
    return result;
}

int32_t IMG_STD IMGLOW_get_filetype_fd(HFILE file)
{
    io_scope scope;
    return type_at(file, img_tell(file));
}

int32_t IMG_STD IMGX_get_filetype_mem(const void* address, uint32_t size)
{
    if (!address) return err_memory;
    io_scope scope;
    reset_mem_io_bounded(address, size);
    return type_at(memory_file, 0);
}

int32_t IMG_STD IMGLOW_get_pages(const char* file_name)
{
    const HFILE file = open_for_reading(file_name);
    if (file == HFILE_ERROR) return err_open;
    io_scope scope;
    const int32_t result = pages_at(file, 0);
    _lclose(file);
    return result;
}

int32_t IMG_STD IMGX_get_pages_mem(const void* address, uint32_t size)
{
    if (!address) return err_memory;
    io_scope scope;
    reset_mem_io_bounded(address, size);
    return pages_at(memory_file, 0);
}

int32_t IMG_STD IMGX_get_pages_fd(HFILE file)
{
    io_scope scope;
    return pages_at(file, img_tell(file));
}

int32_t IMG_STD IMGX_get_page_info(HFILE file, int32_t offset, int32_t page, IMGX_PAGE_INFO* info)
{
    if (!info) return err_memory;
    *info = {};
    if (page < 0) return err_page;
    io_scope scope;
    img_seek_mem(file, offset, seek_from_start);
    const format_row* format = get_extension(file);
    if (!format) return err_unsupported;
    info->extensions = format->extensions;
    if (format->describe) {
        info->type = format->types[0].code;
        const int32_t result = format->describe(file, make_start(offset, page), *info);
        img_ffree_all();
        return std::min(result, 0);
    }
    info->type = type_at(file, offset);
    return std::min(info->type, 0);
}

int32_t IMG_STD IMG_create_handle(const void* packed_dib)
{
    if (!packed_dib) return err_memory;
    const auto* packed = static_cast<const BITMAPINFOHEADER*>(packed_dib);
    const int32_t height = packed->biHeight;
    if (packed->biSize < sizeof(BITMAPINFOHEADER) || packed->biSize > 4096 ||
        packed->biCompression != BI_RGB)
        return err_unsupported;
    // A negative height means rows stored from the top; they are turned to our order.
    const bool top_down = height < 0;
    const int64_t rows = top_down ? -int64_t{height} : int64_t{height};
    if (!dib_fits(packed->biWidth, rows, packed->biBitCount)) return err_unsupported;

    const auto* colors = static_cast<const uint8_t*>(packed_dib) + packed->biSize;
    const auto table_bytes = static_cast<size_t>(Palette_Size(packed));
    dib_header header;
    header.info = *packed;
    header.info.biSize = sizeof(BITMAPINFOHEADER);
    header.info.biHeight = static_cast<LONG>(rows);
    std::memcpy(header.colors, colors, table_bytes);

    return load_new_image([&](load_context& context) -> int32_t {
        const auto private_data = reinterpret_cast<IMG_PRIVATE>(&context);
        if (int32_t err = fill_dib_struct(&header.info, private_data); err < 0) return err;
        const int32_t stride = size_for_long(header.info.biWidth, header.info.biBitCount);
        const uint8_t* source = colors + table_bytes;
        for (int32_t r = 0; r < header.info.biHeight; ++r, source += stride) {
            const int32_t row_index = top_down ? r : header.info.biHeight - r - 1;
            if (int32_t err = raster_to_dib(source, private_data, row_index, stride); err < 0)
                return err;
        }
        return 1;
    });
}
