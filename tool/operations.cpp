// operations.cpp - the operations behind the options.

#include "tool/operations.h"

#include "tool/failure.h"
#include "tool/operation_values.h"
#include "tool/progress.h"

#include <algorithm>
#include <array>

namespace {

using context = operation_context;

// The rectangle is cut to the picture; nothing of it inside is an error.
int32_t apply_crop(const operation& op, context& at)
{
    const int64_t width = at.image.width();
    const int64_t height = at.image.height();
    const int64_t left = std::clamp<int64_t>(op.numbers[0], 0, width);
    const int64_t top = std::clamp<int64_t>(op.numbers[1], 0, height);
    const int64_t right = std::clamp<int64_t>(int64_t{op.numbers[0]} + op.numbers[2], left, width);
    const int64_t bottom = std::clamp<int64_t>(int64_t{op.numbers[1]} + op.numbers[3], top, height);
    const auto cut_width = static_cast<int32_t>(right - left);
    const auto cut_height = static_cast<int32_t>(bottom - top);
    if (cut_width > 0 && cut_height > 0 &&
        (cut_width != op.numbers[2] || cut_height != op.numbers[3]))
        note(at.file, "the crop rectangle reaches beyond the picture; " +
                          std::to_string(cut_width) + " x " + std::to_string(cut_height) +
                          " pixels of it are left");
    return IMGX_crop_bitmap(at.image.handle(), static_cast<int32_t>(left),
                            static_cast<int32_t>(top), cut_width, cut_height);
}

int32_t apply_rotate(const operation& op, context& at)
{
    const int32_t degrees = (op.numbers[0] % 360 + 360) % 360;
    return degrees == 0 ? 0 : IMG_rotate_bitmap(at.image.handle(), degrees);
}

int32_t apply_flip_x(const operation&, context& at)
{
    return IMG_flip_bitmapx(at.image.handle());
}

int32_t apply_flip_y(const operation&, context& at)
{
    return IMG_flip_bitmapy(at.image.handle());
}

// numbers: width, height (0: in proportion), percent (0: by size).
int32_t apply_resize(const operation& op, context& at)
{
    const int64_t old_width = at.image.width();
    const int64_t old_height = at.image.height();
    int64_t width = op.numbers[0];
    int64_t height = op.numbers[1];
    if (op.numbers[2] != 0) {
        width = (old_width * op.numbers[2] + 50) / 100;
        height = (old_height * op.numbers[2] + 50) / 100;
    }
    if (width == 0 && height != 0) width = (old_width * height + old_height / 2) / old_height;
    if (height == 0 && width != 0) height = (old_height * width + old_width / 2) / old_width;
    constexpr int64_t widest = 32767;
    return IMG_resize_bitmap(at.image.handle(),
                             static_cast<int32_t>(std::clamp<int64_t>(width, 1, widest + 1)),
                             static_cast<int32_t>(std::clamp<int64_t>(height, 1, widest + 1)));
}

// The library starts every tone change of a palette picture from its first colour table;
// here one change builds on another. A cut to the whole picture makes the present table the
// first one.
int32_t apply_tone(const operation& op, context& at)
{
    if (at.toned && at.image.bits() != 24) {
        const int32_t result =
            IMGX_crop_bitmap(at.image.handle(), 0, 0, at.image.width(), at.image.height());
        if (result < 0) return result;
    }
    at.toned = true;
    return IMG_set_lut(at.image.handle(), op.numbers[0], op.numbers[1]);
}

int32_t apply_invert(const operation&, context& at)
{
    return IMG_invert_bitmap(at.image.handle());
}

int32_t apply_sharpen(const operation& op, context& at)
{
    return IMG_sharpen_bitmap(at.image.handle(), op.numbers[0]);
}

// One number: a built-in kernel. Nine: the caller's own, which is type 0.
int32_t apply_kernel(const operation& op, context& at)
{
    std::array<signed char, 9> kernel{};
    if (op.numbers.size() == 1)
        return IMG_process_bitmap(at.image.handle(), op.numbers[0], kernel.data());
    std::transform(op.numbers.begin(), op.numbers.end(), kernel.begin(),
                   [](int32_t k) { return static_cast<signed char>(k); });
    return IMG_process_bitmap(at.image.handle(), 0, kernel.data());
}

int32_t apply_gray(const operation&, context& at)
{
    return IMG_color_gray(at.image.handle());
}

// Calls the one of several conversions that numbers[0] selects.
template <auto... conversion> int32_t apply_choice(const operation& op, context& at)
{
    static constexpr std::array conversions{conversion...};
    return conversions[static_cast<size_t>(op.numbers[0])](at.image.handle());
}

constexpr auto apply_mono = apply_choice<IMG_bayer_mono, IMG_halftone_mono, IMG_diffusion_mono>;
constexpr auto apply_colors = apply_choice<IMG_popularity_color, IMG_mediancut_color>;
constexpr auto apply_dither16 = apply_choice<IMG_bayer_color, IMG_diffusion_color>;
constexpr auto apply_promote = apply_choice<IMG_promote_8, IMG_promote_24>;

operation parse_crop(const std::string& value)
{
    return {{}, parse_numbers(value, 4, INT32_MIN, INT32_MAX), apply_crop};
}

operation parse_rotate(const std::string& value)
{
    const int32_t degrees = parse_number(value, -359, 360);
    if (degrees % 90 != 0) throw usage_error{"only quarter turns are possible, not " + value};
    return {{}, {degrees}, apply_rotate};
}

operation parse_resize(const std::string& value)
{
    return {{}, parse_size(value), apply_resize};
}

operation parse_contrast(const std::string& value)
{
    return {{}, {parse_number(value, -128, 127), 0}, apply_tone};
}

operation parse_brightness(const std::string& value)
{
    return {{}, {0, parse_number(value, -255, 255)}, apply_tone};
}

operation parse_sharpen(const std::string& value)
{
    return {{}, {parse_number(value, -143, 143)}, apply_sharpen};
}

operation parse_kernel(const std::string& value)
{
    if (value.find(',') == std::string::npos)
        return {{}, {parse_number(value, 1, 9)}, apply_kernel};
    return {{}, parse_numbers(value, 9, -128, 127), apply_kernel};
}

template <auto apply> operation parse_flag(const std::string&)
{
    return {{}, {}, apply};
}

operation parse_mono(const std::string& value)
{
    return {{}, {parse_choice(value, {"bayer", "halftone", "diffusion"})}, apply_mono};
}

operation parse_colors(const std::string& value)
{
    return {{}, {parse_choice(value, {"popularity", "fixed"})}, apply_colors};
}

operation parse_dither16(const std::string& value)
{
    return {{}, {parse_choice(value, {"bayer", "diffusion"})}, apply_dither16};
}

operation parse_promote(const std::string& value)
{
    return {{}, {parse_choice(value, {"8", "24"})}, apply_promote};
}

} // namespace

