// fit_depth.cpp - brings a picture to a depth that the output's type can hold: the nearest
// higher one, which loses nothing, else the nearest lower one.

#include "tool/failure.h"
#include "tool/operations.h"
#include "tool/type_table.h"

#include <algorithm>

namespace {

struct depth_change {
    int32_t(IMG_STD* convert)(int32_t handle);
    const char* how;
};

depth_change change_to(int32_t from, int32_t to)
{
    if (to == 24) return {IMG_promote_24, "promoted to 24 bits"};
    if (to == 8 && from < 8) return {IMG_promote_8, "promoted to 8 bits"};
    if (to == 8) return {IMG_popularity_color, "reduced to 8 bits by popularity"};
    if (to == 4) return {IMG_diffusion_color, "reduced to 4 bits by diffusion"};
    return {IMG_diffusion_mono, "reduced to 1 bit by diffusion"};
}

// 0 when no depth can be reached. Nothing promotes to 4 bits.
int32_t nearest_depth(int32_t from, const std::vector<int32_t>& possible)
{
    const auto higher = std::find_if(possible.begin(), possible.end(),
                                     [&](int32_t d) { return d > from && d >= 8; });
    if (higher != possible.end()) return *higher;
    const auto lower =
        std::find_if(possible.rbegin(), possible.rend(), [&](int32_t d) { return d < from; });
    return lower == possible.rend() ? 0 : *lower;
}

} // namespace

void fit_depth(picture& image, const IMGX_TYPE_INFO& type, bool exact, const std::string& file)
{
    const int32_t bits = image.bits();
    const std::vector<int32_t> possible = depths_of(type);
    if (std::find(possible.begin(), possible.end(), bits) != possible.end()) return;

    const int32_t depth = nearest_depth(bits, possible);
    const std::string subject = std::to_string(bits) + "-bit picture";
    if (exact || depth == 0)
        throw failure{file, std::string(type.description) + " cannot hold the " + subject,
                      code_unsupported};
    const depth_change change = change_to(bits, depth);
    require(change.convert(image.handle()), file, std::string(change.how));
    note(file, subject + " " + change.how + " for " + type.description);
}
