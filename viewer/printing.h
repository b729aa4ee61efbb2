// printing.h - prints the picture: on a printer, or into a metafile.
#pragma once

#include "viewer/document.h"

#include <functional>
#include <string>

enum class print_result { done, cancelled, no_printer, failed };

/// Asks for a printer and pages and prints them, each as large as the paper allows.
/// on_page  told each page's number, from 0, before it is printed
/// code     of the library when it failed
print_result print_document(HWND owner, document& picture,
                            const std::function<void(int32_t)>& on_page, int32_t& code);

/// Prints the page that is shown into an enhanced metafile.  0, or the library's code.
int32_t print_to_metafile(document& picture, const std::string& path);
