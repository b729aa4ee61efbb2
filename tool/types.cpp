// types.cpp - the types command: the table of file types.

#include "tool/failure.h"
#include "tool/json.h"
#include "tool/settings.h"
#include "tool/type_table.h"

#include <cstdio>

namespace {

const char* when(int32_t setting)
{
    return setting == 0 ? "no" : setting == 1 ? "yes" : "not --classic";
}

std::string depths_text(const IMGX_TYPE_INFO& type)
{
    std::string text;
    for (const int32_t depth : depths_of(type))
        text += (text.empty() ? "" : ",") + std::to_string(depth);
    return text.empty() ? "-" : text;
}

void print_json(const IMGX_TYPE_INFO& type, bool first)
{
    std::printf("%s\n  {\"code\": %d, \"name\": %s, \"description\": %s, \"extensions\": %s, "
                "\"reads\": %s, \"writes\": %s, \"pages\": %s, \"depths\": [%s]}",
                first ? "" : ",", static_cast<int>(type.code), json_text(type.name).c_str(),
                json_text(type.description).c_str(), json_text(type.extensions).c_str(),
                type.reads ? "true" : "false", json_text(when(type.writes)).c_str(),
                json_text(when(type.multi_page)).c_str(),
                type.write_depths == 0 ? "" : depths_text(type).c_str());
}

} // namespace

int run_types(bool as_json)
{
    if (as_json) {
        std::printf("[");
        for (const IMGX_TYPE_INFO& type : all_types())
            print_json(type, &type == all_types().data());
        std::printf("\n]\n");
        return exit_done;
    }
    std::printf("%4s  %-13s  %-12s  %-5s  %-13s  %-13s  %-8s  %s\n", "code", "name", "extensions",
                "reads", "writes", "adds pages", "depths", "description");
    for (const IMGX_TYPE_INFO& type : all_types())
        std::printf("%4d  %-13s  %-12s  %-5s  %-13s  %-13s  %-8s  %s\n",
                    static_cast<int>(type.code), type.name, type.extensions,
                    type.reads ? "yes" : "no", when(type.writes), when(type.multi_page),
                    depths_text(type).c_str(), type.description);
    return exit_done;
}
