// places.h - where the files of other programs and the tool are.
#pragma once

#include <string>

/// The path of a file of tests/data.
std::string sample_path(const std::string& name);

/// The path of the command-line tool that was built with the tests.
std::string tool_path();
