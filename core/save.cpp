// save.cpp - the save pipeline: the writer for a type, and rows from an image's crop
// rectangle.

#include "core/format_table.h"
#include "core/image_object.h"
#include "core/print_tone.h"
#include "core/settings.h"

#include <algorithm>
#include <cstring>

namespace {

// The private value of get_save_raster.
struct save_context {
    int32_t handle;
    int64_t first_byte; // of crop row 0, from the first stored row
    int64_t stride;
    const tone_table* tone; // applied to every byte of a row; null: none
};

// Which edge a crop rectangle's y is measured from. INTENDED: saves to a file count from
// the top, saves of an image to memory from the bottom.
enum class crop_origin { top, bottom };

struct crop_area {
    int32_t x, y, width, height; // y from the top
};

// The crop rectangle as far as it lies on the image; false when nothing of it does.
bool clip_crop(const image_object& object, crop_origin origin, crop_area& area)
{
    const int64_t top = origin == crop_origin::top
                            ? int64_t{object.crop_y}
                            : int64_t{object.height} - object.crop_height - object.crop_y;
    const int64_t left = std::max<int64_t>(object.crop_x, 0);
    const int64_t right =
        std::min<int64_t>(int64_t{object.crop_x} + object.crop_width, object.width);
    const int64_t first = std::max<int64_t>(top, 0);
    const int64_t last = std::min<int64_t>(top + object.crop_height, object.height);
    if (left >= right || first >= last) return false;
    area = {static_cast<int32_t>(left), static_cast<int32_t>(first),
            static_cast<int32_t>(right - left), static_cast<int32_t>(last - first)};
    return true;
}

// INTENDED: a 1- or 4-bit crop whose x lies inside a byte starts with the next byte, so the
// last columns of a row can come from the bytes behind it, the next picture row up. Bytes
// outside the pixel area count as 0.
void copy_clipped(const dib_lock& image, int64_t from, uint8_t* to, int64_t count)
{
    const int64_t area = int64_t{image->bytes_per_line} * image->height;
    const int64_t begin = std::clamp<int64_t>(from, 0, area);
    const int64_t end = std::clamp<int64_t>(from + count, begin, area);
    if (end - begin != count) std::memset(to, 0, static_cast<size_t>(count));
    if (begin < end)
        std::memcpy(to + (begin - from), image.row(0) + begin, static_cast<size_t>(end - begin));
}

int32_t IMG_C get_save_raster(IMG_PRIVATE private_data, void* destination, int32_t row_index,
                              int32_t byte_count)
{
    const auto& context = *reinterpret_cast<const save_context*>(private_data);
    if (byte_count <= 0) return 0;
    const image_object* object = find_image(context.handle);
    if (!object) return err_handle;
    if (int32_t err = report_row(object->height); err < 0) return err;
    // Looked up anew: the status callback may have changed or deleted the image.
    dib_lock image(context.handle);
    if (image.error()) return image.error();
    auto* to = static_cast<uint8_t*>(destination);
    copy_clipped(image, context.first_byte - row_index * context.stride, to, byte_count);
    if (context.tone) gamma_correct(to, *context.tone, static_cast<size_t>(byte_count));
    return 0;
}

int32_t run_writer(HFILE file, const BITMAPINFOHEADER* header, int32_t type,
                   const row_source& source)
{
    const file_type* row = find_file_type(type);
    if (!row || !row->save || row->writes == write_mode::never) return err_unsupported;
    if (row->writes == write_mode::interchange_only && !interchange_mode()) return err_unsupported;
    if (!dib_fits(1, 1, header->biBitCount)) return err_unsupported;
    if (!dib_fits(header->biWidth, header->biHeight, header->biBitCount)) return err_memory;
    // A client may use its header for something else while it is asked for rows, and writers
    // size their buffers once.
    dib_header own;
    std::memcpy(&own, header, sizeof(BITMAPINFOHEADER) + static_cast<size_t>(Palette_Size(header)));
    const int32_t result = row->save(file, &own.info, source.get_raster, source.private_data);
    img_ffree_all();
    return result;
}

// Everything that a writer needs of an image, taken while the image is locked.
struct save_request {
    dib_header header;
    save_context context;
    tone_table tone;
};

int32_t prepare_save(int32_t handle, crop_origin origin, save_request& request)
{
    dib_lock image(handle);
    if (image.error()) return image.error();
    crop_area area;
    if (!clip_crop(image.object(), origin, area)) return err_memory;

    const auto table_bytes = static_cast<size_t>(Palette_Size(image.header()));
    std::memcpy(&request.header, image.header(), sizeof(BITMAPINFOHEADER) + table_bytes);
    request.header.info.biWidth = area.width;
    request.header.info.biHeight = area.height;

    request.context.handle = handle;
    int32_t x = area.x, y = area.y, stride;
    const int32_t lowest = get_crop_start(image.header(), &x, &y, area.width, area.height, &stride);
    request.context.stride = stride;
    request.context.first_byte = int64_t{lowest + area.height - 1} * stride + x;
    request.context.tone = nullptr;
    if (origin == crop_origin::bottom || !tone_active(image.object())) return 0;

    // Dot gain is what a printer's ink does to the picture, so it stays out of a file.
    request.tone = set_gamma(image.object(), 0);
    if (image.header()->biBitCount == 24)
        request.context.tone = &request.tone;
    else
        gamma_correct(reinterpret_cast<uint8_t*>(request.header.colors), request.tone, table_bytes);
    return 0;
}

int32_t save_image(int32_t handle, HFILE file, int32_t type, crop_origin origin)
{
    save_request request;
    if (int32_t err = prepare_save(handle, origin, request); err < 0) return err;
    return run_writer(file, &request.header.info, type,
                      {get_save_raster, reinterpret_cast<IMG_PRIVATE>(&request.context)});
}

bool appends(const file_type& type)
{
    return type.opens == open_mode::append ||
           (type.opens == open_mode::append_in_interchange && interchange_mode());
}

// Types that hold pages open what is there, so that the writer adds one; the others, and
// unknown types, start afresh.
HFILE open_for_saving(const char* file_name, int32_t type)
{
    OFSTRUCT opened;
    const file_type* row = find_file_type(type);
    if (row && appends(*row) && OpenFile(file_name, &opened, OF_EXIST) != HFILE_ERROR)
        return OpenFile(file_name, &opened, OF_READWRITE);
    return OpenFile(file_name, &opened, OF_CREATE);
}

} // namespace