const std::vector<operation_option>& operation_options()
{
    // clang-format off
    static const std::vector<operation_option> options = {
        {"--crop",       "X,Y,W,H",  "cut out a rectangle; y counts from the top", parse_crop},
        {"--rotate",     "DEG",      "turn clockwise by 90, 180 or 270 degrees", parse_rotate},
        {"--flip-x",     nullptr,    "mirror left and right", parse_flag<apply_flip_x>},
        {"--flip-y",     nullptr,    "mirror top and bottom", parse_flag<apply_flip_y>},
        {"--resize",     "WxH|W|P%", "scale to a size, to a width in proportion, or by percent", parse_resize},
        {"--contrast",   "N",        "change the contrast, -128 to 127", parse_contrast},
        {"--brightness", "N",        "change the brightness, -255 to 255, steps of two levels", parse_brightness},
        {"--invert",     nullptr,    "invert the pixel values", parse_flag<apply_invert>},
        {"--sharpen",    "N",        "sharpen by 16 to 143, or soften by less", parse_sharpen},
        {"--kernel",     "N|k0,..,k8", "filter with built-in kernel 1 to 9, or with nine weights", parse_kernel},
        {"--gray",       nullptr,    "turn to 256 greys", parse_flag<apply_gray>},
        {"--mono",       "HOW",      "dither to black and white: bayer, halftone or diffusion", parse_mono},
        {"--colors",     "HOW",      "reduce to 256 colours: popularity or fixed", parse_colors},
        {"--dither16",   "HOW",      "dither to 16 colours: bayer or diffusion", parse_dither16},
        {"--promote",    "BITS",     "raise the depth to 8 or 24 bits", parse_promote},
    };
    // clang-format on
    return options;
}

void append_operation(std::vector<operation>& operations, operation next)
{
    if (next.apply == apply_tone && !operations.empty() && operations.back().apply == apply_tone) {
        operation& last = operations.back();
        last.option += " " + next.option;
        last.numbers[0] += next.numbers[0];
        last.numbers[1] += next.numbers[1];
        return;
    }
    operations.push_back(std::move(next));
}

void apply_operations(const std::vector<operation>& operations, picture& image,
                      const std::string& file)
{
    context at{image, file};
    for (const operation& op : operations) {
        throw_if_cancelled(file, op.option);
        require(op.apply(op, at), file, op.option);
    }
}
