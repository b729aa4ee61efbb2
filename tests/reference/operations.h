// operations.h - every operation on an image with its plain version.
#pragma once

#include "tests/reference/plain_color.h"
#include "tests/reference/plain_process.h"

#include <functional>

/// A picture and the colours of its first tone change.
struct model {
    picture p;
    values first_colors;
};

struct operation {
    std::string name;
    std::function<int32_t(int32_t)> run;
    std::function<int32_t(model&)> plain; // gives the code, and changes the model when it is 0
};

/// A new picture, made from some depths; the first colours are forgotten.
template <picture (*version)(const picture&), int... depths> int32_t remade(model& m)
{
    if (((m.p.bits != depths) && ...)) return -7;
    m = {version(m.p), {}};
    return 0;
}

template <picture (*version)(const picture&)> int32_t moved(model& m)
{
    m.p = version(m.p);
    return 0;
}

inline bool is_grey(const picture& p)
{
    const values colors = p.colors();
    return p.bits < 24 && std::all_of(colors.begin(), colors.end(),
                                      [](int c) { return channel(c, 0) * 0x10101 == c; });
}

inline operation turn(int degrees)
{
    return {"turn " + std::to_string(degrees),
            [=](int32_t h) { return IMG_rotate_bitmap(h, degrees); },
            [=](model& m) { return m.p = plain::rotated(m.p, degrees), 0; }};
}

inline operation resize(int width, int height)
{
    return {"resize " + std::to_string(width) + " x " + std::to_string(height),
            [=](int32_t h) { return IMG_resize_bitmap(h, width, height); },
            [=](model& m) { return m.p = plain::resized(m.p, width, height), 0; }};
}

inline operation tone(int contrast, int brightness)
{
    return {"tone " + std::to_string(contrast) + ", " + std::to_string(brightness),
            [=](int32_t h) { return IMG_set_lut(h, contrast, brightness); },
            [=](model& m) {
                if (m.p.bits == 1) return -7;
                if (m.first_colors.empty()) m.first_colors = m.p.colors();
                m.p.set_colors(m.first_colors);
                m.p = plain::toned(m.p, contrast, brightness);
                return 0;
            }};
}

inline operation sharpen(int strength)
{
    return {"sharpen " + std::to_string(strength),
            [=](int32_t h) { return IMG_sharpen_bitmap(h, strength); },
            [=](model& m) {
                if (m.p.bits != 1 && m.p.bits != 24 && !is_grey(m.p)) return -7;
                m.p = plain::sharpened(m.p, strength);
                return 0;
            }};
}

/// One of the library's, of type 1 to 9, or the client's, of type 0.
inline operation kernel(int type, std::array<signed char, 9> weights)
{
    return {"kernel " + std::to_string(type),
            [=](int32_t h) { return IMG_process_bitmap(h, type, weights.data()); },
            [=](model& m) {
                if (m.p.bits == 1) return -7;
                if (m.p.bits != 24 && !is_grey(m.p)) m = {plain::gray(m.p), {}};
                if (m.p.bits != 4) m.p = plain::convolved(m.p, weights);
                return 0;
            }};
}

inline const std::vector<operation> filters = {
    sharpen(-128),
    sharpen(-1),
    sharpen(15),
    sharpen(16),
    sharpen(128),
    kernel(1, {0, 1, 0, 1, -4, 1, 0, 1, 0}),
    kernel(2, {-1, -1, -1, -1, 8, -1, -1, -1, -1}),
    kernel(3, {-1, -1, -1, 2, 2, 2, -1, -1, -1}),
    kernel(4, {-1, 2, -1, -1, 2, -1, -1, 2, -1}),
    kernel(5, {-1, -1, 2, -1, 2, -1, 2, -1, -1}),
    kernel(6, {2, -1, -1, -1, 2, -1, -1, -1, 2}),
    kernel(7, {0, -1, 0, -1, 5, -1, 0, -1, 0}),
    kernel(8, {1, 1, 1, 0, 0, 1, 1, 1, 1}),
    kernel(9, {-1, 0, -1, 0, 4, 0, -1, 0, -1}),
    kernel(0, {127, 127, 127, 127, 127, 127, 127, 127, 127}),
    kernel(0, {-128, -128, -128, -128, -128, -128, -128, -128, -128}),
    kernel(0, {0, 0, 127, 1, 0, 0, 0, 0, 0}),
    kernel(0, {3, -7, 11, -13, 17, -19, 23, -29, 31}),
};

inline std::vector<operation> all_operations()
{
    std::vector<operation> list = {
        {"gray", IMG_color_gray, remade<plain::gray, 4, 8, 24>},
        {"bayer", IMG_bayer_mono, remade<plain::ordered_mono<plain::bayer>, 4, 8, 24>},
        {"halftone", IMG_halftone_mono, remade<plain::ordered_mono<plain::halftone>, 4, 8, 24>},
        {"diffusion", IMG_diffusion_mono, remade<plain::diffusion_mono, 4, 8, 24>},
        {"popularity", IMG_popularity_color, remade<plain::popularity, 24>},
        {"fixed palette", IMG_mediancut_color, remade<plain::fixed_palette, 4, 8, 24>},
        {"bayer of 16", IMG_bayer_color, remade<plain::bayer_color, 4, 8, 24>},
        {"diffusion of 16", IMG_diffusion_color, remade<plain::diffusion_color, 4, 8, 24>},
        {"promote to 8", IMG_promote_8, remade<plain::promote_8, 1, 4, 8>},
        {"promote to 24", IMG_promote_24, remade<plain::promote_24, 1, 4, 8>},
        {"flip x", IMG_flip_bitmapx, moved<plain::flipped_x>},
        {"flip y", IMG_flip_bitmapy, moved<upside_down>},
        {"invert", IMG_invert_bitmap, moved<plain::inverted>},
    };
    for (int degrees : {0, 90, 180, 270, -90})
        list.push_back(turn(degrees));
    for (int width : {1, 3, 8, 33, 64, 100, 130, 390})
        list.push_back(resize(width, 1 + 1000 / width % 70));
    for (int contrast : {-128, -77, 0, 1, 64, 127})
        list.push_back(tone(contrast, contrast % 50 - 5));
    list.insert(list.end(), filters.begin(), filters.end());
    return list;
}
