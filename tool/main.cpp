// main.cpp - the command line: commands, options, exit codes.

#include "platform/host.h"
#include "tool/failure.h"
#include "tool/operation_values.h"
#include "tool/progress.h"
#include "tool/settings.h"
#include "tool/type_table.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <new>

namespace {

const char* const operations_group = "Operations, applied in the order given";
const char* const settings_group = "Settings";

struct command_line {
    CLI::App app{"Converts, inspects and edits scanned, faxed and photographed pages.", "trevolan"};
    tool_settings settings;
    convert_request convert;
    join_request join;
    split_request split;
    fax_request fax;
    std::string fax_code;
    std::vector<std::string> files;
    bool json = false;
    int32_t page = 0;
    std::function<int()> run;
};

void add_read_settings(CLI::App& command, command_line& line)
{
    command
        .add_option("--offset", line.settings.offset, "bytes in front of the picture in the file")
        ->check(CLI::Range(0, 0xFFFFFF))
        ->type_name("BYTES")
        ->group(settings_group);
    command
        .add_flag("--classic", line.settings.classic,
                  "classic files and classic tones, peculiarities included")
        ->group(settings_group);
}

void add_save_settings(CLI::App& command, command_line& line)
{
    tool_settings& s = line.settings;
    const auto add = [&](const char* name, auto& value, const char* type, const char* help) {
        return command.add_option(name, value, help)->type_name(type)->group(settings_group);
    };
    add("--to", s.to, "TYPE", "file type by name or code; see \"trevolan types\"");
    add("--quality", s.quality, "Q", "JPEG quality, 1 to 100")->check(CLI::Range(1, 100));
    add("--name", s.name, "TEXT", "identification text for the file");
    add("--date", s.date, "TEXT", "date for the file");
    command.add_flag("--exact", s.exact, "never change the depth to fit the type: fail instead")
        ->group(settings_group);
}

void add_append(CLI::App& command, command_line& line)
{
    command.add_flag("--append", line.settings.append, "add pages to an existing OUT")
        ->group(settings_group);
}

// Operations are collected after parsing, because only then their order is known.
void add_operations(CLI::App& command)
{
    for (const operation_option& row : operation_options()) {
        CLI::Option* option = row.value
                                  ? command.add_option(row.name, row.help)->type_name(row.value)
                                  : command.add_flag(row.name, row.help);
        option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)->group(operations_group);
        if (row.value) option->expected(1)->allow_extra_args(false);
    }
}

// The k-th time an option appears in the order belongs to its k-th value.
void collect_operations(const CLI::App& command, tool_settings& settings)
{
    std::map<const CLI::Option*, size_t> seen;
    for (const CLI::Option* option : command.parse_order()) {
        for (const operation_option& row : operation_options()) {
            if (!option->check_name(row.name)) continue;
            const size_t k = seen[option]++;
            const std::string value = row.value ? option->results().at(k) : std::string();
            try {
                operation next = row.parse(value);
                next.option = value.empty() ? row.name : row.name + (" " + value);
                append_operation(settings.operations, std::move(next));
            } catch (const usage_error& fault) {
                throw usage_error{std::string(row.name) + ": " + fault.text};
            }
        }
    }
}

// What every command that saves can do, and what it does with that. The operations are known
// by then.
void add_saving(CLI::App& command, command_line& line, std::function<int()> run)
{
    add_operations(command);
    add_save_settings(command, line);
    add_read_settings(command, line);
    command.final_callback([&command, &line, run = std::move(run)] {
        line.run = [&command, &line, run] {
            collect_operations(command, line.settings);
            return run();
        };
    });
}

// A number from 1 on.
CLI::Option* add_count(CLI::App& command, const char* name, int32_t& value, const char* type,
                       const char* help)
{
    return command.add_option(name, value, help)->check(CLI::Range(1, INT32_MAX))->type_name(type);
}

void add_in_and_out(CLI::App& command, command_line& line)
{
    command.add_option("FILES", line.files, "IN... OUT")
        ->required()
        ->expected(2, -1)
        ->type_name("");
}

std::string take_last(std::vector<std::string>& files)
{
    std::string last = files.back();
    files.pop_back();
    return last;
}

void add_info(command_line& line)
{
    CLI::App* command = line.app.add_subcommand("info", "tell what files hold, page by page");
    command->add_option("FILE", line.files, "files")->required()->type_name("");
    command->add_flag("--json", line.json, "as JSON");
    add_read_settings(*command, line);
    command->final_callback(
        [&line] { line.run = [&line] { return run_info(line.files, line.json, line.settings); }; });
}

void add_convert(command_line& line)
{
    CLI::App* command = line.app.add_subcommand(
        "convert", "load, apply operations, save: IN... OUT\n"
                   "With several inputs, or a directory as OUT, every input becomes a file there.\n"
                   "All pages of an input go into OUT where its type holds pages, else into\n"
                   "numbered files.");
    add_in_and_out(*command, line);
    add_count(*command, "--page", line.convert.page, "N", "take one page only; the first is 1");
    command
        ->add_option("--jobs", line.convert.jobs,
                     "convert several inputs side by side in N processes; 0: one per processor")
        ->check(CLI::Range(0, 1000))
        ->type_name("N");
    command->add_option("--worker-item", line.convert.only_item)->group("");
    add_append(*command, line);
    add_saving(*command, line, [&line] {
        line.convert.output = take_last(line.files);
        line.convert.inputs = line.files;
        return run_convert(line.convert, line.settings);
    });
}

void add_join(command_line& line)
{
    CLI::App* command =
        line.app.add_subcommand("join", "the pages of all inputs into one file: IN... OUT");
    add_in_and_out(*command, line);
    add_append(*command, line);
    add_saving(*command, line, [&line] {
        line.join.output = take_last(line.files);
        line.join.inputs = line.files;
        return run_join(line.join, line.settings);
    });
}

