// image_access.cpp - the exported accessors of an image and of the settings.

#include "core/image_object.h"
#include "core/settings.h"

#include <algorithm>
#include <cstring>

namespace {

struct status_callback {
    IMG_PRIVATE client_value = 0;
    IMG_STATUS callback = nullptr;
    bool enabled = false;
};

status_callback status;
bool interchange = false;
bool tones_are_true = false;

void set_text(char* to, size_t to_bytes, const char* text, size_t text_bytes)
{
    const size_t length = strnlen(text, std::min(text_bytes, to_bytes - 1));
    // Through a buffer: the text may be the very one that is replaced.
    char copy[img_name_bytes] = {};
    std::memcpy(copy, text, length);
    std::memcpy(to, copy, to_bytes);
}

template <class T> void put_out(T* out, T value)
{
    if (out) *out = value;
}

} // namespace

char img_name[img_name_bytes] = "Trevolan imaging library 4.0";
char img_date[img_date_bytes] = "11-24-1992";

void set_img_name(const char* text, size_t text_bytes)
{
    set_text(img_name, sizeof img_name, text, text_bytes);
}

void set_img_date(const char* text, size_t text_bytes)
{
    set_text(img_date, sizeof img_date, text, text_bytes);
}

bool interchange_mode()
{
    return interchange;
}

bool true_tones()
{
    return tones_are_true;
}

int32_t report_row(int32_t height)
{
    return status.enabled && status.callback ? status.callback(status.client_value, height) : 0;
}

int32_t IMG_STD IMGX_set_interchange(int32_t enable)
{
    const int32_t previous = interchange;
    interchange = enable != 0;
    return previous;
}

int32_t IMG_STD IMGX_set_true_tones(int32_t enable)
{
    const int32_t previous = tones_are_true;
    tones_are_true = enable != 0;
    return previous;
}

int32_t IMG_STD IMG_set_statusbar(IMG_PRIVATE client_value, IMG_STATUS callback, int32_t enable)
{
    if (enable) {
        status.client_value = client_value;
        status.callback = callback;
    }
    status.enabled = enable != 0;
    return 0;
}

int32_t IMG_STD IMGLOW_get_bitmap_name(char* name, char* date)
{
    // Only the texts: a client that knows its date may give little more than room for it.
    if (name) std::memcpy(name, img_name, std::strlen(img_name) + 1);
    if (date) std::memcpy(date, img_date, std::strlen(img_date) + 1);
    return 0;
}

int32_t IMG_STD IMGLOW_set_bitmap_name(const char* name, const char* date)
{
    if (name) set_img_name(name, SIZE_MAX);
    if (date) set_img_date(date, SIZE_MAX);
    return 0;
}

int32_t IMG_STD IMG_delete_bitmap(int32_t handle)
{
    return delete_image_object(handle);
}

int32_t IMG_STD IMG_bitmap_info(int32_t handle, int32_t* width, int32_t* height,
                                int32_t* bits_per_pixel)
{
    dib_lock image(handle);
    if (image.error()) return err_handle;
    put_out(width, int32_t{image.header()->biWidth});
    put_out(height, int32_t{image.header()->biHeight});
    put_out(bits_per_pixel, int32_t{image.header()->biBitCount});
    // The DIB's memory handle, which is small and positive on every system.
    return static_cast<int32_t>(reinterpret_cast<intptr_t>(image->dib_handle));
}

int32_t IMG_STD IMGLOW_get_bitmap_header(int32_t handle, void* buffer)
{
    dib_lock image(handle);
    if (image.error()) return err_handle;
    if (!buffer) return err_memory;
    std::memcpy(buffer, image.header(),
                sizeof(BITMAPINFOHEADER) + static_cast<size_t>(Palette_Size(image.header())));
    return 0;
}

int32_t IMG_STD IMG_get_croprect(int32_t handle, int32_t* x, int32_t* y, int32_t* width,
                                 int32_t* height)
{
    const image_object* object = find_image(handle);
    if (!object) return err_handle;
    put_out(x, object->crop_x);
    put_out(y, object->crop_y);
    put_out(width, object->crop_width);
    put_out(height, object->crop_height);
    return 0;
}

int32_t IMG_STD IMG_set_croprect(int32_t handle, int32_t x, int32_t y, int32_t width,
                                 int32_t height)
{
    image_object* object = find_image(handle);
    if (!object) return err_handle;
    object->crop_x = x;
    object->crop_y = y;
    object->crop_width = width;
    object->crop_height = height;
    return 0;
}

int32_t IMG_STD IMGLOW_set_rop(int32_t handle, uint32_t rop)
{
    image_object* object = find_image(handle);
    if (!object) return err_handle;
    object->raster_operation = rop;
    return 0;
}

int32_t IMG_STD IMGX_set_print_dither(int32_t handle, int32_t dither)
{
    image_object* object = find_image(handle);
    if (!object) return err_handle;
    if (dither < 0 || dither > static_cast<int32_t>(print_dither::diffusion))
        return err_unsupported;
    object->dither = static_cast<print_dither>(dither);
    return 0;
}

int32_t IMG_STD IMGX_set_print_tone(int32_t handle, int32_t dot_gain, int32_t gamma,
                                    int32_t brightness)
{
    image_object* object = find_image(handle);
    if (!object) return err_handle;
    object->dot_gain = dot_gain;
    object->gamma_hundredths = gamma;
    object->brightness = brightness;
    return 0;
}
