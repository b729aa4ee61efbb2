// settings.h - the options that the commands share.
#pragma once

#include "tool/operations.h"

#include <optional>
#include <string>
#include <vector>

struct tool_settings {
    std::optional<int32_t> quality;
    std::optional<std::string> name;
    std::optional<std::string> date;
    int32_t offset = 0;
    bool classic = false;
    std::string to; // type name or code; empty: by the file name
    bool exact = false;
    bool append = false;
    std::vector<operation> operations;
};

struct convert_request {
    std::vector<std::string> inputs;
    std::string output;
    int32_t page = 0;                   // 0: all
    int32_t jobs = 1;                   // 0: one per processor
    int32_t only_item = -1;             // in a worker: the one input to convert
    std::vector<std::string> arguments; // as given, for workers
};

struct join_request {
    std::vector<std::string> inputs;
    std::string output;
};

struct split_request {
    std::string input;
    std::string prefix;
};

struct fax_request {
    std::string input;
    std::string output;
    int32_t width = 0;
    int32_t height = 0;
    int32_t code = 0;
    int32_t fill_order = 1;
};

/// The commands. Each reports its failures and returns the program's exit code; usage_error
/// is thrown for arguments that make no sense together.
int run_info(const std::vector<std::string>& files, bool as_json, const tool_settings& settings);
int run_convert(const convert_request& request, const tool_settings& settings);
int run_join(const join_request& request, const tool_settings& settings);
int run_split(const split_request& request, const tool_settings& settings);
int run_fax(const fax_request& request, const tool_settings& settings);
int run_types(bool as_json);
int run_show(const std::vector<std::string>& files, int32_t page, const tool_settings& settings);
