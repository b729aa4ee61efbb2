// rotate.cpp - quarter and half turns.
//
// A quarter turn is a transposition about the anti-diagonal followed by a mirror, done in
// one pass. INTENDED: every angle but 90, 180 and 270 stops after the transposition, so a
// turn by 0 or by 45 gives the picture mirrored about its anti-diagonal.

#include "core/image.h"
#include "core/new_dib.h"
#include "process/crop_turns.h"
#include "process/flip.h"
#include "process/transpose.h"

#include <utility>

void transpose_crop(image_object& object)
{
    std::swap(object.crop_x, object.crop_y);
    std::swap(object.crop_width, object.crop_height);
    object.display_width = object.crop_width;
    object.display_height = object.crop_height;
    mirror_crop_x(object);
    mirror_crop_y(object);
}

namespace {

enum class mirror_after { none, left_right, top_bottom };

transposition make_transposition(const dib_lock& image, const new_dib& target, mirror_after mirror)
{
    const ptrdiff_t from_stride = image->bytes_per_line;
    const ptrdiff_t to_stride = target.stride();
    // Mirroring the result left to right is reading the source from its other end.
    if (mirror == mirror_after::left_right)
        return {image.row(image->height - 1),
                -from_stride,
                target.row(0),
                to_stride,
                image->width,
                image->height};
    if (mirror == mirror_after::top_bottom)
        return {image.row(0), from_stride,  target.row(image->width - 1),
                -to_stride,   image->width, image->height};
    return {image.row(0), from_stride, target.row(0), to_stride, image->width, image->height};
}

int32_t turn(int32_t handle, mirror_after mirror)
{
    dib_lock image(handle);
    if (image.error()) return image.error();
    const int32_t bits = image.header()->biBitCount;
    new_dib target(image.header());
    target.set_size(image->height, image->width, bits);
    if (int32_t err = target.create(); err < 0) return err;
    rotate_dib_low(make_transposition(image, target, mirror), bits);
    target.install(image, saved_colors::keep);
    transpose_crop(image.object());
    if (mirror == mirror_after::left_right) mirror_crop_x(image.object());
    if (mirror == mirror_after::top_bottom) mirror_crop_y(image.object());
    return 0;
}

int32_t rotate_bitmap(int32_t handle, int32_t degrees)
{
    switch (degrees) {
    case 90: return turn(handle, mirror_after::top_bottom);
    case 180: return half_turn(handle);
    case 270: return turn(handle, mirror_after::left_right);
    default: return turn(handle, mirror_after::none);
    }
}

} // namespace

int32_t IMG_STD IMG_rotate_bitmap(int32_t handle, int32_t degrees)
{
    return rotate_bitmap(handle, degrees);
}
