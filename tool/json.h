// json.h - texts in JSON output.
#pragma once

#include <string>

/// The text in quotation marks, with what JSON wants escaped. Bytes that are not UTF-8 are
/// taken as Latin-1, so that the result is valid whatever a file holds.
std::string json_text(const std::string& text);
