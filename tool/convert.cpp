// convert.cpp - the convert command: each input becomes one file, or several numbered ones.

#include "platform/host.h"
#include "tool/names.h"
#include "tool/progress.h"
#include "tool/transfer.h"
#include "tool/type_table.h"

#include <algorithm>
#include <filesystem>
#include <map>

namespace {

namespace fs = std::filesystem;

struct conversion {
    std::string input;
    std::string output;
};

output_file::start start_of(const tool_settings& settings)
{
    return settings.append ? output_file::start::copy_of_existing : output_file::start::empty;
}

// Only --to, or the output's name where it is one file, can tell the type; else the input.
const IMGX_TYPE_INFO& type_for(const conversion& item, bool keep_type,
                               const tool_settings& settings, source_file& source)
{
    return keep_type ? type_like_input(source) : output_type(settings, item.output);
}

void convert_pages(source_file& source, int32_t first, int32_t last, const IMGX_TYPE_INFO& type,
                   const std::string& name, const tool_settings& settings)
{
    output_file output(name, type, start_of(settings));
    for (int32_t page = first; page <= last; ++page) {
        picture image = source.load(page);
        if (page == last) source.close(); // it may be the very file that is replaced
        write_page(image, source.name(), type, settings, output);
    }
    output.commit();
}

// "a.tif" of two pages and "a-001.tif" would both become "a-001.bmp".
void require_numbers_unclaimed(const std::string& name, int32_t count,
                               const std::vector<conversion>& items)
{
    for (int32_t page = 1; page <= count; ++page) {
        const std::string numbered = numbered_name(name, page, count);
        for (const conversion& item : items)
            if (item.output == numbered)
                throw failure{numbered, "creating (" + item.input + " becomes it)", code_create};
    }
}

void convert_numbered(source_file& source, int32_t count, const IMGX_TYPE_INFO& type,
                      const std::string& name, const tool_settings& settings)
{
    for (int32_t page = 1; page <= count; ++page) {
        picture image = source.load(page);
        if (page == count) source.close();
        output_file output(numbered_name(name, page, count), type, start_of(settings));
        write_page(image, source.name(), type, settings, output);
        output.commit();
    }
}

void convert_one(const std::vector<conversion>& items, size_t index, bool keep_type, int32_t page,
                 const tool_settings& settings)
{
    const conversion& item = items[index];
    progress_file(item.input);
    source_file source(item.input, settings.offset);
    const IMGX_TYPE_INFO& type = type_for(item, keep_type, settings, source);
    if (settings.append && !can_add_pages(type))
        throw failure{item.output, std::string("adding a page to ") + type.description,
                      code_unsupported};
    source.require_page(page);
    const int32_t count = page == 0 ? source.pages() : 1;
    if (page != 0)
        convert_pages(source, page, page, type, item.output, settings);
    else if (count == 1 || can_add_pages(type))
        convert_pages(source, 1, count, type, item.output, settings);
    else {
        require_numbers_unclaimed(item.output, count, items);
        convert_numbered(source, count, type, item.output, settings);
    }
}

// The output's name in a directory: the input's, with the extension of the new type.
std::string name_in_directory(const std::string& directory, const std::string& input,
                              const tool_settings& settings)
{
    fs::path name = to_path(input).filename();
    if (!settings.to.empty()) {
        const IMGX_TYPE_INFO& type = output_type(settings, directory);
        const IMGX_TYPE_INFO* present = type_of_file_name(input);
        // "page.tiff" stays so where the new type goes by that extension too.
        if (!present || usual_extension(*present) != usual_extension(type))
            name.replace_extension(to_path(usual_extension(type)));
    }
    return to_text(to_path(directory) / name);
}

std::vector<conversion> plan(const convert_request& request, const tool_settings& settings,
                             bool into_directory)
{
    if (!into_directory) return {{request.inputs.front(), request.output}};
    std::vector<conversion> items;
    std::map<std::string, std::string> inputs_by_output;
    for (const std::string& input : request.inputs) {
        const std::string output = name_in_directory(request.output, input, settings);
        const auto [known, is_new] = inputs_by_output.emplace(output, input);
        if (!is_new)
            throw usage_error{std::string(known->second)
                                  .append(" and ")
                                  .append(input)
                                  .append(" would both become ")
                                  .append(output)};
        items.push_back({input, output});
    }
    return items;
}

// One worker process per input, at most `jobs` at a time. A worker gets the same arguments
// and the number of its input, right behind the command: behind "--" it would be a file.
int run_workers(const convert_request& request, const std::vector<conversion>& items, int32_t jobs)
{
    int worst = exit_done;
    size_t next = 0;
    std::vector<host_process> running;
    progress_file("");
    progress_phase("converting " + std::to_string(items.size()) + " files");
    while (next < items.size() || !running.empty()) {
        if (next < items.size() && running.size() < static_cast<size_t>(jobs) &&
            !host_cancelled()) {
            std::vector<std::string> arguments = request.arguments;
            arguments.insert(arguments.begin() + 1, "--worker-item=" + std::to_string(next));
            const host_process process = host_start(arguments);
            if (process == 0) {
                report({items[next].input, "starting a process for it", code_memory});
                worst = std::max(worst, exit_failed);
            } else {
                running.push_back(process);
            }
            ++next;
            continue;
        }
        if (running.empty()) break; // cancelled
        int code = 0;
        const size_t ended = host_wait_any(running, code);
        running.erase(running.begin() + static_cast<std::ptrdiff_t>(ended));
        worst = std::max(worst, code);
        progress_step(static_cast<int32_t>(items.size()));
    }
    progress_clear();
    if (host_cancelled()) return exit_cancelled;
    return worst == exit_done || worst == exit_cancelled ? worst : exit_failed;
}

void create_directory_for(const std::string& output)
{
    std::error_code error;
    fs::create_directories(to_path(output), error);
    if (!is_directory(output)) throw failure{output, "creating the directory", code_create};
}

} // namespace

int run_convert(const convert_request& request, const tool_settings& settings)
{
    const bool into_directory = request.inputs.size() > 1 || names_directory(request.output);
    const bool keep_type = into_directory && settings.to.empty();
    const std::vector<conversion> items = plan(request, settings, into_directory);
    if (request.only_item >= 0) {
        const auto index = static_cast<size_t>(request.only_item);
        if (index >= items.size()) return exit_usage;
        return guarded([&] { convert_one(items, index, keep_type, request.page, settings); });
    }
    if (into_directory)
        if (const int code = guarded([&] { create_directory_for(request.output); })) return code;

    const int32_t wanted = request.jobs == 0 ? host_processor_count() : request.jobs;
    const int32_t jobs = std::min(wanted, host_most_processes);
    if (jobs > 1 && items.size() > 1) return run_workers(request, items, jobs);

    int worst = exit_done;
    for (size_t i = 0; i < items.size(); ++i) {
        const int code = guarded([&] { convert_one(items, i, keep_type, request.page, settings); });
        worst = std::max(worst, code);
        if (code == exit_cancelled) break;
    }
    return worst;
}