void add_split(command_line& line)
{
    CLI::App* command = line.app.add_subcommand(
        "split", "every page into a file of its own: PREFIX001.EXT, PREFIX002.EXT and so on");
    command->add_option("IN", line.split.input, "file")->required()->type_name("");
    command->add_option("PREFIX", line.split.prefix, "start of the names")
        ->required()
        ->type_name("");
    add_saving(*command, line, [&line] { return run_split(line.split, line.settings); });
}

void add_fax(command_line& line)
{
    CLI::App* command = line.app.add_subcommand("fax", "raw fax data to a file");
    fax_request& fax = line.fax;
    command->add_option("RAW", fax.input, "raw data")->required()->type_name("");
    command->add_option("OUT", fax.output, "file")->required()->type_name("");
    add_count(*command, "--width", fax.width, "W", "columns")->required();
    add_count(*command, "--height", fax.height, "H", "rows")->required();
    command->add_option("--code", line.fax_code, "g3, g3-2d or g4")->required()->type_name("CODE");
    command
        ->add_option("--fill-order", fax.fill_order,
                     "1: the most significant bit comes first, 2: the least significant one")
        ->check(CLI::Range(1, 2))
        ->type_name("N");
    add_append(*command, line);
    add_saving(*command, line, [&line] {
        constexpr int32_t codes[] = {1, 2, 4};
        line.fax.code = codes[parse_choice(line.fax_code, {"g3", "g3-2d", "g4"})];
        return run_fax(line.fax, line.settings);
    });
}

void add_types(command_line& line)
{
    CLI::App* command = line.app.add_subcommand("types", "list the file types");
    command->add_flag("--json", line.json, "as JSON");
    command->final_callback([&line] { line.run = [&line] { return run_types(line.json); }; });
}

void add_show(command_line& line)
{
    CLI::App* command = line.app.add_subcommand("show", "a preview in the terminal");
    command->add_option("FILE", line.files, "files")->required()->type_name("");
    line.page = 1;
    add_count(*command, "--page", line.page, "N", "the page; the first is 1");
    add_read_settings(*command, line);
    command->final_callback(
        [&line] { line.run = [&line] { return run_show(line.files, line.page, line.settings); }; });
}

void describe_commands(command_line& line)
{
    line.app.set_version_flag("--version", IMGX_version());
    line.app.require_subcommand(1);
    // "/scans/page.tif" is a file on Windows too; subcommands inherit this.
    line.app.allow_windows_style_options(false);
    line.app.set_help_flag("-h,--help", "explain the options and end");
    line.app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return "trevolan: " + std::string(error.what()) + "; see --help\n";
    });
    add_info(line);
    add_convert(line);
    add_join(line);
    add_split(line);
    add_fax(line);
    add_types(line);
    add_show(line);
}

// The parser takes "[a,b]" for a list, also where a file of that name is meant; a path it
// leaves alone.
std::vector<std::string> without_lists(std::vector<std::string> arguments)
{
    for (size_t i = 1; i < arguments.size(); ++i) {
        std::string& one = arguments[i];
        const bool is_text = arguments[i - 1] == "--name" || arguments[i - 1] == "--date";
        if (one.starts_with('[') && one.ends_with(']') && !is_text) one.insert(0, "./");
    }
    return arguments;
}

// The parser would only say that a command is missing.
void require_known_command(const command_line& line)
{
    const std::vector<std::string>& arguments = line.convert.arguments;
    if (arguments.empty() || arguments[0].starts_with('-')) return;
    const auto is_meant = [&](const CLI::App* command) {
        return command->get_name() == arguments[0];
    };
    if (line.app.get_subcommands(is_meant).empty())
        throw usage_error{"there is no command " + arguments[0] + "; see --help"};
}

int run_command(command_line& line)
{
    host_catch_cancel();
    use_classic_mode(line.settings.classic);
    // Several workers would draw over each other; their parent counts the files.
    progress_start(line.convert.only_item < 0);
    const int saving = line.settings.quality ? IMGLOW_set_comp_quality(*line.settings.quality) : 0;
    if (saving < 0) {
        report({"--quality", std::to_string(*line.settings.quality), saving});
        return exit_failed;
    }
    const int code = line.run();
    progress_clear();
    return code;
}

int run_tool(int argc, char** argv)
{
    host_prepare_console();
    command_line line;
    describe_commands(line);
    line.convert.arguments = host_arguments(argc, argv);
    try {
        require_known_command(line);
        std::vector<std::string> arguments = without_lists(line.convert.arguments);
        std::reverse(arguments.begin(), arguments.end()); // as the parser wants them
        line.app.parse(arguments);
        return run_command(line);
    } catch (const CLI::ParseError& error) {
        return line.app.exit(error) == 0 ? exit_done : exit_usage;
    } catch (const usage_error& error) {
        std::fprintf(stderr, "trevolan: %s\n", error.text.c_str());
        return exit_usage;
    } catch (const failure& what) {
        report(what);
        return exit_failed;
    }
}

} // namespace

int main(int argc, char** argv)
{
    try {
        int code = run_tool(argc, argv);
        // A full disk or a closed pipe behind standard output shows only now.
        if (std::fflush(stdout) != 0 && code == exit_done) {
            std::fprintf(stderr, "trevolan: writing the output: %s (%d)\n",
                         IMGX_error_text(code_write), static_cast<int>(code_write));
            code = exit_failed;
        }
        return code;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "trevolan: not enough memory (%d)\n", static_cast<int>(code_memory));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "trevolan: %s\n", error.what());
    }
    return exit_failed;
}
