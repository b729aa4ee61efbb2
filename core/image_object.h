// image_object.h - the record behind an image handle, the table of records, and the lock on
// a record's DIB.
#pragma once

#include "core/codec.h"

/// How IMG_print_bitmap turns grey into dots.
enum class print_dither : int32_t { halftone, ordered, diffusion };

/// One image: a DIB in a movable block and the state to show and print it. The record lies in
/// a movable block of its own that is locked for its whole life.
struct image_object {
    int32_t display_x, display_y, display_width, display_height; // last painted, logical units
    int32_t crop_x, crop_y, crop_width, crop_height;             // pixels, y from the top
    uint32_t reserved;
    HGLOBAL auxiliary_handle;  // second block of some operations; 0: none
    HGLOBAL dib_handle;        // 0 only until a load attaches the DIB
    uint32_t raster_operation; // SRCCOPY at first
    HPALETTE palette;          // made by IMG_bitmap_palette; 0: none
    void* auxiliary;           // locked address of the auxiliary block
    BITMAPINFOHEADER* dib;     // valid only while the DIB is locked
    int32_t width, height;
    uint32_t bytes_per_line;
    uint32_t dither_row;      // phase of the ordered dither of one paint
    int32_t dot_gain;         // print tone: what the printer's ink spreads
    int32_t gamma_hundredths; // print tone: 0 unset
    int32_t brightness;       // print tone: steps of 2 levels
    print_dither dither;
    uint32_t serial;     // no two records of a process share one
    uint32_t dib_serial; // rises when another DIB takes the place of this one
};

/// Takes the lowest free handle and makes its record; err_memory when there is none.
int32_t get_next_dib();

/// Frees record, DIB and palette of a handle.  0, -1 for handle -1, -13 for a dead one or
/// where the DIB cannot be locked.
int32_t delete_image_object(int32_t handle);

/// The record, or null for a handle that names no live record. It may have no DIB yet.
image_object* find_image(int32_t handle);

/// The highest slot in use or free below one in use, plus one.
int32_t image_slot_count();

/// Fills the record from a header and gives it a zero-filled DIB with header and colour
/// table copied. The DIB comes back unlocked.  1, or err_memory.
int32_t attach_dib(image_object& object, const BITMAPINFOHEADER* header);

/// A movable, zero-filled block for a DIB of the header's size, header and colour table
/// copied into it; 0 when the size is impossible or memory ran out.
HGLOBAL allocate_dib(const BITMAPINFOHEADER* header);

/// What becomes of the colour table that the first tone change saved in the auxiliary block.
enum class saved_colors { keep, forget };

/// Puts another DIB, which begins with this header, in place of the present one, which is
/// freed; both must be unlocked. Width, height and bytes per line follow; the crop rectangle
/// is the caller's affair. It cannot fail.
void replace_dib(image_object& object, HGLOBAL block, const BITMAPINFOHEADER& header,
                 saved_colors saved);

/// Locks a handle's DIB as long as it lives and keeps the record's pointer fresh.
class dib_lock {
public:
    explicit dib_lock(int32_t handle);
    ~dib_lock() { unlock(); }
    dib_lock(const dib_lock&) = delete;
    dib_lock& operator=(const dib_lock&) = delete;

    /// 0, err_handle for a dead handle, err_memory where the lock failed.
    int32_t error() const { return error_; }

    image_object* operator->() const { return object_; }
    image_object& object() const { return *object_; }
    BITMAPINFOHEADER* header() const { return object_->dib; }
    RGBQUAD* colors() const { return dib_colors(object_->dib); }
    /// Stored row r, 0 at the bottom of the picture.
    uint8_t* row(int32_t r) const
    {
        return rows_ + static_cast<size_t>(r) * object_->bytes_per_line;
    }

    /// Ends the lock early, for instance before replace_dib.
    void unlock();

protected:
    image_object* object_ = nullptr;

private:
    uint8_t* rows_ = nullptr;
    int32_t error_ = 0;
    bool locked_ = false;
};

/// A lock for work during which client code runs, such as the abort procedure of a print job.
/// The client may delete the image or give it another DIB meanwhile: this keeps the record and
/// the DIB that there were. Such locks end in the reverse order of their beginning.
class lasting_lock : public dib_lock {
public:
    explicit lasting_lock(int32_t handle);
    ~lasting_lock();

    /// True when a lasting lock holds this DIB; that lock frees it then.
    static bool takes_over(HGLOBAL block);

private:
    image_object record_{}; // as it was
    lasting_lock* outer_;
    bool owns_dib_ = false;
    static inline lasting_lock* innermost_ = nullptr;
};

/// Owner of an unattached movable block: locks it on request, frees what is left.
class global_block {
public:
    global_block() = default;
    explicit global_block(HGLOBAL handle) : handle_(handle) {}
    ~global_block() { free(); }
    global_block(const global_block&) = delete;
    global_block& operator=(const global_block&) = delete;

    explicit operator bool() const { return handle_ != nullptr; }
    HGLOBAL handle() const { return handle_; }
    /// Takes over another block.
    void reset(HGLOBAL handle)
    {
        free();
        handle_ = handle;
    }
    /// Null when the lock failed.
    template <class T> T* lock()
    {
        address_ = GlobalLock(handle_);
        return static_cast<T*>(address_);
    }
    void unlock()
    {
        if (address_) GlobalUnlock(handle_);
        address_ = nullptr;
    }
    /// Unlocks and gives the block away.
    HGLOBAL release()
    {
        unlock();
        HGLOBAL handle = handle_;
        handle_ = nullptr;
        return handle;
    }
    /// Gives the block away with its lock.
    HGLOBAL release_locked()
    {
        address_ = nullptr;
        return release();
    }
    void free()
    {
        unlock();
        if (handle_) GlobalFree(handle_);
        handle_ = nullptr;
    }

private:
    HGLOBAL handle_ = nullptr;
    void* address_ = nullptr;
};
