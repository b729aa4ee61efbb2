// type_table.cpp - look-ups in the table of file types.

#include "tool/type_table.h"

#include "tool/names.h"

#include <algorithm>
#include <sstream>

namespace {

bool interchange = false;

bool allowed_now(int32_t setting)
{
    return setting == 1 || (setting == 2 && interchange);
}

bool has_extension(const IMGX_TYPE_INFO& type, const std::string& extension)
{
    std::istringstream extensions(type.extensions);
    std::string one;
    while (extensions >> one)
        if (one == extension) return true;
    return false;
}

} // namespace

const std::vector<IMGX_TYPE_INFO>& all_types()
{
    static const std::vector<IMGX_TYPE_INFO> types = [] {
        std::vector<IMGX_TYPE_INFO> rows;
        IMGX_TYPE_INFO row;
        for (int32_t i = 0; IMGX_get_type_info(i, &row) == 0; ++i)
            rows.push_back(row);
        return rows;
    }();
    return types;
}

const IMGX_TYPE_INFO* type_of_code(int32_t code)
{
    for (const IMGX_TYPE_INFO& type : all_types())
        if (type.code == code) return &type;
    return nullptr;
}

const IMGX_TYPE_INFO* type_of_text(const std::string& text)
{
    for (const IMGX_TYPE_INFO& type : all_types())
        if (text == type.name || text == std::to_string(type.code)) return &type;
    return nullptr;
}

const IMGX_TYPE_INFO* type_of_file_name(const std::string& name)
{
    const std::string extension = extension_of(name);
    for (const IMGX_TYPE_INFO& type : all_types())
        if (can_write(type) && has_extension(type, extension)) return &type;
    return nullptr;
}

bool can_write(const IMGX_TYPE_INFO& type)
{
    return allowed_now(type.writes);
}

bool can_add_pages(const IMGX_TYPE_INFO& type)
{
    return can_write(type) && allowed_now(type.multi_page);
}

std::vector<int32_t> depths_of(const IMGX_TYPE_INFO& type)
{
    // Each depth is larger than the sum of those below it, so the sum tells them apart.
    std::vector<int32_t> depths;
    int32_t sum = type.write_depths;
    for (const int32_t depth : {24, 8, 4, 1}) {
        if (sum < depth) continue;
        depths.insert(depths.begin(), depth);
        sum -= depth;
    }
    return depths;
}

std::string first_word(const std::string& extensions)
{
    return extensions.substr(0, extensions.find(' '));
}

std::string usual_extension(const IMGX_TYPE_INFO& type)
{
    return first_word(type.extensions);
}

void use_classic_mode(bool classic)
{
    interchange = !classic;
    IMGX_set_interchange(interchange);
    IMGX_set_true_tones(!classic);
}