int32_t IMG_STD IMG_save_bitmap(int32_t handle, const char* file_name, int32_t type)
{
    const image_object* object = find_image(handle);
    if (!object || !object->dib_handle) return err_handle;
    if (!file_name || !*file_name) return err_create;
    if (type == -1) type = type_from_extension(file_name);
    const HFILE file = open_for_saving(file_name, type);
    if (file == HFILE_ERROR) return err_create;
    int32_t result = IMG_save_bitmap_fd(handle, file, type);
    // Some file systems tell only now that the disk was full.
    if (_lclose(file) != 0 && result >= 0) result = err_write;
    return result;
}

int32_t IMG_STD IMG_save_bitmap_fd(int32_t handle, HFILE file, int32_t type)
{
    io_scope scope;
    return save_image(handle, file, type, crop_origin::top);
}

int32_t IMG_STD IMG_save_bitmap_mem(int32_t handle, void* address, int32_t type)
{
    if (!find_image(handle)) return err_handle;
    if (!address) return err_memory;
    io_scope scope;
    reset_mem_io_for_writing(address);
    return std::min(save_image(handle, memory_file, type, crop_origin::bottom), 0);
}

int32_t IMG_STD IMGX_save_bitmap_mem(int32_t handle, void* address, uint32_t capacity, int32_t type)
{
    if (!find_image(handle)) return err_handle;
    if (!address) return err_memory;
    io_scope scope;
    reset_mem_io_bounded(address, capacity);
    const int32_t result = save_image(handle, memory_file, type, crop_origin::bottom);
    return result < 0 ? result : img_tell(memory_file);
}

int32_t IMG_STD IMGLOW_save_bitmap(HFILE file, const BITMAPINFOHEADER* header, int32_t type,
                                   IMG_GET_RASTER get_raster, IMG_PRIVATE private_data)
{
    if (!header || !get_raster) return err_memory;
    io_scope scope;
    return run_writer(file, header, type, {get_raster, private_data});
}

int32_t IMG_STD IMGLOW_save_bitmap_mem(void* address, const BITMAPINFOHEADER* header, int32_t type,
                                       IMG_GET_RASTER get_raster, IMG_PRIVATE private_data)
{
    if (!address || !header || !get_raster) return err_memory;
    io_scope scope;
    reset_mem_io_for_writing(address);
    return std::min(run_writer(memory_file, header, type, {get_raster, private_data}), 0);
}
