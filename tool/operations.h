// operations.h - what is done to a picture between reading and writing, in the order of the
// command line.
#pragma once

#include "tool/picture.h"

#include <cstdint>
#include <string>
#include <vector>

struct operation;

/// Where an operation works, for its messages and its memory of earlier ones.
struct operation_context {
    picture& image;
    const std::string& file;
    bool toned = false; // an earlier operation changed contrast or brightness
};

struct operation {
    std::string option; // with its value, as it was given
    std::vector<int32_t> numbers;
    int32_t (*apply)(const operation&, operation_context&);
};

/// One option of the command line that adds an operation.
struct operation_option {
    const char* name;  // "--crop"
    const char* value; // "X,Y,W,H", null for a flag
    const char* help;
    operation (*parse)(const std::string& value); // throws usage_error
};
const std::vector<operation_option>& operation_options();

/// Adds an operation; a tone change right behind another becomes one with it.
void append_operation(std::vector<operation>& operations, operation next);

/// Applies all of them; throws a failure that names the option.
void apply_operations(const std::vector<operation>& operations, picture& image,
                      const std::string& file);

/// Brings the picture to a depth that the type can hold, and says so; throws a failure when
/// that is not allowed (exact) or not possible.
void fit_depth(picture& image, const IMGX_TYPE_INFO& type, bool exact, const std::string& file);
