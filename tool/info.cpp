// info.cpp - the info command: what the headers of a file's pages say, as text or as JSON.
// No rows are decoded: the load ends as soon as the header is known.

#include "platform/host.h"
#include "tool/json.h"
#include "tool/names.h"
#include "tool/transfer.h"
#include "tool/type_table.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <filesystem>

namespace {

struct page_facts {
    int32_t type; // negative: a compression without a code
    int32_t compression;
    std::string format;
    int32_t width, height, bits;
    int32_t x_dpi, y_dpi;
    int32_t colors; // entries of the colour table; 0 for 24 bits
    bool grey;      // the colour table holds greys only
    uint64_t memory_bytes;
    int32_t components;
    std::string sampling; // "2x1,1x1,1x1", empty where there is none
    file_texts texts;
};

int32_t IMG_C keep_header(const BITMAPINFOHEADER* header, IMG_PRIVATE private_data)
{
    auto& facts = *reinterpret_cast<page_facts*>(private_data);
    facts.width = header->biWidth;
    facts.height = header->biHeight;
    facts.bits = header->biBitCount;
    facts.x_dpi = header->biXPelsPerMeter;
    facts.y_dpi = header->biYPelsPerMeter;
    facts.colors = facts.bits == 24 ? 0 : 1 << facts.bits;
    facts.grey = facts.bits != 24;
    const auto* colors = reinterpret_cast<const RGBQUAD*>(header + 1);
    for (int32_t i = 0; i < facts.colors; ++i)
        if (colors[i].rgbRed != colors[i].rgbGreen || colors[i].rgbGreen != colors[i].rgbBlue)
            facts.grey = false;
    const uint64_t row_bytes = (static_cast<uint64_t>(facts.width) * facts.bits + 31) / 32 * 4;
    facts.memory_bytes = sizeof(BITMAPINFOHEADER) + sizeof(RGBQUAD) * facts.colors +
                         row_bytes * static_cast<uint64_t>(facts.height);
    return code_enough;
}

int32_t IMG_C refuse_row(const void*, IMG_PRIVATE, int32_t, int32_t)
{
    return code_enough;
}

std::string sampling_text(const IMGX_PAGE_INFO& info)
{
    std::string text;
    for (int32_t i = 0; i < info.components && i < 4; ++i) {
        const int32_t factors = info.sampling[i];
        if (factors == 0) return {};
        text +=
            (i == 0 ? "" : ",") + std::to_string(factors >> 4) + "x" + std::to_string(factors & 15);
    }
    return text;
}

page_facts read_facts(source_file& source, int32_t page)
{
    page_facts facts{};
    const IMGX_PAGE_INFO info = source.page_info(page);
    facts.type = info.type;
    facts.compression = info.compression;
    facts.format = first_word(info.extensions);
    facts.components = info.components;
    facts.sampling = sampling_text(info);
    // The texts are the library's; a reader replaces them by those of the file.
    set_texts({});
    const int32_t result =
        source.stream(page, refuse_row, reinterpret_cast<IMG_PRIVATE>(&facts), keep_header);
    if (result != code_enough)
        require(result, source.name(), "reading page " + std::to_string(page));
    facts.texts = current_texts();
    return facts;
}

std::string colors_text(const page_facts& facts)
{
    if (facts.bits == 24) return "16777216 colours";
    return std::to_string(facts.colors) + (facts.grey ? " greys" : " colours");
}

std::string type_text(const page_facts& facts)
{
    if (const IMGX_TYPE_INFO* type = type_of_code(facts.type))
        return std::string(type->description) + " (type " + std::to_string(type->code) + ", " +
               type->name + ")";
    return facts.format + " with compression " + std::to_string(facts.compression);
}

// A file's texts could steer the terminal, or look like lines of ours.
std::string printable(std::string text)
{
    for (char& c : text)
        if (static_cast<unsigned char>(c) < ' ' || c == 0x7F) c = ' ';
    return text;
}

void print_page(int32_t page, const page_facts& facts)
{
    std::printf("  page %d: %d x %d, %d bit, %s, %s", static_cast<int>(page),
                static_cast<int>(facts.width), static_cast<int>(facts.height),
                static_cast<int>(facts.bits), colors_text(facts).c_str(), type_text(facts).c_str());
    if (facts.x_dpi != 0 || facts.y_dpi != 0)
        std::printf(", %d x %d dpi", static_cast<int>(facts.x_dpi), static_cast<int>(facts.y_dpi));
    std::printf(", %" PRIu64 " bytes in memory", facts.memory_bytes);
    if (facts.components != 0)
        std::printf(", %d components%s%s", static_cast<int>(facts.components),
                    facts.sampling.empty() ? "" : ", sampling ", facts.sampling.c_str());
    if (!facts.texts.name.empty())
        std::printf(", name \"%s\"", printable(facts.texts.name).c_str());
    if (!facts.texts.date.empty())
        std::printf(", date \"%s\"", printable(facts.texts.date).c_str());
    std::printf("\n");
}

void print_page_json(int32_t page, const page_facts& facts)
{
    const IMGX_TYPE_INFO* type = type_of_code(facts.type);
    std::printf("%s\n      {\"page\": %d, \"type\": %d, \"type_name\": %s, \"description\": %s, "
                "\"width\": %d, \"height\": %d, \"bits\": %d, \"x_dpi\": %d, \"y_dpi\": %d, ",
                page == 1 ? "" : ",", static_cast<int>(page), static_cast<int>(facts.type),
                json_text(type ? type->name : "").c_str(),
                json_text(type ? type->description : "").c_str(), static_cast<int>(facts.width),
                static_cast<int>(facts.height), static_cast<int>(facts.bits),
                static_cast<int>(facts.x_dpi), static_cast<int>(facts.y_dpi));
    std::printf("\"compression\": %d, \"colors\": %d, \"gray\": %s, \"memory_bytes\": %" PRIu64
                ", \"components\": %d, \"sampling\": %s, \"name\": %s, \"date\": %s}",
                static_cast<int>(facts.compression),
                facts.bits == 24 ? 1 << 24 : static_cast<int>(facts.colors),
                facts.grey ? "true" : "false", facts.memory_bytes,
                static_cast<int>(facts.components), json_text(facts.sampling).c_str(),
                json_text(facts.texts.name).c_str(), json_text(facts.texts.date).c_str());
}

uint64_t file_bytes(const std::string& name)
{
    std::error_code error;
    const auto bytes = std::filesystem::file_size(to_path(name), error);
    return error ? 0 : bytes;
}

// All facts are read before anything is printed, so that a file's output is whole or absent;
// pages in front of a damaged one are printed all the same.
int describe(const std::string& name, bool as_json, bool& first, const tool_settings& settings)
{
    std::vector<page_facts> pages;
    int32_t count = 0;
    const int code = guarded([&] {
        source_file source(name, settings.offset);
        count = source.pages();
        for (int32_t page = 1; page <= count && !host_cancelled(); ++page)
            pages.push_back(read_facts(source, page));
    });
    if (pages.empty()) return code;
    const std::string& format = pages.front().format;
    if (as_json)
        std::printf("%s\n  {\"file\": %s, \"bytes\": %" PRIu64
                    ", \"format\": %s, \"page_count\": %d,\n    \"pages\": [",
                    first ? "" : ",", json_text(name).c_str(), file_bytes(name),
                    json_text(format).c_str(), static_cast<int>(count));
    else
        std::printf("%s: %s, %d page%s, %" PRIu64 " bytes\n", name.c_str(), format.c_str(),
                    static_cast<int>(count), count == 1 ? "" : "s", file_bytes(name));
    for (size_t i = 0; i < pages.size(); ++i)
        (as_json ? print_page_json : print_page)(static_cast<int32_t>(i) + 1, pages[i]);
    if (as_json) std::printf("\n    ]}");
    first = false;
    return code == exit_done && host_cancelled() ? exit_cancelled : code;
}

} // namespace

int run_info(const std::vector<std::string>& files, bool as_json, const tool_settings& settings)
{
    int worst = exit_done;
    bool first = true;
    if (as_json) std::printf("[");
    for (const std::string& name : files) {
        const int code = describe(name, as_json, first, settings);
        worst = std::max(worst, code);
        if (host_cancelled()) break;
    }
    if (as_json) std::printf("\n]\n");
    return worst;
}
