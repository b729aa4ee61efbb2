// image_table.cpp - the table of images: handles, records, DIBs.

#include "core/image_object.h"
#include "core/slot_map.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

// The table `dis`: a null pointer marks a free handle. Slots from count on are free too but
// not counted; the count falls when the highest images go.
struct image_table {
    image_object** dis = nullptr;
    uint32_t capacity = 0;
    uint32_t count = 0;
    HGLOBAL block = nullptr;
    slot_map slots;
};

image_table table;

// Growth by doubling keeps a million handles linear. On failure the old table stays.
bool table_grow()
{
    const uint32_t capacity = table.capacity ? table.capacity * 2 : 64;
    if (!table.slots.reserve(capacity)) return false;
    HGLOBAL block = GlobalAlloc(GHND, size_t{capacity} * sizeof(image_object*));
    if (!block) return false;
    auto** grown = static_cast<image_object**>(GlobalLock(block));
    if (!grown) {
        GlobalFree(block);
        return false;
    }
    if (table.block) {
        std::memcpy(grown, table.dis, table.count * sizeof(image_object*));
        GlobalUnlock(table.block);
        GlobalFree(table.block);
    }
    table.dis = grown;
    table.block = block;
    table.capacity = capacity;
    return true;
}

void table_free()
{
    GlobalUnlock(table.block);
    GlobalFree(table.block);
    table.dis = nullptr;
    table.block = nullptr;
    table.capacity = 0;
    table.slots.clear();
}

// Lowers the count past every free slot at the end; without images the table goes too.
void table_trim()
{
    while (table.count > 0 && !table.dis[table.count - 1])
        --table.count;
    if (table.count == 0 && table.block) table_free();
}

image_object* record_create()
{
    HGLOBAL handle = GlobalAlloc(GHND, sizeof(image_object));
    if (!handle) return nullptr;
    auto* record = static_cast<image_object*>(GlobalLock(handle));
    if (!record) {
        GlobalFree(handle);
        return nullptr;
    }
    static uint32_t last_serial = 0;
    record->serial = ++last_serial;
    return record;
}

void record_destroy(image_object* record)
{
    HGLOBAL handle = GlobalHandle(record);
    GlobalUnlock(handle);
    GlobalFree(handle);
}

void free_dib(HGLOBAL block)
{
    if (!lasting_lock::takes_over(block)) GlobalFree(block);
}

void free_auxiliary(image_object& object)
{
    if (object.auxiliary_handle && object.auxiliary) {
        GlobalUnlock(object.auxiliary_handle);
        GlobalFree(object.auxiliary_handle);
    }
    object.auxiliary_handle = nullptr;
    object.auxiliary = nullptr;
}

} // namespace

int32_t get_next_dib()
{
    uint32_t slot = table.slots.lowest_free();
    if (slot >= table.capacity && !table_grow()) return err_memory;
    slot = table.slots.lowest_free();
    if (slot > INT32_MAX) return err_memory;
    image_object* record = record_create();
    if (!record) {
        table_trim();
        return err_memory;
    }
    table.dis[slot] = record;
    table.slots.take(slot);
    table.count = std::max(table.count, slot + 1);
    return static_cast<int32_t>(slot);
}

image_object* find_image(int32_t handle)
{
    if (handle < 0 || static_cast<uint32_t>(handle) >= table.count) return nullptr;
    return table.dis[handle];
}

int32_t image_slot_count()
{
    return static_cast<int32_t>(table.count);
}

int32_t delete_image_object(int32_t handle)
{
    if (handle == -1) return err_memory;
    image_object* object = find_image(handle);
    if (!object) return err_handle;
    if (object->dib_handle) {
        if (!GlobalLock(object->dib_handle)) return err_handle;
        GlobalUnlock(object->dib_handle);
        free_dib(object->dib_handle);
    }
    if (object->palette) DeleteObject(object->palette);
    // A saved block would be out of the client's reach from here on.
    free_auxiliary(*object);
    record_destroy(object);
    table.dis[handle] = nullptr;
    table.slots.release(static_cast<uint32_t>(handle));
    table_trim();
    return 0;
}

HGLOBAL allocate_dib(const BITMAPINFOHEADER* header)
{
    if (!dib_fits(header->biWidth, header->biHeight, header->biBitCount)) return nullptr;
    const auto stride = static_cast<size_t>(size_for_long(header->biWidth, header->biBitCount));
    const auto rows = (static_cast<size_t>(header->biHeight) + 3) & ~size_t{3};
    const size_t head = sizeof(BITMAPINFOHEADER) + static_cast<size_t>(Palette_Size(header));
    HGLOBAL block = GlobalAlloc(GHND, head + stride * rows);
    if (!block) return nullptr;
    void* address = GlobalLock(block);
    if (!address) {
        GlobalFree(block);
        return nullptr;
    }
    std::memcpy(address, header, head);
    GlobalUnlock(block);
    return block;
}

int32_t attach_dib(image_object& object, const BITMAPINFOHEADER* header)
{
    HGLOBAL block = allocate_dib(header);
    if (!block) return err_memory;
    object.crop_x = object.crop_y = 0;
    object.crop_width = object.width = header->biWidth;
    object.crop_height = object.height = header->biHeight;
    object.raster_operation = SRCCOPY;
    object.palette = nullptr;
    object.reserved = 0;
    object.auxiliary_handle = nullptr;
    object.auxiliary = nullptr;
    object.bytes_per_line =
        static_cast<uint32_t>(size_for_long(header->biWidth, header->biBitCount));
    object.dib_handle = block;
    object.dib = nullptr;
    return 1;
}

void replace_dib(image_object& object, HGLOBAL block, const BITMAPINFOHEADER& header,
                 saved_colors saved)
{
    if (object.dib_handle) free_dib(object.dib_handle);
    if (saved == saved_colors::forget) free_auxiliary(object);
    object.dib_handle = block;
    ++object.dib_serial; // the handle alone tells nothing: it may be one used before
    object.dib = nullptr;
    object.width = header.biWidth;
    object.height = header.biHeight;
    object.bytes_per_line = static_cast<uint32_t>(size_for_long(header.biWidth, header.biBitCount));
}

dib_lock::dib_lock(int32_t handle) : object_(find_image(handle))
{
    if (!object_ || !object_->dib_handle) {
        error_ = err_handle;
        return;
    }
    object_->dib = static_cast<BITMAPINFOHEADER*>(GlobalLock(object_->dib_handle));
    if (!object_->dib) {
        error_ = err_memory;
        return;
    }
    rows_ = dib_rows(object_->dib);
    locked_ = true;
}

void dib_lock::unlock()
{
    if (locked_) GlobalUnlock(object_->dib_handle);
    locked_ = false;
}

lasting_lock::lasting_lock(int32_t handle) : dib_lock(handle), outer_(innermost_)
{
    if (error()) return;
    record_ = *object_;
    object_ = &record_;
    innermost_ = this;
}

lasting_lock::~lasting_lock()
{
    if (error()) return;
    unlock();
    innermost_ = outer_;
    if (owns_dib_) free_dib(record_.dib_handle);
}

bool lasting_lock::takes_over(HGLOBAL block)
{
    for (lasting_lock* lock = innermost_; lock; lock = lock->outer_)
        if (lock->record_.dib_handle == block) return lock->owns_dib_ = true;
    return false;
}
